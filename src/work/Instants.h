// Instants.h - date-times as counts of milliseconds since 1970 UTC, and back.
#pragma once

#include <XelbrinCore/XCChrono.h>

#include <cstdint>

namespace xc::work {

/// No instant; the null value stands for it.
inline constexpr std::int64_t kNoInstant = INT64_MAX;

/// `otherwise` for a value without a valid date; one without a time is its midnight.
inline std::int64_t InstantOf(XCDateTimeEx const& value, std::int64_t otherwise = kNoInstant) noexcept
{
    return value.GetDate(XCTimeZone::UTC()).IsValid() ? XCToUnixMs(value) : otherwise;
}

inline XCDateTimeEx DateTimeOf(std::int64_t utcMs) noexcept
{
    return utcMs == kNoInstant ? XCDateTimeEx() : XCFromUnixMs(utcMs);
}

} // namespace xc::work
