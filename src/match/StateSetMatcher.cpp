#include "match/StateSetMatcher.h"

#include <algorithm>
#include <array>

namespace xc::match {

namespace {

class SetRun {
public:
    explicit SetRun(StateSets const& sets) : m_sets(sets), m_closure(sets.nfa, sets.facts), m_edges(kEdges)
    {
        m_closure.Close(std::vector{Nfa::kStart}, m_set);
        m_state = Intern(m_set);
    }

    bool Run(wchar_t const* text)
    {
        for (; *text != 0; ++text) {
            if (m_states[m_state].dead) return false;
            if (m_states[m_state].stop) return true;
            Move(m_sets.map[*text]);
        }
        return m_states[m_state].accepting;
    }

private:
    struct State {
        std::size_t begin, end; ///< its nodes within m_ids
        bool accepting, stop, dead;
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
    static constexpr std::size_t kMaxStopWork = 1u << 20;

    void Move(std::uint32_t unitClass)
    {
        CachedEdge& edge = m_edges[(m_state * 0x9E3779B1u + unitClass) & (kEdges - 1)];
        if (edge.state == m_state && edge.unitClass == unitClass) {
            m_state = edge.target;
            return;
        }
        Step(Nodes(m_state), unitClass, m_set);
        std::uint32_t const from = m_state;
        bool const room = m_states.size() < kMaxStates && m_ids.size() + m_set.size() <= kMaxIds;
        if (!room) Forget();
        m_state = Intern(m_set);
        if (room) edge = {from, unitClass, m_state};
    }
    [[nodiscard]] NodeSetView Nodes(std::uint32_t state) const noexcept
    {
        return {m_ids.data() + m_states[state].begin, m_ids.data() + m_states[state].end};
    }
    void Step(NodeSetView nodes, std::uint32_t unitClass, NodeSet& result)
    {
        auto const unit = static_cast<unsigned short>(m_sets.classes.LeastUnit(unitClass));
        m_targets.clear();
        for (std::uint32_t const node : nodes)
            for (NfaEdge const& edge : m_sets.nfa.Edges(node))
                if (edge.set != kEpsilon && m_sets.nfa.Sets()[edge.set].IsInSet(unit)) m_targets.push_back(edge.to);
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
        for (; m_slots[slot] != kFree; slot = (slot + 1) & (kSlots - 1)) {
            NodeSetView const known = Nodes(m_slots[slot]);
            if (std::equal(known.begin(), known.end(), set.begin(), set.end())) return m_slots[slot];
        }
        auto const state = static_cast<std::uint32_t>(m_states.size());
        m_slots[slot] = static_cast<std::uint16_t>(state);
        bool const accepting = IsAccepting(set);
        m_states.push_back({m_ids.size(), m_ids.size() + set.size(), accepting, accepting && IsStop(set), set.empty()});
        m_ids.insert(m_ids.end(), set.begin(), set.end());
        return state;
    }
    /// Every unit from 0x0000 to 0xFFFD leads back to the set. Not asked where it would take longer than reading on.
    bool IsStop(NodeSet const& set)
    {
        if (set == m_sets.facts.Universal()) return true;
        if (set.size() * m_sets.classes.Count() > kMaxStopWork) return false;
        for (std::uint32_t unitClass = 0; unitClass < m_sets.classes.Count(); ++unitClass) {
            if (m_sets.classes.LeastUnit(unitClass) >= 0xFFFE) continue;
            Step(set, unitClass, m_next);
            if (m_next != set) return false;
        }
        return true;
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

} // namespace

bool StateSets::Match(wchar_t const* text) const
{
    return SetRun(*this).Run(text);
}

} // namespace xc::match
