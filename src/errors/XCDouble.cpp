// Decimal rounding of a binary number, as a person rounds the figure on paper.
//
// The nearest double of 1.005 lies below 1.005, so rounding its exact value to two decimals gives 1.00. What people see is
// the decimal figure: 15 significant digits are the most that every decimal number keeps through a double. So the value
// is written with 15 digits (exactly, by to_chars), rounded half up in these digits, and read back to the nearest double.
// Rounding errors of arithmetic stand beyond the fifteenth digit and do not decide.
//
// Cost: one conversion each way, without an allocation. Invariant: 0 is never negative; a value that has no digit to
// round away, infinities and "not a number" stay as they are.
#include <XelbrinCore/XCDouble.h>

#include "text/NumberText.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace {

/// Every decimal number of so many digits survives the way into a double and back.
constexpr int kSureDigits = 15;

/// A finite number other than 0 as kSureDigits decimal digits: 0.d1d2d3... times 10 to the power of `point`.
struct DecimalDigits {
    char digits[kSureDigits];
    int point;
};

DecimalDigits SplitDecimal(double magnitude) noexcept
{
    char text[32]; // d.dddddddddddddde+xxx
    char const* const end =
        std::to_chars(std::begin(text), std::end(text), magnitude, std::chars_format::scientific, kSureDigits - 1).ptr;
    DecimalDigits decimal;
    decimal.digits[0] = text[0];
    for (int i = 1; i < kSureDigits; ++i) decimal.digits[i] = text[i + 1];
    char const* exponent = text + kSureDigits + 2;
    bool const negative = *exponent++ == '-';
    int value = 0;
    std::from_chars(exponent, end, value);
    decimal.point = (negative ? -value : value) + 1;
    return decimal;
}

/// The first `count` digits, plus one in the last place where the next digit is 5 or more, as a number.
double RoundedPrefix(DecimalDigits const& decimal, int count, int decimals) noexcept
{
    char text[kSureDigits + 8] = "0"; // room for a carry, and "e-15"
    for (int i = 0; i < count; ++i) text[i + 1] = decimal.digits[i];
    if (decimal.digits[count] >= '5') {
        int i = count;
        while (text[i] == '9') text[i--] = '0';
        ++text[i];
    }
    char* end = text + count + 1;
    *end++ = 'e';
    end = std::to_chars(end, std::end(text), -decimals).ptr;
    double value = 0;
    std::from_chars(text, end, value);
    return value;
}

double RoundToDecimals(double value, unsigned int decimals) noexcept
{
    if (!std::isfinite(value) || value == 0) return value + 0.0; // -0 becomes 0
    DecimalDigits const decimal = SplitDecimal(std::fabs(value));
    int const places = static_cast<int>(decimals);
    int const kept = decimal.point + places;
    if (kept >= kSureDigits) return value;
    if (kept < 0) return 0;
    return std::copysign(RoundedPrefix(decimal, kept, places), value) + 0.0;
}

} // namespace

XCDouble::XCDouble(double value, unsigned int decimals) noexcept
    : m_decimals(decimals < kMaxDecimals ? decimals : kMaxDecimals)
{
    m_value = RoundToDecimals(value, m_decimals);
}

XCString XCDouble::AsString() const
{
    return xc::text::FixedText(m_value, static_cast<int>(m_decimals));
}
