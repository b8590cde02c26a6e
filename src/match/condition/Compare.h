// Compare.h - what is compared with what.
//
// The order of two values does not depend on which of them stands in the condition and which in the record.
#pragma once

#include <XelbrinCore/XCConditionParams.h>

#include <compare>
#include <string_view>

namespace xc::condition {

/// Numbers by their exact value whatever their kinds; texts unit by unit; dates by the second. A text meets a number as
/// the number it spells, a date as the date it spells. Unordered: everything else.
std::partial_ordering CompareValues(XCConditionValue const& a, XCConditionValue const& b);

/// Reads "2009/01/03" or "2009/01/03 23:59:59" in the local zone; null when the text is no date.
XCDateTime ReadDate(std::wstring_view text);

} // namespace xc::condition
