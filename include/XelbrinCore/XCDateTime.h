// XCDateTime.h - dates, times of day, date-times and durations together, and functions over the system's forms of time.
//
// WHAT     XCDateEx a calendar date, XCTimeEx a time of day in milliseconds, XCDateTimeEx both of them (or one) in UTC,
//          XCDurationEx a count of one unit. Each stands in a header of its own name.
// COST     The functions here allocate nothing.
// ERRORS   They answer with a value (-1, false) and leave their arguments as they were.
// THREADS  Any thread may call them.
#pragma once

#include <XelbrinCore/XCDateAndTime.h>
#include <XelbrinCore/XCDateEx.h>
#include <XelbrinCore/XCDateTimeEx.h>
#include <XelbrinCore/XCDurationEx.h>
#include <XelbrinCore/XCTimeEx.h>

#include <cstdint>
#include <ctime>

/// The 64-bit time of a broken-down time in a zone. Fields outside their range are carried (month 13, day 40), then
/// `time` is filled in anew, weekday and day of year included. -1, and `time` untouched, outside 0 to 32535244799.
XC_API std::int64_t XCMkTime(std::tm& time, XCTimeZone const& zone) noexcept;
/// Breaks a 64-bit time down in a zone. False, and `time` untouched, outside 0 to 32535244799.
XC_API bool XCLocalTime(std::tm& time, std::int64_t seconds, XCTimeZone const& zone) noexcept;
/// Copies all fields.
XC_API void XCCopyStructTM(std::tm const& from, std::tm& to) noexcept;
/// a - b in milliseconds, held at the limits of int (24.8 days). A structure without a valid date counts as 0.
XC_API int XCSystemTimeDifference(_SYSTEMTIME const& a, _SYSTEMTIME const& b) noexcept;
