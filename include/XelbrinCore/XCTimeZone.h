// XCTimeZone.h - a time zone as a value.
#pragma once

#include <XelbrinCore/XCExport.h>

/// A time zone: UTC when default-constructed. Copying costs one pointer; the data lives as long as the process.
class XC_API XCTimeZone {
public:
    XCTimeZone() noexcept = default;
    [[nodiscard]] bool IsUTC() const noexcept { return m_zone == nullptr; }

private:
    void const* m_zone = nullptr; // null is UTC
};
