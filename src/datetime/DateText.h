// DateText.h - the formats of dates and times: writing into a buffer, reading from a text.
#pragma once

#include <XelbrinCore/XCDateTime.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace xc::datetime {

/// Which specifiers a format knows; every other letter after "%" stands for itself.
enum Letters : unsigned { kDateLetters = 1, kTimeLetters = 2, kAllLetters = 7 };

inline constexpr wchar_t const* kDateFormat = L"%Y/%m/%d";
inline constexpr wchar_t const* kTimeFormat = L"%H:%M:%S.%L";
inline constexpr wchar_t const* kSecondsFormat = L"%H:%M:%S";
inline constexpr wchar_t const* kDateTimeFormat = L"%Y/%m/%d %H:%M:%S.%L";
inline constexpr wchar_t const* kDateSecondsFormat = L"%Y/%m/%d %H:%M:%S";

/// Writes into a buffer of fixed size; what does not fit is dropped.
class TextOut {
public:
    TextOut(wchar_t* buffer, std::size_t capacity) noexcept
        : m_begin(buffer), m_at(buffer), m_end(buffer), m_stop(buffer), m_terminates(buffer && capacity > 0)
    {
        if (m_terminates) m_end = buffer + (capacity - 1);
        if (m_terminates && capacity > kReserve) m_stop = buffer + (capacity - kReserve);
    }
    /// Whether a format has to stop here.
    [[nodiscard]] bool Full() const noexcept { return m_at >= m_stop; }
    void Unit(wchar_t unit) noexcept
    {
        if (m_at < m_end) *m_at++ = unit;
    }
    void Text(std::wstring_view text) noexcept
    {
        for (wchar_t const unit : text) Unit(unit);
    }
    void TwoDigits(std::uint32_t value) noexcept { Padded(value, 2); }
    /// At least `width` digits.
    void Padded(std::uint32_t value, unsigned width) noexcept
    {
        if (width == 2 && value < 100) {
            Unit(static_cast<wchar_t>(L'0' + value / 10));
            Unit(static_cast<wchar_t>(L'0' + value % 10));
        } else {
            Digits(value, width);
        }
    }
    void Number(std::int64_t value) noexcept;
    /// Terminates. @return the units written.
    std::size_t Finish() noexcept
    {
        if (m_terminates) *m_at = L'\0';
        return static_cast<std::size_t>(m_at - m_begin);
    }

private:
    static constexpr std::size_t kReserve = 5; // units kept free of formatted text

    void Digits(std::uint64_t value, unsigned width) noexcept;

    wchar_t* m_begin;
    wchar_t* m_at;
    wchar_t* m_end;  // the last unit of the buffer: room for the terminator
    wchar_t* m_stop; // no new piece starts from here on
    bool m_terminates;
};

/// What a format shows: the two words as a zone's clocks show them, and its offset.
struct ShownTime {
    XCDateEx date;
    XCTimeEx time;
    int offsetMinutes = 0;
};

/// Writes the text of a format. @return the units written.
std::size_t WriteFormat(wchar_t* buffer, std::size_t capacity, wchar_t const* format, ShownTime const& shown,
                        Letters letters) noexcept;
/// The same into a string, with room for all of it.
void AssignFormat(XCString& text, wchar_t const* format, ShownTime const& shown, Letters letters);

enum class NumberSigns { Minus, Both };
struct ReadNumber {
    std::int64_t value = 0; ///< 0 without a digit; held at the limits of 32 bits, and one more at either end
    bool anyDigit = false;
};
/// Reads a sign and digits, and moves past them.
ReadNumber ReadInteger(wchar_t const*& place, NumberSigns signs) noexcept;

/// The numbers that a format found in a text; fields that it does not name keep what they start with.
struct ReadFields {
    std::int64_t year = 0, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
    bool hasDate = false; ///< at least one number was read for a field of the date
    bool hasTime = false;
    bool wantsDate = false; ///< the format names a field of the date
    std::optional<int> offsetMinutes;

    /// False, and the value null, when a field is out of the range that can be stored.
    bool GetDate(XCDateEx& date) const noexcept;
    bool GetTime(XCTimeEx& time) const noexcept;
};
ReadFields ReadFormat(wchar_t const* text, wchar_t const* format, Letters letters) noexcept;

/// Whether a text is a keyword, and nothing else.
inline bool IsKeyword(XCString const& text, std::wstring_view keyword) noexcept
{
    return text.View() == keyword;
}

/// Skips the blanks before a text.
wchar_t const* SkipBlanks(wchar_t const* text) noexcept;

} // namespace xc::datetime
