// XCSchedule.h - when something is due by the calendar: every so often, once, daily, weekly, monthly, by a cron line.
//
// WHAT     A schedule answers one question: which due instant comes next after a given one, in a time zone. It knows
//          nothing of clocks and threads (XCScheduler.h runs schedules).
// WALL     All kinds but the interval name wall times. Where clocks change, two policies decide: a skipped wall time is
//          due at the jump, once for all that was skipped (default), or not at all; a repeated one is due the first
//          time (default), the last, or both. An interval counts in elapsed time and never notices a change.
// BOUNDS   No schedule is due before `from` or after `until`, nor on a local date that was excluded.
// COST     GetNext: some hundred ns for most; a cron line or monthly rule that is seldom due walks over the days
//          between. It gives up after 40 years without a due day.
// ERRORS   Fields out of range make a schedule empty: it is never due. The cron parser tells the position.
// THREADS  A schedule that nobody changes may be asked by many threads.
#pragma once

#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCTimeZone.h>

#include <cstdint>
#include <vector>

/// When a wall time is due that the clocks leave out.
enum class XCSkippedTime { AtJump, Never };
/// When a wall time is due that the clocks show twice.
enum class XCRepeatedTime { First, Last, Both };

/// The interface of all schedules.
class XC_API XCScheduleI : public XCRefCount {
public:
    ~XCScheduleI() override;
    /// The first due instant after `after`; null when there is none. Whole milliseconds.
    [[nodiscard]] virtual XCDateTimeEx GetNext(XCDateTimeEx const& after,
                                               XCTimeZone const& zone = XCTimeZone::Local()) const = 0;
    /// Whether it is never due, whatever the bounds.
    [[nodiscard]] virtual bool IsEmpty() const = 0;
    /// Whether it goes by a rhythm rather than by times of day: after the clock was set back it goes on at once.
    [[nodiscard]] virtual bool IsByInterval() const = 0;
    /// A description, as "daily at 02:30".
    [[nodiscard]] virtual XCString AsString() const = 0;
};

/// Bounds, exceptions and the policies for clock changes; the kinds below say which wall times they mean.
class XC_API XCScheduleBase : public XCScheduleI {
public:
    ~XCScheduleBase() override;
    /// For wall times that a clock change leaves out.
    void SetSkippedTime(XCSkippedTime policy) noexcept { m_skipped = policy; }
    /// For wall times that a clock change brings twice.
    void SetRepeatedTime(XCRepeatedTime policy) noexcept { m_repeated = policy; }
    /// Instants before which and after which it is never due; null: no bound.
    void SetBounds(XCDateTimeEx const& from, XCDateTimeEx const& until) noexcept;
    /// A date, by the zone's calendar, on which it is not due.
    void Exclude(XCDateEx const& date);
    /// What SetSkippedTime was given; AtJump at first.
    [[nodiscard]] XCSkippedTime GetSkippedTime() const noexcept { return m_skipped; }
    /// What SetRepeatedTime was given; First at first.
    [[nodiscard]] XCRepeatedTime GetRepeatedTime() const noexcept { return m_repeated; }

    XCDateTimeEx GetNext(XCDateTimeEx const& after, XCTimeZone const& zone = XCTimeZone::Local()) const override;
    bool IsByInterval() const override { return false; }

    /// No wall time.
    static constexpr std::int64_t kNone = INT64_MAX;

protected:
    XCScheduleBase() noexcept = default;
    /// The first wall time that the schedule means at or after a wall time, both in milliseconds since 1970 by the
    /// zone's clocks; kNone when there is none.
    [[nodiscard]] virtual std::int64_t NextWall(std::int64_t wallMs) const = 0;
    /// The first due instant at or after one, in milliseconds since 1970 UTC, without the bounds.
    [[nodiscard]] virtual std::int64_t NextInstant(std::int64_t utcMs, XCTimeZone const& zone) const;
    /// Whether a day, counted from 1970, was excluded.
    [[nodiscard]] bool IsExcluded(std::int64_t day) const noexcept;

private:
    [[nodiscard]] std::int64_t NextIncluded(std::int64_t wallMs) const;

    XCSkippedTime m_skipped = XCSkippedTime::AtJump;
    XCRepeatedTime m_repeated = XCRepeatedTime::First;
    std::int64_t m_from = INT64_MIN, m_until = INT64_MAX; // instants
    std::vector<std::int64_t> m_excluded;                 // days since 1970, sorted
};

/// Every so many milliseconds of elapsed time, counted from an instant; due at that instant, too.
class XC_API XCScheduleInterval : public XCScheduleBase {
public:
    /// @param everyMs 0 is never due.
    XCScheduleInterval(std::int64_t everyMs, XCDateTimeEx const& start);
    bool IsEmpty() const override { return m_every <= 0; }
    bool IsByInterval() const override { return true; }
    XCString AsString() const override;

protected:
    std::int64_t NextWall(std::int64_t wallMs) const override;
    std::int64_t NextInstant(std::int64_t utcMs, XCTimeZone const& zone) const override;

private:
    std::int64_t m_every, m_start;
};

/// A wall time of one date.
class XC_API XCScheduleOnce : public XCScheduleBase {
public:
    /// Never due when the date or the time is not valid.
    XCScheduleOnce(XCDateEx const& date, XCTimeEx const& time);
    bool IsEmpty() const override { return m_wall == kNone; }
    XCString AsString() const override;

protected:
    std::int64_t NextWall(std::int64_t wallMs) const override;

private:
    std::int64_t m_wall;
};

/// Times of day on the days that a kind of rule chooses.
class XC_API XCScheduleDays : public XCScheduleBase {
public:
    bool IsEmpty() const override { return m_times.empty(); }

protected:
    /// Sorted, without doubles; invalid times are left out.
    explicit XCScheduleDays(std::vector<XCTimeEx> const& times);
    std::int64_t NextWall(std::int64_t wallMs) const override;
    /// The first chosen day at or after a day, counted from 1970; kNone when there is none.
    [[nodiscard]] virtual std::int64_t NextDay(std::int64_t day) const = 0;
    /// " at 02:30, 14:00".
    [[nodiscard]] XCString TimesAsString() const;
    /// Leaves no time, so that it is never due.
    void Clear() noexcept { m_times.clear(); }

private:
    std::vector<std::int32_t> m_times; // milliseconds since midnight
};

/// Times of every day, or of every n-th day counted from a date.
class XC_API XCScheduleDaily : public XCScheduleDays {
public:
    /// @param everyDays 0 is never due. @param start the first day; 1970-01-01 in place of an invalid one.
    explicit XCScheduleDaily(std::vector<XCTimeEx> const& times, unsigned int everyDays = 1,
                             XCDateEx const& start = XCDateEx(1970, 1, 1));
    XCString AsString() const override;

protected:
    std::int64_t NextDay(std::int64_t day) const override;

private:
    std::int64_t m_every, m_start;
};

/// Times of some weekdays, of every week or of every n-th one counted from the week of a date. Weeks begin on Monday.
class XC_API XCScheduleWeekly : public XCScheduleDays {
public:
    /// @param weekDays 0 Sunday to 6 Saturday; others are left out.
    XCScheduleWeekly(std::vector<unsigned int> const& weekDays, std::vector<XCTimeEx> const& times,
                     unsigned int everyWeeks = 1, XCDateEx const& start = XCDateEx(1970, 1, 1));
    XCString AsString() const override;

protected:
    std::int64_t NextDay(std::int64_t day) const override;

private:
    unsigned int m_days = 0; // bit n: weekday n
    std::int64_t m_every, m_firstMonday;
};

/// Times of some days of the month.
class XC_API XCScheduleMonthly : public XCScheduleDays {
public:
    /// A month that is too short for a day: left out, or its last day.
    enum class ShortMonth { Skip, LastDay };

    /// @param days   1 to 31, or -1 the last day to -31; others are left out.
    /// @param months 1 to 12; empty: all.
    XCScheduleMonthly(std::vector<int> const& days, std::vector<XCTimeEx> const& times,
                      std::vector<unsigned int> const& months = {}, ShortMonth shortMonth = ShortMonth::Skip);
    /// A weekday of the month. @param nth 1 to 5, or -1 the last.  @param weekDay 0 Sunday to 6 Saturday.
    XCScheduleMonthly(int nth, unsigned int weekDay, std::vector<XCTimeEx> const& times,
                      std::vector<unsigned int> const& months = {});
    XCString AsString() const override;

protected:
    std::int64_t NextDay(std::int64_t day) const override;

private:
    [[nodiscard]] std::uint32_t DaysOf(std::int64_t year, unsigned int month) const noexcept;

    std::vector<int> m_days; // empty: by weekday
    int m_nth = 0;
    unsigned int m_weekDay = 0;
    unsigned int m_months = 0; // bit n: month n
    ShortMonth m_shortMonth = ShortMonth::Skip;
};

/// A line as cron tables have it: minute, hour, day of month, month, day of week.
///
/// Fields are "*", numbers, names (jan-dec, sun-sat), ranges "a-b", steps "/n" and lists; 7 is Sunday, too. When both
/// day fields are restricted (do not begin with "*"), either may hold. "@hourly @daily @midnight @weekly @monthly
/// @yearly @annually" are the usual lines. A line whose minute or hour field begins with "*" runs by the clock's own
/// rhythm: it is due in both passes of a repeated hour and not made up for at a jump. All other lines have the usual
/// policies. SetSkippedTime and SetRepeatedTime change either.
class XC_API XCScheduleCron : public XCScheduleBase {
public:
    /// Empty when the line cannot be read; GetReadError tells why.
    explicit XCScheduleCron(XCString const& line);
    /// XCErrScheduleText with the position in units and what was expected there.
    [[nodiscard]] XCErrorID const& GetReadError() const noexcept { return m_error; }
    bool IsEmpty() const override { return m_error.Bad(); }
    bool IsByInterval() const override { return m_byRhythm; }
    /// The line as given.
    XCString AsString() const override { return m_line; }

protected:
    std::int64_t NextWall(std::int64_t wallMs) const override;

private:
    [[nodiscard]] bool IsDay(std::int64_t day) const noexcept;

    XCString m_line;
    XCErrorID m_error;
    std::uint64_t m_minutes = 0;
    std::uint32_t m_hours = 0, m_days = 0, m_months = 0, m_weekDays = 0; // bit n: the value n
    bool m_eitherDay = false, m_byRhythm = false;
};
