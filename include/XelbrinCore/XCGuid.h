// XCGuid.h - a 128-bit identity: of plug-ins, factories and the types of marshalled objects.
//
// WHAT     XCGuid is laid out as the system's GUID, so that one can be copied into the other.
// COST     A value of 16 bytes; comparing compares the fields. Text is read and written in one pass.
// THREADS  A value: any threads may read one object.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <array>
#include <compare>
#include <cstdint>

/// A 128-bit identity; null when default-constructed. A value type of 16 bytes, laid out as the system's GUID.
class XC_API XCGuid {
public:
    constexpr XCGuid() noexcept = default;
    /// From the fields of the system's GUID.
    constexpr XCGuid(std::uint32_t data1, std::uint16_t data2, std::uint16_t data3,
                     std::array<std::uint8_t, 8> data4) noexcept
        : m_data1(data1), m_data2(data2), m_data3(data3), m_data4(data4)
    {
    }
    /// From "{01234567-89ab-cdef-0123-456789abcdef}", with or without braces, in any case.
    /// @param ok receives success; may be null. Other text gives the null identity.
    explicit XCGuid(XCString const& text, bool* ok = nullptr);

    /// Whether all bits are 0.
    [[nodiscard]] bool IsNull() const noexcept { return *this == XCGuid(); }
    /// In upper case, with braces.
    [[nodiscard]] XCString AsString() const;
    friend constexpr auto operator<=>(XCGuid const&, XCGuid const&) noexcept = default;

private:
    std::uint32_t m_data1 = 0;
    std::uint16_t m_data2 = 0;
    std::uint16_t m_data3 = 0;
    std::array<std::uint8_t, 8> m_data4{};
};
static_assert(sizeof(XCGuid) == 16);
