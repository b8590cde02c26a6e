// Follows transitions that read nothing, and finds nodes after which every text is accepted.
//
// The closure is a depth-first walk with a mark for each node; marks carry the number of the round, so that they need
// not be cleared. A node absorbs when one transition on every unit leads to where the node itself and the end are
// reached again ("x.*" once x was read). A set that accepts and holds an absorbing node accepts every further text
// without U+FFFF, so all such sets are replaced by one: ".*a.*b.*" would otherwise have states that differ only in what
// no longer matters.
//
// COST      A closure: O(nodes reached + transitions). Absorbing nodes: one closure each, at most kMaxAbsorbingWork
//           nodes in all; nodes not examined count as not absorbing, for every engine alike.
// INVARIANT A closed set is ascending and holds only nodes that matter: those that read units, and the end.
#include "match/NodeSets.h"

#include <algorithm>

namespace xc::match {

namespace {

/// How many nodes the search for absorbing ones may look at; the rest count as not absorbing.
constexpr std::size_t kMaxAbsorbingWork = 1u << 16;

} // namespace

NodeFacts::NodeFacts(Nfa const& nfa, Memory memory)
    : m_matters(nfa.NodeCount(), memory), m_absorbs(nfa.NodeCount(), memory), m_universal(memory)
{
    m_matters[Nfa::kEnd] = 1;
    for (std::uint32_t node = 0; node < nfa.NodeCount(); ++node)
        for (NfaEdge const& edge : nfa.Edges(node))
            if (edge.set != kEpsilon) m_matters[node] = 1;
    FindAbsorbing(nfa);
}

/// A node absorbs when one transition on every unit leads to where the node itself and the end are reached again.
void NodeFacts::FindAbsorbing(Nfa const& nfa)
{
    XCUWCharSet all;
    all.AddAllChars();
    std::uint32_t full = 0;
    while (full < nfa.Sets().Count() && !nfa.Sets().IsEqual(full, all)) ++full;
    if (full == nfa.Sets().Count()) return;
    Memory const memory = m_matters.get_allocator().resource();
    Closure closure(nfa, *this, memory);
    NodeSet reached(memory);
    for (std::uint32_t node = 0; node < nfa.NodeCount(); ++node) {
        for (NfaEdge const& edge : nfa.Edges(node)) {
            if (edge.set != full) continue;
            if (closure.Work() > kMaxAbsorbingWork) return;
            closure.Close({&edge.to, 1}, reached);
            if (!IsAccepting(reached) || !std::binary_search(reached.begin(), reached.end(), node)) continue;
            m_absorbs[node] = 1;
            if (m_universal.empty()) m_universal = {std::min(node, Nfa::kEnd), std::max(node, Nfa::kEnd)};
        }
    }
}

Closure::Closure(Nfa const& nfa, NodeFacts const& facts, Memory memory)
    : m_nfa(nfa), m_facts(facts), m_seen(nfa.NodeCount(), memory), m_pending(memory)
{
}

bool Closure::IsAlone(std::uint32_t node) const noexcept
{
    std::span<NfaEdge const> const edges = m_nfa.Edges(node);
    return edges.size() == 1 && edges[0].set != kEpsilon;
}

void Closure::Close(NodeSetView from, NodeSet& result)
{
    if (from.size() == 1 && IsAlone(from[0])) { // most nodes of a text: nothing to follow, to mark or to order
        ++m_work;
        result.assign(1, from[0]);
        return;
    }
    if (++m_round == 0) {
        std::fill(m_seen.begin(), m_seen.end(), 0);
        m_round = 1;
    }
    result.clear();
    for (std::uint32_t const node : from) Visit(node);
    bool absorbs = false;
    while (!m_pending.empty()) {
        std::uint32_t const node = m_pending.back();
        m_pending.pop_back();
        if (m_facts.Matters(node)) result.push_back(node);
        absorbs = absorbs || m_facts.Absorbs(node);
        for (NfaEdge const& edge : m_nfa.Edges(node))
            if (edge.set == kEpsilon) Visit(edge.to);
    }
    Order(result);
    if (absorbs && IsAccepting(result)) result = m_facts.Universal();
}

/// A set that holds many of the nodes is read off their marks, which stand in order.
void Closure::Order(NodeSet& set) const
{
    if (set.size() < m_seen.size() / 16) return std::sort(set.begin(), set.end());
    std::size_t count = 0;
    for (std::uint32_t node = 0; node < m_seen.size(); ++node)
        if (m_seen[node] == m_round && m_facts.Matters(node)) set[count++] = node;
}

void Closure::Visit(std::uint32_t node)
{
    if (m_seen[node] == m_round) return;
    m_seen[node] = m_round;
    ++m_work;
    m_pending.push_back(node);
}

} // namespace xc::match
