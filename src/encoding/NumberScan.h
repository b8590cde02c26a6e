// NumberScan.h - finds a number in a text by the conventions of a locale and spells it in the invariant way.
#pragma once

#include <XelbrinCore/XCLocale.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace xc::encoding {

struct ScannedNumber {
    std::string spelled;   ///< for std::from_chars; empty: no number
    std::size_t end = 0;   ///< the position after it
    std::size_t fault = 0; ///< without a number: the unit that is wrong
};

/// @param start where the number begins, white space skipped. @param base of an integer; 0: a floating-point number.
ScannedNumber ScanNumber(std::wstring_view text, std::size_t start, int base, XCLocale const& locale);

} // namespace xc::encoding
