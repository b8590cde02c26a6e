// Schedules beside a walk minute by minute, the texts of cron lines, and the scheduler over a fake clock.

#include "datetime/zone_names.h"
#include "work/fake_time.h"
#include "work/gate.h"

namespace {

constexpr std::int64_t kMinute = 60000, kHour = 60 * kMinute, kDay = 24 * kHour;

std::int64_t MsOf(XCDateTimeEx const& value)
{
    return value.IsNull() ? INT64_MAX : value.AsXCDateTime(XCTimeZone::UTC()).AsTime() * std::int64_t{1000};
}

XCDateTimeEx At(std::int64_t utcMs)
{
    return XCDateTimeEx(XCDateTime(utcMs / 1000), false);
}

XCDateTimeEx Utc(wchar_t const* text)
{
    return XCDateTimeEx(XCString(text), XCTimeZone::UTC());
}

/// A wall minute, taken apart.
struct Wall {
    int year;
    unsigned int month, day, weekDay, minute;
    std::int64_t dayNumber; // since 1970
};

/// A schedule with the question that a walk asks of each wall minute.
struct Kind {
    char const* name;
    XCSmartPtr<XCScheduleBase> schedule;
    std::function<bool(Wall const&)> means;
    std::int64_t everyMinutes = 0; // above 0: by elapsed time since 1970 instead
};

unsigned int DaysIn(Wall const& wall)
{
    return XCDateEx::GetDaysInMonth(wall.year, wall.month);
}

/// @param once the date of the schedule that is due once; its time is one that clocks often skip.
std::vector<Kind> Kinds(XCDateEx const& once)
{
    std::int64_t const onceDay = MsOf(XCDateTimeEx(once, XCTimeEx(0, 0, 0), XCTimeZone::UTC())) / kDay;
    std::vector<XCTimeEx> const night{XCTimeEx(2, 30, 0), XCTimeEx(0, 0, 0), XCTimeEx(1, 15, 0), XCTimeEx(23, 59, 0)};
    auto const atNight = [](Wall const& w) {
        return w.minute == 150 || w.minute == 0 || w.minute == 75 || w.minute == 1439;
    };
    using Ptr = XCSmartPtr<XCScheduleBase>;
    return {
        {"interval", Ptr(new XCScheduleInterval(37 * kMinute, At(0))), nullptr, 37},
        {"once", Ptr(new XCScheduleOnce(once, XCTimeEx(2, 30, 0))),
         [=](Wall const& w) { return w.minute == 150 && w.dayNumber == onceDay; }},
        {"daily", Ptr(new XCScheduleDaily(night)), atNight},
        {"every third day", Ptr(new XCScheduleDaily(night, 3, XCDateEx(1970, 1, 2))),
         [=](Wall const& w) { return atNight(w) && w.dayNumber >= 1 && (w.dayNumber - 1) % 3 == 0; }},
        {"weekly", Ptr(new XCScheduleWeekly({0, 6}, night)),
         [=](Wall const& w) { return atNight(w) && (w.weekDay == 0 || w.weekDay == 6); }},
        {"every second week", Ptr(new XCScheduleWeekly({0, 3}, night, 2)), // 1970-01-01 is in the week of 1969-12-29
         [=](Wall const& w) {
             return atNight(w) && w.weekDay % 3 == 0 && w.weekDay < 6 && (w.dayNumber + 3) / 7 % 2 == 0;
         }},
        {"monthly", Ptr(new XCScheduleMonthly({29, -1}, night)),
         [=](Wall const& w) { return atNight(w) && (w.day == 29 || w.day == DaysIn(w)); }},
        {"last Sunday", Ptr(new XCScheduleMonthly(-1, 0, night, {3, 10})),
         [=](Wall const& w) {
             return atNight(w) && w.weekDay == 0 && w.day + 7 > DaysIn(w) && (w.month == 3 || w.month == 10);
         }},
        {"cron, times", Ptr(new XCScheduleCron(L"30 1-3 1,8,15-31/2 * sun")),
         [](Wall const& w) {
             bool const day = w.day == 1 || w.day == 8 || (w.day >= 15 && w.day % 2 == 1);
             return w.minute % 60 == 30 && w.minute / 60 >= 1 && w.minute / 60 <= 3 && (day || w.weekDay == 0);
         }},
        {"cron, rhythm", Ptr(new XCScheduleCron(L"*/20 * * mar-apr,10,11 *")),
         [](Wall const& w) {
             return w.minute % 20 == 0 && (w.month == 3 || w.month == 4 || w.month == 10 || w.month == 11);
         }},
    };
}

/// Walks a zone minute by minute and asks a kind at each; nothing is known here of rules and changes but the offset.
struct Walk {
    Walk(XCTimeZone const& zone, std::int64_t from, std::int64_t to) : m_from(from)
    {
        for (std::int64_t t = from - 2 * kDay; t < to + 2 * kDay; t += kMinute)
            m_offsets.push_back(static_cast<std::int16_t>(At(t).GetOffset(zone)));
    }
    /// All due minutes.
    std::vector<std::int64_t> Due(Kind const& kind, XCSkippedTime skipped, XCRepeatedTime repeated) const
    {
        auto const& means = kind.means;
        std::vector<std::int64_t> due;
        for (std::size_t i = 2 * 1440; i + 2 * 1440 < m_offsets.size(); ++i) {
            if (kind.everyMinutes > 0) {
                if (InstantAt(i) / kMinute % kind.everyMinutes == 0) due.push_back(InstantAt(i));
                continue;
            }
            std::int64_t const wall = WallAt(i);
            bool jumped = false; // over a wall time that is meant
            if (skipped == XCSkippedTime::AtJump)
                for (std::int64_t w = WallAt(i - 1) + 1; w < wall; ++w) jumped |= means(TakeApart(w));
            if (jumped || (means(TakeApart(wall)) && Counts(i, wall, repeated))) due.push_back(InstantAt(i));
        }
        return due;
    }

private:
    std::int64_t InstantAt(std::size_t i) const { return m_from + (static_cast<std::int64_t>(i) - 2 * 1440) * kMinute; }
    std::int64_t WallAt(std::size_t i) const { return InstantAt(i) / kMinute + m_offsets[i]; }
    bool Counts(std::size_t i, std::int64_t wall, XCRepeatedTime repeated) const
    {
        if (repeated == XCRepeatedTime::Both) return true;
        return !Shows(i, wall, repeated == XCRepeatedTime::First ? -1 : 1);
    }
    /// Whether the clocks show this wall time within a day before or after, too.
    bool Shows(std::size_t i, std::int64_t wall, int direction) const
    {
        std::size_t const far = direction < 0 ? i - 1440 : i + 1440;
        if (m_offsets[far] == m_offsets[i]) return false;
        for (std::size_t other = i; other != far; other += static_cast<std::size_t>(direction))
            if (other != i && WallAt(other) == wall) return true;
        return false;
    }
    static Wall TakeApart(std::int64_t minute)
    {
        static thread_local Wall day{};
        static thread_local std::int64_t known = INT64_MIN;
        std::int64_t const number = (minute + 1440 * 1000000ll) / 1440 - 1000000;
        if (number != known) {
            XCDateEx date(1970, 1, 1);
            date += static_cast<long>(number);
            known = number;
            day = {date.GetYear(), date.GetMonth(), date.GetDay(), static_cast<unsigned int>((number + 7000004) % 7), 0,
                   number};
        }
        day.minute = static_cast<unsigned int>(minute - number * 1440);
        return day;
    }

    std::int64_t m_from;
    std::vector<std::int16_t> m_offsets;
};

void Compare(XCTimeZone const& zone, std::int64_t from, std::int64_t to)
{
    Walk const walk(zone, from, to);
    XCDateEx const spring(At(from + 30 * kDay).GetDate(XCTimeZone::UTC()).GetYear(), 3, 11);
    for (Kind const& kind : Kinds(spring)) {
        using Policy = std::pair<XCSkippedTime, XCRepeatedTime>;
        Policy const own{kind.schedule->GetSkippedTime(), kind.schedule->GetRepeatedTime()};
        std::set<Policy> const policies{own, {XCSkippedTime::Never, XCRepeatedTime::Last}};
        for (auto const& [skipped, repeated] : policies) {
            SCOPED_TRACE(std::string(kind.name) + ", " + zone.GetName().AsUTF8());
            kind.schedule->SetSkippedTime(skipped);
            kind.schedule->SetRepeatedTime(repeated);
            std::int64_t after = from - 1000;
            for (std::int64_t const due : walk.Due(kind, skipped, repeated)) {
                std::int64_t const next = MsOf(kind.schedule->GetNext(At(after), zone));
                ASSERT_EQ(next, due) << At(after).AsString(XCTimeZone::UTC()).AsUTF8();
                after = next;
            }
            EXPECT_GE(MsOf(kind.schedule->GetNext(At(after), zone)), to);
        }
    }
}

TEST(Schedule, AgreesWithAWalk)
{
    for (wchar_t const* const name : {kEastern, kSydney})
        Compare(XCTimeZone::FromName(name), MsOf(Utc(L"2006/12/20")), MsOf(Utc(L"2008/01/10")));
}

TEST(Schedule, SeldomNeverAndBounded)
{
    using Ptr = XCSmartPtr<XCScheduleBase>;
    std::vector<XCTimeEx> const noon{XCTimeEx(12, 0, 0)};
    auto const excluded = [&] {
        Ptr schedule(new XCScheduleDaily(noon));
        schedule->Exclude(XCDateEx(2020, 1, 2));
        schedule->Exclude(XCDateEx(2020, 1, 3));
        schedule->SetBounds(Utc(L"2020/01/01 12:00:01"), Utc(L"2020/01/04 12:00:00"));
        return schedule;
    }();
    // fault, schedule, after (UTC; empty: never), next
    Rows<XCSmartPtr<XCScheduleBase>, wchar_t const*, wchar_t const*> const cases = {
        {"leap day not found", Ptr(new XCScheduleCron(L"0 0 29 2 *")), L"2096/03/01", L"2104/02/29"},
        {"leap day on a Sunday", Ptr(new XCScheduleMonthly(5, 0, noon, {2})), L"2088/03/01", L"2128/02/29 12:00:00"},
        {"February 30", Ptr(new XCScheduleCron(L"0 0 30 2 *")), L"2020/01/01", L""},
        {"short month not held", Ptr(new XCScheduleMonthly({31}, noon, {2}, XCScheduleMonthly::ShortMonth::LastDay)),
         L"2020/01/01", L"2020/02/29 12:00:00"},
        {"due at its own instant", Ptr(new XCScheduleOnce(XCDateEx(2020, 1, 1), noon[0])), L"2020/01/01 12:00:00", L""},
        {"once", Ptr(new XCScheduleOnce(XCDateEx(2020, 1, 1), noon[0])), L"1990/01/01", L"2020/01/01 12:00:00"},
        {"interval before its start", Ptr(new XCScheduleInterval(7000, Utc(L"2020/01/01 00:00:03"))), L"2000/01/01",
         L"2020/01/01 00:00:03"},
        {"interval", Ptr(new XCScheduleInterval(7000, Utc(L"2020/01/01 00:00:03"))), L"2020/01/01 00:00:10",
         L"2020/01/01 00:00:17"},
        {"interval of 0", Ptr(new XCScheduleInterval(0, Utc(L"2020/01/01"))), L"2020/01/01", L""},
        {"before its bound, or on an excluded day", excluded, L"2019/01/01", L"2020/01/04 12:00:00"},
        {"after its bound", excluded, L"2020/01/04 12:00:00", L""},
        {"no times", Ptr(new XCScheduleDaily({})), L"2020/01/01", L""},
        {"no day", Ptr(new XCScheduleWeekly({9}, noon)), L"2020/01/01", L""},
    };
    for (auto const& [fault, schedule, rowAfter, next] : cases) {
        SCOPED_TRACE(fault);
        XCDateTimeEx const after = Utc(rowAfter);
        XCDateTimeEx const start(after.GetDate(XCTimeZone::UTC()),
                                 after.HasTime() ? after.GetTime(XCTimeZone::UTC()) : XCTimeEx(0, 0, 0),
                                 XCTimeZone::UTC());
        EXPECT_EQ(MsOf(schedule->GetNext(start, XCTimeZone::UTC())), MsOf(Utc(next)));
    }
    XCScheduleInterval halfHours(30 * kMinute, At(0));
    halfHours.Exclude(XCDateEx(2026, 3, 8)); // a day of 23 hours
    EXPECT_EQ(MsOf(halfHours.GetNext(Utc(L"2026/03/08 04:30:00"), XCTimeZone::FromName(kEastern))),
              MsOf(Utc(L"2026/03/09 04:00:00")))
        << "the first hour after an excluded day is lost";
}

TEST(Schedule, CronLinesThatCannotBeRead)
{
    for (auto const& [line, position] : Table<wchar_t const*, long>{{L"", 0},
                                                                    {L"* * * *", 7},
                                                                    {L"60 * * * *", 0},
                                                                    {L"* 24 * * *", 2},
                                                                    {L"* * 0 * *", 4},
                                                                    {L"* * * 13 *", 6},
                                                                    {L"* * * * 8", 8},
                                                                    {L"* * * * * *", 10},
                                                                    {L"5-1 * * * *", 2},
                                                                    {L"*/0 * * * *", 2},
                                                                    {L"1, * * * *", 2},
                                                                    {L"x * * * *", 0},
                                                                    {L"* * * foo *", 6},
                                                                    {L"1x * * * *", 1},
                                                                    {L"@often", 0},
                                                                    {L"99999999999 * * * *", 0}})
    {
        XCScheduleCron const schedule{XCString(line)};
        EXPECT_TRUE(schedule.IsEmpty());
        ASSERT_EQ(int(schedule.GetReadError()), XCErrScheduleText) << XCString(line).AsUTF8();
        EXPECT_EQ(*static_cast<long const*>(schedule.GetReadError()->GetParameterValue(0)), position)
            << XCString(line).AsUTF8();
    }
    XCScheduleCron const weekly(L" @WEEKLY ");
    EXPECT_EQ(MsOf(weekly.GetNext(At(0), XCTimeZone::UTC())), 3 * kDay);
}

// It starts at 11:00.
TEST(Scheduler, ClocksThatAreSetAndSleeps)
{
    using enum XCMissedRuns;
    constexpr std::int64_t kTen = 10 * kMinute;
    // fault, byRhythm (every ten minutes; else daily at noon), missed, steps (p: time passes, s: sleep, c: the clock is set), runs, missedRuns
    Rows<bool, XCMissedRuns, std::vector<std::pair<char, std::int64_t>>, std::uint64_t, std::uint64_t> const cases = {
        {"not run", false, RunOnce, {{'p', kHour}}, 1, 0},
        {"early", false, RunOnce, {{'p', kHour - 1}}, 0, 0},
        {"forward over noon: lost", false, RunOnce, {{'c', 2 * kHour}, {'p', 1}}, 1, 0},
        {"back an hour: run twice", false, RunOnce, {{'p', kHour}, {'c', -kHour}, {'p', 2 * kHour}}, 1, 0},
        {"back a day: not of the new day", false, RunOnce, {{'p', kHour}, {'c', -kDay}, {'p', kDay}}, 2, 0},
        {"back an hour before noon: early", false, RunOnce, {{'c', -kHour}, {'p', 2 * kHour - 1}}, 0, 0},
        {"back an hour before noon: lost", false, RunOnce, {{'c', -kHour}, {'p', 2 * kHour}}, 1, 0},
        {"forward a day: each day once", false, All, {{'c', kDay + 2 * kHour}}, 2, 0},
        {"forward a day: once", false, RunOnce, {{'c', kDay + 2 * kHour}}, 1, 1},
        {"sleep of nine hours: lost", false, RunOnce, {{'s', 9 * kHour}}, 1, 0},
        {"sleep of nine hours: made up for", false, Skip, {{'s', 9 * kHour}, {'p', kDay - 8 * kHour}}, 1, 1},
        {"sleep: each", true, All, {{'s', kHour}}, 6, 0},
        {"sleep: once", true, RunOnce, {{'s', 9 * kHour}, {'p', kTen}}, 2, 53},
        {"rhythm silent after an hour back",
         true,
         RunOnce,
         {{'p', kTen}, {'c', -kHour}, {'p', kTen}, {'p', kTen}},
         3,
         0},
        {"rhythm silent after a day back", true, RunOnce, {{'p', kTen}, {'c', -kDay}, {'p', kTen}, {'p', kTen}}, 3, 0},
    };
    for (auto const& [fault, byRhythm, missed, steps, runs, missedRuns] : cases) {
        SCOPED_TRACE(fault);
        FakeTime time(MsOf(Utc(L"2020/06/01 11:00:00")));
        XCSmartPtr<XCScheduler> const scheduler(new XCScheduler({}, L"test", time));
        XCSmartPtr<XCScheduleI> schedule(new XCScheduleDaily({XCTimeEx(12, 0, 0)}));
        if (byRhythm) schedule = new XCScheduleCron(L"*/10 * * * *");
        XCJobOptions options;
        options.zone = XCTimeZone::UTC();
        options.missed = missed;
        scheduler->Add(
            schedule, [](XCJobCall const&) {}, options);
        for (auto const& [what, ms] : steps)
            what == 'p' ? time.Pass(ms) : what == 's' ? time.SleepFor(ms) : time.SetClock(ms);
        XCJobInfo const job = scheduler->List().front();
        EXPECT_EQ(::All(job.runs, job.missed), ::All(runs, missedRuns));
        EXPECT_TRUE(scheduler->Stop().Good());
    }
}

/// A schedule of a program that asks, and at last leaves, the scheduler that asks it.
class CuriousSchedule final : public XCScheduleInterval {
public:
    CuriousSchedule() : XCScheduleInterval(kMinute, At(0)) {}
    XCDateTimeEx GetNext(XCDateTimeEx const& after, XCTimeZone const& zone) const override
    {
        if (!scheduler.IsNull() && scheduler->List().front().runs == 2) scheduler->Remove(scheduler->List().front().id);
        return XCScheduleInterval::GetNext(after, zone);
    }
    XCSmartPtr<XCScheduler> scheduler;
};

TEST(Scheduler, SchedulesMayCallBack)
{
    FakeTime time(MsOf(Utc(L"2020/06/01 11:00:00")));
    XCSmartPtr<XCScheduler> const scheduler(new XCScheduler({}, L"test", time));
    XCSmartPtr<CuriousSchedule> const schedule(new CuriousSchedule);
    std::atomic<int> calls = 0;
    scheduler->Add(schedule.GetPtr(), [&](XCJobCall const&) { ++calls; });
    schedule->scheduler = scheduler;
    for (int minute = 0; minute < 5; ++minute) time.Pass(kMinute);
    EXPECT_TRUE(scheduler->Stop().Good());
    EXPECT_EQ(calls, 2);
    schedule->scheduler.Clear();
}

TEST(Scheduler, SleepsUntilSomethingIsDue)
{
    FakeTime time(MsOf(Utc(L"2020/06/01 11:00:00")));
    XCSmartPtr<XCScheduler> const scheduler(new XCScheduler({}, L"test", time));
    XCJobOptions options;
    options.zone = XCTimeZone::UTC();
    options.since = Utc(L"2020/05/30 13:00:00"); // down since
    std::uint64_t missed = 0, self = 0;
    XCSmartPtr<XCScheduleI> const daily(new XCScheduleDaily({XCTimeEx(12, 0, 0)}));
    scheduler->Add(
        daily, [&](XCJobCall const& call) { missed += call.missed; }, options);
    options.since = XCDateTimeEx();
    self = scheduler->Add(
        daily, [&](XCJobCall const&) { EXPECT_TRUE(scheduler->Remove(self)); }, options);
    time.Settle();
    std::uint64_t const before = scheduler->GetWakeUps();
    for (int minute = 0; minute < 59; ++minute) time.Pass(kMinute);
    EXPECT_EQ(scheduler->GetWakeUps(), before);
    time.Pass(kMinute);
    EXPECT_EQ(All(scheduler->List().size(), scheduler->List().front().runs, missed), All(1u, 2u, 0u));
    EXPECT_FALSE(scheduler->Remove(self));
    EXPECT_TRUE(scheduler->Stop().Good());
    EXPECT_THROW(scheduler->Add(daily, {}, {}), XCException);
}

// A call that waits in an executor after its timer or job has gone: nothing of it may be destroyed later, since its code
// may be a module's that is unloaded then.
TEST(Scheduler, WaitingCallsHoldNothingAfterTheEnd)
{
    for (bool const stops : {false, true}) {
        FakeTime timerTime, jobTime(MsOf(Utc(L"2020/06/01 11:00:00")));
        XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(1, 1));
        XCSmartPtr<XCTimerQueue> const queue(new XCTimerQueue(pool.GetPtr(), L"test", timerTime));
        XCSmartPtr<XCScheduler> const scheduler(new XCScheduler(pool.GetPtr(), L"test", jobTime));
        auto const code = std::make_shared<int>();
        XCSmartPtr<XCTimer> timer(new XCTimer([code] { FAIL(); }, *queue));
        XCSmartPtr<XCScheduleI> const everyMinute(new XCScheduleInterval(kMinute, At(0)));
        std::uint64_t const job = scheduler->Add(everyMinute, [code](XCJobCall const&) { FAIL(); });
        Gate begun, gate;
        (void)pool->Submit([&] { begun.Open(), gate.Pass(); });
        begun.Pass();
        (void)timer->Start(1);
        timerTime.Pass(2), jobTime.Pass(kMinute);
        ASSERT_EQ(pool->GetStatistics().queued, 2u);
        if (stops)
            EXPECT_TRUE(queue->Stop().Good() && scheduler->Stop().Good());
        else
            EXPECT_TRUE(timer->Cancel() && scheduler->Remove(job));
        timer.Clear();
        EXPECT_EQ(code.use_count(), 1);
        gate.Open();
        EXPECT_TRUE(pool->WaitIdle().Good() && pool->Stop().Good());
    }
}

} // namespace
