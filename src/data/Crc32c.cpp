// CRC-32C: the remainder by the Castagnoli polynomial, lowest bit first, start and end inverted (RFC 3720, B.4).
//
// Processors of the last decade have an instruction for it, three cycles for 8 bytes. Without it the bytes go through
// eight tables at a time ("slicing by 8", Kounavis and Berry 2005): tables[k][b] is the checksum of the byte b followed
// by k zero bytes, and since checksums of xored inputs xor, eight looks and xors advance by eight bytes. The tables
// (8 KiB) are made by the compiler. Both ways give the same number; the tests run each.
#include <XelbrinCore/XCBuffer.h>

#include "text/Cpu.h"

#include <array>
#include <nmmintrin.h>

namespace {

// The polynomial of iSCSI, chosen for its distance at the lengths of network packets; processors know this one alone.
constexpr std::uint32_t kPolynomial = 0x82F63B78; // bit-reversed
constexpr std::size_t kStep = 8;

using Tables = std::array<std::array<std::uint32_t, 256>, kStep>;

constexpr Tables MakeTables() noexcept
{
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (crc & 1 ? kPolynomial : 0);
        tables[0][byte] = crc;
    }
    for (std::size_t k = 1; k < kStep; ++k)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            std::uint32_t const before = tables[k - 1][byte];
            tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    return tables;
}

constexpr Tables kTables = MakeTables();

std::uint64_t LoadStep(std::uint8_t const* at) noexcept
{
    std::uint64_t value = 0;
    std::memcpy(&value, at, kStep);
    return value;
}

std::uint32_t ByTables(std::uint32_t crc, std::uint8_t const* at, std::size_t size) noexcept
{
    for (; size >= kStep; at += kStep, size -= kStep) {
        // The register belongs to the first four bytes; those are then eight places from the end, the next four places
        // less.
        std::uint64_t const mixed = LoadStep(at) ^ crc;
        crc = 0;
        for (std::size_t k = 0; k < kStep; ++k) crc ^= kTables[kStep - 1 - k][mixed >> (8 * k) & 0xFF];
    }
    for (; size > 0; ++at, --size) crc = (crc >> 8) ^ kTables[0][(crc ^ *at) & 0xFF];
    return crc;
}

/// Every processor with AVX2 has the instruction.
XC_TARGET_AVX2 std::uint32_t ByInstruction(std::uint32_t crc, std::uint8_t const* at, std::size_t size) noexcept
{
    for (; size >= kStep; at += kStep, size -= kStep)
        crc = static_cast<std::uint32_t>(_mm_crc32_u64(crc, LoadStep(at)));
    for (; size > 0; ++at, --size) crc = _mm_crc32_u8(crc, *at);
    return crc;
}

} // namespace

std::uint32_t XCCrc32c(XCBytes bytes, std::uint32_t previous) noexcept
{
    auto const work = xc::text::HasAvx2() ? ByInstruction : ByTables;
    // Inverted at both ends, so leading zeros count; inverting `previous` again takes up a checksum where it ended.
    return ~work(~previous, bytes.Data(), bytes.Size());
}
