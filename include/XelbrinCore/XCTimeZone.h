// XCTimeZone.h - a time zone as a value.
//
// WHAT     The difference between UTC and the wall clock of a region, with the daylight-saving rules of each year as the
//          system's time-zone data has them. A year before the first (after the last) that the data lists follows the
//          first (last) one.
// SHAPE    One word: UTC, "the local zone of the process", or a zone by name. The data behind a name is read once and
//          lives as long as the process, so copies are free.
// LOCAL    Local() names whatever zone the process uses at the moment of the question: the system's one, read on first
//          use and again by RefreshLocal(), or the one that SetLocal() put in its place.
// CLOCK    A wall time that comes twice (clocks go back) and one that never comes (clocks go forward) are both read with
//          the offset in force before the change: 02:30 in a skipped hour is 03:30 of the new time. GetLocalKind tells.
// COST     An offset between 1900 and 2199 is a table look-up; other years compute their rules.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <vector>

class XCTimeZone;
namespace xc::datetime {
class ZoneRecord;
ZoneRecord const* RecordOf(XCTimeZone const& zone) noexcept;
} // namespace xc::datetime
class XCDateEx;
class XCDateTimeEx;
class XCTimeEx;
struct _SYSTEMTIME;

/// A time zone: UTC when default-constructed.
class XC_API XCTimeZone {
public:
    /// How often a wall time comes.
    enum class LocalKind {
        Unique,    ///< the wall time comes once
        Ambiguous, ///< it comes twice: clocks go back over it
        Skipped    ///< it never comes: clocks go forward over it
    };

    constexpr XCTimeZone() noexcept = default;
    /// The zone without offset and without daylight time.
    [[nodiscard]] static constexpr XCTimeZone UTC() noexcept { return XCTimeZone(); }
    /// The local zone of the process (see LOCAL above).
    [[nodiscard]] static constexpr XCTimeZone Local() noexcept { return XCTimeZone(kLocal); }
    /// The zone that the system knows by this name ("Eastern Standard Time"), without regard to case; "UTC" is UTC.
    /// @param found receives whether there is one; may be null. Without one the result is UTC.
    [[nodiscard]] static XCTimeZone FromName(XCString const& name, bool* found = nullptr);
    /// All names that FromName finds, sorted.
    [[nodiscard]] static std::vector<XCString> GetNames();

    /// Replaces the local zone of the process; values that are formatted in it from now on follow the new one.
    static void SetLocal(XCTimeZone const& zone);
    /// Goes back to the system's local zone and reads it again: for hosts that outlive a change of the system's zone.
    static void RefreshLocal();

    /// Whether this is the UTC zone (also: the local zone, when the process runs in UTC).
    [[nodiscard]] bool IsUTC() const noexcept { return m_zone == kUTC || IsUTCRecord(); }
    /// The system's name of the zone; "UTC" for UTC.
    [[nodiscard]] XCString GetName() const;
    /// The name for clocks and letters, in the system's language.
    [[nodiscard]] XCString GetStandardName() const;
    /// The name for clocks and letters while daylight saving is in force.
    [[nodiscard]] XCString GetDaylightName() const;

    /// Minutes that the zone is ahead of UTC at an instant; 0 for a value without date or time.
    [[nodiscard]] int GetOffset(XCDateTimeEx const& instant) const noexcept;
    /// Whether daylight saving is in force at an instant.
    [[nodiscard]] bool IsDaylight(XCDateTimeEx const& instant) const noexcept;
    /// How often the zone's clocks show this wall time. A null or invalid argument is Unique.
    [[nodiscard]] LocalKind GetLocalKind(XCDateEx const& date, XCTimeEx const& time) const noexcept;

    /// A SYSTEMTIME in UTC as the zone's clocks show it, and back. False, and the result untouched: no valid time with a
    /// year of 1601 to 30827. The two arguments may be one object.
    bool FromUTC(_SYSTEMTIME const& utc, _SYSTEMTIME& local) const noexcept;
    /// The way back of FromUTC; the result is untouched when it is false.
    bool ToUTC(_SYSTEMTIME const& local, _SYSTEMTIME& utc) const noexcept;

    /// Whether both are the same zone now.
    friend bool operator==(XCTimeZone const& a, XCTimeZone const& b) noexcept { return a.IsSame(b); }

private:
    friend xc::datetime::ZoneRecord const* xc::datetime::RecordOf(XCTimeZone const& zone) noexcept;
    static constexpr std::uintptr_t kUTC = 0;
    static constexpr std::uintptr_t kLocal = 1; // any other value is the address of the zone's data

    constexpr explicit XCTimeZone(std::uintptr_t zone) noexcept : m_zone(zone) {}
    [[nodiscard]] xc::datetime::ZoneRecord const* Resolve() const noexcept;
    [[nodiscard]] bool IsUTCRecord() const noexcept;
    [[nodiscard]] bool IsSame(XCTimeZone const& other) const noexcept;

    std::uintptr_t m_zone = kUTC;
};
