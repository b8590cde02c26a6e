// Converts between the value classes and counts of days, seconds or milliseconds.
//
// All ways lead over two numbers: the day number of Calendar.h and the milliseconds of the day. Milliseconds since 1970
// hold an instant between years -290 million and 290 million, so 64 bits never overflow for dates that can be stored.
//
// OLE dates count days from 1899-12-30 as a double; before that day the fraction still counts forward within the day,
// away from zero. The fraction is rounded to the nearest millisecond, and a day that is thereby full carries over.
//
// XCMkTime carries fields out of their range by computing with them as they are (month 13 is January of the next year,
// day 0 the last of the month before), then reads the result as wall time and breaks it down anew.
//
// INVARIANT A conversion that fails leaves nulls, never a value that looks right.
#include "datetime/Conversions.h"

#include "datetime/Calendar.h"
#include "datetime/Zone.h"

#include <cmath>

namespace xc::datetime {

namespace {

constexpr std::int64_t kOleDay = DayNumber(1899, 12, 30);

} // namespace

win32::WallTime LocalClock() noexcept
{
    if (!IsLocalZoneReplaced()) return win32::LocalNow();
    win32::WallTime const now = win32::UtcNow();
    XCDateAndTime local;
    XCDateTimeEx(now.year, now.month, now.day, now.hour, now.minute, now.second, now.millisecond, XCTimeZone())
        .GetDateAndTime(local);
    auto const u16 = [](auto value) { return static_cast<std::uint16_t>(value); };
    return {u16(local.year), u16(local.month),  u16(local.weekDay), u16(local.day),
            u16(local.hour), u16(local.minute), u16(local.second),  u16(local.millisecond)};
}

void FillStructTM(std::tm& time, XCDateEx const& date, XCTimeEx const& clock, int isDaylight) noexcept
{
    time = std::tm{};
    if (!date.IsNull()) {
        std::uint32_t const weekDay = WeekDayOf(DayNumber(date.GetYear(), date.GetMonth(), date.GetDay()));
        time.tm_year = date.GetYear() - 1900;
        time.tm_mon = static_cast<int>(date.GetMonth()) - 1;
        time.tm_mday = static_cast<int>(date.GetDay());
        time.tm_wday = static_cast<int>(weekDay);
        time.tm_yday = static_cast<int>(date.GetYearDay()) - 1;
    }
    time.tm_hour = static_cast<int>(clock.GetHour());
    time.tm_min = static_cast<int>(clock.GetMinute());
    time.tm_sec = static_cast<int>(clock.GetSecond());
    time.tm_isdst = isDaylight;
}

double ToOleDate(XCDateEx const& date, XCTimeEx const& time) noexcept
{
    double const fraction = time.AsMilliseconds() / static_cast<double>(kDayMs);
    if (date.IsNull()) return fraction;
    auto const days = static_cast<double>(DayNumber(date.GetYear(), date.GetMonth(), date.GetDay()) - kOleDay);
    return days < 0 ? days - fraction : days + fraction; // the fraction counts away from zero
}

bool SplitOleDate(double oleDate, XCDateEx& date, XCTimeEx* time) noexcept
{
    date.SetNull();
    if (time) time->SetNull();
    if (!(oleDate > -657435.0 && oleDate < 2958466.0)) return false;
    double const whole = std::trunc(oleDate);
    auto milliseconds = static_cast<std::int64_t>(std::fabs(oleDate - whole) * static_cast<double>(kDayMs) + 0.5);
    auto day = kOleDay + static_cast<std::int64_t>(whole);
    if (milliseconds >= kDayMs) {
        milliseconds -= kDayMs;
        ++day;
    }
    Civil const civil = CivilOf(day);
    if (civil.year > 9999) return false;
    date.SetDate(static_cast<int>(civil.year), civil.month, civil.day);
    if (time) *time = XCTimeEx(static_cast<int>(milliseconds));
    return true;
}

bool SplitEpochMs(std::int64_t epochMs, XCDateEx& date, XCTimeEx& time) noexcept
{
    std::int64_t const days = FloorDiv(epochMs, kDayMs);
    Civil const civil = CivilOf(kEpochDay + days);
    date.SetNull();
    time.SetNull();
    if (civil.year < 0 || civil.year >= 8388608) return false;
    date.SetDate(static_cast<int>(civil.year), civil.month, civil.day);
    time = XCTimeEx(static_cast<int>(epochMs - days * kDayMs));
    return true;
}

std::int64_t ToEpochMs(XCDateEx const& date, XCTimeEx const& time) noexcept
{
    return EpochMs(date.GetYear(), date.GetMonth(), date.GetDay(), time.AsMilliseconds());
}

bool SplitOldDateTime(XCDateTime const& value, bool local, XCDateEx& date, XCTimeEx& time) noexcept
{
    date.SetNull();
    time.SetNull();
    if (value.IsNull()) return true;
    std::int64_t const seconds = value.AsTime();
    if (seconds < 0 || seconds > kLastOldSecond) return false;
    std::int64_t const utc = seconds * 1000;
    return SplitEpochMs(local ? utc + OffsetMsAt(XCTimeZone::Local(), utc) : utc, date, time);
}

} // namespace xc::datetime

using namespace xc::datetime;

// The free functions over broken-down times ---------------------------------------------------------------------

void XCCopyStructTM(std::tm const& from, std::tm& to) noexcept
{
    to = from;
}

bool XCLocalTime(std::tm& time, std::int64_t seconds, XCTimeZone const& zone) noexcept
{
    if (seconds < 0 || seconds > kLastOldSecond) return false;
    std::int64_t const utc = seconds * 1000;
    ZoneOffset const offset = OffsetAt(zone, utc);
    XCDateEx date;
    XCTimeEx clock;
    SplitEpochMs(utc + offset.Ms(), date, clock);
    FillStructTM(time, date, clock, offset.isDaylight ? 1 : 0);
    return true;
}

std::int64_t XCMkTime(std::tm& time, XCTimeZone const& zone) noexcept
{
    std::int64_t const monthIndex = time.tm_mon;
    std::int64_t const carry = FloorDiv(monthIndex, 12);
    std::int64_t const year = std::int64_t{time.tm_year} + 1900 + carry;
    // No count of days or less leads back from years so far off.
    if (year < -10000000 || year > 10000000) return -1;
    auto const month = static_cast<std::uint32_t>(monthIndex - carry * 12) + 1;
    std::int64_t const day = DayNumber(year, month, 1) - kEpochDay + time.tm_mday - 1;
    std::int64_t const wall = ((day * 24 + time.tm_hour) * 60 + time.tm_min) * 60 + time.tm_sec;
    // Far outside the range the offset does not matter, and milliseconds would not fit.
    if (wall < -2 * 86400 || wall > kLastOldSecond + 2 * 86400) return -1;
    std::int64_t const seconds = (wall * 1000 - OffsetMsOfWall(zone, wall * 1000)) / 1000;
    return XCLocalTime(time, seconds, zone) ? seconds : -1;
}
