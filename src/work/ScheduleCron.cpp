// Cron lines: five fields to bit sets, and the walk over days, hours and minutes that the sets allow.
//
// The walk goes by days, since only a day needs the calendar; within a day the next hour and minute are two searches of
// bits. A line that is seldom due costs a look at the calendar for each day between, and one that never comes 15,000 of
// them.
//
// Lines with a star in the minutes or hours mean a rhythm ("every ten minutes"), the others times of day. A rhythm
// takes the clock as it shows: it makes nothing up for a skipped hour, and runs in both passes of a repeated one. Times
// of day follow the policies of all other schedules. The daemons make the same difference.
#include <XelbrinCore/XCSchedule.h>

#include "datetime/Calendar.h"
#include "errors/CoreError.h"
#include "work/CronLine.h"

#include <bit>

using namespace xc::datetime;
using xc::work::CronLine;

namespace {

/// How many days are looked at: a leap day on a given weekday comes every 28 years, or 40 over a century.
constexpr std::int64_t kDays = 366 * 41;

/// The first value of a set at or after one; 64 when there is none.
unsigned int NextBit(std::uint64_t bits, unsigned int from) noexcept
{
    return from > 63 ? 64 : static_cast<unsigned int>(std::countr_zero(bits & (~std::uint64_t{0} << from)));
}

} // namespace

XCScheduleCron::XCScheduleCron(XCString const& line) : m_line(line)
{
    CronLine const read(line.View());
    if (read.expected) {
        m_error =
            xc::errors::MakeCoreError(XCErrScheduleText, static_cast<long>(read.position), XCString(read.expected));
        return;
    }
    m_minutes = read.fields[CronLine::Minute];
    m_hours = static_cast<std::uint32_t>(read.fields[CronLine::Hour]);
    m_days = static_cast<std::uint32_t>(read.fields[CronLine::Day]);
    m_months = static_cast<std::uint32_t>(read.fields[CronLine::Month]);
    m_weekDays = static_cast<std::uint32_t>(read.fields[CronLine::WeekDay]);
    m_weekDays |= m_weekDays >> 7 & 1; // 7 is Sunday, too
    // The rule of the daemons: two lists of days mean the days of either; with a star in one field both must hold,
    // which leaves the choice to the other.
    m_eitherDay = !read.star[CronLine::Day] && !read.star[CronLine::WeekDay];
    m_byRhythm = read.star[CronLine::Minute] || read.star[CronLine::Hour];
    if (!m_byRhythm) return;
    SetSkippedTime(XCSkippedTime::Never);
    SetRepeatedTime(XCRepeatedTime::Both);
}

bool XCScheduleCron::IsDay(std::int64_t day) const noexcept
{
    Civil const date = CivilOf(kEpochDay + day);
    bool const byDay = m_days >> date.day & 1, byWeekDay = m_weekDays >> WeekDayOf(kEpochDay + day) & 1;
    return (m_months >> date.month & 1) && (m_eitherDay ? byDay || byWeekDay : byDay && byWeekDay);
}

std::int64_t XCScheduleCron::NextWall(std::int64_t wallMs) const
{
    constexpr std::int64_t kMinuteMs = 60000;
    // Rounded up: the line names whole minutes, and one that has begun is over.
    std::int64_t const minute = FloorDiv(wallMs + kMinuteMs - 1, kMinuteMs);
    std::int64_t const first = FloorDiv(minute, 1440);
    auto const rest = static_cast<unsigned int>(minute - first * 1440);
    unsigned int from = rest; // the minute of the day
    for (std::int64_t day = first; day < first + kDays; ++day, from = 0) {
        if (!IsDay(day)) continue;
        unsigned int hour = NextBit(m_hours, from / 60);
        // Only the first hour begins in its middle. The set of minutes is never empty, so that a later hour always has
        // one.
        unsigned int at = hour == from / 60 ? NextBit(m_minutes, from % 60) : NextBit(m_minutes, 0);
        if (at == 64) hour = NextBit(m_hours, hour + 1), at = NextBit(m_minutes, 0);
        if (hour < 24) return (day * 1440 + hour * 60 + at) * kMinuteMs;
    }
    return kNone;
}
