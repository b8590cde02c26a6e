// Visible.h - text that came from elsewhere, on a line of ours.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string_view>

namespace xc::text {

/// The text with every unit written out that could end a line, drive a terminal or turn the direction of writing, as
/// \n \r \t \xHH or \uHHHH: control characters of both blocks, line and paragraph separators, marks of bidirectional
/// text, unpaired surrogates. A backslash stays as it is: paths are read by people. Line ends and blanks at the end are
/// dropped. Text without such units is returned as it is.
XCString Visible(std::wstring_view text);

} // namespace xc::text
