// NumberText.h - numbers as text, independent of any locale.
#pragma once

#include <XelbrinCore/XCString.h>

#include "text/StringAccess.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace xc::text {

/// A text of ASCII characters as a string.
inline XCString AsciiText(std::string_view ascii)
{
    XCString text;
    if (!ascii.empty()) std::copy(ascii.begin(), ascii.end(), StringAccess::Extend(text, ascii.size()));
    return text;
}

/// The digits of an integer, written to `digits`: 65 characters are enough for every base from 2 to 36.
template <std::size_t size, class Integer>
std::string_view PutInteger(char (&digits)[size], Integer value, int base) noexcept
{
    static_assert(size >= 65);
    char const* const end = std::to_chars(digits, digits + size, value, base).ptr;
    return {digits, static_cast<std::size_t>(end - digits)};
}

/// A floating-point number with exactly so many decimals, at most 50.
inline XCString FixedText(double value, int decimals)
{
    char digits[400]; // the largest number has 309 digits before the point
    char* const end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr;
    return AsciiText({digits, static_cast<std::size_t>(end - digits)});
}

/// 0, 10, 100 and so on up to 10^19: the least number of each count of digits after the first.
inline constexpr auto kLeastNumbers = [] {
    std::array<std::uint64_t, 20> least{};
    std::uint64_t power = 1;
    for (std::size_t i = 1; i < least.size(); ++i) least[i] = power *= 10;
    return least;
}();

/// How many decimal digits the value has; at least one.
constexpr std::size_t CountDigits(std::uint64_t value) noexcept
{
    // The logarithm of two times 1233 / 4096 is that of ten, rounded down; the table tells whether one digit is missing.
    std::size_t const fewest = static_cast<std::size_t>(std::bit_width(value | 1)) * 1233 >> 12;
    return fewest + (value >= kLeastNumbers[fewest] ? 1 : 0);
}

/// Writes the decimal digits of the value so that they end before `end`, two a division; returns the first of them.
inline wchar_t* PutDecimal(wchar_t* end, std::uint64_t value) noexcept
{
    static constexpr auto kPairs = [] {
        std::array<wchar_t, 200> pairs{};
        for (std::size_t i = 0; i < 100; ++i) {
            pairs[2 * i] = static_cast<wchar_t>(L'0' + i / 10);
            pairs[2 * i + 1] = static_cast<wchar_t>(L'0' + i % 10);
        }
        return pairs;
    }();
    auto const putPair = [&end](std::uint64_t pair) {
        end -= 2;
        std::memcpy(end, &kPairs[pair * 2], 2 * sizeof *end);
    };
    for (; value >= 100; value /= 100) putPair(value % 100);
    if (value >= 10)
        putPair(value);
    else
        *--end = static_cast<wchar_t>(L'0' + value);
    return end;
}

/// The digits of an integer as a string, written where they stay.
/// @param bits the value as 64 bits
inline XCString IntegerText(bool negative, std::uint64_t bits)
{
    std::uint64_t const magnitude = negative ? 0 - bits : bits;
    std::size_t const length = CountDigits(magnitude) + (negative ? 1 : 0);
    XCString text;
    wchar_t* const units = StringAccess::Extend(text, length);
    PutDecimal(units + length, magnitude);
    if (negative) units[0] = L'-';
    return text;
}

/// Decimal digits of an integer; the shortest text that reads back as the same floating-point number.
template <class Number>
XCString NumberText(Number value)
{
    if constexpr (std::is_integral_v<Number>) {
        return IntegerText(value < 0, static_cast<std::uint64_t>(value));
    } else {
        char digits[32];
        std::to_chars_result const end = std::to_chars(digits, digits + sizeof digits, value);
        return AsciiText({digits, static_cast<std::size_t>(end.ptr - digits)});
    }
}

/// The decimal digits of a number, in memory of its own: for places that must not allocate.
class Digits {
public:
    explicit Digits(std::uint64_t value) noexcept : m_begin(PutDecimal(m_digits + kMost, value)) {}
    Digits(Digits const&) = delete;
    Digits& operator=(Digits const&) = delete;
    [[nodiscard]] std::wstring_view View() const noexcept
    {
        return {m_begin, static_cast<std::size_t>(m_digits + kMost - m_begin)};
    }

private:
    static constexpr std::size_t kMost = 20;
    wchar_t m_digits[kMost];
    wchar_t const* m_begin;
};

/// Writes exactly `width` digits, the lowest ones of the value; returns what follows them.
template <class Unit>
constexpr Unit* PutDigits(Unit* to, unsigned long value, int width) noexcept
{
    for (int i = width; i-- > 0; value /= 10) to[i] = static_cast<Unit>('0' + value % 10);
    return to + width;
}

/// Appends a number to a narrow or wide text of the standard library.
template <class Text>
void AppendNumber(Text& to, std::uint64_t value)
{
    Digits const digits(value);
    for (wchar_t const digit : digits.View()) to.push_back(static_cast<typename Text::value_type>(digit));
}

} // namespace xc::text
