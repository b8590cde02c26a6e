// A few zones with real rules, for the sanitizer and fuzzing builds only.
#include "win32/TimeZoneData.h"

namespace xc::win32 {

namespace {

constexpr std::int32_t kHourMs = 3600000;

ZoneChange On(std::uint16_t month, std::uint16_t nthSunday, std::int32_t hour)
{
    return {0, month, 0, nthSunday, hour * kHourMs};
}

std::vector<ZoneData> const& Zones()
{
    static std::vector<ZoneData> const zones = [] {
        ZoneRules const eastern2006{300, 0, -60, On(10, 5, 2), On(4, 1, 2)};
        ZoneRules const eastern{300, 0, -60, On(11, 1, 2), On(3, 2, 2)};
        ZoneRules const sydney{-600, 0, -60, On(4, 1, 3), On(10, 1, 2)};
        ZoneRules const india{-330, 0, -60, {}, {}};
        ZoneRules const tokyo{-540, 0, -60, {}, {}};
        auto const zone = [](std::wstring const& stem, ZoneRules const& rules, std::int32_t firstYear = 0,
                             std::vector<ZoneRules> const& years = {}) {
            return ZoneData{stem + L" Standard Time",
                            stem + L" Standard Time",
                            stem + L" Daylight Time",
                            rules,
                            firstYear,
                            years,
                            true};
        };
        return std::vector<ZoneData>{zone(L"Eastern", eastern, 2006, {eastern2006, eastern}),
                                     zone(L"AUS Eastern", sydney),
                                     zone(L"India", india),
                                     zone(L"Tokyo", tokyo),
                                     {L"UTC", L"UTC", L"UTC", {}, 0, {}, true}};
    }();
    return zones;
}

} // namespace

std::optional<ZoneData> ReadZone(std::wstring const& name)
{
    for (ZoneData const& zone : Zones())
        if (zone.name == name) return zone;
    return std::nullopt;
}

ZoneData ReadLocalZone()
{
    return *ReadZone(L"UTC");
}

std::vector<std::wstring> ReadZoneNames()
{
    std::vector<std::wstring> names;
    for (ZoneData const& zone : Zones()) names.push_back(zone.name);
    return names;
}

} // namespace xc::win32
