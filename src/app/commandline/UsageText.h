// UsageText.h - the option lines of a usage screen.
#pragma once

#include <XelbrinCore/XCCommandLine.h>

#include <string_view>

namespace xc::commandline {

/// One block of lines for each option description, in order; every line ends with a line feed. Names of up to 20 units
/// share their first line with the description, which is wrapped at 54 units.
XCString FormatUsage(XCUsageInfo const& usage);

/// Takes the next piece off the text: up to the last blank at or before `width` units, which is dropped. A text without
/// such a blank is cut hard.
std::wstring_view TakePiece(std::wstring_view& text, std::size_t width) noexcept;
/// Appends the text and blanks up to a width.
void AppendPadded(XCString& out, std::wstring_view text, std::size_t width);

} // namespace xc::commandline
