// NumberText.h - numbers as the condition language writes them: [sign] digits [. digits] [e [sign] digits].
#pragma once

#include <XelbrinCore/XCConditionParams.h>

#include <optional>
#include <string_view>

namespace xc::condition {

/// An Int or Int64; a Double when there is a point or an exponent, or when 64 bits cannot hold it: the double nearest to
/// the text (beyond the range of a double: an infinity, or 0), with the decimals that the text shows if XCDouble can
/// show it so. Nothing unless the whole text is a number.
std::optional<XCConditionValue> ReadNumber(std::wstring_view text);

/// An XCDouble of that many decimals, or a plain double where these decimals do not show the whole value.
XCConditionValue RealWithDecimals(double value, unsigned int decimals) noexcept;

/// The text without spaces and tabs at its ends.
std::wstring_view Trimmed(std::wstring_view text) noexcept;

/// A number as ReadNumber reads it back, of the same kind: a double always shows a point or an exponent.
XCString PrintNumber(XCConditionValue const& value);

/// What a regular expression sees of a value: a text as it stands, plain digits, a date as "%Y/%m/%d %H:%M:%S".
XCString SubjectOf(XCConditionValue const& value);

} // namespace xc::condition
