// Digits.h - numbers as digits for the fixed places of records.
#pragma once

#include "win32/Clock.h"

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

/// Fills the digits of a stamp laid out as "0000-00-00 00:00:00.000"; what stands between them stays.
inline void PutStampDigits(char* stamp, win32::WallTime const& t) noexcept
{
    PutDigits(stamp, t.year, 4);
    PutDigits(stamp + 5, t.month, 2);
    PutDigits(stamp + 8, t.day, 2);
    PutDigits(stamp + 11, t.hour, 2);
    PutDigits(stamp + 14, t.minute, 2);
    PutDigits(stamp + 17, t.second, 2);
    PutDigits(stamp + 20, t.millisecond, 3);
}

/// Appends a number to a narrow text.
template <class Text>
void AppendNumber(Text& to, std::uint64_t value)
{
    Digits const digits(value);
    for (wchar_t const digit : digits.View()) to.push_back(static_cast<typename Text::value_type>(digit));
}

} // namespace xc::log
