// Plan.h - what the matching engines over a reduced automaton share: the unit map, scans over loops, early refusals, and
// the walk over a subject whose length is not known beforehand.
#pragma once

#include "match/Reduce.h"
#include "text/RangeKernels.h"

#include <algorithm>
#include <vector>

namespace xc::match {

/// Where a state leads to itself on a few ranges, or on all but a few: the scan for the next unit that leaves it.
class LoopScans {
public:
    LoopScans() = default;
    LoopScans(ReducedDfa const& dfa, UnitClasses const& classes);

    /// 0 when the row has no scan.
    [[nodiscard]] std::uint32_t OfRow(std::uint32_t row) const noexcept
    {
        return m_scanOfRow.empty() ? 0 : m_scanOfRow[row];
    }
    /// How many units keep the state of this scan (not 0).
    [[nodiscard]] std::size_t Skip(std::uint32_t scan, wchar_t const* text, std::size_t n) const noexcept
    {
        Scan const& chosen = m_scans[scan - 1];
        return chosen.forInside ? text::FindInside(text, n, chosen.ranges) : text::FindOutside(text, n, chosen.ranges);
    }

private:
    struct Scan {
        text::UnitRanges ranges;
        bool forInside; ///< the ranges are the units that leave
    };
    std::vector<Scan> m_scans;
    std::vector<std::uint16_t> m_scanOfRow;
};

/// Facts that refuse most subjects of known length before the automaton runs.
class Refusals {
public:
    explicit Refusals(ReducedDfa const& dfa);
    [[nodiscard]] bool IsTooShort(std::size_t n) const noexcept { return n < m_leastLength; }
    /// Whether no matching subject ends in a unit of this column.
    [[nodiscard]] bool RefusesLast(std::uint32_t column) const noexcept { return !m_mayBeLast[column]; }

private:
    std::size_t m_leastLength = 0;
    std::vector<std::uint8_t> m_mayBeLast;
};

/// Walks over the subject in stretches: the terminator is searched one stretch ahead, so that a subject decided early is
/// not read to its end. Engine: Start(), IsSettled(state), IsAccepting(state), Refuses(text, n), Run(state, text, n).
template <class Engine>
bool WalkSubject(Engine const& engine, wchar_t const* text, std::size_t limit)
{
    constexpr std::size_t kFirstStretch = 256;
    constexpr std::size_t kStretch = 16384;
    std::size_t want = std::min(limit, kFirstStretch);
    std::size_t n = text::UnitCount(text, want);
    bool last = n < want || n == limit;
    if (last && engine.Refuses(text, n)) return false;
    auto state = engine.Run(engine.Start(), text, n);
    while (!last && !engine.IsSettled(state)) {
        text += n;
        limit -= n;
        want = std::min(limit, kStretch);
        n = text::UnitCount(text, want);
        last = n < want || n == limit;
        state = engine.Run(state, text, n);
    }
    return engine.IsAccepting(state);
}

} // namespace xc::match
