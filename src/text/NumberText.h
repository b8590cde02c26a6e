// NumberText.h - numbers as text, independent of any locale.
#pragma once

#include <XelbrinCore/XCString.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::text {

/// A text of ASCII characters as a string.
inline XCString AsciiText(std::string_view ascii)
{
    XCString text;
    text.Reserve(ascii.empty() ? 0 : ascii.size() + 1);
    for (char const character : ascii) text += static_cast<wchar_t>(character);
    return text;
}

/// Decimal digits of an integer; the shortest text that reads back as the same floating-point number.
template <class Number>
XCString NumberText(Number value)
{
    char digits[32];
    std::to_chars_result const end = std::to_chars(digits, digits + sizeof digits, value);
    return AsciiText({digits, static_cast<std::size_t>(end.ptr - digits)});
}

/// A floating-point number with exactly so many decimals, at most 50.
inline XCString FixedText(double value, int decimals)
{
    char digits[400]; // the largest number has 309 digits before the point
    char* const end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals).ptr;
    return AsciiText({digits, static_cast<std::size_t>(end - digits)});
}

/// The decimal digits of a number, in memory of its own: for places that must not allocate.
class Digits {
public:
    explicit Digits(std::uint64_t value) noexcept
    {
        do {
            *--m_begin = static_cast<wchar_t>(L'0' + value % 10);
            value /= 10;
        } while (value != 0);
    }
    Digits(Digits const&) = delete;
    Digits& operator=(Digits const&) = delete;
    [[nodiscard]] std::wstring_view View() const noexcept
    {
        return {m_begin, static_cast<std::size_t>(m_digits + kMost - m_begin)};
    }

private:
    static constexpr std::size_t kMost = 20;
    wchar_t m_digits[kMost];
    wchar_t* m_begin = m_digits + kMost;
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
