// The clocks of the system, each read by one call that cannot fail.
//
// The wall clock comes in fields, local or UTC, and as a count of 100-nanosecond steps since 1601 for whoever
// computes; it jumps when somebody sets it. The tick count never goes back and is what time-outs are measured with: it
// counts the milliseconds since the start of the system in 64 bits, so that it does not wrap, in steps of 10 to 16
// milliseconds.
#include "win32/Clock.h"

#include <windows.h>

namespace xc::win32 {

namespace {

WallTime FromSystemTime(SYSTEMTIME const& t) noexcept
{
    return {t.wYear, t.wMonth, t.wDayOfWeek, t.wDay, t.wHour, t.wMinute, t.wSecond, t.wMilliseconds};
}

} // namespace

WallTime LocalNow() noexcept
{
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    return FromSystemTime(now);
}

WallTime UtcNow() noexcept
{
    SYSTEMTIME now;
    ::GetSystemTime(&now);
    return FromSystemTime(now);
}

std::int64_t UtcTicks() noexcept
{
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime);
}

std::uint64_t TickMs() noexcept
{
    return ::GetTickCount64();
}

} // namespace xc::win32
