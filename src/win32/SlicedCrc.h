// SlicedCrc.h - checksums of 32 bits by tables, eight bytes a step, for any polynomial.
//
// "Slicing by 8" (Kounavis and Berry 2005): tables[k][b] is the checksum of the byte b followed by k zero bytes, and since
// checksums of xored inputs xor, eight looks and xors advance by eight bytes. The tables (8 KiB a polynomial) are made by
// the compiler.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace xc::win32 {

/// @tparam kPolynomial with its bits reversed: the lowest bit of a byte comes first.
template <std::uint32_t kPolynomial>
class SlicedCrc {
public:
    static constexpr std::size_t kStep = 8;

    static std::uint64_t LoadStep(void const* at) noexcept
    {
        static_assert(std::endian::native == std::endian::little);
        std::uint64_t value = 0;
        std::memcpy(&value, at, kStep);
        return value;
    }

    /// The register after these bytes. Whoever calls inverts it at the start and at the end.
    static std::uint32_t Advance(std::uint32_t crc, std::uint8_t const* at, std::size_t size) noexcept
    {
        for (; size >= kStep; at += kStep, size -= kStep) {
            // The register belongs to the first four bytes; those are then eight places from the end, the next four
            // places less.
            std::uint64_t const mixed = LoadStep(at) ^ crc;
            crc = 0;
            for (std::size_t k = 0; k < kStep; ++k) crc ^= kTables[kStep - 1 - k][mixed >> (8 * k) & 0xFF];
        }
        for (; size > 0; ++at, --size) crc = (crc >> 8) ^ kTables[0][(crc ^ *at) & 0xFF];
        return crc;
    }

private:
    using Tables = std::array<std::array<std::uint32_t, 256>, kStep>;

    static constexpr Tables kTables = [] {
        Tables tables{};
        for (std::uint32_t value = 0; value < 256; ++value) {
            std::uint32_t crc = value;
            for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
            tables[0][value] = crc;
        }
        for (std::size_t k = 1; k < kStep; ++k)
            for (std::size_t value = 0; value < 256; ++value) {
                std::uint32_t const before = tables[k - 1][value];
                tables[k][value] = (before >> 8) ^ tables[0][before & 0xFF];
            }
        return tables;
    }();
};

} // namespace xc::win32
