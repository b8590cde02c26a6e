// Builds the deterministic automaton of an expression when the calls have read so much that it pays.
//
// Some automata have thousands of states for a dozen nodes. Building them with the expression would cost a program that
// matches once hundreds of times what the match costs, and one that matches for hours nothing. So sets are followed
// first. Each attempt to build may cost about what following sets has cost so far, and one that does not suffice is made
// again when the calls have cost four times as much: whatever a program does, it pays at most about twice what the
// better choice would have cost (as in renting or buying: Karlin and others, 1988). A call that comes to that point
// begins again with what was built, so that one long subject is treated like many short ones.
//
// THREADS   One thread builds, the others go on with sets. The automaton is published once, by one atomic store.
// INVARIANT All programs give the same answers. m_grown is null or m_dense, which never changes once it is set.
#include "match/Growing.h"

#include "match/Shuffle.h"
#include "match/Table.h"

#include <algorithm>
#include <new>
#include <utility>

namespace xc::match {

namespace {

constexpr std::uint64_t kFirstWork = 4096;
constexpr std::uint64_t kMoreWork = 4;
// What a node, a state and a byte of the limits cost to build, in units of work.
constexpr std::uint64_t kWorkOfNode = 32;
constexpr std::uint64_t kWorkOfState = 64;
constexpr std::uint64_t kBytesOfWork = 16;

} // namespace

Automaton::Automaton(Nfa const& nfa, XCRegEx::Limits const& limits, Memory memory)
    : classes(nfa.Sets(), memory), facts(nfa, memory), dfa(memory)
{
    if (classes.IsFolded()) dfa = BuildDfa(nfa, facts, classes, limits, memory);
}

std::unique_ptr<Program const> MakeDense(XCParsedRegEx const& parsed, Automaton const& automaton, Memory memory)
{
    ReducedDfa const reduced = Reduce(automaton.dfa, memory);
    XCSmartPtr<XCRegExSyntaxNode> const root = parsed.GetRoot();
    Literals const literals =
        root.IsNull() || Translates(parsed) ? Literals(memory) : FindLiterals(*root.GetPtr(), memory);
    return (SuitsShuffle(reduced) ? MakeShuffle : MakeTable)({reduced, automaton.classes, parsed, literals});
}

Growing::Growing(std::unique_ptr<SetProgram const> sets, XCParsedRegEx const& parsed, XCRegEx::Limits const& limits,
                 std::uint32_t nodeCount)
    : m_sets(std::move(sets)), m_parsed(parsed), m_limits(limits), m_next(std::max(kFirstWork, kWorkOfNode * nodeCount))
{
}

bool Growing::Match(wchar_t const* text) const
{
    for (;;) {
        if (Program const* const grown = m_grown.load(std::memory_order_acquire)) return grown->Match(text);
        std::uint64_t const next = m_next.load(std::memory_order_relaxed);
        if (next == kNever) return m_sets->Match(text);
        if (std::uint64_t const work = m_work.load(std::memory_order_relaxed); work < next) {
            SetProgram::Outcome const outcome = m_sets->Run(text, static_cast<std::size_t>(next - work));
            m_work.fetch_add(outcome.work, std::memory_order_relaxed);
            if (outcome.matches) return *outcome.matches;
        }
        if (!Grow()) return m_sets->Match(text);
    }
}

/// False when another thread is building.
bool Growing::Grow() const noexcept
{
    std::unique_lock const lock(m_building, std::try_to_lock);
    if (!lock) return false;
    std::uint64_t const next = m_next.load(std::memory_order_relaxed);
    if (next == kNever || m_work.load(std::memory_order_relaxed) < next) return true; // done in the meantime
    auto const within = [](std::uint64_t most, std::uint32_t limit) {
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(most, limit));
    };
    try {
        Build({within(next / kWorkOfState, m_limits.states), within(next * kBytesOfWork, m_limits.bytes)});
    } catch (std::bad_alloc const&) {
        m_next.store(next * kMoreWork, std::memory_order_relaxed); // sets go on; there may be memory later
    }
    return true;
}

/// Under m_building.
void Growing::Build(XCRegEx::Limits const& limits) const
{
    std::pmr::monotonic_buffer_resource arena(std::pmr::new_delete_resource());
    Nfa const nfa(m_parsed.GetRoot(), &arena);
    Automaton const automaton(nfa, limits, &arena);
    bool const isLast = limits.states == m_limits.states && limits.bytes == m_limits.bytes;
    if (automaton.dfa.complete) m_dense = MakeDense(m_parsed, automaton, &arena);
    m_grown.store(m_dense.get(), std::memory_order_release);
    bool const isSettled = isLast || automaton.dfa.complete;
    std::uint64_t const next = m_next.load(std::memory_order_relaxed);
    m_next.store(isSettled ? kNever : next * kMoreWork, std::memory_order_relaxed);
}

bool Growing::UsesSets() const
{
    std::lock_guard const lock(m_building);
    if (m_next.load(std::memory_order_relaxed) != kNever) Build(m_limits);
    return !m_dense;
}

} // namespace xc::match
