// The kinds of schedules that name days and times of day: from a wall time to the next one that is meant.
//
// Days are numbers since 1970 and times milliseconds, so that most rules are arithmetic: every n-th day is a remainder,
// weeks count from a Monday. Only months need the calendar: a month's chosen days become a set of bits once, and the
// search walks over months, at most 41 years, since a leap day on a given weekday may take 40 (none in 2100). Offsets and
// changes of clocks are not known here; ScheduleBase.cpp puts them in.
#include <XelbrinCore/XCSchedule.h>

#include "datetime/Calendar.h"
#include "datetime/Conversions.h"
#include "datetime/Zone.h"

#include <algorithm>

using namespace xc::datetime;

namespace {

/// Longer intervals would leave the dates that can be written.
constexpr std::int64_t kLongestMs = std::int64_t{10000} * 366 * kDayMs;

/// How many months a rule is looked for: February 30 never comes.
constexpr int kMonths = 12 * 41;

/// Without a start rhythms count from 1970, so that two schedules of one rhythm fall on the same days.
std::int64_t DayOf(XCDateEx const& date) noexcept
{
    return date.IsValid() ? FloorDiv(ToEpochMs(date, XCTimeEx()), kDayMs) : 0;
}

/// The first number at or after `from` that is `start` plus a multiple of `step`.
std::int64_t NextMultiple(std::int64_t from, std::int64_t start, std::int64_t step) noexcept
{
    return start + FloorDiv(from - start + step - 1, step) * step;
}

template <class Values, class Text>
XCString Joined(Values const& values, Text text)
{
    XCString result;
    for (auto const& value : values) {
        if (!result.IsNull()) result += L", ";
        result += text(value);
    }
    return result;
}

constexpr wchar_t const* kWeekDays[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                        L"Thursday", L"Friday", L"Saturday"};
/// Bits 1 to 12, as months are numbered.
constexpr std::uint32_t kAllMonths = 0x1FFE;

unsigned int MonthBits(std::vector<unsigned int> const& months) noexcept
{
    unsigned int bits = 0;
    for (unsigned int const month : months)
        if (month >= 1 && month <= 12) bits |= 1u << month;
    // A list of months that holds no month is a mistake and gives none, while no list means all of them.
    return months.empty() ? kAllMonths : bits;
}

XCString Every(std::int64_t count, wchar_t const* one, wchar_t const* many)
{
    return count == 1 ? XCString(one) : XCString().Format(L"every %I64d %ls", count, many);
}

} // namespace

XCScheduleInterval::XCScheduleInterval(std::int64_t everyMs, XCDateTimeEx const& start)
    : m_every(std::min(everyMs, kLongestMs)),
      m_start(start.IsDateAndTime() && start.IsValid()
                  ? ToEpochMs(start.GetDate(XCTimeZone::UTC()), start.GetTime(XCTimeZone::UTC()))
                  : 0)
{
}

std::int64_t XCScheduleInterval::NextWall(std::int64_t wallMs) const
{
    return wallMs <= m_start ? m_start : NextMultiple(wallMs, m_start, m_every);
}

/// Counts instants; a zone is needed for the excluded dates alone.
std::int64_t XCScheduleInterval::NextInstant(std::int64_t utcMs, XCTimeZone const& zone) const
{
    for (;;) {
        std::int64_t const found = NextWall(utcMs), offset = OffsetMsAt(zone, found);
        std::int64_t const day = FloorDiv(found + offset, kDayMs);
        if (!IsExcluded(day)) return found;
        // On to the next midnight, by the offset of then where the clocks change before it. A midnight that the change
        // itself leaves out keeps the offset of now. `found + 1` keeps the search moving wherever that lies.
        std::int64_t const midnight = (day + 1) * kDayMs, byNow = midnight - offset;
        std::int64_t const offsetThen = OffsetMsAt(zone, byNow), byThen = midnight - offsetThen;
        bool const isEarlier = byThen < byNow && OffsetMsAt(zone, byThen) == offsetThen;
        utcMs = std::max(found + 1, isEarlier ? byThen : byNow);
    }
}

XCString XCScheduleInterval::AsString() const
{
    return XCString().Format(L"every %I64d ms", m_every);
}

XCScheduleOnce::XCScheduleOnce(XCDateEx const& date, XCTimeEx const& time)
    : m_wall(date.IsValid() && time.IsValid() ? ToEpochMs(date, time) : kNone)
{
}

std::int64_t XCScheduleOnce::NextWall(std::int64_t wallMs) const
{
    return wallMs <= m_wall ? m_wall : kNone;
}

XCString XCScheduleOnce::AsString() const
{
    XCDateEx date;
    XCTimeEx time;
    if (IsEmpty() || !SplitEpochMs(m_wall, date, time)) return L"never";
    return L"once at " + date.AsString() + L" " + time.AsString(L"%H:%M:%S");
}

XCScheduleDays::XCScheduleDays(std::vector<XCTimeEx> const& times)
{
    for (XCTimeEx const& time : times)
        if (time.IsValid()) m_times.push_back(time.AsInt());
    // In order and each once: the search takes the first at or after a time, and a double would be due twice.
    std::sort(m_times.begin(), m_times.end());
    m_times.erase(std::unique(m_times.begin(), m_times.end()), m_times.end());
}

std::int64_t XCScheduleDays::NextWall(std::int64_t wallMs) const
{
    if (m_times.empty()) return kNone;
    std::int64_t const today = FloorDiv(wallMs, kDayMs);
    std::int64_t day = NextDay(today);
    if (day == today) {
        auto const time = std::lower_bound(m_times.begin(), m_times.end(), wallMs - today * kDayMs);
        if (time != m_times.end()) return today * kDayMs + *time;
        // All times of today have passed.
        day = NextDay(today + 1);
    }
    return day == kNone ? kNone : day * kDayMs + m_times.front();
}

XCString XCScheduleDays::TimesAsString() const
{
    return L" at " + Joined(m_times, [](std::int32_t time) { return XCTimeEx(time).AsString(L"%H:%M:%S"); });
}

XCScheduleDaily::XCScheduleDaily(std::vector<XCTimeEx> const& times, unsigned int everyDays, XCDateEx const& start)
    : XCScheduleDays(times), m_every(everyDays), m_start(DayOf(start))
{
    // The rhythm divides by it, so an empty schedule must never come to NextDay.
    if (m_every == 0) Clear();
}

std::int64_t XCScheduleDaily::NextDay(std::int64_t day) const
{
    return std::max(m_start, NextMultiple(day, m_start, m_every));
}

XCString XCScheduleDaily::AsString() const
{
    return IsEmpty() ? XCString(L"never") : Every(m_every, L"daily", L"days") + TimesAsString();
}

XCScheduleWeekly::XCScheduleWeekly(std::vector<unsigned int> const& weekDays, std::vector<XCTimeEx> const& times,
                                   unsigned int everyWeeks, XCDateEx const& start)
    : XCScheduleDays(times), m_every(everyWeeks),
      // Weeks begin on Monday, whichever day of it the start names: "every second week" then means the same weeks for
      // all days.
      m_firstMonday(DayOf(start) - (WeekDayOf(kEpochDay + DayOf(start)) + 6) % 7)
{
    for (unsigned int const day : weekDays)
        if (day < 7) m_days |= 1u << day;
    if (m_every == 0 || m_days == 0) Clear();
}

std::int64_t XCScheduleWeekly::NextDay(std::int64_t day) const
{
    day = std::max(day, m_firstMonday);
    // At most a week to the end of a wrong one and a week to the wanted day; 14 steps end a search that could not.
    for (int step = 0; step < 14; ++step) {
        std::int64_t const week = FloorDiv(day - m_firstMonday, 7);
        if (std::int64_t const wanted = NextMultiple(week, 0, m_every); wanted != week)
            day = m_firstMonday + wanted * 7;
        if (m_days >> WeekDayOf(kEpochDay + day) & 1) return day;
        ++day;
    }
    return kNone;
}

XCString XCScheduleWeekly::AsString() const
{
    if (IsEmpty()) return L"never";
    std::vector<unsigned int> days;
    for (unsigned int day = 0; day < 7; ++day)
        if (m_days >> day & 1) days.push_back(day);
    return Every(m_every, L"weekly", L"weeks") + L" on " +
           Joined(days, [](unsigned int day) { return XCString(kWeekDays[day]); }) + TimesAsString();
}

XCScheduleMonthly::XCScheduleMonthly(std::vector<int> const& days, std::vector<XCTimeEx> const& times,
                                     std::vector<unsigned int> const& months, ShortMonth shortMonth)
    : XCScheduleDays(times), m_months(MonthBits(months)), m_shortMonth(shortMonth)
{
    for (int const day : days)
        if (day >= -31 && day <= 31 && day != 0) m_days.push_back(day);
    if (m_days.empty() || m_months == 0) Clear();
}

XCScheduleMonthly::XCScheduleMonthly(int nth, unsigned int weekDay, std::vector<XCTimeEx> const& times,
                                     std::vector<unsigned int> const& months)
    : XCScheduleDays(times), m_nth(nth), m_weekDay(weekDay), m_months(MonthBits(months))
{
    if ((nth != -1 && (nth < 1 || nth > 5)) || weekDay > 6 || m_months == 0) Clear();
}

/// The chosen days of a month: bit n is day n.
std::uint32_t XCScheduleMonthly::DaysOf(std::int64_t year, unsigned int month) const noexcept
{
    int const length = static_cast<int>(MonthLength(year, month));
    std::uint32_t bits = 0;
    auto const choose = [&](int day) {
        if (day >= 1 && day <= length) bits |= 1u << day;
    };
    if (m_days.empty()) {
        // The first day of that weekday; the others follow by sevens, and the last is as many sevens on as the month
        // holds. A fifth that the month has not lies past its length, which `choose` leaves out.
        int const first = 1 + static_cast<int>((m_weekDay + 7 - WeekDayOf(DayNumber(year, month, 1))) % 7);
        choose(m_nth > 0 ? first + 7 * (m_nth - 1) : first + 7 * ((length - first) / 7));
    }
    for (int const day : m_days) {
        // Days 31 and 30 may both become the last one: the set of bits holds it once.
        if (m_shortMonth == ShortMonth::LastDay && day > length) choose(length);
        // Negative days count from the end, -1 is the last.
        choose(day > 0 ? day : length + 1 + day);
    }
    return bits;
}

std::int64_t XCScheduleMonthly::NextDay(std::int64_t day) const
{
    Civil date = CivilOf(kEpochDay + day);
    for (int month = 0; month < kMonths; ++month) {
        std::uint32_t const bits = m_months >> date.month & 1 ? DaysOf(date.year, date.month) : 0;
        // The first month begins at the day that was asked for, the others at 1 (below).
        for (std::uint32_t n = date.day; n <= 31; ++n)
            if (bits >> n & 1) return DayNumber(date.year, date.month, n) - kEpochDay;
        date = {date.year + (date.month == 12 ? 1 : 0), date.month % 12 + 1, 1};
    }
    return kNone;
}

XCString XCScheduleMonthly::AsString() const
{
    if (IsEmpty()) return L"never";
    XCString text(L"monthly on ");
    if (m_days.empty())
        text += XCString().Format(m_nth < 0 ? L"the last %ls" : L"%ls number %d", kWeekDays[m_weekDay], m_nth);
    else
        text += L"day " + Joined(m_days, [](int day) { return XCString().Format(L"%d", day); });
    return text + TimesAsString();
}
