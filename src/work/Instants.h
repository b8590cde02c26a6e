// Instants.h - date-times as counts of milliseconds since 1970 UTC, and back.
#pragma once

#include <XelbrinCore/XCDateTime.h>

#include "datetime/Conversions.h"

#include <cstdint>

namespace xc::work {

/// No instant; the null value stands for it.
inline constexpr std::int64_t kNoInstant = INT64_MAX;

/// `otherwise` for a value without a valid date; one without a time is its midnight.
inline std::int64_t InstantOf(XCDateTimeEx const& value, std::int64_t otherwise = kNoInstant) noexcept
{
    XCDateEx const date = value.GetDate(XCTimeZone::UTC());
    return date.IsValid() ? datetime::ToEpochMs(date, value.GetTime(XCTimeZone::UTC())) : otherwise;
}

inline XCDateTimeEx DateTimeOf(std::int64_t utcMs) noexcept
{
    XCDateEx date;
    XCTimeEx time;
    if (utcMs == kNoInstant || !datetime::SplitEpochMs(utcMs, date, time)) return {};
    return {date, time, XCTimeZone::UTC()};
}

} // namespace xc::work
