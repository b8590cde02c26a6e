// Nfa.h - the intermediate automaton: nodes joined by epsilon and character transitions.
//
// Nodes are numbers. Transitions stand in one list ordered by the node they leave (m_offsets finds them); equal
// character sets are kept once. An alternative's branches share their first and last node, so "abc|abd" ends in one
// node and both branches meet there.
#pragma once

#include <XelbrinCore/XCRegEx.h>

#include "match/Memory.h"
#include "match/Numbering.h"

#include <cstdint>
#include <span>

namespace xc::match {

/// What a transition carries instead of a set when it reads nothing.
constexpr std::uint32_t kEpsilon = 0xFFFFFFFF;

struct NfaEdge {
    std::uint32_t from;
    std::uint32_t to;
    std::uint32_t set; ///< index into the sets, or kEpsilon
};

/// Sets of units, their ranges in one list.
class SetList {
public:
    using Range = XCUWCharSet::Range;

    explicit SetList(Memory memory) : m_ranges(memory), m_ends(memory), m_numbers(memory) {}
    [[nodiscard]] std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_ends.size()); }
    [[nodiscard]] std::span<Range const> operator[](std::uint32_t set) const noexcept
    {
        return {m_ranges.data() + (set == 0 ? 0 : m_ends[set - 1]), m_ranges.data() + m_ends[set]};
    }
    [[nodiscard]] bool IsInSet(std::uint32_t set, std::uint32_t unit) const noexcept;
    /// The number of the set, which is added when it is new; equal sets have one number.
    std::uint32_t IndexOf(XCUWCharSet const& set);
    [[nodiscard]] bool IsEqual(std::uint32_t set, XCUWCharSet const& other) const noexcept;
    void Clear() noexcept;

private:
    List<Range> m_ranges;
    List<std::uint32_t> m_ends;
    Numbering m_numbers;
};

class Nfa {
public:
    static constexpr std::uint32_t kStart = 0;
    static constexpr std::uint32_t kEnd = 1;

    /// An invalid tree (null) gives an automaton that matches nothing.
    Nfa(XCRegExSyntaxNode const* root, Memory memory);

    /// The tree unfolds to more nodes than allowed; the automaton then matches nothing.
    [[nodiscard]] bool IsTooLarge() const noexcept { return m_tooLarge; }
    [[nodiscard]] std::uint32_t NodeCount() const noexcept { return m_nodeCount; }
    [[nodiscard]] std::span<NfaEdge const> Edges(std::uint32_t node) const noexcept
    {
        return {m_edges.data() + m_offsets[node], m_edges.data() + m_offsets[node + 1]};
    }
    [[nodiscard]] SetList const& Sets() const noexcept { return m_sets; }

private:
    friend class NfaBuilder;
    void SortEdges();

    std::uint32_t m_nodeCount = 2;
    bool m_tooLarge = false;
    List<NfaEdge> m_edges;
    List<std::uint32_t> m_offsets;
    SetList m_sets;
};

} // namespace xc::match
