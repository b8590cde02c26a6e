// ProgressLine.h - the line of a progress on a console.
#pragma once

#include <XelbrinCore/XCProgress.h>

#include <cstddef>

namespace xc::sync {

/// Draws states over one another in one line.
class ProgressLine {
public:
    /// @param barWidth units between the brackets.
    explicit ProgressLine(std::size_t barWidth) noexcept : m_barWidth(barWidth) {}

    /// The text that replaces the line by that of the state, or by nothing after the last one.
    /// @param columns of the console.
    XCString Redraw(XCProgressState const& state, std::size_t columns);

private:
    std::size_t m_barWidth;
    std::size_t m_drawn = 0; // columns that the line takes now
};

} // namespace xc::sync
