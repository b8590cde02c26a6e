// night_jobs.cpp - jobs by the calendar: the next due times of some schedules, and a scheduler that runs one of them.
#include <XelbrinCore/XCScheduler.h>
#include <XelbrinCore/XCThread.h>

#include <atomic>
#include <iostream>

int wmain()
{
    XCTimeZone const zone = XCTimeZone::Local();
    XCDateTimeEx const now = XCDateTimeEx::GetCurrentDateTime();
    XCSmartPtr<XCScheduleI> const schedules[] = {
        XCSmartPtr<XCScheduleI>(new XCScheduleDaily({XCTimeEx(2, 30, 0), XCTimeEx(14, 0, 0)})),
        XCSmartPtr<XCScheduleI>(new XCScheduleWeekly({1, 5}, {XCTimeEx(6, 0, 0)})),
        XCSmartPtr<XCScheduleI>(new XCScheduleMonthly(-1, 5, {XCTimeEx(18, 0, 0)})),
        XCSmartPtr<XCScheduleI>(new XCScheduleCron(L"*/15 8-18 * * mon-fri")),
    };
    for (auto const& schedule : schedules)
        std::wcout << schedule->AsString() << L": " << schedule->GetNext(now, zone).AsString(zone) << L'\n';

    // A job every 20 ms that failed to run while the program was down: once for all that was missed, then in time.
    std::atomic<int> runs{0};
    XCSmartPtr<XCScheduler> const scheduler(new XCScheduler);
    XCJobOptions options;
    options.name = L"heartbeat";
    options.since = now - XCDurationEx(1, XCDurationEx::Second);
    XCSmartPtr<XCScheduleI> const often(new XCScheduleInterval(20, now));
    scheduler->Add(
        often,
        [&](XCJobCall const& call) {
            if (call.missed > 0) std::wcout << L"missed: " << (call.missed > 10 ? L"many" : L"few") << L'\n';
            ++runs;
        },
        options);
    while (runs < 5) XCThread::Sleep(5);
    for (XCJobInfo const& job : scheduler->List()) std::wcout << job.name << L": " << job.schedule << L'\n';
    return scheduler->Stop(5000).Good() ? 0 : 1;
}
