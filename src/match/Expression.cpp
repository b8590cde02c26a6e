// Chooses the program that matches an expression.
//
// Literals and ".*" alone are searched for (Glob), lists of literals are looked up (Words), units at fixed places and one
// class repeated are compared (Runs). For others the automata are built: up to sixteen states run as byte shuffles where
// the processor has AVX2, more as a table. An automaton with more states than nodes is followed by sets first, and built
// when the calls pay for it (Growing); one beyond the limits is always followed by sets: as bits for up to 256 positions,
// as lists of nodes for more. All programs give the same answers.
//
// All that the construction needs and matching does not stands in one arena, whose first part is on the stack. Dumps,
// states and the constant start are built again from the tree when they are first asked for, and then kept.
//
// INVARIANT m_program is set at construction and never changes. m_sight is made once, under m_building.
#include "match/Expression.h"

#include "match/BitSets.h"
#include "match/Dump.h"
#include "match/Glob.h"
#include "match/Runs.h"
#include "match/Words.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace xc::match {

namespace {

// How far an automaton may grow with the expression; one that grows further is built when the calls pay for it.
constexpr std::uint32_t kFirstStates = 8; ///< in addition to one for every node
constexpr std::uint32_t kFirstBytes = 1u << 20;

} // namespace

Expression::Expression(XCParsedRegEx const& parsed, bool debug, XCRegEx::Limits const& limits)
    : m_parsed(parsed), m_limits(limits)
{
    if (debug) WriteWideOut(XCRegEx::DumpNodes(parsed).View());
    if (!Translates(parsed)) MakeSimpleProgram();
    if (!m_program) MakeAutomaton();
    if (debug) WriteWideOut(DumpStates().View());
}

/// Forms that are read off the tree.
void Expression::MakeSimpleProgram()
{
    XCSmartPtr<XCRegExSyntaxNode> const root = m_parsed.GetRoot();
    m_program = Glob::From(root.GetPtr());
    // Callers who leave no room for any automaton want to see the program that needs none.
    constexpr std::uint32_t kRoom = 1u << 16;
    if (!m_program && m_limits.bytes >= kRoom) m_program = MakeRun(root.GetPtr());
    if (!m_program) m_program = Words::From(root.GetPtr());
}

void Expression::MakeAutomaton()
{
    alignas(std::max_align_t) std::array<std::byte, 24576> start;
    std::pmr::monotonic_buffer_resource arena(start.data(), start.size());
    Nfa const nfa(m_parsed.GetRoot(), &arena);
    m_tooLarge = nfa.IsTooLarge();
    // More nodes than the first limits let it visit: the attempt would be in vain.
    bool const isLarge = nfa.NodeCount() > kFirstBytes / 24;
    XCRegEx::Limits const first{isLarge ? 0 : std::min(m_limits.states, kFirstStates),
                                isLarge ? 0 : std::min(m_limits.bytes, kFirstBytes)};
    Automaton const automaton(nfa, first, &arena);
    if (automaton.dfa.complete) {
        m_program = MakeDense(m_parsed, automaton, &arena);
        return;
    }
    auto lists = std::make_unique<StateSets const>(m_parsed, nfa, automaton.facts, automaton.classes);
    bool const mayGrow =
        automaton.classes.IsFolded() && (first.states < m_limits.states || first.bytes < m_limits.bytes);
    std::unique_ptr<SetProgram const> sets = MakeBitSets(lists);
    if (!sets) sets = std::move(lists);
    m_usesSets = !mayGrow;
    if (!mayGrow) {
        m_program = std::move(sets);
        return;
    }
    auto growing = std::make_unique<Growing const>(std::move(sets), m_parsed, m_limits, nfa.NodeCount());
    m_growing = growing.get();
    m_program = std::move(growing);
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
