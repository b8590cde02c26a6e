// TimeZoneData.h - the time zones as the system's registry has them, in plain structures.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace xc::win32 {

/// When clocks change, by the wall clock before the change. Month 0: never.
struct ZoneChange {
    std::uint16_t year = 0; ///< 0: every year, by weekday; otherwise the day of the month in that year alone
    std::uint16_t month = 0;
    std::uint16_t weekDay = 0; ///< 0 is Sunday
    std::uint16_t day = 0;     ///< 1 to 4: that weekday of the month; 5: the last one
    std::int32_t timeMs = 0;   ///< milliseconds since midnight

    friend bool operator==(ZoneChange const&, ZoneChange const&) = default;
};

/// Minutes to add to local time for UTC, and to add to those in either season.
struct ZoneRules {
    std::int32_t bias = 0;
    std::int32_t standardBias = 0;
    std::int32_t daylightBias = 0;
    ZoneChange toStandard;
    ZoneChange toDaylight;

    friend bool operator==(ZoneRules const&, ZoneRules const&) = default;
};

struct ZoneData {
    std::wstring name; ///< the key name, by which the system finds the zone
    std::wstring standardName;
    std::wstring daylightName;
    ZoneRules rules; ///< of years without rules of their own
    std::int32_t firstYear = 0;
    std::vector<ZoneRules> years; ///< from firstYear on; the first and the last hold for all before and after them
    bool isWhole = true;          ///< what the name stands for; false: the system's rules of this moment alone

    friend bool operator==(ZoneData const&, ZoneData const&) = default;
};

/// The zone of a key name, without regard to case.
std::optional<ZoneData> ReadZone(std::wstring const& name);

/// The zone of this process.
ZoneData ReadLocalZone();

std::vector<std::wstring> ReadZoneNames();

} // namespace xc::win32
