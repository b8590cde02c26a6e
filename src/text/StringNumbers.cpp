// The number readers of XCString.
//
// The readers of the runtime library follow the locale that a host has set, and report through errno; these read the
// invariant form only, in one pass, and touch no state of the thread. Integers collect 64 bits and then are held at the
// limits of their type, as strtol does: overflow can come only with the twentieth digit, so the first nineteen are not
// tested. Doubles go to std::from_chars, which is exact to the last bit. It does not tell overflow from underflow, so the
// decimal place of the first digit decides between infinity and 0.
//
// Invariant: the value is defined for every text; without a digit it is 0, and a lone sign does not make it -0.
#include <XelbrinCore/XCString.h>

#include "text/Units.h"

#include <algorithm>
#include <charconv>
#include <limits>

using xc::text::IsDigit;
using xc::text::IsSpace;
using xc::text::ToUint;

namespace {

/// A decimal integer at the start of a text, as the runtime's readers understand it: white space, a sign, digits.
struct ScannedInteger {
    std::uint64_t magnitude = 0;
    bool negative = false;
    bool overflow = false; ///< more than 64 bits; the magnitude is then the largest value
    bool anyDigit = false;
    bool atTerminator = false;
};

ScannedInteger ScanInteger(wchar_t const* text) noexcept
{
    ScannedInteger number;
    while (IsSpace(*text)) ++text;
    if (*text == L'-' || *text == L'+') number.negative = *text++ == L'-';
    wchar_t const* const first = text;
    // The first digits, for which 64 bits are enough, are all that most numbers have.
    for (wchar_t const* const fit = first + 19; text != fit; ++text) {
        std::uint32_t const digit = ToUint(*text) - L'0';
        if (digit > 9) break;
        number.magnitude = number.magnitude * 10 + digit;
    }
    for (; IsDigit(*text); ++text) {
        std::uint64_t const digit = ToUint(*text) - L'0';
        number.overflow = number.overflow || number.magnitude > (UINT64_MAX - digit) / 10;
        if (!number.overflow) number.magnitude = number.magnitude * 10 + digit;
    }
    if (number.overflow) number.magnitude = UINT64_MAX;
    number.anyDigit = text != first;
    number.atTerminator = *text == L'\0';
    return number;
}

template <class Signed>
Signed ReadSigned(wchar_t const* text, bool* ok) noexcept
{
    ScannedInteger const number = ScanInteger(text);
    std::uint64_t const limit =
        static_cast<std::uint64_t>(std::numeric_limits<Signed>::max()) + (number.negative ? 1 : 0);
    bool const inRange = !number.overflow && number.magnitude <= limit;
    if (ok) *ok = inRange && number.anyDigit && number.atTerminator;
    std::uint64_t const value = inRange ? number.magnitude : limit;
    // Negated without a sign: the smallest number of the type has no positive one.
    return static_cast<Signed>(number.negative ? 0 - value : value);
}

template <class Unsigned>
Unsigned ReadUnsigned(wchar_t const* text, bool* ok) noexcept
{
    ScannedInteger const number = ScanInteger(text);
    bool const inRange = !number.overflow && number.magnitude <= std::numeric_limits<Unsigned>::max();
    if (ok) *ok = inRange && number.anyDigit && number.atTerminator;
    if (!inRange) return std::numeric_limits<Unsigned>::max();
    // A negative number wraps, as strtoul has it.
    return static_cast<Unsigned>(number.negative ? 0 - number.magnitude : number.magnitude);
}

/// The units at the start of a text that can be part of a decimal number; the reader decides how much of them is one.
std::string DecimalPart(wchar_t const* text)
{
    std::string digits;
    for (; IsDigit(*text) || *text == L'.' || *text == L'e' || *text == L'E'; ++text) {
        digits += static_cast<char>(*text);
        bool const exponent = *text == L'e' || *text == L'E';
        if (exponent && (text[1] == L'-' || text[1] == L'+')) digits += static_cast<char>(*++text);
    }
    return digits;
}

/// The exponent that a decimal number spells, cut to what no text is long enough to outweigh.
std::int64_t SpelledExponent(std::string_view spelled) noexcept
{
    constexpr std::int64_t kMost = std::int64_t{1} << 40;
    bool const negative = spelled.starts_with('-');
    if (negative || spelled.starts_with('+')) spelled.remove_prefix(1);
    std::int64_t exponent = 0;
    for (char const digit : spelled) {
        if (digit < '0' || digit > '9') break;
        exponent = std::min(exponent * 10 + (digit - '0'), kMost);
    }
    return negative ? -exponent : exponent;
}

/// Whether a number that no double can hold is too small, not too large: by the decimal place of its first digit.
bool IsBelowOne(std::string_view digits) noexcept
{
    std::size_t const mark = std::min(digits.find_first_of("eE"), digits.size());
    std::string_view const mantissa = digits.substr(0, mark);
    std::size_t const first = mantissa.find_first_of("123456789");
    // Nothing but zeros, with an exponent that from_chars gave up on: the value is 0.
    if (first == std::string_view::npos) return true;
    std::size_t const point = std::min(mantissa.find('.'), mark);
    std::int64_t const place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
    return place + SpelledExponent(digits.substr(std::min(mark + 1, digits.size()))) <= 0;
}

} // namespace

int XCStringNumbers::AsInt(bool* ok) const noexcept
{
    return ReadSigned<std::int32_t>(AsWChar(), ok);
}
/// 32 bits, as `long` has them on this platform; a compiler whose `long` is wider gives the same limits.
long XCStringNumbers::AsLong(bool* ok) const noexcept
{
    return ReadSigned<std::int32_t>(AsWChar(), ok);
}
unsigned int XCStringNumbers::AsUint(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint32_t>(AsWChar(), ok);
}
unsigned long XCStringNumbers::AsULong(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint32_t>(AsWChar(), ok);
}
std::int64_t XCStringNumbers::AsInt64(bool* ok) const noexcept
{
    return ReadSigned<std::int64_t>(AsWChar(), ok);
}
std::uint64_t XCStringNumbers::AsUInt64(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint64_t>(AsWChar(), ok);
}

double XCStringNumbers::AsDouble(bool* ok) const
{
    wchar_t const* text = AsWChar();
    while (IsSpace(*text)) ++text;
    bool const negative = *text == L'-';
    if (negative || *text == L'+') ++text;
    // Narrowed for from_chars, which reads bytes. Short texts need no allocation for it.
    std::string const digits = DecimalPart(text);
    double value = 0;
    std::from_chars_result const read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (read.ec == std::errc::result_out_of_range)
        value = IsBelowOne(digits) ? 0.0 : std::numeric_limits<double>::infinity();
    if (ok) *ok = read.ec == std::errc() && text[read.ptr - digits.data()] == L'\0';
    bool const anyDigit = read.ec != std::errc::invalid_argument; // a sign alone is no number: +0, never -0
    return negative && anyDigit ? -value : value;
}
