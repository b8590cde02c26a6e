// Native.h - the native text form: everything a condition holds, in tokens separated by "@" after "@@".
//
//     condition = operator ":" count  "@" "f" name  "@" value  { "@" link  "@" condition }      (count times)
//     link      = "0" OR, "1" AND; operator = the number of a ConditionOperator
//     value     = "n"                     none
//               | "i" integer | "l" 64-bit integer
//               | "d" [decimals] ":" number    without decimals: a plain double
//               | "s" text | "r" pattern
//               | "t" seconds since 1970 UTC | "y"    SYSDATE
//
// Names, texts and patterns write units that mean something elsewhere as "%" and four hexadecimal digits.
#pragma once

#include <XelbrinCore/XCCondition.h>

#include <optional>
#include <string_view>

namespace xc::condition {

XCString Escaped(std::wstring_view text);
/// Nothing when an escape is malformed.
std::optional<XCString> Unescaped(std::wstring_view text);

XCString NativeNumber(XCConditionValue const& value);
/// What follows "i", "l" or "d"; nothing when it is malformed or out of range.
std::optional<XCConditionValue> ReadNativeNumber(wchar_t kind, std::wstring_view text);

} // namespace xc::condition
