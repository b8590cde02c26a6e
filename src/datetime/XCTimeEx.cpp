// A time of day: a count of milliseconds since midnight. A constructor that is given anything outside the day makes a
// null value; arithmetic wraps any sum into the day.
//
// Counting from midnight makes the order of times the order of the counts and every difference one subtraction. The
// day has 86,400,000 milliseconds always: a time of day knows no zone, so it knows no hour that a change of the clock
// skips or repeats, and no leap second; whoever needs those asks for an instant. Durations of whole calendar units
// (days and longer) move a time by nothing, and only those of hours and below count. Invariant: the count is that of
// null or lies in 0 to 86,399,999.
#include <XelbrinCore/XCDateTime.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/DateText.h"

using namespace xc::datetime;

constinit XCTimeEx const XCTimeEx::null{};
constinit XCTimeEx const XCTimeEx::minimum{0};
constinit XCTimeEx const XCTimeEx::maximum{86399999};

void XCTimeEx::GetDateAndTime(XCDateAndTime& fields) const noexcept
{
    fields = XCDateAndTime{0, 0, 0, GetHour(), GetMinute(), GetSecond(), GetMillisecond(), 0, XCTimeZone()};
}

bool XCTimeEx::SetDateAndTime(XCDateAndTime const& fields) noexcept
{
    *this = XCTimeEx(fields.hour, fields.minute, fields.second, fields.millisecond);
    return IsValid();
}

XCTimeEx XCTimeEx::GetTheCurrentTime(bool local) noexcept
{
    xc::win32::WallTime const now = local ? LocalClock() : xc::win32::UtcNow();
    return XCTimeEx(now.hour, now.minute, now.second, now.millisecond);
}

// Arithmetic ----------------------------------------------------------------------------------------------------

XCTimeEx& XCTimeEx::Wrap(std::int64_t milliseconds) noexcept
{
    if (IsNull()) return *this;
    // The remainder first: the sum of a count and a whole duration could leave 64 bits. It has the sign of the
    // duration, so the floor below brings what fell before midnight back into the day.
    std::int64_t const sum = m_count + milliseconds % kDayMs;
    m_count = static_cast<std::int32_t>(sum - FloorDiv(sum, kDayMs) * kDayMs);
    return *this;
}

XCTimeEx& XCTimeEx::operator+=(XCDurationEx const& duration) noexcept
{
    // Units are ordered from years down to milliseconds, so this takes hours and everything finer.
    return duration.GetUnit() >= XCDurationEx::Hour ? Wrap(duration.AsMilliSeconds()) : *this;
}

XCTimeEx& XCTimeEx::operator-=(XCDurationEx const& duration) noexcept
{
    return *this += -duration;
}

XCTimeEx XCTimeEx::operator++(int) noexcept
{
    XCTimeEx const before = *this;
    ++*this;
    return before;
}

XCTimeEx XCTimeEx::operator--(int) noexcept
{
    XCTimeEx const before = *this;
    --*this;
    return before;
}

XCDurationEx XCTimeEx::Since(XCTimeEx const& other) const
{
    // Not zero: a caller that adds up differences must see that one of them was none.
    if (IsNull() || other.IsNull()) return XCDurationEx::invalid_;
    // Negative when the other one is later in the day: both belong to no day, so none of them can be of the next.
    return CheckedDuration(std::int64_t{m_count} - other.m_count, XCDurationEx::Millisecond);
}

// Text ----------------------------------------------------------------------------------------------------------

std::size_t XCTimeEx::AsString(wchar_t* buffer, std::size_t capacity, wchar_t const* format) const noexcept
{
    wchar_t const* const used = IsNull() ? L"" : format ? format : kTimeFormat;
    return WriteFormat(buffer, capacity, used, {XCDateEx::null, *this, 0}, kTimeLetters);
}

void XCTimeEx::AsString(XCString& text, wchar_t const* format) const
{
    wchar_t const* const used = IsNull() ? L"" : format ? format : kTimeFormat;
    AssignFormat(text, used, {XCDateEx::null, *this, 0}, kTimeLetters);
}

XCString XCTimeEx::AsString(wchar_t const* format) const
{
    XCString text;
    AsString(text, format);
    return text;
}

XCString XCTimeEx::AsString() const
{
    return AsString(kTimeFormat);
}

bool XCTimeEx::FromString(XCString const& text, wchar_t const* format)
{
    SetNull();
    if (IsKeyword(text, L"SYSTIME")) {
        *this = GetTheCurrentTime(true);
        return true;
    }
    wchar_t const* const place = SkipBlanks(text.AsWChar());
    if (*place == L'\0') return true;
    ReadFields const fields = ReadFormat(place, format ? format : kTimeFormat, kTimeLetters);
    return fields.hasTime && fields.GetTime(*this);
}

// Conversions ---------------------------------------------------------------------------------------------------

bool XCTimeEx::AsStructTM(std::tm& time) const noexcept
{
    if (!IsValid()) return false;
    FillStructTM(time, XCDateEx::null, *this, -1);
    return true;
}

bool XCTimeEx::FromStructTM(std::tm const& time) noexcept
{
    SetNull();
    if (time.tm_hour >= 0 && time.tm_min >= 0 && time.tm_sec >= 0)
        *this = XCTimeEx(static_cast<unsigned>(time.tm_hour), static_cast<unsigned>(time.tm_min),
                         static_cast<unsigned>(time.tm_sec));
    return IsValid();
}

XCTimeEx::XCTimeEx(double oleDate) noexcept
{
    XCDateEx date;
    SplitOleDate(oleDate, date, this);
}

XCDateTime XCTimeEx::AsXCDateTime() const noexcept
{
    return IsValid() ? XCDateTime(m_count / 1000) : XCDateTime();
}

bool XCTimeEx::FromXCDateTime(XCDateTime const& value, bool local) noexcept
{
    XCDateEx date;
    return SplitOldDateTime(value, local, date, *this);
}
