// Plan.h - what the matching engines over a reduced automaton share: scans over loops and the
// walk over a subject whose length is not known beforehand.
#pragma once

#include "match/Reduce.h"
#include "text/RangeKernels.h"

#include <algorithm>
#include <vector>

namespace xc::match {

/// A state that no engine has.
constexpr std::uint32_t kNoRow = 0xFFFFFFFF;

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

/// Walks over the rest of a subject from a state: the terminator is searched one stretch ahead, so that a subject decided
/// early is not read to its end. Engine: IsSettled(state), IsAccepting(state), Run(state, text, n).
template <class Engine>
bool WalkSubject(Engine const& engine, std::uint32_t state, wchar_t const* text, std::size_t limit)
{
    constexpr std::size_t kFirstStretch = 256;
    constexpr std::size_t kStretch = 32768;
    std::size_t stretch = kFirstStretch;
    while (!engine.IsSettled(state)) {
        std::size_t const want = std::min(limit, stretch);
        std::size_t const n = text::UnitCount(text, want);
        state = engine.Run(state, text, n);
        if (n < want || n == limit) break;
        text += n;
        limit -= n;
        stretch = kStretch;
    }
    return engine.IsAccepting(state);
}

} // namespace xc::match
