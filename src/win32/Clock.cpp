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
