// Digits.h - numbers as digits for the fixed places of records.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::log {

/// The decimal digits of a number, in memory of its own.
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

/// Appends a number to a narrow text.
template <class Text>
void AppendNumber(Text& to, std::uint64_t value)
{
    Digits const digits(value);
    for (wchar_t const digit : digits.View()) to.push_back(static_cast<typename Text::value_type>(digit));
}

} // namespace xc::log
