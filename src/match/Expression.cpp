// Chooses the program that matches an expression.
//
// Literals and ".*" alone are searched for (Glob), lists of literals are looked up (Words). For others the automata are built: up to sixteen states run as byte
// shuffles where the processor has AVX2, more as a table, and an automaton beyond the limits is followed by sets: as bits
// for up to 256 positions, as lists of nodes for more. All programs give the same answers; the choice is made by size alone, so it is the same in every run on one
// machine.
//
// All that the construction needs and matching does not stands in one arena, whose first part is on the stack. Dumps,
// states and the constant start are built again from the tree when they are first asked for, and then kept.
//
// INVARIANT m_program is set at construction and never changes. m_sight is made once, under m_building.
#include "match/Expression.h"

#include "match/BitSets.h"
#include "match/Dump.h"
#include "match/Glob.h"
#include "match/Shuffle.h"
#include "match/StateSetMatcher.h"
#include "match/Table.h"
#include "match/Words.h"

#include <array>
#include <cstddef>
#include <utility>

namespace xc::match {

namespace {

bool Translates(XCParsedRegEx const& parsed) noexcept
{
    return parsed.GetCollatingTableP() || parsed.GetWCollatingTableP();
}

} // namespace

Expression::Automaton::Automaton(Nfa const& nfa, XCRegEx::Limits const& limits, Memory memory)
    : classes(nfa.Sets(), memory), facts(nfa, memory), dfa(memory)
{
    if (classes.IsFolded()) dfa = BuildDfa(nfa, facts, classes, limits, memory);
}

Expression::Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits)
    : m_parsed(parsed), m_limits(limits)
{
    if (debug) WriteWideOut(XCRegEx::DumpNodes(parsed).View());
    if (!Translates(parsed)) m_program = Glob::From(parsed.GetRoot().GetPtr());
    if (!m_program && !Translates(parsed)) m_program = Words::From(parsed.GetRoot().GetPtr());
    if (!m_program) MakeProgram(parsed);
    if (debug) WriteWideOut(DumpStates().View());
}

void Expression::MakeProgram(XCParsedRegEx const& parsed)
{
    alignas(std::max_align_t) std::array<std::byte, 24576> start;
    std::pmr::monotonic_buffer_resource arena(start.data(), start.size());
    Nfa const nfa(parsed.GetRoot(), &arena);
    m_tooLarge = nfa.IsTooLarge();
    Automaton const automaton(nfa, m_limits, &arena);
    if (automaton.dfa.complete) return MakeTableProgram(parsed, automaton, &arena);
    m_usesSets = true;
    std::unique_ptr<StateSets const> sets =
        std::make_unique<StateSets>(parsed, nfa, automaton.facts, automaton.classes);
    m_program = MakeBitSets(sets);
    if (!m_program) m_program = std::move(sets);
}

void Expression::MakeTableProgram(XCParsedRegEx const& parsed, Automaton const& automaton, Memory memory)
{
    ReducedDfa const reduced = Reduce(automaton.dfa, memory);
    bool const literal = parsed.IsValid() && !Translates(parsed);
    Literals const literals = literal ? FindLiterals(*parsed.GetRoot(), memory) : Literals(memory);
    m_program = (SuitsShuffle(reduced) ? MakeShuffle : MakeTable)({reduced, automaton.classes, parsed, literals});
}

auto Expression::Look() const -> Sight const&
{
    std::lock_guard const lock(m_building);
    if (m_sight) return *m_sight;
    auto made = std::make_unique<Sight>();
    Memory const heap = std::pmr::new_delete_resource();
    Nfa const nfa(m_parsed.GetRoot(), heap);
    made->automaton.emplace(nfa, m_limits, heap);
    made->constantStart = nfa.IsTooLarge() ? XCString(m_program->LiteralStart())
                                           : match::ConstantStart(made->automaton->dfa, made->automaton->classes);
    if (!made->automaton->dfa.complete || (nfa.IsTooLarge() && !m_tooLarge)) made->automaton.reset();
    m_sight = std::move(made);
    return *m_sight;
}

FindProgram const& Expression::Finder() const
{
    std::lock_guard const lock(m_building);
    if (!m_finder) m_finder = std::make_unique<FindProgram const>(m_parsed);
    return *m_finder;
}

XCString Expression::ConstantStart() const
{
    return Look().constantStart;
}

std::vector<XCRegEx::DfaState> Expression::States() const
{
    std::optional<Automaton> const& automaton = Look().automaton;
    std::vector<XCRegEx::DfaState> states;
    if (!automaton) return states;
    Dfa const& dfa = automaton->dfa;
    states.reserve(dfa.StateCount());
    for (std::uint32_t number = 0; number < dfa.StateCount(); ++number)
        states.push_back({number, dfa.accepting[number] != 0, dfa.stop[number] != 0,
                          TransitionsOf(dfa, automaton->classes, number)});
    return states;
}

XCString Expression::DumpStates() const
{
    std::optional<Automaton> const& automaton = Look().automaton;
    if (!automaton) return {};
    return XCString(match::DumpStates(automaton->dfa, automaton->classes) + DumpStopFlags(automaton->dfa));
}

} // namespace xc::match
