// The number readers of XCString.
#include <XelbrinCore/XCString.h>

#include "text/Units.h"

#include <charconv>
#include <limits>

using xc::text::IsBlank;
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
    for (; IsDigit(*text); ++text) {
        std::uint64_t const digit = ToUint(*text) - L'0';
        number.anyDigit = true;
        number.overflow = number.overflow || number.magnitude > (UINT64_MAX - digit) / 10;
        number.magnitude = number.overflow ? UINT64_MAX : number.magnitude * 10 + digit;
    }
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
    return static_cast<Signed>(number.negative ? 0 - value : value);
}

template <class Unsigned>
Unsigned ReadUnsigned(wchar_t const* text, bool* ok) noexcept
{
    ScannedInteger const number = ScanInteger(text);
    bool const inRange = !number.overflow && number.magnitude <= std::numeric_limits<Unsigned>::max();
    if (ok) *ok = inRange && number.anyDigit && number.atTerminator;
    if (!inRange) return std::numeric_limits<Unsigned>::max();
    return static_cast<Unsigned>(number.negative ? 0 - number.magnitude : number.magnitude);
}

} // namespace

int XCString::AsInt(bool* ok) const noexcept
{
    return ReadSigned<std::int32_t>(AsWChar(), ok);
}
long XCString::AsLong(bool* ok) const noexcept
{
    return ReadSigned<std::int32_t>(AsWChar(), ok);
}
unsigned int XCString::AsUint(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint32_t>(AsWChar(), ok);
}
unsigned long XCString::AsULong(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint32_t>(AsWChar(), ok);
}
std::int64_t XCString::AsInt64(bool* ok) const noexcept
{
    return ReadSigned<std::int64_t>(AsWChar(), ok);
}
std::uint64_t XCString::AsUInt64(bool* ok) const noexcept
{
    return ReadUnsigned<std::uint64_t>(AsWChar(), ok);
}

double XCString::AsDouble(bool* ok) const
{
    wchar_t const* text = AsWChar();
    while (IsSpace(*text)) ++text;
    bool const sign = *text == L'-' || *text == L'+';
    // Only these units can be part of a decimal number; the reader itself decides how much of them is one.
    std::string digits;
    if (*text == L'-') digits += '-';
    for (wchar_t const* unit = text + (sign ? 1 : 0);
         IsDigit(*unit) || *unit == L'.' || *unit == L'e' || *unit == L'E' || *unit == L'+' || *unit == L'-'; ++unit)
        digits += static_cast<char>(*unit);
    double value = 0;
    std::from_chars_result const read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    std::size_t const used = static_cast<std::size_t>(read.ptr - digits.data()) + (*text == L'+' ? 1 : 0);
    bool const any = read.ec != std::errc::invalid_argument;
    if (read.ec == std::errc::result_out_of_range) {
        // Too large or too small: the exponent's sign, or the place of the point, tells which.
        bool const tiny = digits.find("e-") != std::string::npos || digits.find("E-") != std::string::npos;
        value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
        if (!digits.empty() && digits[0] == '-') value = -value;
    }
    if (ok) *ok = read.ec == std::errc() && any && text[used] == L'\0';
    return any ? value : 0.0;
}
