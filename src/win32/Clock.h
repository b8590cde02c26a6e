// Clock.h - the time of day as the system tells it.
#pragma once

#include <cstdint>

namespace xc::win32 {

/// A broken-down time; month and day start at 1, weekday 0 is Sunday.
struct WallTime {
    std::uint16_t year, month, weekday, day, hour, minute, second, millisecond;
};

WallTime LocalNow() noexcept;
WallTime UtcNow() noexcept;

/// Steps of 100 nanoseconds since 1601-01-01 00:00 UTC, at the system's best resolution.
std::int64_t UtcTicks() noexcept;

/// Milliseconds since the system started; never set back.
std::uint64_t TickMs() noexcept;

} // namespace xc::win32
