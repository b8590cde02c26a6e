// The bar of a progress as text, and the listener that draws it on a console.
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
    double const fraction = std::clamp(state.fraction, 0.0, 1.0);
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
    return [line = xc::sync::ProgressLine(width)](XCProgressState const& state) mutable {
        std::size_t const columns = xc::win32::ConsoleColumns(StandardStream::Error);
        if (columns == 0) return;
        XCString const text = line.Redraw(state, columns);
        xc::win32::WriteToConsole(StandardStream::Error, text.AsWChar(), text.Length()); // a display may fail
    };
}
