// Nfa.h - the intermediate automaton: nodes joined by epsilon and character transitions.
//
// Nodes are numbers. Transitions stand in one list ordered by the node they leave (m_offsets finds them); equal
// character sets are kept once. An alternative's branches share their first and last node, so "abc|abd" ends in one
// node and both branches meet there.
#pragma once

#include <XelbrinCore/XCRegEx.h>

#include <cstdint>
#include <span>
#include <vector>

namespace xc::match {

/// What a transition carries instead of a set when it reads nothing.
constexpr std::uint32_t kEpsilon = 0xFFFFFFFF;

struct NfaEdge {
    std::uint32_t from;
    std::uint32_t to;
    std::uint32_t set; ///< index into the sets, or kEpsilon
};

class Nfa {
public:
    static constexpr std::uint32_t kStart = 0;
    static constexpr std::uint32_t kEnd = 1;

    /// An invalid tree (null) gives an automaton that matches nothing.
    explicit Nfa(XCSmartPtr<XCRegExSyntaxNode> const& root);

    /// The tree unfolds to more nodes than allowed; the automaton then matches nothing.
    [[nodiscard]] bool IsTooLarge() const noexcept { return m_tooLarge; }
    [[nodiscard]] std::uint32_t NodeCount() const noexcept { return m_nodeCount; }
    [[nodiscard]] std::span<NfaEdge const> Edges(std::uint32_t node) const noexcept
    {
        return {m_edges.data() + m_offsets[node], m_edges.data() + m_offsets[node + 1]};
    }
    [[nodiscard]] std::vector<XCUWCharSet> const& Sets() const noexcept { return m_sets; }

private:
    friend class NfaBuilder;
    void SortEdges();

    std::uint32_t m_nodeCount = 2;
    bool m_tooLarge = false;
    std::vector<NfaEdge> m_edges;
    std::vector<std::uint32_t> m_offsets;
    std::vector<XCUWCharSet> m_sets;
};

} // namespace xc::match
