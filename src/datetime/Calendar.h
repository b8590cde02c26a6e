// Calendar.h - the arithmetic of the Gregorian calendar over plain numbers: exact for all years, before year 1 too.
//
// A date and the number of its day are converted into each other by closed formulas. Years start in March, so that the
// leap day comes last and the lengths of the months follow one linear rule, (153 m + 2) / 5. The way back divides by
// 400, 100, 4 and 1 years in one step, with corrections for the last day of each cycle. The March year and the linear
// rule are those of Zeller's congruence (1882). Whole cycles of 400 years are added before dividing, so that
// unsigned division, which is faster and rounds down, serves years before 0 too.
//
// COST      A few nanoseconds each way, no loop and no table but YearDayOf's.
// INVARIANT CivilOf(DayNumber(y, m, d)) is y, m, d for every date of the calendar; consecutive days have consecutive
//           numbers. 1899-01-01 has the number 693537, which the static assertion below holds fast.
#pragma once

#include <cstdint>

namespace xc::datetime {

inline constexpr std::int64_t kDayMs = 86400000;

/// A date of the calendar; its fields need not be in range.
struct Civil {
    std::int64_t year;
    std::uint32_t month; // 1 to 12
    std::uint32_t day;   // 1 to 31
};

constexpr bool IsLeap(std::int64_t year) noexcept
{
    // A century (a multiple of 25 once it is one of 4) wants 400, and so 16.
    return (year & 3) == 0 && (year % 25 != 0 || (year & 15) == 0);
}

/// @param month 1 to 12.
constexpr std::uint32_t MonthLength(std::int64_t year, std::uint32_t month) noexcept
{
    // Long months are the odd ones up to July and the even ones from August on.
    return month == 2 ? (IsLeap(year) ? 29u : 28u) : 30u + ((month ^ (month >> 3)) & 1u);
}

constexpr bool IsDate(std::int64_t year, std::uint32_t month, std::uint32_t day) noexcept
{
    return month - 1 < 12 && day - 1 < 31 && (day <= 28 || day <= MonthLength(year, month));
}

constexpr std::int64_t FloorDiv(std::int64_t a, std::int64_t b) noexcept
{
    return a / b - (a % b < 0 ? 1 : 0);
}

// Whole cycles of 400 years that are added while counting, so that unsigned arithmetic serves the years before 0 too:
// exact for years from -80,000,000 to 4,000,000,000 and the days of them.
inline constexpr std::int64_t kShiftYears = 80000000;
inline constexpr std::int64_t kShiftDays = kShiftYears / 400 * 146097;

/// The number of a day, consecutive over all dates: years start in March, so that the leap day comes last.
constexpr std::int64_t DayNumber(std::int64_t year, std::uint32_t month, std::uint32_t day) noexcept
{
    auto const y = static_cast<std::uint32_t>(year + kShiftYears - (month < 3 ? 1 : 0));
    std::uint32_t const m = month < 3 ? month + 9 : month - 3;
    std::uint32_t const century = y / 100;
    std::int64_t const days = std::int64_t{365} * y + (y / 4 - century + century / 4 + (153 * m + 2) / 5 + day);
    return days - kShiftDays;
}

inline constexpr std::int64_t kReferenceDay = DayNumber(1899, 1, 1); // a Sunday
inline constexpr std::int64_t kEpochDay = DayNumber(1970, 1, 1);
static_assert(kReferenceDay == 693537);

/// The way back from DayNumber.
constexpr Civil CivilOf(std::int64_t dayNumber) noexcept
{
    auto const n = static_cast<std::uint64_t>(dayNumber - 1 + kShiftDays); // 0 is March 1 of a year 0
    std::uint64_t const cycle = n / 146097;
    auto const day = static_cast<std::uint32_t>(n - cycle * 146097);                  // of 400 years
    std::uint32_t const year = (day - day / 1460 + day / 36524 - day / 146096) / 365; // 0 to 399
    std::uint32_t const yearDay = day - (365 * year + year / 4 - year / 100);         // from March 1 on
    std::uint32_t const m = (5 * yearDay + 2) / 153;                                  // 0 is March
    std::uint32_t const month = m < 10 ? m + 3 : m - 9;
    std::int64_t const firstOfCycle = static_cast<std::int64_t>(cycle) * 400 - kShiftYears;
    return {firstOfCycle + year + (month < 3 ? 1 : 0), month, yearDay - (153 * m + 2) / 5 + 1};
}

/// 0 Sunday to 6 Saturday.
constexpr std::uint32_t WeekDayOf(std::int64_t dayNumber) noexcept
{
    // The reference day is a Sunday, and the shift is whole weeks: 400 years are 20871 of them.
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(dayNumber - kReferenceDay + kShiftDays) % 7);
}

/// The same of a date from year 1 on, by 32 bits: 365 days a year are one weekday a year.
constexpr std::uint32_t WeekDayOf(std::uint32_t year, std::uint32_t month, std::uint32_t day) noexcept
{
    std::uint32_t const y = year - (month < 3 ? 1 : 0);
    std::uint32_t const m = month < 3 ? month + 9 : month - 3;
    std::uint32_t const century = y / 100;
    return (y + y / 4 - century + century / 4 + (153 * m + 2) / 5 + day + 2) % 7;
}
static_assert(WeekDayOf(1899, 1, 1) == 0 && WeekDayOf(2000, 2, 29) == WeekDayOf(DayNumber(2000, 2, 29)));

/// 1 to 366. @param month 1 to 12.
constexpr std::uint32_t YearDayOf(std::int64_t year, std::uint32_t month, std::uint32_t day) noexcept
{
    constexpr std::uint16_t kBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    return kBefore[month - 1] + day + (month > 2 && IsLeap(year) ? 1u : 0u);
}

/// Milliseconds since 1970-01-01 00:00.
constexpr std::int64_t EpochMs(std::int64_t year, std::uint32_t month, std::uint32_t day, std::int64_t ms) noexcept
{
    return (DayNumber(year, month, day) - kEpochDay) * kDayMs + ms;
}

/// 1970-01-01 in milliseconds since 1601-01-01, where the system's tick counts start.
inline constexpr std::int64_t kFileTimeEpochMs = (kEpochDay - DayNumber(1601, 1, 1)) * kDayMs;

} // namespace xc::datetime
