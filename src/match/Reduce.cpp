// Makes the deterministic automaton small before it becomes a table.
//
// States with equal futures are merged from the last one to the first: successors mostly have higher numbers, so they
// are merged before their predecessors are compared, and one round finds nearly all equal states. This is hash-based
// partial minimisation, as for acyclic automata (Revuz, 1992), repeated at most four times. Hopcroft's algorithm would
// find every equal pair, at several times the price; states it alone would find cost a row of the table, no answer.
// Then columns that are equal in every row are folded into one.
//
// COST      O(steps) a round, O(rows * classes) for the columns.
// INVARIANT Merged states accept the same texts. A stopping state is replaced by row 1, which accepts whatever follows:
//           this is only right because matching ends there. Dead states (no way to an accepting one) become row 0.
#include "match/Reduce.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace xc::match {

namespace {

/// Finds an earlier entry with the same hash for which `same` holds.
class HashIndex {
public:
    HashIndex(std::size_t count, Memory memory) : m_slots(std::bit_ceil(2 * count + 1), memory) {}
    void Clear() noexcept { std::fill(m_slots.begin(), m_slots.end(), 0u); }
    template <class Same>
    std::uint32_t FindOrAdd(std::uint64_t hash, std::uint32_t value, Same same)
    {
        std::size_t slot = static_cast<std::size_t>(hash >> 32) & (m_slots.size() - 1);
        for (; m_slots[slot] != 0; slot = (slot + 1) & (m_slots.size() - 1))
            if (same(m_slots[slot] - 1)) return m_slots[slot] - 1;
        m_slots[slot] = value + 1;
        return value;
    }

private:
    List<std::uint32_t> m_slots;
};

constexpr std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) noexcept
{
    return (hash ^ value) * 0x9E3779B97F4A7C15u;
}

/// Merges states from the last one to the first until nothing changes (a few rounds): what follows a state mostly has a
/// higher number, so one round does nearly all.
class StateMerger {
public:
    StateMerger(Dfa const& dfa, Memory memory)
        : m_dfa(dfa), m_dead(dfa.StateCount()), m_stop(dfa.StateCount() + 1), m_same(dfa.StateCount() + 2, memory),
          m_index(dfa.StateCount(), memory), m_passed(memory)
    {
        std::iota(m_same.begin(), m_same.end(), 0u);
        for (std::uint32_t state = 0; state < m_dead; ++state)
            if (dfa.stop[state]) m_same[state] = m_stop;
        for (int round = 0; round < 4 && MergeOnce(); ++round) {
        }
    }
    [[nodiscard]] std::uint32_t Dead() const noexcept { return m_dead; }
    [[nodiscard]] std::uint32_t Stop() const noexcept { return m_stop; }
    /// The state that stands for this one.
    [[nodiscard]] std::uint32_t Same(std::uint32_t state) const noexcept
    {
        if (state == Dfa::kNoState) return m_dead;
        while (m_same[state] != state) state = m_same[state];
        return state;
    }

private:
    static constexpr std::uint32_t kSelf = 0xFFFFFFFE;

    /// Whether another round may find more: a state was compared while one before it, which it leads to, had yet to be
    /// merged. All others were compared by what they lead to in the end.
    bool MergeOnce()
    {
        m_index.Clear();
        m_passed.clear();
        for (std::uint32_t state = m_dead; state-- > 0;) {
            if (m_same[state] != state) continue;
            std::uint64_t hash = m_dfa.accepting[state];
            bool leadsOn = hash != 0;
            for (Dfa::Step const& step : m_dfa.Steps(state)) {
                std::uint32_t const seen = Seen(state, step.target);
                if (seen < state) m_passed.push_back(seen);
                if (seen == m_dead) continue;
                hash = Mix(hash, std::uint64_t{step.unitClass} << 32 | seen);
                leadsOn = leadsOn || seen != kSelf;
            }
            m_same[state] =
                !leadsOn ? m_dead
                         : m_index.FindOrAdd(hash, state, [&](std::uint32_t other) { return AreEqual(state, other); });
        }
        return std::any_of(m_passed.begin(), m_passed.end(),
                           [this](std::uint32_t passed) { return m_same[passed] != passed; });
    }
    [[nodiscard]] std::uint32_t Seen(std::uint32_t from, std::uint32_t target) const noexcept
    {
        std::uint32_t const same = Same(target);
        return same == from ? kSelf : same;
    }
    [[nodiscard]] bool AreEqual(std::uint32_t a, std::uint32_t b) const noexcept
    {
        if (m_dfa.accepting[a] != m_dfa.accepting[b]) return false;
        auto const stepsA = m_dfa.Steps(a);
        auto const stepsB = m_dfa.Steps(b);
        for (auto atA = stepsA.begin(), atB = stepsB.begin();; ++atA, ++atB) {
            while (atA != stepsA.end() && Seen(a, atA->target) == m_dead) ++atA;
            while (atB != stepsB.end() && Seen(b, atB->target) == m_dead) ++atB;
            if (atA == stepsA.end() || atB == stepsB.end()) return atA == stepsA.end() && atB == stepsB.end();
            if (atA->unitClass != atB->unitClass || Seen(a, atA->target) != Seen(b, atB->target)) return false;
        }
    }

    Dfa const& m_dfa;
    std::uint32_t m_dead, m_stop;
    List<std::uint32_t> m_same;
    HashIndex m_index;
    List<std::uint32_t> m_passed; ///< what states of a round lead back to
};

/// The states that are left, in the order of the rows after the fixed ones.
List<std::uint32_t> RowOrder(Dfa const& dfa, StateMerger const& merger, ReducedDfa& result, Memory memory)
{
    List<std::uint32_t> order(1, merger.Dead(), memory);
    order.reserve(dfa.StateCount() + 2);
    result.hasStop = std::find(dfa.stop.begin(), dfa.stop.end(), 1) != dfa.stop.end();
    if (result.hasStop) order.push_back(merger.Stop());
    for (std::uint8_t const accepting : {std::uint8_t{0}, std::uint8_t{1}}) {
        if (accepting) result.firstAccepting = static_cast<std::uint32_t>(order.size());
        for (std::uint32_t state = 0; state < dfa.StateCount(); ++state)
            if (merger.Same(state) == state && dfa.accepting[state] == accepting) order.push_back(state);
    }
    return order;
}

/// Gives classes with equal cells in every row one column. @param hashes of the columns.
void FoldColumns(ReducedDfa& result, List<std::uint32_t>&& full, std::span<std::uint64_t const> hashes, Memory memory)
{
    auto const classCount = static_cast<std::uint32_t>(hashes.size());
    HashIndex index(classCount, memory);
    List<std::uint32_t> kept(memory);
    kept.reserve(classCount);
    List<std::uint16_t> columnOf(classCount, memory);
    for (std::uint32_t c = 0; c < classCount; ++c) {
        std::uint32_t const equal = index.FindOrAdd(hashes[c], c, [&](std::uint32_t other) {
            for (std::size_t row = 0; row < full.size(); row += classCount)
                if (full[row + c] != full[row + other]) return false;
            return true;
        });
        if (equal == c) kept.push_back(c);
        columnOf[c] = equal == c ? static_cast<std::uint16_t>(kept.size() - 1) : columnOf[equal];
    }
    result.columnOfClass = std::move(columnOf);
    result.columnCount = static_cast<std::uint32_t>(kept.size());
    if (kept.size() == classCount) {
        result.cells = std::move(full);
        return;
    }
    result.cells.resize(static_cast<std::size_t>(result.rowCount) * kept.size());
    std::uint32_t* cell = result.cells.data();
    for (std::size_t row = 0; row < full.size(); row += classCount)
        for (std::uint32_t const c : kept) *cell++ = full[row + c];
}

} // namespace

ReducedDfa Reduce(Dfa const& dfa, Memory memory)
{
    StateMerger const merger(dfa, memory);
    ReducedDfa result(memory);
    List<std::uint32_t> const order = RowOrder(dfa, merger, result, memory);
    List<std::uint32_t> rowOf(dfa.StateCount() + 2, memory);
    for (std::uint32_t row = 0; row < order.size(); ++row) rowOf[order[row]] = row;
    result.rowCount = static_cast<std::uint32_t>(order.size());
    result.start = rowOf[merger.Same(0)];

    List<std::uint32_t> full(static_cast<std::size_t>(result.rowCount) * dfa.classCount, memory);
    List<std::uint64_t> hashes(dfa.classCount, memory);
    if (result.hasStop) std::fill_n(full.begin() + dfa.classCount, dfa.classCount, 1);
    for (std::uint32_t row = result.LastSettled() + 1; row < result.rowCount; ++row) {
        std::uint32_t* const cells = full.data() + static_cast<std::size_t>(row) * dfa.classCount;
        for (Dfa::Step const& step : dfa.Steps(order[row])) {
            std::uint32_t const target = rowOf[merger.Same(step.target)];
            cells[step.unitClass] = target;
            if (target != 0) hashes[step.unitClass] = Mix(hashes[step.unitClass], std::uint64_t{row} << 32 | target);
        }
    }
    FoldColumns(result, std::move(full), hashes, memory);
    return result;
}

} // namespace xc::match
