// FindProgram.h - an expression in the form that finds places in a text and takes them apart.
#pragma once

#include "match/UnitClasses.h"
#include "text/RangeKernels.h"

#include <XelbrinCore/XCRegExFind.h>

#include <string_view>
#include <vector>

namespace xc::match {

/// States joined by ordered transitions: the first of two is preferred. Never changed after it is built.
class FindProgram {
public:
    enum class Kind : std::uint8_t { End, Units, Split, Jump, Mark };
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    struct State {
        Kind kind = Kind::End;
        std::uint32_t next = kNone;  ///< the preferred way of a split
        std::uint32_t other = kNone; ///< the other way of a split; the set of units; the slot of a mark
    };

    explicit FindProgram(XCParsedRegEx const& parsed);

    /// The leftmost place from `from` on, as long as possible.
    [[nodiscard]] XCRegExPlace Find(std::wstring_view text, std::size_t from) const;
    /// For each position the end of the longest match that begins there; npos where none does.
    [[nodiscard]] std::vector<std::size_t> LongestEnds(std::wstring_view text) const;
    /// The groups of a match of exactly [begin, end), the whole place first; empty when that is no match.
    [[nodiscard]] std::vector<XCRegExPlace> Groups(std::wstring_view text, XCRegExPlace const& place) const;
    [[nodiscard]] std::uint32_t GroupCount() const noexcept { return m_groupCount; }

private:
    friend class FindBuilder;
    friend class Simulation;

    /// What is left to try: another way from a state, or a mark to take back.
    struct Untried {
        std::uint32_t state;
        std::uint32_t slot; ///< kNone when it is a way
        std::size_t position;
    };
    using Groupings = std::vector<XCRegExPlace>;

    [[nodiscard]] Groupings GroupsByTrying(std::wstring_view text, XCRegExPlace const& place) const;
    [[nodiscard]] Groupings GroupsBySets(std::wstring_view text, XCRegExPlace const& place) const;
    [[nodiscard]] Groupings ListGroups(XCRegExPlace const& place, std::size_t const* marks) const;
    [[nodiscard]] bool Follow(std::wstring_view part, Untried way, std::size_t begin, std::span<std::size_t> marks,
                              List<Untried>& untried, std::span<std::uint64_t> tried) const;
    SetList const& LayOut(XCRegExSyntaxNode const* root);
    void ListPredecessors();
    void FindFirstUnits();
    [[nodiscard]] bool Takes(State const& state, wchar_t unit) const noexcept;
    /// Where the next match can begin at the earliest.
    [[nodiscard]] std::size_t SkipTo(std::wstring_view text, std::size_t at) const noexcept;

    static constexpr std::uint32_t kStart = 0;
    static constexpr std::uint32_t kEnd = 1;

    std::vector<State> m_states; ///< these three are made before the classes are
    std::uint32_t m_groupCount = 0;
    SetList m_sets;
    UnitClasses m_classes;
    UnitMap m_map;
    std::vector<std::uint64_t> m_members; ///< by set, a bit for each class; empty when classes are not folded
    std::size_t m_words = 0;              ///< of a set
    std::vector<std::uint32_t> m_predecessors;
    std::vector<std::uint32_t> m_offsets; ///< by state: where its predecessors begin
    text::UnitRanges m_firstUnits;
    bool m_skips = false; ///< every match begins with one of the first units
};

} // namespace xc::match
