// XCChrono.h - dates, durations and time-outs to and from std::chrono and Unix time.
//
// WHAT     XCDateTimeEx and std::chrono::sys_time, XCDateEx and year_month_day, XCDurationEx and chrono durations, counts
//          of milliseconds since 1970 in UTC; and XCTimeoutOf, which makes any chrono duration a time-out of this
//          library:
//
//              pool.WaitIdle(XCTimeoutOf(2min));
//
// RANGES   Years that XCDateEx stores: -4194304 to 4194303 in milliseconds of 64 bits; without a valid date there is no
//          instant, and XCDateExceptionEx says so. A date-time without a time is its midnight in UTC.
// COST     Some nanoseconds; nothing is allocated.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCExport.h>

#include <chrono>
#include <cstdint>

/// Milliseconds since 1970-01-01 00:00 UTC, negative before. @throws XCDateExceptionEx without a valid date.
[[nodiscard]] XC_API std::int64_t XCToUnixMs(XCDateTimeEx const& value);
/// The way back; null when the year cannot be stored.
[[nodiscard]] XC_API XCDateTimeEx XCFromUnixMs(std::int64_t milliseconds) noexcept;
/// Whole seconds since 1970, cut towards the past. @throws XCDateExceptionEx without a valid date.
[[nodiscard]] inline std::int64_t XCToUnixTime(XCDateTimeEx const& value)
{
    return std::chrono::floor<std::chrono::seconds>(std::chrono::milliseconds(XCToUnixMs(value))).count();
}
/// The way back; null when the year cannot be stored.
[[nodiscard]] inline XCDateTimeEx XCFromUnixTime(std::int64_t seconds) noexcept
{
    constexpr std::int64_t kMostSeconds = INT64_MAX / 1000;
    return seconds > kMostSeconds || seconds < -kMostSeconds ? XCDateTimeEx() : XCFromUnixMs(seconds * 1000);
}

/// The instant. @throws XCDateExceptionEx without a valid date.
[[nodiscard]] inline std::chrono::sys_time<std::chrono::milliseconds> XCToChrono(XCDateTimeEx const& value)
{
    return std::chrono::sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(XCToUnixMs(value)));
}
/// The date; one that is not valid gives a year_month_day that is not ok().
[[nodiscard]] inline std::chrono::year_month_day XCToChrono(XCDateEx const& value) noexcept
{
    return {std::chrono::year(value.GetYear()), std::chrono::month(value.GetMonth()), std::chrono::day(value.GetDay())};
}
/// The time since midnight; 0 for null.
[[nodiscard]] inline std::chrono::milliseconds XCToChrono(XCTimeEx const& value) noexcept
{
    return std::chrono::milliseconds(value.AsMilliseconds());
}
/// The span; calendar units by their usual lengths, as XCDurationEx::AsMilliSeconds has it.
[[nodiscard]] inline std::chrono::milliseconds XCToChrono(XCDurationEx const& value) noexcept
{
    return std::chrono::milliseconds(value.AsMilliSeconds());
}

/// The instant, cut to whole milliseconds towards the past; null when the year cannot be stored.
template <class Duration>
[[nodiscard]] XCDateTimeEx XCFromChrono(std::chrono::sys_time<Duration> const& instant) noexcept
{
    return XCFromUnixMs(std::chrono::floor<std::chrono::milliseconds>(instant.time_since_epoch()).count());
}
/// The date; null when it cannot be stored.
[[nodiscard]] inline XCDateEx XCFromChrono(std::chrono::year_month_day const& date) noexcept
{
    return {int(date.year()), unsigned(date.month()), unsigned(date.day())};
}
/// Milliseconds where the count fits, else seconds, else days; cut towards zero.
/// @throws XCDurationExceptionEx when days do not fit either (5.8 million years).
template <class Rep, class Period>
[[nodiscard]] XCDurationEx XCFromChrono(std::chrono::duration<Rep, Period> const& span)
{
    using namespace std::chrono;
    using Days = duration<std::int64_t, std::ratio<86400>>;
    constexpr auto fits = [](std::int64_t count) {
        return count >= XCDurationEx::minimum_ && count <= XCDurationEx::maximum_;
    };
    auto const make = [&fits](std::int64_t count, XCDurationEx::Unit unit) {
        return XCDurationEx(static_cast<long>(fits(count) ? count : INT32_MIN), unit); // which no duration holds
    };
    auto const seconds = duration_cast<duration<std::int64_t>>(span);
    if (!fits(seconds.count())) return make(duration_cast<Days>(span).count(), XCDurationEx::Day);
    auto const parts = duration_cast<duration<std::int64_t, std::milli>>(span);
    return fits(parts.count()) ? make(parts.count(), XCDurationEx::Millisecond)
                               : make(seconds.count(), XCDurationEx::Second);
}

/// A time-out in milliseconds, as the calls of this library take it: rounded up, so that a wait is never shorter than
/// asked for; nothing below 0; duration::max() and all that 32 bits do not hold waits without limit (XCInfinite).
template <class Rep, class Period>
[[nodiscard]] constexpr unsigned int XCTimeoutOf(std::chrono::duration<Rep, Period> const& span) noexcept
{
    using Wide = std::chrono::duration<double, std::milli>;
    constexpr double kInfinite = 4294967295.0;
    if (!(span > span.zero())) return 0;
    if (!(Wide(span).count() < kInfinite)) return 0xFFFFFFFFu;
    return static_cast<unsigned int>(std::chrono::ceil<std::chrono::milliseconds>(span).count());
}
