// The bar of a progress as text, and the listener that draws it on a console.
//
// A bar is made for a console that may be narrow and for a log that may be read later, so it is plain ASCII and its
// parts keep their columns: the percentage is padded to three digits, and what varies in length comes last. Everything
// is rounded down, so that "100%" and a full bar mean the end and not nearly the end; only the time left is rounded
// up, since "0:00" while work goes on would be wrong in the same way.
#include <XelbrinCore/XCProgress.h>

#include "sync/ProgressLine.h"

#include "text/NumberText.h"
#include "win32/Console.h"

#include <algorithm>

namespace xc::sync {

namespace {

constexpr std::size_t kMostWidth = 1000;

/// "0:07", "12:30", "1:05:00".
void AppendTime(XCString& text, std::uint64_t ms)
{
    std::uint64_t const seconds = (ms + 999) / 1000;
    wchar_t rest[6];
    wchar_t* end = rest;
    // The leading part is written without zeros and without bound: a hundred hours are "100:00:00".
    std::uint64_t const first = seconds >= 3600 ? seconds / 3600 : seconds / 60;
    if (seconds >= 3600) {
        *end++ = L':';
        end = text::PutDigits(end, static_cast<unsigned long>(seconds / 60 % 60), 2);
    }
    *end++ = L':';
    end = text::PutDigits(end, static_cast<unsigned long>(seconds % 60), 2);
    text.Append(text::Digits(first).View()).Append(std::wstring_view(rest, static_cast<std::size_t>(end - rest)));
}

} // namespace

} // namespace xc::sync

XCString XCProgressBar(XCProgressState const& state, std::size_t width)
{
    // A state may also be filled in by hand: the cells below are counted without a sign.
    double const fraction = std::clamp(state.fraction, 0.0, 1.0);
    // A width from a negative number would otherwise ask for a bar that fills the memory.
    std::size_t const cells = std::min(width, xc::sync::kMostWidth);
    auto const full = static_cast<std::size_t>(fraction * static_cast<double>(cells));
    auto const percent = static_cast<unsigned int>(fraction * 100);
    XCString bar(L'[');
    bar += XCString(L'#', full);
    bar += XCString(L'.', cells - full);
    bar += percent < 10 ? L"]   " : percent < 100 ? L"]  " : L"] ";
    bar.Append(xc::text::Digits(percent).View()) += L'%';
    if (state.remainingMs) xc::sync::AppendTime(bar += L"  ", *state.remainingMs);
    if (!state.text.IsNull()) bar += L"  " + state.text;
    return bar;
}

XCProgress::Listener XCConsoleProgress(std::size_t width)
{
    using xc::win32::StandardStream;
    // The line remembers what it drew last, so that a shorter text wipes what a longer one left.
    return [line = xc::sync::ProgressLine(width)](XCProgressState const& state) mutable {
        std::size_t const columns = xc::win32::ConsoleColumns(StandardStream::Error);
        // Redirected to a file: a line that is redrawn in place would be a long row of bars there. The columns are
        // asked for each time, because a window may be made wider meanwhile.
        if (columns == 0) return;
        XCString const text = line.Redraw(state, columns);
        xc::win32::WriteToConsole(StandardStream::Error, text.AsWChar(), text.Length()); // a display may fail
    };
}
