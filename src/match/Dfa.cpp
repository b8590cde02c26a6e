#include "match/Dfa.h"

#include <algorithm>
#include <map>
#include <utility>

namespace xc::match {

namespace {

/// Numbers the node sets it is shown. Sets stand one behind the other; an open hash table finds them.
class SetNumbers {
public:
    SetNumbers() : m_slots(64, Dfa::kNoState) {}
    [[nodiscard]] std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_ends.size()); }
    [[nodiscard]] std::size_t Bytes() const noexcept { return (m_ids.size() + m_ends.size()) * sizeof(std::uint32_t); }
    [[nodiscard]] NodeSetView Get(std::uint32_t number) const noexcept
    {
        std::size_t const begin = number == 0 ? 0 : m_ends[number - 1];
        return {m_ids.data() + begin, m_ends[number] - begin};
    }
    /// The number of the set, a new one when it was not known.
    std::uint32_t NumberOf(NodeSetView set)
    {
        if (2 * (m_ends.size() + 1) > m_slots.size()) Grow();
        std::size_t slot = Slot(set);
        while (m_slots[slot] != Dfa::kNoState) {
            NodeSetView const known = Get(m_slots[slot]);
            if (std::equal(known.begin(), known.end(), set.begin(), set.end())) return m_slots[slot];
            slot = (slot + 1) & (m_slots.size() - 1);
        }
        m_slots[slot] = Count();
        m_ids.insert(m_ids.end(), set.begin(), set.end());
        m_ends.push_back(m_ids.size());
        return m_slots[slot];
    }

private:
    [[nodiscard]] std::size_t Slot(NodeSetView set) const noexcept
    {
        std::uint64_t hash = set.size();
        for (std::uint32_t const id : set) hash = (hash ^ id) * 0x9E3779B97F4A7C15u;
        return static_cast<std::size_t>(hash >> 32) & (m_slots.size() - 1);
    }
    void Grow()
    {
        m_slots.assign(2 * m_slots.size(), Dfa::kNoState);
        for (std::uint32_t number = 0; number < Count(); ++number) {
            std::size_t slot = Slot(Get(number));
            while (m_slots[slot] != Dfa::kNoState) slot = (slot + 1) & (m_slots.size() - 1);
            m_slots[slot] = number;
        }
    }

    std::vector<std::uint32_t> m_ids;
    std::vector<std::size_t> m_ends;
    std::vector<std::uint32_t> m_slots;
};

class DfaBuilder {
public:
    DfaBuilder(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits)
        : m_nfa(nfa), m_classes(classes), m_limits(limits), m_closure(nfa, facts), m_reached(classes.Count())
    {
        m_dfa.classCount = classes.Count();
    }

    Dfa Build()
    {
        NodeSet start;
        m_closure.Close(std::vector{Nfa::kStart}, start);
        TargetOf(start);
        bool within = IsWithinLimits();
        while (within && m_dfa.ExpandedCount() < m_sets.Count())
            within = Expand(m_dfa.ExpandedCount()) && IsWithinLimits();
        m_dfa.complete = within;
        return std::move(m_dfa);
    }

private:
    [[nodiscard]] bool IsWithinLimits() const noexcept
    {
        std::size_t const cells = static_cast<std::size_t>(m_sets.Count()) * m_dfa.classCount;
        return m_sets.Count() <= static_cast<std::size_t>(m_limits.states) + m_nfa.NodeCount() &&
               cells * sizeof(std::uint32_t) <= m_limits.bytes && m_sets.Bytes() <= m_limits.bytes &&
               m_closure.Work() <= m_limits.bytes;
    }
    bool Expand(std::uint32_t state)
    {
        if (!CollectReached(m_sets.Get(state))) return false;
        std::sort(m_touched.begin(), m_touched.end());
        m_dfa.targets.resize(m_dfa.targets.size() + m_dfa.classCount, Dfa::kNoState);
        NodeSet const* before = nullptr;
        std::uint32_t target = Dfa::kNoState;
        for (std::uint32_t const unitClass : m_touched) {
            NodeSet& reached = m_reached[unitClass];
            if (!before || *before != reached) {
                m_closure.Close(reached, m_set);
                target = TargetOf(m_set);
            }
            m_dfa.targets[static_cast<std::size_t>(state) * m_dfa.classCount + unitClass] = target;
            before = &reached;
        }
        for (std::uint32_t const unitClass : m_touched) m_reached[unitClass].clear();
        m_touched.clear();
        m_dfa.stop[state] = m_dfa.accepting[state] && LoopsOnAlmostAll(state);
        return true;
    }
    /// The nodes that each class leads to, before epsilon transitions. False when there are more of them than the limits
    /// allow: many nodes that read many classes would fill the memory within one state.
    bool CollectReached(NodeSetView nodes)
    {
        for (std::uint32_t const node : nodes) {
            for (NfaEdge const& edge : m_nfa.Edges(node)) {
                if (edge.set == kEpsilon) continue;
                std::span<std::uint32_t const> const classes = m_classes.ClassesOf(edge.set);
                m_collected += classes.size();
                if (m_collected > m_limits.bytes) return false;
                for (std::uint32_t const unitClass : classes) {
                    if (m_reached[unitClass].empty()) m_touched.push_back(unitClass);
                    m_reached[unitClass].push_back(edge.to);
                }
            }
        }
        return true;
    }
    std::uint32_t TargetOf(NodeSet const& set)
    {
        if (set.empty() && m_sets.Count() > 0) return Dfa::kNoState;
        std::uint32_t const number = m_sets.NumberOf(set);
        if (number == m_dfa.StateCount()) {
            m_dfa.accepting.push_back(IsAccepting(set));
            m_dfa.stop.push_back(0);
        }
        return number;
    }
    [[nodiscard]] bool LoopsOnAlmostAll(std::uint32_t state) const noexcept
    {
        std::span<std::uint32_t const> const row = m_dfa.Row(state);
        for (std::uint32_t unitClass = 0; unitClass < row.size(); ++unitClass)
            if (row[unitClass] != state && m_classes.LeastUnit(unitClass) < 0xFFFE) return false;
        return true;
    }

    Nfa const& m_nfa;
    UnitClasses const& m_classes;
    XCRegEx::Limits m_limits;
    Closure m_closure;
    SetNumbers m_sets;
    std::vector<NodeSet> m_reached;
    std::vector<std::uint32_t> m_touched;
    std::size_t m_collected = 0;
    NodeSet m_set;
    Dfa m_dfa;
};

} // namespace

Dfa BuildDfa(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits)
{
    return DfaBuilder(nfa, facts, classes, limits).Build();
}

std::vector<XCRegEx::DfaTransition> TransitionsOf(Dfa const& dfa, UnitClasses const& classes, std::uint32_t state)
{
    std::vector<XCRegEx::DfaTransition> result;
    std::span<std::uint32_t const> const row = dfa.Row(state);
    for (std::size_t i = 0; i < classes.Atoms().size(); ++i) {
        UnitClasses::Atom const& atom = classes.Atoms()[i];
        std::uint32_t const target = row[atom.unitClass];
        if (target == Dfa::kNoState) continue;
        auto const begin = static_cast<std::uint16_t>(atom.begin);
        auto const end = static_cast<std::uint16_t>(classes.AtomEnd(i));
        if (!result.empty() && result.back().end == begin && result.back().target == target)
            result.back().end = end;
        else
            result.push_back({begin, end, target});
    }
    return result;
}

XCString ConstantStart(Dfa const& dfa, UnitClasses const& classes)
{
    XCString start;
    std::map<std::vector<std::uint8_t>, XCString> known; // by the classes read: what a state with one range appends
    for (std::uint32_t state = 0; state < dfa.ExpandedCount(); ++state) {
        if (dfa.accepting[state]) continue;
        std::vector<std::uint8_t> reads;
        std::uint32_t target = Dfa::kNoState;
        for (std::uint32_t const next : dfa.Row(state)) {
            reads.push_back(next != Dfa::kNoState);
            if (next == Dfa::kNoState) continue;
            if (target != Dfa::kNoState && target != next) return start;
            target = next;
        }
        auto const [at, isNew] = known.try_emplace(std::move(reads));
        if (isNew) {
            auto const transitions = TransitionsOf(dfa, classes, state);
            if (transitions.size() > 1) return start;
            if (!transitions.empty()) at->second += static_cast<wchar_t>(transitions.front().first);
        }
        start += at->second;
    }
    return start;
}

} // namespace xc::match
