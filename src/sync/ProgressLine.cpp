// The line of a progress on a console.
//
// A line is drawn over the one before: carriage return, the new text, blanks over what was longer. That needs nothing of the
// console but its width, and works in every kind of console. The line never fills the last column, since some consoles
// then go on to the next line and the return would come too late. How wide a unit is shown is not known; units from U+1100 on,
// where the wide scripts begin, count as two columns, so that a line is cut too early rather than too late.
#include "sync/ProgressLine.h"

#include <algorithm>

namespace xc::sync {

namespace {

std::size_t ColumnsOf(wchar_t unit) noexcept
{
    if ((unit & 0xFC00) == 0xDC00) return 0; // goes with the half before it
    return unit >= 0x1100 ? 2 : 1;
}

/// As much of the line as these columns hold, without units that move the cursor. @param used receives its columns.
XCString Fitting(XCString const& line, std::size_t columns, std::size_t& used)
{
    XCString shown;
    used = 0;
    for (wchar_t const unit : line) {
        if (used + ColumnsOf(unit) > columns) break;
        used += ColumnsOf(unit);
        shown += unit < L' ' || unit == 0x7F ? L' ' : unit;
    }
    return shown;
}

} // namespace

XCString ProgressLine::Redraw(XCProgressState const& state, std::size_t columns)
{
    std::size_t used = 0;
    XCString line(L'\r');
    if (!state.isEnd)
        line += Fitting(XCProgressBar(state, m_barWidth), columns - std::min<std::size_t>(columns, 1), used);
    if (used < m_drawn) line += XCString(L' ', m_drawn - used);
    if (state.isEnd) line += L'\r';
    m_drawn = used;
    return line;
}

} // namespace xc::sync
