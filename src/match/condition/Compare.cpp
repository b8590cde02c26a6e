// The comparison of two values of any kinds.
//
// A comparison must not depend on which side holds which kind, so a pair is brought to one kind first: a text meets a
// number or a date as the one it spells. Numbers then compare by their exact values. An integer and a double are not
// compared as doubles, because 64 bits do not fit into 53: the double is cut to its whole part, which fits, and its
// fraction decides between equal whole parts. Kinds that have nothing in common are unordered, which makes "!=" true
// and every other operator false. No allocation, except for dates that are read from text.
#include "match/condition/Compare.h"

#include "match/condition/NumberText.h"
#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>

namespace xc::condition {

namespace {

using Kind = XCConditionValue::Kind;

std::partial_ordering CompareTexts(std::wstring_view a, std::wstring_view b) noexcept
{
    std::size_t const common = std::min(a.size(), b.size());
    std::size_t const at = text::Mismatch(a.data(), b.data(), common);
    if (at < common) return text::ToUint(a[at]) <=> text::ToUint(b[at]);
    return a.size() <=> b.size();
}

/// Without rounding the integer to a double.
std::partial_ordering CompareIntegerWithReal(std::int64_t integer, double real) noexcept
{
    constexpr double kBeyond = 9223372036854775808.0; // 2 to the 63rd: the first double above every integer
    // Also keeps the cast below defined. A double that is no number is a null value and never comes here.
    if (real >= kBeyond) return std::partial_ordering::less;
    if (real < -kBeyond) return std::partial_ordering::greater;
    std::int64_t const whole = static_cast<std::int64_t>(real);
    if (integer != whole) return integer <=> whole;
    return 0.0 <=> (real - static_cast<double>(whole));
}

std::partial_ordering Reversed(std::partial_ordering order) noexcept
{
    return 0 <=> order;
}

std::partial_ordering CompareNumbers(XCConditionValue const& a, XCConditionValue const& b) noexcept
{
    if (a.IsInteger() && b.IsInteger()) return a.AsInt64() <=> b.AsInt64();
    if (a.IsInteger()) return CompareIntegerWithReal(a.AsInt64(), b.AsDouble());
    if (b.IsInteger()) return Reversed(CompareIntegerWithReal(b.AsInt64(), a.AsDouble()));
    return a.AsDouble() <=> b.AsDouble();
}

bool IsNumber(XCConditionValue const& value) noexcept
{
    return value.IsInteger() || value.GetKind() == Kind::Double;
}

/// Two values of kinds that compare directly.
std::partial_ordering CompareAlike(XCConditionValue const& a, XCConditionValue const& b) noexcept
{
    if (IsNumber(a) && IsNumber(b)) return CompareNumbers(a, b);
    if (a.GetKind() != b.GetKind()) return std::partial_ordering::unordered;
    if (a.GetKind() == Kind::Text) return CompareTexts(a.AsText(), b.AsText());
    return a.AsDateTime() <=> b.AsDateTime();
}

/// A text as the value of the other side's kind that it spells; itself when it spells none.
XCConditionValue Spelled(XCConditionValue const& text, XCConditionValue const& other)
{
    if (text.GetKind() != Kind::Text || other.GetKind() == Kind::Text) return text;
    if (IsNumber(other)) return ReadNumber(Trimmed(text.AsText())).value_or(text);
    XCDateTime const date = ReadDate(Trimmed(text.AsText()));
    return date.IsNull() ? text : XCConditionValue(date);
}

/// Whether the text begins with "digits/digits/digit", as a year or a day, a month and the third of them.
bool LooksLikeDate(std::wstring_view text) noexcept
{
    for (int separators = 0; separators < 2; ++separators) {
        std::size_t digits = 0;
        while (digits < text.size() && text::IsDigit(text[digits])) ++digits;
        if (digits == 0 || digits == text.size() || text[digits] != L'/') return false;
        text.remove_prefix(digits + 1);
    }
    return !text.empty() && text::IsDigit(text[0]);
}

} // namespace

std::partial_ordering CompareValues(XCConditionValue const& a, XCConditionValue const& b)
{
    if (a.IsNull() || b.IsNull()) return std::partial_ordering::unordered;
    return CompareAlike(Spelled(a, b), Spelled(b, a));
}

XCDateTime ReadDate(std::wstring_view text)
{
    // The reader of dates takes what it can get; a text such as "12 apples" is not meant as one.
    if (!LooksLikeDate(text)) return {};
    XCDateTime date;
    return date.FromString(XCString(text)) ? date : XCDateTime();
}

} // namespace xc::condition
