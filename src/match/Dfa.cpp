// Turns the intermediate automaton into a deterministic one by the subset construction (Rabin and Scott, 1959).
//
// A deterministic state is a closed set of nodes. States are expanded in the order in which they are found, which gives
// them their numbers. The columns are classes of units (UnitClasses), not units: for each class the targets of all
// members are collected, then closed and looked up once. Consecutive classes with the same targets share the look-up,
// which is what makes wide classes cheap.
//
// COST      For each state, the classes of all transitions that leave its members, and one closure for each distinct
//           set of targets. The number of states may be exponential in the pattern: Limits ends the construction, and
//           m_collected bounds the work within one state, where many nodes that read many classes meet.
// INVARIANT Steps of a state are ascending by class. `complete` is true only when every state has its steps.
// STOP      A state stops when it accepts and every class with a unit below 0xFFFE leads back to it.
#include "match/Dfa.h"

#include "match/NumberedSets.h"

#include <algorithm>
#include <map>
#include <utility>

namespace xc::match {

namespace {

/// @tparam Sets MaskSets or ListSets.
template <class Sets>
class DfaBuilder {
public:
    DfaBuilder(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits,
               Memory memory)
        : m_nfa(nfa), m_classes(classes), m_limits(limits), m_sets(nfa, facts, memory),
          m_reached(classes.Count(), memory), m_touched(classes.Count(), memory), m_dfa(memory)
    {
        m_dfa.classCount = classes.Count();
        for (std::uint32_t unitClass = 0; unitClass < classes.Count(); ++unitClass)
            if (IsCommon(unitClass)) ++m_commonClasses;
        std::size_t const likely = std::min<std::size_t>(nfa.NodeCount(), 1024);
        m_dfa.steps.reserve(2 * likely);
        m_dfa.ends.reserve(likely);
        m_dfa.accepting.reserve(likely);
        m_dfa.stop.reserve(likely);
    }

    Dfa Build()
    {
        TargetOf(m_sets.Start());
        bool within = IsWithinLimits();
        while (within && m_dfa.ExpandedCount() < m_sets.Count())
            within = Expand(m_dfa.ExpandedCount()) && IsWithinLimits();
        m_dfa.complete = within;
        return std::move(m_dfa);
    }

private:
    /// The limits bound the time, too: a class collected counts as two bytes, a node visited as 24.
    [[nodiscard]] bool HasTime() const noexcept { return 24 * m_sets.Work() + 2 * m_collected <= m_limits.bytes; }

    [[nodiscard]] bool IsWithinLimits() const noexcept
    {
        std::size_t const cells = static_cast<std::size_t>(m_sets.Count()) * m_dfa.classCount;
        return m_sets.Count() <= static_cast<std::size_t>(m_limits.states) + m_nfa.NodeCount() &&
               cells * sizeof(std::uint32_t) <= m_limits.bytes && m_sets.Bytes() <= m_limits.bytes && HasTime();
    }
    bool Expand(std::uint32_t state)
    {
        if (!CollectReached(state)) return false;
        std::span<std::uint32_t> const touched(m_touched.data(), m_touchedCount);
        if (!std::is_sorted(touched.begin(), touched.end())) std::sort(touched.begin(), touched.end());
        typename Sets::Reached const* before = nullptr;
        std::uint32_t target = Dfa::kNoState;
        std::uint32_t loops = 0; // common classes that lead back
        for (std::uint32_t const unitClass : touched) {
            typename Sets::Reached const& reached = m_reached[unitClass];
            if (!before || *before != reached) target = TargetOf(m_sets.Close(reached));
            if (target != Dfa::kNoState) m_dfa.steps.push_back({unitClass, target});
            if (target == state && IsCommon(unitClass)) ++loops;
            before = &reached;
        }
        m_dfa.ends.push_back(m_dfa.steps.size());
        for (std::uint32_t const unitClass : touched) m_reached[unitClass].clear();
        m_touchedCount = 0;
        m_dfa.stop[state] = m_dfa.accepting[state] && loops == m_commonClasses;
        return true;
    }
    /// The nodes that each class leads to. False when there are more of them than the limits allow: many nodes that read
    /// many classes would fill the memory within one state.
    bool CollectReached(std::uint32_t state)
    {
        m_sets.ForEachNode(state, [this](std::uint32_t node) {
            for (NfaEdge const& edge : m_nfa.Edges(node)) {
                if (edge.set == kEpsilon || !HasTime()) continue;
                std::span<std::uint32_t const> const classes = m_classes.ClassesOf(edge.set);
                m_collected += classes.size();
                if (!HasTime()) continue;
                for (std::uint32_t const unitClass : classes) {
                    bool const isFirst = m_reached[unitClass].empty();
                    m_sets.Add(edge.to, m_reached[unitClass]);
                    if (isFirst && !m_reached[unitClass].empty()) m_touched[m_touchedCount++] = unitClass;
                }
            }
        });
        return HasTime();
    }
    template <class Set>
    std::uint32_t TargetOf(Set const& set)
    {
        if (set.empty() && m_sets.Count() > 0) return Dfa::kNoState;
        std::uint32_t const number = m_sets.NumberOf(set);
        if (number == m_dfa.StateCount()) {
            m_dfa.accepting.push_back(Sets::Accepts(set));
            m_dfa.stop.push_back(0);
        }
        return number;
    }
    /// A state that all of these lead back to stops the match: U+FFFE and U+FFFF alone may lead elsewhere.
    [[nodiscard]] bool IsCommon(std::uint32_t unitClass) const noexcept
    {
        return m_classes.LeastUnit(unitClass) < 0xFFFE;
    }

    Nfa const& m_nfa;
    UnitClasses const& m_classes;
    XCRegEx::Limits m_limits;
    Sets m_sets;
    List<typename Sets::Reached> m_reached; ///< by class
    List<std::uint32_t> m_touched;          ///< the classes that have some, the first m_touchedCount
    std::size_t m_touchedCount = 0;
    std::size_t m_collected = 0;
    std::uint32_t m_commonClasses = 0;
    Dfa m_dfa;
};

} // namespace

Dfa BuildDfa(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits,
             Memory memory)
{
    if (nfa.NodeCount() <= NodeMask::kMax) return DfaBuilder<MaskSets>(nfa, facts, classes, limits, memory).Build();
    return DfaBuilder<ListSets>(nfa, facts, classes, limits, memory).Build();
}

std::vector<std::uint32_t> Dfa::Row(std::uint32_t state) const
{
    std::vector<std::uint32_t> row(classCount, kNoState);
    for (Step const& step : Steps(state)) row[step.unitClass] = step.target;
    return row;
}

std::vector<XCRegEx::DfaTransition> TransitionsOf(Dfa const& dfa, UnitClasses const& classes, std::uint32_t state)
{
    std::vector<XCRegEx::DfaTransition> result;
    std::vector<std::uint32_t> const row = dfa.Row(state);
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
