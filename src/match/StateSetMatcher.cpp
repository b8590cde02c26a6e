// Matches with sets of nodes where the deterministic automaton would be too large.
//
// A step collects the targets of all members on the unit's class and closes them: the simulation of Thompson (1968). The
// sets met in a call are numbered and their transitions remembered, so that a subject that keeps to a few sets pays for
// a set once: a deterministic automaton built as the subject asks for it. The memory is fixed; a full cache is emptied.
//
// STOP      A stopping state ends the match, as in the deterministic automaton. It leads to itself on every unit below
//           U+FFFE, so it makes a difference only where a unit from there on is read, and only there is it asked for.
//           Classes with the same targets lead to the same set: one step is made for each distinct sum of marks, a mark
//           being a hash of a target, and the sums of all classes are found in one sweep over the borders of the sets.
// COST      O(nodes + transitions) a unit at worst; a look-up where set and class were met before.
// INVARIANT States and edges of the cache belong together: both are emptied at once, and m_state is interned again.
#include "match/StateSetMatcher.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace xc::match {

namespace {

class SetRun {
public:
    explicit SetRun(StateSets const& sets)
        : m_sets(sets), m_closure(sets.nfa, sets.facts, std::pmr::new_delete_resource()), m_edges(kEdges)
    {
        m_closure.Close(std::span(&Nfa::kStart, 1), m_set);
        m_state = Intern(m_set);
    }

    bool StopsAt(NodeSetView nodes)
    {
        m_closure.Close(nodes, m_set);
        m_state = Intern(m_set);
        return m_states[m_state].universal || Stops();
    }
    /// Nothing when the answer is not known after `most` units.
    std::optional<bool> Run(wchar_t const* text, std::size_t most)
    {
        for (; *text != 0; ++text, --most) {
            if (most == 0) return {};
            if (m_states[m_state].dead) return false;
            // A set that holds every node reaches acceptance on any rest, so the rest need not be read.
            if (m_states[m_state].universal) return true;
            std::uint32_t const unitClass = m_sets.map[*text];
            if (m_sets.classes.LeastUnit(unitClass) >= StateSets::kUncommon && Stops()) return true;
            Move(unitClass);
        }
        return m_states[m_state].accepting;
    }

private:
    struct State {
        std::size_t begin, end; ///< its nodes within m_ids
        bool accepting, universal, dead;
        bool knowsStop = false, stop = false;
    };
    struct CachedEdge {
        std::uint32_t state = 0xFFFFFFFF;
        std::uint32_t unitClass = 0;
        std::uint32_t target = 0;
    };
    static constexpr std::size_t kEdges = 4096; // powers of two
    static constexpr std::size_t kSlots = 1024;
    static constexpr std::size_t kMaxStates = 512;
    static constexpr std::size_t kMaxIds = 1u << 16;

    void Move(std::uint32_t unitClass)
    {
        // Multiplied so that neighbouring states spread over the cache. A clash only forgets the older edge: the cache
        // holds no truth of its own, and a miss costs one step.
        CachedEdge& edge = m_edges[(m_state * 0x9E3779B1u + unitClass) & (kEdges - 1)];
        if (edge.state == m_state && edge.unitClass == unitClass) {
            m_state = edge.target;
            return;
        }
        Step(Nodes(m_state), unitClass, m_set);
        std::uint32_t const from = m_state;
        // Emptied as a whole when full. Throwing out the least used would need bookkeeping in every step, and a
        // subject that meets five hundred sets will meet new ones anyway.
        bool const room = m_states.size() < kMaxStates && m_ids.size() + m_set.size() <= kMaxIds;
        if (!room) Forget();
        m_state = Intern(m_set);
        // After emptying, `from` names nothing any more, and the edge must not be kept.
        if (room) edge = {from, unitClass, m_state};
    }
    [[nodiscard]] NodeSetView Nodes(std::uint32_t state) const noexcept
    {
        return {m_ids.data() + m_states[state].begin, m_ids.data() + m_states[state].end};
    }
    void Step(NodeSetView nodes, std::uint32_t unitClass, NodeSet& result)
    {
        std::uint32_t const unit = m_sets.classes.LeastUnit(unitClass);
        m_targets.clear();
        for (std::uint32_t const node : nodes)
            for (NfaEdge const& edge : m_sets.nfa.Edges(node))
                if (edge.set != kEpsilon && m_sets.nfa.Sets().IsInSet(edge.set, unit)) m_targets.push_back(edge.to);
        m_closure.Close(m_targets, result);
    }
    void Forget()
    {
        m_states.clear();
        m_ids.clear();
        m_slots.fill(kFree);
        std::fill(m_edges.begin(), m_edges.end(), CachedEdge{});
    }
    /// The state of a set, made when it is new; there must be room.
    std::uint32_t Intern(NodeSet const& set)
    {
        std::uint64_t hash = set.size();
        for (std::uint32_t const id : set) hash = (hash ^ id) * 0x9E3779B97F4A7C15u;
        std::size_t slot = static_cast<std::size_t>(hash >> 32) & (kSlots - 1);
        // Ends: there are twice as many slots as states at most.
        for (; m_slots[slot] != kFree; slot = (slot + 1) & (kSlots - 1)) {
            NodeSetView const known = Nodes(m_slots[slot]);
            if (std::equal(known.begin(), known.end(), set.begin(), set.end())) return m_slots[slot];
        }
        auto const state = static_cast<std::uint32_t>(m_states.size());
        m_slots[slot] = static_cast<std::uint16_t>(state);
        bool const accepting = IsAccepting(set);
        m_states.push_back({m_ids.size(), m_ids.size() + set.size(), accepting,
                            accepting && set == m_sets.facts.Universal(), set.empty()});
        m_ids.insert(m_ids.end(), set.begin(), set.end());
        return state;
    }
    bool Stops()
    {
        State& state = m_states[m_state];
        // Asked once a state, and only of states that accept: a stop elsewhere would not change the answer.
        if (!std::exchange(state.knowsStop, true) && state.accepting) state.stop = LeadsBack(Nodes(m_state));
        return state.stop;
    }
    /// Every unit below U+FFFE leads back to the set.
    bool LeadsBack(NodeSetView set)
    {
        std::vector<std::uint64_t> const sums = TargetSums(set);
        std::unordered_set<std::uint64_t> seen;
        auto const& atoms = m_sets.classes.Atoms();
        for (std::size_t i = 0; i < atoms.size() && atoms[i].begin < StateSets::kUncommon; ++i) {
            // Equal sums stand for equal targets but for a clash of 64 bits, and a clash would need two of a few
            // hundred.
            if (!seen.insert(sums[i]).second) continue;
            Step(set, atoms[i].unitClass, m_next);
            if (!std::equal(set.begin(), set.end(), m_next.begin(), m_next.end())) return false;
        }
        return true;
    }
    /// For each atom a number that is the same where the same transitions are taken.
    [[nodiscard]] std::vector<std::uint64_t> TargetSums(NodeSetView set) const
    {
        std::unordered_map<std::uint32_t, std::uint64_t> marks; // by set of units
        for (std::uint32_t const node : set)
            for (NfaEdge const& edge : m_sets.nfa.Edges(node))
                if (edge.set != kEpsilon) marks[edge.set] += Mark(edge.to);
        std::vector<std::uint64_t> sums(m_sets.classes.Atoms().size() + 1);
        for (auto const& [units, mark] : marks) {
            for (auto const& range : m_sets.nfa.Sets()[units]) {
                // Added where a range begins and taken off where it ends: the running sum below then has, at each
                // atom, the marks of all ranges around it.
                sums[m_sets.classes.AtomAt(range.begin)] += mark;
                sums[m_sets.classes.AtomAt(range.end)] -= mark;
            }
        }
        std::partial_sum(sums.begin(), sums.end(), sums.begin());
        return sums;
    }
    static std::uint64_t Mark(std::uint64_t node) noexcept
    {
        node = (node + 1) * 0x9E3779B97F4A7C15u;
        node = (node ^ node >> 32) * 0xD6E8FEB86659FD93u;
        return node ^ node >> 32;
    }

    static constexpr std::uint16_t kFree = 0xFFFF;
    StateSets const& m_sets;
    Closure m_closure;
    std::vector<State> m_states;
    NodeSet m_ids;
    std::vector<CachedEdge> m_edges;
    std::array<std::uint16_t, kSlots> m_slots = [] {
        std::array<std::uint16_t, kSlots> free;
        free.fill(kFree);
        return free;
    }();
    NodeSet m_set, m_next, m_targets;
    std::uint32_t m_state = 0;
};

/// About what the copies take.
std::size_t BytesOf(Nfa const& nodes, UnitClasses const& unitClasses) noexcept
{
    return 4096 + nodes.NodeCount() * 64 + unitClasses.Atoms().size() * 32;
}

} // namespace

StateSets::StateSets(XCParsedRegEx const& parsed, Nfa const& nodes, NodeFacts const& nodeFacts,
                     UnitClasses const& unitClasses)
    : SetProgram(BytesOf(nodes, unitClasses)), nfa(nullptr, Arrays()), facts(nfa, Arrays()),
      classes(nfa.Sets(), Arrays()), map(UnitMap::OfClasses(unitClasses, parsed, Arrays()))
{
    // Assigned, because a copy of a list would stand wherever the process has its lists by default.
    nfa = nodes;
    facts = nodeFacts;
    classes = unitClasses;
}

auto StateSets::Run(wchar_t const* text, std::size_t most) const -> Outcome
{
    // The memory of a call takes as long as some thousand units, and a unit that is looked up as long as some.
    constexpr std::size_t kCall = 4096;
    constexpr std::size_t kUnit = 8;
    std::size_t const units = std::max<std::size_t>(most / kUnit, 1);
    std::optional<bool> const matches = SetRun(*this).Run(text, units);
    return {matches, kCall + kUnit * text::UnitCount(text, std::min<std::size_t>(units, kCall))};
}

bool StateSets::StopsAt(NodeSetView nodes) const
{
    return SetRun(*this).StopsAt(nodes);
}

} // namespace xc::match
