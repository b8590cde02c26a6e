// Lays a syntax tree out as states with ordered transitions, the form that finding works on.
//
// The deterministic automaton forgets which way a text was read, and so does the one that it is made from: branches that
// share nodes have no order. Finding the groups of a match needs both, so the tree is laid out once more, by Thompson's
// construction without any sharing, when a place is first asked for. A split prefers the left branch of an alternative,
// and one more pass of a repetition to its end. Marks around a group note where it begins and ends.
//
// COST      O(states); at most XCRegEx::kMaxNodes, counted repetition unfolded. A larger expression finds nothing.
// INVARIANT Each state is written once: by the item of the work list that begins at it.
#include "match/FindProgram.h"

#include <algorithm>

namespace xc::match {

using Node = XCRegExSyntaxNode;
using Kind = FindProgram::Kind;

class FindBuilder {
public:
    explicit FindBuilder(FindProgram& program) : m_program(program), m_states(program.m_states) { m_states.resize(2); }

    void Build(Node const* root)
    {
        // A list and no recursion: a sequence of a thousand units is a tree of that depth.
        if (root) m_work.push_back({root, FindProgram::kStart, FindProgram::kEnd, true});
        while (!m_work.empty() && m_states.size() <= XCRegEx::kMaxNodes) {
            Item const item = m_work.back();
            m_work.pop_back();
            Expand(item);
        }
        // Work left over: the limit was reached. A half-built program would find wrong places, so that it finds none.
        if (!root || !m_work.empty()) MatchNothing();
    }

private:
    struct Item {
        Node const* node;
        std::uint32_t from, to;
        bool marks; ///< the groups that the node is are still to be marked
    };

    void MatchNothing()
    {
        m_states.assign(2, {});
        m_program.m_sets.Clear();
        m_states[FindProgram::kStart] = {Kind::Units, FindProgram::kEnd, m_program.m_sets.IndexOf({})};
    }
    void Expand(Item const& item)
    {
        // Marked first, then laid out between the marks, with the note that its own marks are made.
        if (item.marks && item.node->GetGroupCount() > 0) return Mark(item);
        switch (item.node->GetType()) {
        case Node::NodeType::CharSetNode:
            m_states[item.from] = {
                Kind::Units, item.to,
                m_program.m_sets.IndexOf(static_cast<Node::CharSetNode const*>(item.node)->GetCharSet())};
            break;
        case Node::NodeType::SequenceNode: ExpandSequence(item); break;
        case Node::NodeType::AlternativeNode: ExpandAlternative(item); break;
        case Node::NodeType::RepeatNode: ExpandRepeat(item); break;
        }
    }
    /// Groups that are one node are nested in each other: the first one is the outermost.
    void Mark(Item const& item)
    {
        std::uint32_t from = item.from;
        std::uint32_t to = item.to;
        for (std::uint32_t i = 0; i < item.node->GetGroupCount(); ++i) {
            std::uint32_t const group = item.node->GetFirstGroup() + i;
            m_program.m_groupCount = std::max(m_program.m_groupCount, group);
            std::uint32_t const inner = NewState();
            std::uint32_t const last = NewState();
            // Slots of a match: even ones hold beginnings, odd ones ends.
            m_states[from] = {Kind::Mark, inner, 2 * group};
            m_states[last] = {Kind::Mark, to, 2 * group + 1};
            from = inner;
            to = last;
        }
        m_work.push_back({item.node, from, to, false});
    }
    void ExpandSequence(Item const& item)
    {
        std::uint32_t to = item.to;
        Node const* node = item.node;
        bool own = true; // groups of the inner sequences must be marked
        while (node->GetType() == Node::NodeType::SequenceNode && (own || node->GetGroupCount() == 0)) {
            std::uint32_t const from = NewState();
            m_work.push_back({node->GetRightChildP(), from, to, true});
            to = from;
            node = node->GetLeftChildP();
            own = false;
        }
        m_work.push_back({node, item.from, to, true});
    }
    void ExpandAlternative(Item const& item)
    {
        std::uint32_t const left = NewState();
        std::uint32_t const right = NewState();
        m_states[item.from] = {Kind::Split, left, right};
        m_work.push_back({item.node->GetLeftChildP(), left, item.to, true});
        m_work.push_back({item.node->GetRightChildP(), right, item.to, true});
    }
    void ExpandRepeat(Item const& item)
    {
        auto const& repeat = static_cast<Node::RepeatNode const&>(*item.node);
        Node const* const child = item.node->GetLeftChildP();
        std::uint32_t at = item.from;
        for (std::uint32_t i = 0; i < repeat.GetMinimum() && HasRoom(); ++i) {
            std::uint32_t const next = NewState();
            m_work.push_back({child, at, next, true});
            at = next;
        }
        bool const loops = repeat.GetMaximum() == Node::Unbounded;
        if (loops) {
            std::uint32_t const body = NewState();
            // The first of a split is the preferred way: one more pass of the repetition.
            m_states[at] = {Kind::Split, body, item.to};
            m_work.push_back({child, body, at, true});
            return;
        }
        for (std::uint32_t i = repeat.GetMinimum(); i < repeat.GetMaximum() && HasRoom(); ++i) {
            std::uint32_t const body = NewState();
            std::uint32_t const next = NewState();
            m_states[at] = {Kind::Split, body, item.to};
            m_work.push_back({child, body, next, true});
            at = next;
        }
        m_states[at] = {Kind::Jump, item.to, FindProgram::kNone};
    }
    [[nodiscard]] bool HasRoom() const noexcept { return m_states.size() <= XCRegEx::kMaxNodes; }
    std::uint32_t NewState()
    {
        m_states.emplace_back();
        return static_cast<std::uint32_t>(m_states.size() - 1);
    }
    FindProgram& m_program;
    std::vector<FindProgram::State>& m_states;
    std::vector<Item> m_work;
};

/// The sets of the states, which the classes are made of.
SetList const& FindProgram::LayOut(XCRegExSyntaxNode const* root)
{
    FindBuilder(*this).Build(root);
    return m_sets;
}

FindProgram::FindProgram(XCParsedRegEx const& parsed)
    : m_sets(std::pmr::new_delete_resource()), m_classes(LayOut(parsed.GetRoot()), std::pmr::new_delete_resource()),
      m_map(UnitMap::OfClasses(m_classes, parsed, std::pmr::new_delete_resource()))
{
    // Where a collating table folds several units into one class, membership is a bit for each set and class; without
    // one, the range of a unit tells.
    m_words = (m_classes.Count() + 63) / 64;
    if (m_classes.IsFolded()) {
        m_members.resize(m_sets.Count() * m_words);
        for (std::uint32_t set = 0; set < m_sets.Count(); ++set)
            for (std::uint32_t const c : m_classes.ClassesOf(set))
                m_members[set * m_words + c / 64] |= std::uint64_t{1} << c % 64;
    }
    ListPredecessors();
    // With a table the units of the text are not those of the sets, and skipping by them would skip matches.
    if (!parsed.GetCollatingTableP() && !parsed.GetWCollatingTableP()) FindFirstUnits();
}

/// Counting sort of the transitions by the state that they lead to.
void FindProgram::ListPredecessors()
{
    m_offsets.assign(m_states.size() + 1, 0);
    auto const forEach = [this](auto visit) {
        for (std::uint32_t s = 0; s < m_states.size(); ++s) {
            if (m_states[s].kind == Kind::End) continue;
            visit(s, m_states[s].next);
            if (m_states[s].kind == Kind::Split) visit(s, m_states[s].other);
        }
    };
    forEach([this](std::uint32_t, std::uint32_t to) { ++m_offsets[to + 1]; });
    // Counts become places: state s has its predecessors from m_offsets[s] on.
    for (std::size_t i = 1; i < m_offsets.size(); ++i) m_offsets[i] += m_offsets[i - 1];
    m_predecessors.resize(m_offsets.back());
    std::vector<std::uint32_t> at(m_offsets.begin(), m_offsets.end() - 1);
    forEach([&](std::uint32_t from, std::uint32_t to) { m_predecessors[at[to]++] = from; });
}

/// The units that every match begins with, where they are a few ranges and no match is empty.
void FindProgram::FindFirstUnits()
{
    std::vector<std::uint32_t> pending{kStart};
    std::vector<bool> seen(m_states.size());
    XCUWCharSet first;
    while (!pending.empty()) {
        std::uint32_t const at = pending.back();
        pending.pop_back();
        if (seen[at]) continue;
        seen[at] = true;
        State const& state = m_states[at];
        // An empty match begins anywhere, and too many ranges would cost more than they skip.
        if (state.kind == Kind::End || first.GetRangeCount() > text::UnitRanges::kMax) return;
        if (state.kind == Kind::Units) {
            for (auto const& range : m_sets[state.other]) first.Add(range);
            continue;
        }
        pending.push_back(state.next);
        if (state.kind == Kind::Split) pending.push_back(state.other);
    }
    m_skips = true;
    for (auto const& range : first) m_skips = m_firstUnits.Add(range.begin, range.end - 1u) && m_skips;
}

} // namespace xc::match
