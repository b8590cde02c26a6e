// Zone.h - the arithmetic of time zones: offsets of instants and of wall times, from the rules of each year.
#pragma once

#include <XelbrinCore/XCTimeZone.h>

#include "win32/TimeZoneData.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace xc::datetime {

/// What a zone's clocks are ahead of UTC.
struct ZoneOffset {
    std::int32_t minutes = 0;
    bool isDaylight = false;

    [[nodiscard]] std::int64_t Ms() const noexcept { return std::int64_t{minutes} * 60000; }
    friend bool operator==(ZoneOffset const&, ZoneOffset const&) noexcept = default;
};

/// One year of a zone: three stretches, the later ones empty when the clocks do not change.
struct ZoneYear {
    std::int64_t start; ///< the instant at which the year begins there, in milliseconds since 1970 UTC
    std::int64_t firstChange, secondChange; ///< instants; INT64_MAX when there is none
    ZoneOffset offsets[3];

    [[nodiscard]] ZoneOffset const& At(std::int64_t utcMs) const noexcept
    {
        return offsets[(utcMs >= firstChange ? 1 : 0) + (utcMs >= secondChange ? 1 : 0)];
    }
};

/// A zone's data with its years worked out. Never changes once it is made, and is never freed.
class ZoneRecord {
public:
    explicit ZoneRecord(win32::ZoneData data);

    [[nodiscard]] win32::ZoneData const& Data() const noexcept { return m_data; }
    [[nodiscard]] bool IsUTC() const noexcept { return m_isUTC; }
    /// @param year the year of the instant by any clock: its year in UTC, in the zone, or one that is a day off.
    [[nodiscard]] ZoneOffset OffsetAt(std::int64_t utcMs, std::int64_t year) const noexcept;
    /// @param year as above. @return the borders of the stretch around the instant.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> BordersAt(std::int64_t utcMs, std::int64_t year) const noexcept;

private:
    static constexpr std::int64_t kFirstYear = 1900;
    static constexpr std::int64_t kYears = 300;

    [[nodiscard]] ZoneYear Compute(std::int64_t year) const noexcept;
    [[nodiscard]] ZoneYear const& Year(std::int64_t year, ZoneYear& computed) const noexcept;

    win32::ZoneData m_data;
    bool m_isUTC;
    std::vector<ZoneYear> m_years;
};

/// The zone's record; null for UTC.
inline ZoneRecord const* RecordOf(XCTimeZone const& zone) noexcept
{
    return zone.m_zone == XCTimeZone::kUTC ? nullptr : zone.Resolve();
}

/// The zone's record, null for UTC in any form.
inline ZoneRecord const* RecordUnlessUTC(XCTimeZone const& zone) noexcept
{
    ZoneRecord const* const record = RecordOf(zone);
    return record && !record->IsUTC() ? record : nullptr;
}

/// The offset in force at an instant, in milliseconds since 1970 UTC.
ZoneOffset OffsetAt(XCTimeZone const& zone, std::int64_t utcMs) noexcept;
inline std::int64_t OffsetMsAt(XCTimeZone const& zone, std::int64_t utcMs) noexcept
{
    return OffsetAt(zone, utcMs).Ms();
}

/// A piece of time in which a zone's offset stays, in milliseconds. Its borders need not be changes.
struct ZoneStretch {
    std::int64_t start, end;            ///< instants: start <= t < end; INT64_MIN and INT64_MAX without a border
    std::int64_t before, offset, after; ///< in force just before it, in it, and at its end
};
ZoneStretch StretchAt(XCTimeZone const& zone, std::int64_t utcMs) noexcept;

/// How a wall time, in milliseconds since 1970 by the zone's clocks, is read.
struct WallOffset {
    ZoneOffset offset;
    XCTimeZone::LocalKind kind = XCTimeZone::LocalKind::Unique;
};
WallOffset OffsetOfWall(ZoneRecord const& zone, std::int64_t wallMs, std::int64_t year) noexcept;
WallOffset OffsetOfWall(XCTimeZone const& zone, std::int64_t wallMs) noexcept;
inline std::int64_t OffsetMsOfWall(XCTimeZone const& zone, std::int64_t wallMs) noexcept
{
    return OffsetOfWall(zone, wallMs).offset.Ms();
}

/// Whether SetLocal() has put another zone in place of the system's.
bool IsLocalZoneReplaced() noexcept;

} // namespace xc::datetime
