// Conversions.h - what the value classes share on the way to and from other forms of time.
#pragma once

#include <XelbrinCore/XCDateTime.h>

#include "win32/Clock.h"

#include <cstdint>

namespace xc::datetime {

/// The last second of the runtime's 64-bit broken-down times.
inline constexpr std::int64_t kLastOldSecond = 32535244799;

/// The wall clock of the process's local zone.
win32::WallTime LocalClock() noexcept;

/// @throws XCDurationExceptionEx when the count does not fit.
XCDurationEx CheckedDuration(std::int64_t count, XCDurationEx::Unit unit);

/// A count of days that 32 bits hold (long is wider in native builds).
constexpr std::int64_t ClampedDays(long days) noexcept
{
    std::int64_t const wide = days;
    return wide > INT32_MAX ? INT32_MAX : wide < INT32_MIN ? INT32_MIN : wide;
}

/// A null date leaves the date fields 0.
void FillStructTM(std::tm& time, XCDateEx const& date, XCTimeEx const& clock, int isDaylight) noexcept;

/// Days since 1899-12-30; a time alone is its fraction.
double ToOleDate(XCDateEx const& date, XCTimeEx const& time) noexcept;
/// False, and both null, outside the years 100 to 9999. @param time may be null.
bool SplitOleDate(double oleDate, XCDateEx& date, XCTimeEx* time) noexcept;

/// The count of seconds as the local clock or UTC shows it. A null value gives nulls and true; false, and nulls,
/// outside 0 to kLastOldSecond.
bool SplitOldDateTime(XCDateTime const& value, bool local, XCDateEx& date, XCTimeEx& time) noexcept;

/// A count of milliseconds since 1970 in two words. False, and both null, when the date cannot be stored.
bool SplitEpochMs(std::int64_t epochMs, XCDateEx& date, XCTimeEx& time) noexcept;
/// The way back. The date must be valid; a null time is midnight.
std::int64_t ToEpochMs(XCDateEx const& date, XCTimeEx const& time) noexcept;

} // namespace xc::datetime
