#include "match/Expression.h"

#include "match/Dump.h"

#include <numeric>
#include <utility>

namespace xc::match {

Expression::Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits)
{
    bool const translates = parsed.GetCollatingTableP() || parsed.GetWCollatingTableP();
    if (!translates) m_glob = Glob::From(parsed.GetRoot());
    Nfa nfa(parsed.GetRoot());
    if (debug) WriteWideOut(match::DumpNodes(nfa));
    m_tooLarge = nfa.IsTooLarge() && !m_glob;
    if (nfa.IsTooLarge() && m_glob) {
        m_constantStart = XCString(m_glob->Prefix());
        return;
    }
    NodeFacts facts(nfa);
    m_classes.emplace(nfa.Sets());
    if (m_classes->IsFolded()) m_dfa = BuildDfa(nfa, facts, *m_classes, limits);
    m_constantStart = match::ConstantStart(m_dfa, *m_classes);
    if (m_dfa.complete) {
        if (!m_glob) BuildProgram(parsed);
    } else {
        m_dfa = Dfa{};
        if (!m_glob) {
            std::vector<std::uint16_t> classNumbers(m_classes->Count());
            std::iota(classNumbers.begin(), classNumbers.end(), std::uint16_t{0});
            UnitMap map(*m_classes, classNumbers, parsed.GetCollatingTableP(), parsed.GetWCollatingTableP());
            m_sets.emplace(StateSets{std::move(nfa), std::move(facts), std::move(*m_classes), std::move(map)});
        }
        m_classes.reset();
    }
    if (debug) WriteWideOut(DumpStates().View());
}

void Expression::BuildProgram(XCParsedRegEx const& parsed)
{
    ReducedDfa reduced = Reduce(m_dfa);
    bool const translates = parsed.GetCollatingTableP() || parsed.GetWCollatingTableP();
    LoopScans scans = translates ? LoopScans() : LoopScans(reduced, *m_classes);
    bool const shuffles = Shuffle::Suits(reduced);
    std::vector<std::uint16_t> values = reduced.columnOfClass;
    if (shuffles)
        for (std::uint16_t& value : values) value = static_cast<std::uint16_t>(value * Shuffle::kBytesPerColumn);
    UnitMap map(*m_classes, values, parsed.GetCollatingTableP(), parsed.GetWCollatingTableP());
    if (shuffles)
        m_shuffle.emplace(reduced, std::move(scans), std::move(map));
    else
        m_table.emplace(reduced, std::move(scans), std::move(map));
}

bool Expression::Match(wchar_t const* text, std::size_t limit) const
{
    if (m_shuffle) return m_shuffle->Match(text, limit);
    if (m_table) return m_table->Match(text, limit);
    if (m_glob) return m_glob->Match(text, limit);
    return m_sets->Match(text, limit);
}

std::vector<XCRegEx::DfaState> Expression::States() const
{
    std::vector<XCRegEx::DfaState> states;
    states.reserve(m_dfa.StateCount());
    for (std::uint32_t number = 0; number < m_dfa.StateCount(); ++number)
        states.push_back(
            {number, m_dfa.accepting[number] != 0, m_dfa.stop[number] != 0, TransitionsOf(m_dfa, *m_classes, number)});
    return states;
}

XCString Expression::DumpStates() const
{
    if (!m_classes) return {};
    return XCString(match::DumpStates(m_dfa, *m_classes) + DumpStopFlags(m_dfa));
}

} // namespace xc::match
