// Lays a syntax tree out as an automaton whose transitions read one set of units or nothing.
//
// The construction is Thompson's (Regular Expression Search Algorithm, 1968): every subtree lies between two given
// nodes, so parts are joined without copying. It differs from the textbook in these places, all to keep the automaton
// small: the branches of an alternative share both of their nodes and the nodes of common beginnings (a list of words
// becomes a tree of letters), branches of one small set each become one transition, and a sequence numbers its nodes
// along the text. Counted repetition is unfolded, a copy for each count,
// because a deterministic automaton has no counters. The tree may be as deep as memory allows, so a work list takes the
// place of recursion.
//
// COST      O(nodes + transitions); IsTooLarge ends it at XCRegEx::kMaxNodes nodes, or four steps a node.
// INVARIANT Nodes 0 and 1 are the start and the end. No transition leaves the end.
#include "match/Nfa.h"

#include "match/Numbering.h"

#include <algorithm>
#include <array>
#include <memory_resource>
#include <unordered_map>
#include <utility>

namespace xc::match {

using Node = XCRegExSyntaxNode;

/// Lays the tree out between two nodes, by a work list instead of recursion: trees may be deep.
class NfaBuilder {
public:
    NfaBuilder(Nfa& nfa, Memory memory)
        : m_nfa(nfa), m_work(memory), m_parts(memory), m_wayNumbers(memory), m_ways(memory), m_leafIndices(memory)
    {
        m_unitSets.fill(kEpsilon);
        m_nfa.m_edges.reserve(128);
    }
    void Build(Node const& root)
    {
        m_work.push_back({&root, Nfa::kStart, Nfa::kEnd});
        while (!m_work.empty() && !m_nfa.m_tooLarge) {
            Item const item = m_work.back();
            m_work.pop_back();
            Expand(item);
        }
    }

private:
    static constexpr std::size_t kLargeSet = 16;   ///< ranges of a set worth remembering
    static constexpr std::size_t kMergedSet = 256; ///< ranges of branches that become one set
    struct Item {
        Node const* node;
        std::uint32_t from, to;
    };
    /// From a node on a set of units, within one alternative.
    struct Way {
        std::uint64_t key;
        std::uint32_t to;
    };

    void Expand(Item const& item)
    {
        CountStep();
        switch (item.node->GetType()) {
        case Node::NodeType::CharSetNode: AddLeaf(item); break;
        case Node::NodeType::SequenceNode: ExpandSequence(item); break;
        case Node::NodeType::AlternativeNode: ExpandAlternative(item); break;
        case Node::NodeType::RepeatNode: ExpandRepeat(item); break;
        }
    }
    /// Long sequences are spines of left children: numbered from the left, so that nodes ascend along the text.
    void ExpandSequence(Item const& item)
    {
        TakeApart(item.node);
        Chain(m_parts.size(), item.from, item.to);
    }
    /// The parts of a sequence, the last one first.
    void TakeApart(Node const* node)
    {
        // The parser builds sequences as spines of left children: walking down a spine meets the last part first.
        m_parts.clear();
        for (; node->GetType() == Node::NodeType::SequenceNode; node = node->GetLeftChildP())
            m_parts.push_back(node->GetRightChildP());
        m_parts.push_back(node);
    }
    /// The last `count` parts in a row.
    void Chain(std::size_t count, std::uint32_t from, std::uint32_t to)
    {
        for (std::size_t i = count; i-- > 0 && !m_nfa.m_tooLarge;) {
            std::uint32_t const next = i == 0 ? to : NewNode();
            m_work.push_back({m_parts[i], from, next});
            from = next;
        }
    }
    /// A branch that begins with small leaves shares their nodes with the branches before it that begin so, too.
    void AddBranch(Node const* branch, std::uint32_t from, std::uint32_t to)
    {
        TakeApart(branch);
        std::size_t left = m_parts.size();
        for (; left > 1 && IsSmallLeaf(m_parts[left - 1]) && !m_nfa.m_tooLarge; --left) {
            CountStep();
            XCUWCharSet const& set = static_cast<Node::CharSetNode const*>(m_parts[left - 1])->GetCharSet();
            // Nothing matches an empty set: what would follow it cannot be reached and is left out.
            if (set.IsEmpty()) return;
            // Equal sets have equal numbers, so that two branches share a node exactly when they come the same way to
            // it.
            std::uint64_t const way = std::uint64_t{from} << 32 | NumberOf(set);
            std::uint32_t const known = m_wayNumbers.NumberOf(
                way * 0x9E3779B97F4A7C15u, [&](std::uint32_t number) { return m_ways[number].key == way; });
            if (known == m_ways.size()) {
                m_ways.push_back({way, NewNode()});
                m_nfa.m_edges.push_back({from, m_ways.back().to, static_cast<std::uint32_t>(way)});
            }
            from = m_ways[known].to;
        }
        Chain(left, from, to);
    }
    /// The number of a set. Most are one letter, which is looked up by itself.
    std::uint32_t NumberOf(XCUWCharSet const& set)
    {
        if (set.GetRangeCount() != 1 || set.begin()->begin >= m_unitSets.size() ||
            set.begin()->end != set.begin()->begin + 1)
            return m_nfa.m_sets.IndexOf(set);
        std::uint32_t& known = m_unitSets[set.begin()->begin];
        if (known == kEpsilon) known = m_nfa.m_sets.IndexOf(set);
        return known;
    }
    static bool IsSmallLeaf(Node const* node)
    {
        return node->GetType() == Node::NodeType::CharSetNode &&
               static_cast<Node::CharSetNode const*>(node)->GetCharSet().GetRangeCount() <= kLargeSet;
    }
    /// Branches that are one small set each become one transition, or a few; sequences share their beginnings.
    void ExpandAlternative(Item const& item)
    {
        m_ways.clear();
        m_wayNumbers.Clear();
        XCUWCharSet merged;
        Node const* node = item.node;
        auto const take = [&](Node const* branch) {
            CountStep();
            if (branch->GetType() == Node::NodeType::SequenceNode) return AddBranch(branch, item.from, item.to);
            if (!IsSmallLeaf(branch)) return m_work.push_back({branch, item.from, item.to});
            for (auto const& range : static_cast<Node::CharSetNode const*>(branch)->GetCharSet()) merged.Add(range);
            // Merging costs time with the size of the set: it is handed out before it grows too large.
            if (merged.GetRangeCount() <= kMergedSet) return;
            AddSet(item.from, item.to, merged);
            merged.Clear();
        };
        for (; node->GetType() == Node::NodeType::AlternativeNode; node = node->GetLeftChildP())
            take(node->GetRightChildP());
        take(node);
        AddSet(item.from, item.to, merged);
    }
    void ExpandRepeat(Item const& item)
    {
        auto const& repeat = *static_cast<Node::RepeatNode const*>(item.node);
        Node const* const child = item.node->GetLeftChildP();
        std::uint32_t const minimum = repeat.GetMinimum();
        std::uint32_t const maximum = repeat.GetMaximum();
        std::uint32_t at = item.from;
        bool const loops = maximum == Node::Unbounded;
        // An open repetition loops over its last copy: "x{3,}" is x, x and x once or more.
        std::uint32_t const plainCopies = loops && minimum > 0 ? minimum - 1 : minimum;
        for (std::uint32_t i = 0; i < plainCopies && !m_nfa.m_tooLarge; ++i) at = AddCopy(child, at, NewNode());
        if (loops) return AddLoop(child, at, item.to, minimum == 0);
        for (std::uint32_t i = minimum; i < maximum && !m_nfa.m_tooLarge; ++i) {
            // Each optional copy may be left out together with all the ones after it.
            AddEpsilon(at, item.to);
            at = AddCopy(child, at, NewNode());
        }
        AddEpsilon(at, item.to);
    }
    /// Once or more between two nodes, or any number of times when it may be skipped.
    void AddLoop(Node const* child, std::uint32_t from, std::uint32_t to, bool mayBeSkipped)
    {
        // The loop gets nodes of its own: an edge back to a node that is shared with neighbours would let their
        // transitions repeat as well.
        std::uint32_t const head = NewNode();
        std::uint32_t const tail = mayBeSkipped ? head : NewNode();
        AddEpsilon(from, head);
        m_work.push_back({child, head, tail});
        if (tail != head) AddEpsilon(tail, head);
        AddEpsilon(tail, to);
    }
    std::uint32_t AddCopy(Node const* child, std::uint32_t from, std::uint32_t to)
    {
        CountStep();
        m_work.push_back({child, from, to});
        return to;
    }

    std::uint32_t NewNode()
    {
        if (m_nfa.m_nodeCount >= XCRegEx::kMaxNodes) m_nfa.m_tooLarge = true;
        return m_nfa.m_nodeCount++;
    }
    /// Copies of nothing cost no nodes, but time.
    void CountStep()
    {
        if (++m_steps > 4 * XCRegEx::kMaxNodes) m_nfa.m_tooLarge = true;
    }
    void AddEpsilon(std::uint32_t from, std::uint32_t to)
    {
        if (from != to) m_nfa.m_edges.push_back({from, to, kEpsilon});
    }
    void AddSet(std::uint32_t from, std::uint32_t to, XCUWCharSet const& set)
    {
        if (!set.IsEmpty()) m_nfa.m_edges.push_back({from, to, NumberOf(set)});
    }
    /// A leaf in a repetition comes many times: the index of a large set is remembered.
    void AddLeaf(Item const& item)
    {
        auto const& leaf = *static_cast<Node::CharSetNode const*>(item.node);
        if (leaf.GetCharSet().GetRangeCount() <= kLargeSet) return AddSet(item.from, item.to, leaf.GetCharSet());
        auto const [at, isNew] = m_leafIndices.try_emplace(&leaf, 0);
        if (isNew) at->second = m_nfa.m_sets.IndexOf(leaf.GetCharSet());
        m_nfa.m_edges.push_back({item.from, item.to, at->second});
    }
    Nfa& m_nfa;
    List<Item> m_work;
    List<Node const*> m_parts; ///< of the sequence at hand
    Numbering m_wayNumbers;
    List<Way> m_ways;
    std::pmr::unordered_map<Node const*, std::uint32_t> m_leafIndices;
    std::array<std::uint32_t, 128> m_unitSets; ///< by unit: the number of the set of it alone, or kEpsilon
    std::uint32_t m_steps = 0;
};

bool SetList::IsInSet(std::uint32_t set, std::uint32_t unit) const noexcept
{
    auto const ranges = (*this)[set];
    auto const at =
        std::partition_point(ranges.begin(), ranges.end(), [unit](Range const& r) { return r.end <= unit; });
    return at != ranges.end() && at->begin <= unit;
}

bool SetList::IsEqual(std::uint32_t set, XCUWCharSet const& other) const noexcept
{
    auto const ranges = (*this)[set];
    return std::equal(ranges.begin(), ranges.end(), other.begin(), other.end());
}

std::uint32_t SetList::IndexOf(XCUWCharSet const& set)
{
    std::uint64_t hash = 0;
    for (auto const& range : set) hash = (hash ^ (range.begin | std::uint64_t{range.end} << 16)) * 0x9E3779B97F4A7C15u;
    std::uint32_t const index = m_numbers.NumberOf(hash, [&](std::uint32_t known) { return IsEqual(known, set); });
    if (index < Count()) return index;
    m_ranges.insert(m_ranges.end(), set.begin(), set.end());
    m_ends.push_back(static_cast<std::uint32_t>(m_ranges.size()));
    return index;
}

void SetList::Clear() noexcept
{
    m_ranges.clear();
    m_ends.clear();
    m_numbers.Clear();
}

Nfa::Nfa(Node const* root, Memory memory) : m_edges(memory), m_offsets(memory), m_sets(memory)
{
    if (root) NfaBuilder(*this, memory).Build(*root);
    if (m_tooLarge) {
        m_nodeCount = 2;
        m_edges.clear();
        m_sets.Clear();
    }
    SortEdges();
}

// The edges of a node stand together afterwards, so that the subset construction walks a range and no list of pointers.
/// Counting sort by the node left, stable.
void Nfa::SortEdges()
{
    m_offsets.assign(m_nodeCount + 1, 0);
    for (NfaEdge const& edge : m_edges) ++m_offsets[edge.from + 1];
    for (std::uint32_t i = 0; i < m_nodeCount; ++i) m_offsets[i + 1] += m_offsets[i];
    Memory const memory = m_edges.get_allocator().resource();
    List<std::uint32_t> next(m_offsets.begin(), m_offsets.end() - 1, memory);
    List<NfaEdge> sorted(m_edges.size(), memory);
    for (NfaEdge const& edge : m_edges) sorted[next[edge.from]++] = edge;
    m_edges = std::move(sorted);
}

} // namespace xc::match
