// NumberText.h - numbers as text, independent of any locale.
#pragma once

#include <XelbrinCore/XCString.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace xc::text {

/// Decimal digits of an integer; the shortest text that reads back as the same floating-point number.
template <class Number>
XCString NumberText(Number value)
{
    char digits[32];
    std::to_chars_result const end = std::to_chars(digits, digits + sizeof digits, value);
    wchar_t wide[sizeof digits];
    wchar_t* const wideEnd = std::copy(digits, end.ptr, wide);
    return XCString(std::wstring_view(wide, static_cast<std::size_t>(wideEnd - wide)));
}

} // namespace xc::text
