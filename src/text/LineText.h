// LineText.h - texts of others as part of a line that people and programs read.
//
// Names and messages come from anywhere. Control characters, line and paragraph separators and the marks that turn the
// writing direction could end the line and fake another, or drive the terminal that shows it: they are written out.
#pragma once

#include <string>
#include <string_view>

namespace xc::text {

/// Control characters of both blocks, line and paragraph separator, the marks of bidirectional text.
bool ShapesLines(wchar_t unit) noexcept;

/// Appends a unit written out: \n, \r, \t, \xHH below U+0100, \uHHHH above; a backslash as two.
void AppendEscape(std::wstring& to, wchar_t unit);

/// Appends a text as UTF-8 on one line, what shapes lines written out; the backslash stays single.
/// @param separator a further unit that is written out: what separates the fields of the line; 0 for none.
void AppendOneLine(std::string& to, std::wstring_view text, wchar_t separator);

/// The same on as many lines as the text has. Those after the first begin with four blanks, so that none of them looks
/// like the beginning of a record. Tabs stay; a line end that ends the text is left out.
void AppendIndented(std::string& to, std::wstring_view text, std::string_view lineEnd);

} // namespace xc::text
