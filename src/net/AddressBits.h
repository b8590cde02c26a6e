// AddressBits.h - questions to the bytes and units of addresses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace xc::net {

inline bool IsDigit(wchar_t unit) noexcept
{
    return unit >= L'0' && unit <= L'9';
}

/// Before the four bytes of an address of version 4 in one of version 6.
inline constexpr std::uint8_t kMappedPrefix[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

inline bool IsMappedV4(std::uint8_t const* v6) noexcept
{
    return std::memcmp(v6, kMappedPrefix, sizeof kMappedPrefix) == 0;
}

/// Whether two addresses agree in their first bits.
inline bool SameBits(std::uint8_t const* a, std::uint8_t const* b, unsigned int bits) noexcept
{
    std::size_t const whole = bits / 8;
    if (std::memcmp(a, b, whole) != 0) return false;
    unsigned int const rest = bits % 8;
    return rest == 0 || (a[whole] ^ b[whole]) >> (8 - rest) == 0;
}

} // namespace xc::net
