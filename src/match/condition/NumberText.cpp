// Numbers of the condition language, as text and back.
//
// A comparison must see the number that was written, so a literal becomes the double nearest to it and nothing rounds
// it again. XCDouble, which carries the decimals that were shown, shows at most 15 of them: it holds a literal only
// when these show its whole value. Any other literal stays a plain double.
// Invariant: PrintNumber(v) read by ReadNumber gives v again, kind, value and decimals. A plain double is printed with
// the fewest digits that read back to it (std::to_chars); the decimals of that text show no more than those of the first.
// The scan accepts a number only as a whole and is linear. std::from_chars reads the value; the texts that it reports
// as out of range are told apart by the place of their first digit (infinity or 0).
#include "match/condition/NumberText.h"

#include "text/NumberText.h"
#include "text/Units.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>

namespace xc::condition {

namespace {

using text::IsBlank;
using text::IsDigit;

/// The parts of a number's text.
struct NumberParts {
    bool negative = false;
    bool real = false;          ///< has a point or an exponent
    std::size_t whole = 0;      ///< digits before the point
    std::size_t fraction = 0;   ///< digits after it
    std::size_t firstDigit = 0; ///< position of the first one
    long exponent = 0;
};

constexpr long kExponentLimit = 1000000; ///< far outside every double; also bounds the sums below

std::size_t CountDigits(std::wstring_view text, std::size_t from) noexcept
{
    std::size_t end = from;
    while (end < text.size() && IsDigit(text[end])) ++end;
    return end - from;
}

bool IsSign(std::wstring_view text, std::size_t pos) noexcept
{
    return pos < text.size() && (text[pos] == L'-' || text[pos] == L'+');
}

/// Reads the digits after "e" and an optional sign; false when there are none.
bool ScanExponent(std::wstring_view text, std::size_t& pos, long& exponent) noexcept
{
    bool const negative = pos < text.size() && text[pos] == L'-';
    if (IsSign(text, pos)) ++pos;
    std::size_t const end = pos + CountDigits(text, pos);
    if (end == pos) return false;
    for (; pos < end; ++pos) exponent = std::min(exponent * 10 + (text[pos] - L'0'), kExponentLimit);
    if (negative) exponent = -exponent;
    return true;
}

std::optional<NumberParts> ScanNumber(std::wstring_view text) noexcept
{
    NumberParts parts;
    std::size_t pos = IsSign(text, 0) ? 1 : 0;
    parts.negative = pos == 1 && text[0] == L'-';
    parts.firstDigit = pos;
    parts.whole = CountDigits(text, pos);
    pos += parts.whole;
    if (pos < text.size() && text[pos] == L'.') {
        parts.real = true;
        parts.fraction = CountDigits(text, ++pos);
        pos += parts.fraction;
    }
    if (parts.whole + parts.fraction == 0) return std::nullopt;
    if (pos < text.size() && (text[pos] == L'e' || text[pos] == L'E')) {
        parts.real = true;
        if (!ScanExponent(text, ++pos, parts.exponent)) return std::nullopt;
    }
    if (pos != text.size()) return std::nullopt;
    return parts;
}

std::optional<std::int64_t> ReadInteger(std::wstring_view digits, bool negative) noexcept
{
    constexpr std::uint64_t kMax = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    // The smallest integer has no positive counterpart: magnitudes are read unsigned, with a limit of their own for
    // each sign.
    std::uint64_t const limit = kMax + (negative ? 1 : 0);
    std::uint64_t magnitude = 0;
    for (wchar_t const unit : digits) {
        std::uint64_t const digit = text::ToUint(unit) - L'0';
        if (magnitude > (limit - digit) / 10) return std::nullopt;
        magnitude = magnitude * 10 + digit;
    }
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

/// Whether a number outside the range of a double lies above it; otherwise it is next to nothing.
bool IsHuge(std::wstring_view text, NumberParts const& parts) noexcept
{
    long zeros = 0; // before the first digit that counts
    for (std::size_t i = parts.firstDigit; i < text.size() && (text[i] == L'0' || text[i] == L'.'); ++i)
        zeros += text[i] == L'0' ? 1 : 0;
    return static_cast<long>(parts.whole) - zeros + parts.exponent > 0;
}

double ReadReal(std::wstring_view text, NumberParts const& parts)
{
    // std::from_chars takes no plus sign, and chars only; literals of usual length are narrowed on the stack.
    if (text[0] == L'+') text.remove_prefix(1);
    std::array<char, 64> small{};
    std::string large;
    char* chars = small.data();
    if (text.size() > small.size()) {
        large.resize(text.size());
        chars = large.data();
    }
    std::transform(text.begin(), text.end(), chars, [](wchar_t unit) { return static_cast<char>(unit); });
    double value = 0;
    if (std::from_chars(chars, chars + text.size(), value).ec != std::errc::result_out_of_range) return value;
    NumberParts unsignedParts = parts;
    unsignedParts.firstDigit = parts.negative ? 1 : 0;
    value = IsHuge(text, unsignedParts) ? std::numeric_limits<double>::infinity() : 0.0;
    return parts.negative ? -value : value;
}

/// With the value's decimals, or with the fewest digits that read back to a plain double.
XCString RealText(XCConditionValue const& value)
{
    if (value.HasDecimals()) return XCDouble(value.AsDouble(), value.GetDecimals()).AsString();
    return text::NumberText(value.AsDouble());
}

} // namespace

std::wstring_view Trimmed(std::wstring_view text) noexcept
{
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<XCConditionValue> ReadNumber(std::wstring_view text)
{
    std::optional<NumberParts> const parts = ScanNumber(text);
    if (!parts) return std::nullopt;
    if (!parts->real) {
        std::optional<std::int64_t> const value =
            ReadInteger(text.substr(parts->firstDigit, parts->whole), parts->negative);
        if (value && *value >= INT32_MIN && *value <= INT32_MAX) return XCConditionValue(static_cast<int>(*value));
        if (value) return XCConditionValue(*value);
    }
    long const shown = static_cast<long>(std::min<std::size_t>(parts->fraction, 1000)) - parts->exponent;
    long const decimals = std::clamp(shown, 0L, static_cast<long>(XCDouble::kMaxDecimals));
    return RealWithDecimals(ReadReal(text, *parts), static_cast<unsigned int>(decimals));
}

XCConditionValue RealWithDecimals(double value, unsigned int decimals) noexcept
{
    // What the decimals show is read back: only when that is the value again may they be kept with it.
    XCDouble const rounded(value, decimals);
    if (!std::isfinite(value)) return XCConditionValue(rounded);
    char text[400]; // the largest double has 309 digits before the point
    std::to_chars_result const end = std::to_chars(std::begin(text), std::end(text), rounded.AsDouble(),
                                                   std::chars_format::fixed, static_cast<int>(rounded.GetDecimals()));
    double shown = 0;
    std::from_chars(std::begin(text), end.ptr, shown);
    return shown == value ? XCConditionValue(rounded) : XCConditionValue(value);
}

XCString PrintNumber(XCConditionValue const& value)
{
    if (value.IsInteger()) return text::NumberText(value.AsInt64());
    // The language has no word for infinity; a literal beyond the range of a double reads as one.
    if (std::isinf(value.AsDouble())) return value.AsDouble() > 0 ? L"1e999" : L"-1e999";
    XCString text = RealText(value);
    if (text.FindFirstOf(L".e") == XCString::npos) text += L'.';
    return text;
}

XCString SubjectOf(XCConditionValue const& value)
{
    switch (value.GetKind()) {
    case XCConditionValue::Kind::Int:
    case XCConditionValue::Kind::Int64: return text::NumberText(value.AsInt64());
    case XCConditionValue::Kind::Double: return RealText(value);
    case XCConditionValue::Kind::DateTime: return value.AsDateTime().AsString();
    case XCConditionValue::Kind::Text: return XCString(value.AsText());
    case XCConditionValue::Kind::Null: break;
    }
    return {};
}

} // namespace xc::condition
