// Words.h - alternatives of literal texts ("GET|PUT|POST"), alone or between two ".*": no automaton is needed, however many
// there are.
//
// Alone, the subject is looked up in a hash table of the words. Between ".*" a filter finds the places where a word may
// begin, and the table tells whether one does.
#pragma once

#include "match/LiteralFinder.h"
#include "match/Plan.h"

#include <memory>

namespace xc::match {

class Words : public Program {
public:
    /// Null when the tree (which may be null) has another form.
    [[nodiscard]] static std::unique_ptr<Words const> From(XCRegExSyntaxNode const* root);
    /// How many words there are, and what they take.
    struct Size {
        std::size_t words = 0, units = 0, longest = 0;
    };
    /// @param alternative of literals, as counted. @param within whether they may stand anywhere in a subject.
    Words(XCRegExSyntaxNode const& alternative, Size const& size, bool within);

    [[nodiscard]] bool Match(wchar_t const* text) const override;

private:
    static constexpr std::size_t kLongestWithin = 64; ///< units of a word that is searched for

    void Add(XCRegExSyntaxNode const& word);
    void PrepareSearch();
    void PrepareFinder();
    void PrepareFilter();
    [[nodiscard]] std::size_t FilterBit(std::uint64_t lead) const noexcept;
    [[nodiscard]] std::wstring_view Word(std::uint32_t number) const noexcept;
    [[nodiscard]] bool Holds(std::wstring_view text) const noexcept;
    /// Whether a word begins there. @param n the units that may be read.
    [[nodiscard]] bool BeginsAt(wchar_t const* text, std::size_t n) const noexcept;
    [[nodiscard]] bool StandsIn(wchar_t const* text, std::size_t n) const noexcept;
    [[nodiscard]] bool StandsInByFilter(wchar_t const* text, std::size_t n) const noexcept;
    [[nodiscard]] bool MatchWithin(wchar_t const* text) const noexcept;

    bool m_within;
    std::size_t m_shortest = static_cast<std::size_t>(-1);
    std::size_t m_longest = 0;
    List<wchar_t> m_text;         ///< all words one after the other
    List<std::uint32_t> m_ends;   ///< by word: where it ends in the text
    List<std::uint32_t> m_slots;  ///< by hash: the number of a word and one; 0 is free
    std::uint64_t m_lengths = 0;  ///< a bit for each length, less one, that a word has; for those searched for
    LiteralFinder m_finder;       ///< for few words
    std::uint64_t m_leadMask = 0; ///< for many: the leading units that the filter knows
    List<std::uint64_t> m_filter; ///< a bit for each hash of them
};

} // namespace xc::match
