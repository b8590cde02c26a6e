// NodeSets.h - sets of nodes reached without reading: what deterministic states stand for.
//
// A set keeps only the nodes that matter (those with a character transition, and the end), ascending. A set that accepts
// every text without U+FFFF whatever follows is replaced by one fixed such set: states that differ only in what no longer
// matters become one state, with a loop to itself, and the rest of a subject need not be read.
#pragma once

#include "match/Nfa.h"

#include <span>

namespace xc::match {

using NodeSet = List<std::uint32_t>;
using NodeSetView = std::span<std::uint32_t const>;

/// What is known about the nodes of an automaton. Does not change; shared by all matching threads.
class NodeFacts {
public:
    NodeFacts(Nfa const& nfa, Memory memory);

    [[nodiscard]] bool Matters(std::uint32_t node) const noexcept { return m_matters[node] != 0; }
    /// Together with the end node: every further text without U+FFFF is accepted.
    [[nodiscard]] bool Absorbs(std::uint32_t node) const noexcept { return m_absorbs[node] != 0; }
    /// The set that stands for all that accept everything; empty when there is none.
    [[nodiscard]] NodeSet const& Universal() const noexcept { return m_universal; }

private:
    void FindAbsorbing(Nfa const& nfa);

    List<std::uint8_t> m_matters;
    List<std::uint8_t> m_absorbs;
    NodeSet m_universal;
};

/// Follows epsilon transitions. Holds the scratch memory of one thread.
class Closure {
public:
    Closure(Nfa const& nfa, NodeFacts const& facts, Memory memory);

    /// The set of the nodes that `from` reach, in its fixed form.
    void Close(NodeSetView from, NodeSet& result);
    /// The nodes looked at so far.
    [[nodiscard]] std::size_t Work() const noexcept { return m_work; }

private:
    void Visit(std::uint32_t node);
    void Order(NodeSet& set) const;
    /// Whether the node reads units on its one transition.
    [[nodiscard]] bool IsAlone(std::uint32_t node) const noexcept;

    Nfa const& m_nfa;
    NodeFacts const& m_facts;
    List<std::uint32_t> m_seen;
    std::uint32_t m_round = 0;
    NodeSet m_pending;
    std::size_t m_work = 0;
};

/// Whether the end node is a member.
inline bool IsAccepting(NodeSetView set) noexcept
{
    static_assert(Nfa::kStart == 0 && Nfa::kEnd == 1, "the end stands first or second in an ordered set");
    return (!set.empty() && set[0] == Nfa::kEnd) || (set.size() > 1 && set[1] == Nfa::kEnd);
}

} // namespace xc::match
