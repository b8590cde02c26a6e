// Table.h - the match program for any number of states: one look-up a unit in a dense table.
//
// Long subjects are read in four places at once, from guessed states that are checked afterwards.
//
// A state is the offset of its row, so a step is one addition and one load; the column of a unit is found ahead of the
// chain of states. Cells have 16 bits where the offsets fit. The last cell of a row names the scan of its loop.
#pragma once

#include "match/Plan.h"

namespace xc::match {

class Table {
public:
    Table(ReducedDfa const& dfa, LoopScans scans, UnitMap map);
    [[nodiscard]] bool Match(wchar_t const* text, std::size_t limit) const;

private:
    template <class Cell>
    struct Engine;

    UnitMap m_map;
    LoopScans m_scans;
    std::uint32_t m_start, m_firstAccepting, m_stopRow, m_lastSettled;
    std::uint32_t m_stride;
    std::vector<std::uint16_t> m_narrow;
    std::vector<std::uint32_t> m_wide;
};

} // namespace xc::match
