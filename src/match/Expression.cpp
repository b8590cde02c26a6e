// Chooses the program that matches an expression.
//
// Literals and ".*" alone are searched for (Glob). For others the automata are built: up to sixteen states run as byte
// shuffles where the processor has AVX2, more as a table, and an automaton beyond the limits is followed by sets of
// nodes. All programs give the same answers; the choice is made by size alone, so it is the same in every run on one
// machine.
//
// INVARIANT m_program is set at construction and never changes. m_automaton is for looking inside: where matching does
//           not need it, the first question builds it under m_building.
#include "match/Expression.h"

#include "match/Dump.h"
#include "match/Glob.h"
#include "match/Shuffle.h"
#include "match/StateSetMatcher.h"
#include "match/Table.h"

#include <numeric>
#include <utility>

namespace xc::match {

namespace {

bool Translates(XCParsedRegEx const& parsed) noexcept
{
    return parsed.GetCollatingTableP() || parsed.GetWCollatingTableP();
}

UnitMap MapOf(XCParsedRegEx const& parsed, UnitClasses const& classes, std::span<std::uint16_t const> valueOfClass)
{
    return UnitMap(classes, valueOfClass, parsed.GetCollatingTableP(), parsed.GetWCollatingTableP());
}

} // namespace

Expression::Automaton::Automaton(Nfa const& nfa, NodeFacts const& facts, XCRegEx::Limits const& limits)
    : classes(nfa.Sets())
{
    if (classes->IsFolded()) dfa = BuildDfa(nfa, facts, *classes, limits);
}

void Expression::Automaton::Forget()
{
    constantStart = match::ConstantStart(dfa, *classes);
    dfa = Dfa{};
    classes.reset();
}

Expression::Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits) : m_limits(limits)
{
    if (debug) WriteWideOut(XCRegEx::DumpNodes(parsed).View());
    if (!Translates(parsed)) m_program = Glob::From(parsed.GetRoot());
    if (m_program)
        m_globRoot = parsed.GetRoot();
    else
        MakeProgram(parsed);
    if (debug) WriteWideOut(DumpStates().View());
}

void Expression::MakeProgram(XCParsedRegEx const& parsed)
{
    Nfa nfa(parsed.GetRoot());
    m_tooLarge = nfa.IsTooLarge();
    NodeFacts facts(nfa);
    m_automaton = std::make_unique<Automaton>(nfa, facts, m_limits);
    if (m_automaton->dfa.complete) return MakeTableProgram(parsed);
    m_usesSets = true;
    UnitClasses classes = *m_automaton->classes;
    m_automaton->Forget();
    std::vector<std::uint16_t> numbers(classes.Count());
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{0});
    UnitMap map = MapOf(parsed, classes, numbers);
    m_program = std::make_unique<StateSets>(std::move(nfa), std::move(facts), std::move(classes), std::move(map));
}

void Expression::MakeTableProgram(XCParsedRegEx const& parsed)
{
    UnitClasses const& classes = *m_automaton->classes;
    ReducedDfa const reduced = Reduce(m_automaton->dfa);
    bool const translates = Translates(parsed);
    LoopScans scans = translates ? LoopScans() : LoopScans(reduced, classes);
    Opening const opening(reduced, translates ? nullptr : &classes);
    UnitMap map = MapOf(parsed, classes, reduced.columnOfClass);
    m_program = (SuitsShuffle(reduced) ? MakeShuffle : MakeTable)(reduced, opening, std::move(scans), std::move(map));
}

auto Expression::GetAutomaton() const -> Automaton const&
{
    if (m_globRoot.IsNull()) return *m_automaton;
    std::lock_guard const lock(m_building);
    if (!m_automaton) {
        Nfa const nfa(m_globRoot);
        auto made = std::make_unique<Automaton>(nfa, NodeFacts(nfa), m_limits);
        if (nfa.IsTooLarge() || !made->dfa.complete) made->Forget();
        if (nfa.IsTooLarge()) made->constantStart = XCString(m_program->LiteralStart());
        m_automaton = std::move(made);
    }
    return *m_automaton;
}

XCString Expression::ConstantStart() const
{
    Automaton const& automaton = GetAutomaton();
    return automaton.classes ? match::ConstantStart(automaton.dfa, *automaton.classes) : automaton.constantStart;
}

std::vector<XCRegEx::DfaState> Expression::States() const
{
    Automaton const& automaton = GetAutomaton();
    Dfa const& dfa = automaton.dfa;
    std::vector<XCRegEx::DfaState> states;
    states.reserve(dfa.StateCount());
    for (std::uint32_t number = 0; number < dfa.StateCount(); ++number)
        states.push_back({number, dfa.accepting[number] != 0, dfa.stop[number] != 0,
                          TransitionsOf(dfa, *automaton.classes, number)});
    return states;
}

XCString Expression::DumpStates() const
{
    Automaton const& automaton = GetAutomaton();
    if (!automaton.classes) return {};
    return XCString(match::DumpStates(automaton.dfa, *automaton.classes) + DumpStopFlags(automaton.dfa));
}

} // namespace xc::match
