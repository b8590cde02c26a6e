// Clocks, timers and time zones.
#include "answers.h"

#include <XelbrinCore/XCTimeZone.h>
#include <algorithm>
#include <windows.h>

namespace xc::evidence {

namespace {

double Milliseconds()
{
    LARGE_INTEGER now;
    LARGE_INTEGER perSecond;
    ::QueryPerformanceCounter(&now);
    ::QueryPerformanceFrequency(&perSecond);
    return 1e3 * static_cast<double>(now.QuadPart) / static_cast<double>(perSecond.QuadPart);
}

/// The middle one of 21 durations.
template <class Wait>
double MedianWait(Wait wait)
{
    double times[21];
    for (double& time : times) {
        double const start = Milliseconds();
        wait();
        time = Milliseconds() - start;
    }
    std::sort(std::begin(times), std::end(times));
    return times[10];
}

Answer SleepOne(Asker const& /*asker*/)
{
    double const took = MedianWait([] { ::Sleep(1); });
    return Says(took >= 0.9 && took <= 16.5, Text(L"%.2f ms", took));
}

Answer FineTimer(Asker const& /*asker*/)
{
    HANDLE const timer = ::CreateWaitableTimerExW(nullptr, nullptr, 2, TIMER_ALL_ACCESS); // 2: high resolution
    if (!timer) return Code(::GetLastError(), {});
    double const took = MedianWait([timer] {
        LARGE_INTEGER due;
        due.QuadPart = -5000;
        ::SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE);
        ::WaitForSingleObject(timer, 1000);
    });
    ::CloseHandle(timer);
    return Says(took >= 0.4 && took <= 1.1, Text(L"%.2f ms", took));
}

Answer TickStep(Asker const& /*asker*/)
{
    double const step = MedianWait([] {
        ULONGLONG const start = ::GetTickCount64();
        while (::GetTickCount64() == start) {
        }
    });
    return Says(step >= 0.4 && step <= 16.5, Text(L"%.2f ms", step));
}

Answer PreciseStep(Asker const& /*asker*/)
{
    unsigned int smallest = 1000000;
    for (int i = 0; i < 1000; ++i) {
        FILETIME before;
        FILETIME after;
        ::GetSystemTimePreciseAsFileTime(&before);
        do ::GetSystemTimePreciseAsFileTime(&after);
        while (after.dwLowDateTime == before.dwLowDateTime);
        smallest = std::min(smallest, static_cast<unsigned int>(after.dwLowDateTime - before.dwLowDateTime));
    }
    return Says(smallest <= 10, Text(L"%u00 ns", smallest));
}

/// The month in which daylight saving time begins in New York.
int FirstMonth(USHORT year)
{
    DYNAMIC_TIME_ZONE_INFORMATION zone = {};
    for (DWORD i = 0; ::EnumDynamicTimeZoneInformation(i, &zone) == ERROR_SUCCESS; ++i) {
        if (XCString(zone.TimeZoneKeyName) != XCString(L"Eastern Standard Time")) continue;
        TIME_ZONE_INFORMATION rules = {};
        return ::GetTimeZoneInformationForYear(year, &zone, &rules) ? rules.DaylightDate.wMonth : -1;
    }
    return -1;
}

Answer RulesOfYears(Asker const& /*asker*/)
{
    int const before = FirstMonth(2006);
    int const after = FirstMonth(2007);
    return Says(before == 4 && after == 3, Text(L"months %d and %d", before, after));
}

Answer CountOfZones(Asker const& /*asker*/)
{
    DYNAMIC_TIME_ZONE_INFORMATION zone = {};
    DWORD count = 0;
    while (::EnumDynamicTimeZoneInformation(count, &zone) == ERROR_SUCCESS) ++count;
    return Says(count >= 130, Text(L"%lu", count));
}

Answer ZonesByRuleOfYear(Asker const& /*asker*/)
{
    bool const found =
        ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "SystemTimeToTzSpecificLocalTimeEx") != nullptr;
    return Says(found, found ? L"found" : L"not found");
}

Answer NoSuchDay(Asker const& /*asker*/)
{
    SYSTEMTIME day = {};
    day.wYear = 2023;
    day.wMonth = 2;
    day.wDay = 29;
    FILETIME time;
    return Code(::SystemTimeToFileTime(&day, &time) ? 0 : ::GetLastError(), {ERROR_INVALID_PARAMETER});
}

} // namespace

std::vector<Question> TimeQuestions()
{
    return {
        {L"time", L"Sleep(1) takes, in the middle of 21", L"0.9 to 16.5 ms", &SleepOne},
        {L"time", L"A timer of high resolution for 0.5 ms takes", L"0.4 to 1.1 ms", &FineTimer},
        {L"time", L"GetTickCount64 goes in steps of", L"0.4 to 16.5 ms", &TickStep},
        {L"time", L"The precise system time goes in steps of", L"1000 ns or less", &PreciseStep},
        {L"time", L"Daylight saving time of New York begins in 2006 and 2007", L"months 4 and 3", &RulesOfYears},
        {L"time", L"Time zones that the system knows", L"130 or more", &CountOfZones},
        {L"time", L"SystemTimeToTzSpecificLocalTimeEx in kernel32", L"found", &ZonesByRuleOfYear},
        {L"time", L"SystemTimeToFileTime is given 2023-02-29", L"error 87", &NoSuchDay},
    };
}

} // namespace xc::evidence
