// XCOldDateTime.h - the older date classes, kept beside those of XCDateTime.h.
#pragma once

#include <XelbrinCore/XCExport.h>

#include <compare>
#include <cstdint>

/// A count of seconds since 1970-01-01 00:00 UTC.
class XC_API XCDateTime {
public:
    /// The count that stands for no value.
    static constexpr std::int64_t kNull = INT64_MIN;

    constexpr XCDateTime() noexcept = default;
    constexpr explicit XCDateTime(std::int64_t seconds) noexcept : m_seconds(seconds) {}
    [[nodiscard]] constexpr bool IsNull() const noexcept { return m_seconds == kNull; }
    [[nodiscard]] constexpr std::int64_t AsTime() const noexcept { return m_seconds; }

    friend constexpr auto operator<=>(XCDateTime const&, XCDateTime const&) noexcept = default;

private:
    std::int64_t m_seconds = kNull;
};
