// XCOldDateTime.h - the older date classes, kept for the programs and errors that use them.
//
// WHAT     XCDate counts days since 1899-01-01, XCDateTime seconds since 1970-01-01 00:00 UTC. Plain counters: any count
//          is a value, arithmetic wraps (XCDate) or is held at the limits (XCDateTime).
// THREADS  As for an int.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCTimeZone.h>

#include <compare>
#include <cstdint>

/// A day: the count of days since 1899-01-01, which was a Sunday.
class XC_API XCDate {
public:
    constexpr XCDate() noexcept = default;
    /// From the stored day number.
    constexpr explicit XCDate(std::uint32_t days) noexcept : m_days(days) {}
    /// Days before 1899-01-01 and dates that no calendar has wrap to some other count.
    XCDate(unsigned int day, unsigned int month, unsigned int year) noexcept;
    /// The stored day number.
    [[nodiscard]] constexpr std::uint32_t AsInt() const noexcept { return m_days; }

    /// The year of the day.
    [[nodiscard]] unsigned int year() const noexcept;
    /// 1 to 12.
    [[nodiscard]] unsigned int month() const noexcept;
    /// 1 to 31.
    [[nodiscard]] unsigned int day() const noexcept;
    /// 0 Sunday to 6 Saturday, in every year.
    [[nodiscard]] unsigned int weekday() const noexcept { return m_days % 7u; }
    /// How many days its month has, 28 to 31.
    [[nodiscard]] unsigned int days_in_month() const noexcept { return days_in_month(month(), year()); }
    /// 30 for April, June, September and November, 28 or 29 for February, 31 for anything else.
    [[nodiscard]] static unsigned int days_in_month(unsigned int month, unsigned int year) noexcept;

    /// Counts wrap at 32 bits.
    XCDate& operator+=(long days) noexcept;
    XCDate& operator-=(long days) noexcept;
    XCDate& operator++() noexcept { return *this += 1; }
    XCDate& operator--() noexcept { return *this -= 1; }
    constexpr XCDate operator++(int) noexcept { return XCDate(m_days++); }
    constexpr XCDate operator--(int) noexcept { return XCDate(m_days--); }
    friend constexpr auto operator<=>(XCDate const&, XCDate const&) noexcept = default;

    /// "%Y" four digits, "%m", "%d" and "%y" two, "%%"; other specifiers print nothing.
    [[nodiscard]] XCString AsString(wchar_t const* format = L"%Y/%m/%d") const;

private:
    std::uint32_t m_days = 0;
};

/// A count of seconds since 1970-01-01 00:00 UTC, or null.
class XC_API XCDateTime {
public:
    /// The count that stands for no value.
    static constexpr std::int64_t kNull = INT64_MIN;

    constexpr XCDateTime() noexcept = default;
    /// From a count of seconds since 1970-01-01 00:00:00 UTC.
    constexpr explicit XCDateTime(std::int64_t seconds) noexcept : m_seconds(seconds) {}
    /// Now, in whole seconds.
    [[nodiscard]] static XCDateTime GetCurrentDateTime() noexcept;
    /// Whether there is no value.
    [[nodiscard]] constexpr bool IsNull() const noexcept { return m_seconds == kNull; }
    /// Becomes "no value".
    constexpr void SetNull() noexcept { m_seconds = kNull; }
    /// Seconds since 1970-01-01 00:00:00 UTC.
    [[nodiscard]] constexpr std::int64_t AsTime() const noexcept { return m_seconds; }

    /// Moves by seconds; null stays null, a sum past the limits stays at the limit.
    XCDateTime& operator+=(std::int64_t seconds) noexcept;
    friend XCDateTime operator+(XCDateTime a, std::int64_t seconds) noexcept { return a += seconds; }
    friend constexpr auto operator<=>(XCDateTime const&, XCDateTime const&) noexcept = default;

    /// As the zone's clocks show it, with Y y m d H M S of XCDateTimeEx and, always in English, %B (month name), %x
    /// ("12/31/09") and %X ("23:59:59"). "" for null and outside the years 0 to 9999.
    [[nodiscard]] XCString AsString(wchar_t const* format = L"%Y/%m/%d %H:%M:%S",
                                    XCTimeZone const& zone = XCTimeZone::Local()) const;
    /// Reads as XCDateTimeEx does. "SYSDATE" is now. Blank text is null, and a success; so is a date without a time
    /// (midnight in the zone). False, and null: anything else that has no valid date.
    bool FromString(XCString const& text, wchar_t const* format = L"%Y/%m/%d %H:%M:%S",
                    XCTimeZone const& zone = XCTimeZone::Local());

private:
    std::int64_t m_seconds = kNull;
};
