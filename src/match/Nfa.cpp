// Lays a syntax tree out as an automaton whose transitions read one set of units or nothing.
//
// The construction is Thompson's (Regular Expression Search Algorithm, 1968): every subtree lies between two given
// nodes, so parts are joined without copying. It differs from the textbook in three places, all to keep the automaton
// small: the branches of an alternative share both of their nodes, branches of one small set each become one
// transition, and a sequence numbers its nodes along the text. Counted repetition is unfolded, a copy for each count,
// because a deterministic automaton has no counters. The tree may be as deep as memory allows, so a work list takes the
// place of recursion.
//
// COST      O(nodes + transitions); IsTooLarge ends it at XCRegEx::kMaxNodes nodes, or four steps a node.
// INVARIANT Nodes 0 and 1 are the start and the end. No transition leaves the end.
#include "match/Nfa.h"

#include "match/Numbering.h"

#include <unordered_map>
#include <utility>

namespace xc::match {

using Node = XCRegExSyntaxNode;

/// Lays the tree out between two nodes, by a work list instead of recursion: trees may be deep.
class NfaBuilder {
public:
    explicit NfaBuilder(Nfa& nfa) : m_nfa(nfa) { m_nfa.m_edges.reserve(128); }
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
        m_parts.clear();
        Node const* node = item.node;
        for (; node->GetType() == Node::NodeType::SequenceNode; node = node->GetLeftChildP())
            m_parts.push_back(node->GetRightChildP());
        m_parts.push_back(node);
        std::uint32_t from = item.from;
        for (std::size_t i = m_parts.size(); i-- > 0 && !m_nfa.m_tooLarge;) {
            std::uint32_t const to = i == 0 ? item.to : NewNode();
            m_work.push_back({m_parts[i], from, to});
            from = to;
        }
    }
    static bool IsSmallLeaf(Node const* node)
    {
        return node->GetType() == Node::NodeType::CharSetNode &&
               static_cast<Node::CharSetNode const*>(node)->GetCharSet().GetRangeCount() <= kLargeSet;
    }
    /// Branches that are one small set each become one transition, or a few.
    void ExpandAlternative(Item const& item)
    {
        XCUWCharSet merged;
        Node const* node = item.node;
        auto const take = [&](Node const* branch) {
            CountStep();
            if (!IsSmallLeaf(branch)) return m_work.push_back({branch, item.from, item.to});
            for (auto const& range : static_cast<Node::CharSetNode const*>(branch)->GetCharSet()) merged.Add(range);
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
        std::uint32_t const plainCopies = loops && minimum > 0 ? minimum - 1 : minimum;
        for (std::uint32_t i = 0; i < plainCopies && !m_nfa.m_tooLarge; ++i) at = AddCopy(child, at, NewNode());
        if (loops) return AddLoop(child, at, item.to, minimum == 0);
        for (std::uint32_t i = minimum; i < maximum && !m_nfa.m_tooLarge; ++i) {
            AddEpsilon(at, item.to);
            at = AddCopy(child, at, NewNode());
        }
        AddEpsilon(at, item.to);
    }
    /// Once or more between two nodes, or any number of times when it may be skipped.
    void AddLoop(Node const* child, std::uint32_t from, std::uint32_t to, bool mayBeSkipped)
    {
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
        if (!set.IsEmpty()) m_nfa.m_edges.push_back({from, to, SetIndex(set)});
    }
    /// A leaf in a repetition comes many times: the index of a large set is remembered.
    void AddLeaf(Item const& item)
    {
        auto const& leaf = *static_cast<Node::CharSetNode const*>(item.node);
        if (leaf.GetCharSet().GetRangeCount() <= kLargeSet) return AddSet(item.from, item.to, leaf.GetCharSet());
        auto const [at, isNew] = m_leafIndices.try_emplace(&leaf, 0);
        if (isNew) at->second = SetIndex(leaf.GetCharSet());
        m_nfa.m_edges.push_back({item.from, item.to, at->second});
    }
    std::uint32_t SetIndex(XCUWCharSet const& set)
    {
        std::uint64_t hash = 0;
        for (auto const& range : set)
            hash = (hash ^ (range.begin | std::uint64_t{range.end} << 16)) * 0x9E3779B97F4A7C15u;
        std::uint32_t const index =
            m_setNumbers.NumberOf(hash, [&](std::uint32_t known) { return m_nfa.m_sets[known] == set; });
        if (index == m_nfa.m_sets.size()) m_nfa.m_sets.push_back(set);
        return index;
    }

    Nfa& m_nfa;
    std::vector<Item> m_work;
    std::vector<Node const*> m_parts; ///< of the sequence at hand
    Numbering m_setNumbers;
    std::unordered_map<Node const*, std::uint32_t> m_leafIndices;
    std::uint32_t m_steps = 0;
};

Nfa::Nfa(XCSmartPtr<XCRegExSyntaxNode> const& root)
{
    if (!root.IsNull()) NfaBuilder(*this).Build(*root.GetPtr());
    if (m_tooLarge) {
        m_nodeCount = 2;
        m_edges.clear();
        m_sets.clear();
    }
    SortEdges();
}

/// Counting sort by the node left, stable.
void Nfa::SortEdges()
{
    m_offsets.assign(m_nodeCount + 1, 0);
    for (NfaEdge const& edge : m_edges) ++m_offsets[edge.from + 1];
    for (std::uint32_t i = 0; i < m_nodeCount; ++i) m_offsets[i + 1] += m_offsets[i];
    std::vector<std::uint32_t> next(m_offsets.begin(), m_offsets.end() - 1);
    std::vector<NfaEdge> sorted(m_edges.size());
    for (NfaEdge const& edge : m_edges) sorted[next[edge.from]++] = edge;
    m_edges = std::move(sorted);
}

} // namespace xc::match
