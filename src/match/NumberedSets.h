// NumberedSets.h - the node sets of a subset construction, numbered in the order in which they are met.
//
// The construction spends its time on two questions: which nodes does this set reach, and was the result met before?
// With few nodes a set is two words: closures are computed once a node and united by OR, comparison is two compares,
// and hashing two multiplications. With many nodes sets are sparse, and ordered lists are smaller than bits.
//
// Two forms with the same answers: MaskSets for automata of up to 128 nodes, a bit for every node and no list anywhere;
// ListSets for larger ones. Both have: Reached, what collects the nodes that one class leads to; Start and Close, a set in its
// fixed form; Add, NumberOf, Count, ForEachNode; Bytes and Work, what the limits are held against.
#pragma once

#include "match/NodeSets.h"
#include "match/Numbering.h"

#include <algorithm>
#include <bit>

namespace xc::match {

/// Sets as ordered lists in one array.
class ListSets {
public:
    using Reached = NodeSet;

    ListSets(Nfa const& nfa, NodeFacts const& facts, Memory memory)
        : m_closure(nfa, facts, memory), m_set(memory), m_numbers(memory), m_ids(memory), m_ends(memory)
    {
    }

    NodeSet const& Start()
    {
        m_closure.Close(std::span(&Nfa::kStart, 1), m_set);
        return m_set;
    }
    void Add(std::uint32_t node, Reached& reached) { reached.push_back(node); }
    NodeSet const& Close(Reached const& reached)
    {
        m_closure.Close(reached, m_set);
        return m_set;
    }
    static bool Accepts(NodeSet const& set) noexcept { return IsAccepting(set); }

    std::uint32_t NumberOf(NodeSet const& set)
    {
        std::uint64_t hash = set.size();
        for (std::uint32_t const id : set) hash = (hash ^ id) * 0x9E3779B97F4A7C15u;
        std::uint32_t const number = m_numbers.NumberOf(hash, [&](std::uint32_t known) {
            NodeSetView const nodes = Get(known);
            return std::equal(nodes.begin(), nodes.end(), set.begin(), set.end());
        });
        if (number == m_ends.size()) {
            m_ids.insert(m_ids.end(), set.begin(), set.end());
            m_ends.push_back(m_ids.size());
        }
        return number;
    }
    [[nodiscard]] std::uint32_t Count() const noexcept { return m_numbers.Count(); }
    template <class Visit>
    void ForEachNode(std::uint32_t number, Visit visit) const
    {
        for (std::uint32_t const node : Get(number)) visit(node);
    }
    [[nodiscard]] std::size_t Bytes() const noexcept { return (m_ids.size() + m_ends.size()) * sizeof(std::uint32_t); }
    [[nodiscard]] std::size_t Work() const noexcept { return m_closure.Work(); }

private:
    [[nodiscard]] NodeSetView Get(std::uint32_t number) const noexcept
    {
        std::size_t const begin = number == 0 ? 0 : m_ends[number - 1];
        return {m_ids.data() + begin, m_ends[number] - begin};
    }

    Closure m_closure;
    NodeSet m_set;
    Numbering m_numbers;
    List<std::uint32_t> m_ids;
    List<std::size_t> m_ends;
};

/// A set of nodes with numbers below kMax.
struct NodeMask {
    static constexpr std::uint32_t kMax = 128;

    std::uint64_t low = 0;
    std::uint64_t high = 0;

    static NodeMask Of(std::uint32_t node) noexcept
    {
        std::uint64_t const bit = std::uint64_t{1} << (node & 63);
        return node < 64 ? NodeMask{bit, 0} : NodeMask{0, bit};
    }
    [[nodiscard]] bool empty() const noexcept { return (low | high) == 0; }
    void clear() noexcept { low = high = 0; }
    [[nodiscard]] bool Meets(NodeMask const& other) const noexcept
    {
        return ((low & other.low) | (high & other.high)) != 0;
    }
    NodeMask& operator|=(NodeMask const& other) noexcept
    {
        low |= other.low;
        high |= other.high;
        return *this;
    }
    friend bool operator==(NodeMask const&, NodeMask const&) = default;
    /// From the least one up.
    template <class Visit>
    void ForEach(Visit visit) const
    {
        for (std::uint64_t bits = low; bits != 0; bits &= bits - 1)
            visit(static_cast<std::uint32_t>(std::countr_zero(bits)));
        for (std::uint64_t bits = high; bits != 0; bits &= bits - 1)
            visit(64 + static_cast<std::uint32_t>(std::countr_zero(bits)));
    }
};

/// Sets as masks. What each node reaches without reading is found once; after that a set is closed as it is collected.
class MaskSets {
public:
    using Reached = NodeMask;

    /// @param nfa of at most NodeMask::kMax nodes.
    MaskSets(Nfa const& nfa, NodeFacts const& facts, Memory memory)
        : m_closures(nfa.NodeCount(), memory), m_numbers(memory), m_masks(memory)
    {
        for (std::uint32_t node = 0; node < nfa.NodeCount(); ++node) {
            m_closures[node] = ClosureOf(nfa, facts, node);
            if (facts.Absorbs(node)) m_absorbing |= NodeMask::Of(node);
        }
        for (std::uint32_t const node : facts.Universal()) m_universal |= NodeMask::Of(node);
    }

    NodeMask Start() const noexcept { return Close(m_closures[Nfa::kStart]); }
    void Add(std::uint32_t node, Reached& reached) const noexcept { reached |= m_closures[node]; }
    NodeMask Close(Reached const& reached) const noexcept
    {
        return Accepts(reached) && reached.Meets(m_absorbing) ? m_universal : reached;
    }
    static bool Accepts(NodeMask const& set) noexcept { return set.Meets(NodeMask::Of(Nfa::kEnd)); }

    std::uint32_t NumberOf(NodeMask const& set)
    {
        constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15u;
        std::uint64_t const hash = (std::rotl(set.low * kOdd, 32) ^ set.high) * kOdd;
        std::uint32_t const number =
            m_numbers.NumberOf(hash, [&](std::uint32_t known) { return m_masks[known] == set; });
        if (number == m_masks.size()) m_masks.push_back(set);
        return number;
    }
    [[nodiscard]] std::uint32_t Count() const noexcept { return m_numbers.Count(); }
    template <class Visit>
    void ForEachNode(std::uint32_t number, Visit visit) const
    {
        NodeMask(m_masks[number]).ForEach(visit);
    }
    [[nodiscard]] std::size_t Bytes() const noexcept { return m_masks.size() * sizeof(NodeMask); }
    /// The masks are closed beforehand, and their number is limited: no work is worth counting.
    [[nodiscard]] static std::size_t Work() noexcept { return 0; }

private:
    static NodeMask ClosureOf(Nfa const& nfa, NodeFacts const& facts, std::uint32_t from)
    {
        std::span<NfaEdge const> const edges = nfa.Edges(from);
        if (edges.size() == 1 && edges[0].set != kEpsilon) return NodeMask::Of(from); // most nodes
        NodeMask seen = NodeMask::Of(from);
        NodeMask closure;
        for (NodeMask pending = seen; !pending.empty();) {
            NodeMask next;
            pending.ForEach([&](std::uint32_t node) {
                if (facts.Matters(node)) closure |= NodeMask::Of(node);
                for (NfaEdge const& edge : nfa.Edges(node)) {
                    NodeMask const to = NodeMask::Of(edge.to);
                    if (edge.set == kEpsilon && !seen.Meets(to)) next |= to;
                }
            });
            seen |= next;
            pending = next;
        }
        return closure;
    }

    List<NodeMask> m_closures; ///< by node: those that matter
    NodeMask m_absorbing;
    NodeMask m_universal;
    Numbering m_numbers;
    List<NodeMask> m_masks; ///< by number
};

} // namespace xc::match
