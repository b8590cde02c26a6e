// Dates: the packed word, weekdays and weeks, and moving by days and months.
//
// Days are added through the day number of Calendar.h instead of month by month, so that a billion days cost the same as
// one. Months are added to a count of months and the day is cut to the month's length.
//
// INVARIANT A result that cannot be stored leaves the date as it was. GetWeekDay is 0 before 1970, and GetYearWeek is
//           computed with that 0: both are fixed behaviour.
#include <XelbrinCore/XCDateTime.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/DateText.h"

#include <algorithm>

using namespace xc::datetime;

constinit XCDateEx const XCDateEx::null{};
constinit XCDateEx const XCDateEx::minimum{1, 1, 1};
constinit XCDateEx const XCDateEx::maximum{9999, 12, 31};

bool XCIsLeapYear(unsigned int year) noexcept
{
    return IsLeap(year);
}

bool XCDateEx::IsValid() const noexcept
{
    return IsDate(GetYear(), GetMonth(), GetDay());
}

void XCDateEx::GetDateAndTime(XCDateAndTime& fields) const noexcept
{
    fields = XCDateAndTime{GetYear(), GetMonth(), GetDay(), 0, 0, 0, 0, GetWeekDay(), XCTimeZone()};
}

bool XCDateEx::SetDateAndTime(XCDateAndTime const& fields) noexcept
{
    SetNull();
    SetDate(fields.year, fields.month, fields.day);
    return IsValid();
}

// Calendar queries ----------------------------------------------------------------------------------------------

unsigned int XCDateEx::GetWeekDay() const noexcept
{
    return GetYear() < 1970 ? 0 : WeekDayOf(static_cast<std::uint32_t>(GetYear()), GetMonth(), GetDay());
}

unsigned int XCDateEx::GetYearDay() const noexcept
{
    return IsValid() ? YearDayOf(GetYear(), GetMonth(), GetDay()) : 0;
}

unsigned int XCDateEx::GetYearWeek() const noexcept
{
    if (!IsValid()) return 0;
    // Weeks start on Monday, and days before the first Monday are in week 0.
    unsigned int const day = GetYearDay() - 1;
    unsigned int const sinceMonday = (GetWeekDay() + 6) % 7;
    if (day < sinceMonday) return 0;
    // The weeks that are whole by this day, and one more when a Monday has come in the rest.
    return day / 7 + (day % 7 >= sinceMonday ? 1 : 0);
}

unsigned int XCDateEx::GetDaysInMonth(int year, unsigned int month) noexcept
{
    // Unsigned: month 0 wraps to the largest number and is refused by the same comparison.
    return month - 1 < 12 ? MonthLength(year, month) : 0;
}

XCDateEx XCDateEx::GetCurrentDate(bool local) noexcept
{
    xc::win32::WallTime const now = local ? LocalClock() : xc::win32::UtcNow();
    return XCDateEx(now.year, now.month, now.day);
}

// Arithmetic ----------------------------------------------------------------------------------------------------

XCDateEx& XCDateEx::AddDays(std::int64_t days) noexcept
{
    std::int64_t const day = GetDay() + days;
    if (day >= 1 && day <= 28) { // every month has these
        m_word = (m_word & ~31u) | static_cast<std::uint32_t>(day);
        return *this;
    }
    Civil const moved = CivilOf(DayNumber(GetYear(), GetMonth(), GetDay()) + days);
    // The years that the 23 bits of the packed word hold.
    if (moved.year >= 0 && moved.year < 8388608) SetDate(static_cast<int>(moved.year), moved.month, moved.day);
    return *this;
}

XCDateEx& XCDateEx::AddMonths(std::int64_t months) noexcept
{
    std::int64_t const monthIndex = GetMonth() - 1 + months;
    // Division that rounds down: one month before January is December of the year before.
    std::int64_t const years = FloorDiv(monthIndex, 12);
    std::int64_t const year = GetYear() + years;
    auto const month = static_cast<std::uint32_t>(monthIndex - years * 12 + 1);
    std::uint32_t const day = GetDay() <= 28 ? GetDay() : std::min(GetDay(), MonthLength(year, month));
    if (year >= 0 && year < 8388608) SetDate(static_cast<int>(year), month, day);
    return *this;
}

XCDateEx& XCDateEx::AddOrSubstract(XCDurationEx const& duration, bool add) noexcept
{
    if (!IsValid()) return *this;
    // Widened before it is negated, and before a year becomes twelve months.
    std::int64_t const count = add ? std::int64_t{duration.GetDuration()} : -std::int64_t{duration.GetDuration()};
    switch (duration.GetUnit()) {
    case XCDurationEx::Year: return AddMonths(count * 12);
    case XCDurationEx::Month: return AddMonths(count);
    case XCDurationEx::Week: return AddDays(count * 7);
    case XCDurationEx::Day: return AddDays(count);
    // A date has no time of day: hours and below do not move it.
    default: return *this;
    }
}

XCDateEx& XCDateEx::operator+=(long days) noexcept
{
    return IsValid() ? AddDays(ClampedDays(days)) : *this;
}

XCDateEx& XCDateEx::operator-=(long days) noexcept
{
    return IsValid() ? AddDays(-ClampedDays(days)) : *this;
}

XCDateEx XCDateEx::operator++(int) noexcept
{
    XCDateEx const before = *this;
    ++*this;
    return before;
}

XCDateEx XCDateEx::operator--(int) noexcept
{
    XCDateEx const before = *this;
    --*this;
    return before;
}

XCDurationEx XCDateEx::DaysSince(XCDateEx const& other) const
{
    if (!IsValid() || !other.IsValid()) return XCDurationEx::invalid_;
    return CheckedDuration(DayNumber(GetYear(), GetMonth(), GetDay()) -
                               DayNumber(other.GetYear(), other.GetMonth(), other.GetDay()),
                           XCDurationEx::Day);
}

// Text ----------------------------------------------------------------------------------------------------------

std::size_t XCDateEx::AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format) const noexcept
{
    wchar_t const* const used = IsNull() ? L"" : format ? format : kDateFormat;
    return WriteFormat(buffer, capacity, used, {*this, XCTimeEx::null, 0}, kDateLetters);
}

void XCDateEx::AsString(XCString& text, wchar_t const* format) const
{
    wchar_t const* const used = IsNull() ? L"" : format ? format : kDateFormat;
    AssignFormat(text, used, {*this, XCTimeEx::null, 0}, kDateLetters);
}

XCString XCDateEx::AsString(wchar_t const* format) const
{
    XCString text;
    AsString(text, format);
    return text;
}

XCString XCDateEx::AsString() const
{
    return AsString(kDateFormat);
}

bool XCDateEx::FromString(XCString const& text, wchar_t const* format)
{
    SetNull();
    if (IsKeyword(text, L"SYSDATE")) {
        *this = GetCurrentDate(true);
        return true;
    }
    wchar_t const* const place = SkipBlanks(text.AsWChar());
    if (*place == L'\0') return true;
    ReadFields const fields = ReadFormat(place, format ? format : kDateFormat, kDateLetters);
    return (fields.hasDate || !fields.wantsDate) && fields.GetDate(*this) && IsValid();
}

// Conversions ---------------------------------------------------------------------------------------------------

bool XCDateEx::AsStructTM(std::tm& time) const noexcept
{
    if (!IsValid()) return false;
    FillStructTM(time, *this, XCTimeEx::minimum, -1);
    return true;
}

bool XCDateEx::FromStructTM(std::tm const& time) noexcept
{
    // Numbers come from outside: each is checked before arithmetic that could overflow.
    SetNull();
    if (time.tm_year < 0x7FFFFFFF - 1900 && time.tm_mon >= 0 && time.tm_mday >= 0)
        SetDate(time.tm_year + 1900, static_cast<unsigned>(time.tm_mon) + 1, static_cast<unsigned>(time.tm_mday));
    return IsValid();
}

XCDateEx::XCDateEx(double oleDate) noexcept
{
    SplitOleDate(oleDate, *this, nullptr);
}

XCDateTime XCDateEx::AsXCDateTime(bool local) const noexcept
{
    XCTimeZone const& zone = local ? XCDateTimeEx::localTimeZone_ : XCDateTimeEx::utcTimeZone_;
    return XCDateTimeEx(*this, XCTimeEx(0), zone).AsXCDateTime(zone);
}

XCDateEx::XCDateEx(XCDate const& value) noexcept : XCDateEx(static_cast<int>(value.year()), value.month(), value.day())
{
}

XCDate XCDateEx::AsXCDate() const noexcept
{
    // The first year that the old type holds.
    if (!IsValid() || *this < XCDateEx(1899, 1, 1)) return XCDate();
    return XCDate(GetDay(), GetMonth(), static_cast<unsigned int>(GetYear()));
}

bool XCDateEx::FromXCDateTime(XCDateTime const& value, bool local) noexcept
{
    XCTimeEx time;
    return SplitOldDateTime(value, local, *this, time);
}
