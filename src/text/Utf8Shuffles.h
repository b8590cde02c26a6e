// Utf8Shuffles.h - tables of byte shuffles that close gaps in a vector, made by the compiler.
//
// Both directions compute more bytes than they keep. Which ones stay follows from a mask of eight bits, so that a table
// of 256 shuffles (4 KiB) serves a block.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace xc::text {

using Shuffle = std::array<std::uint8_t, 16>;

/// The shuffle that keeps the bytes, of lanes of some width, for which `keeps(mask, lane, byte)` says so.
template <class Keeps>
constexpr std::array<Shuffle, 256> MakeShuffles(unsigned int laneBytes, Keeps keeps)
{
    std::array<Shuffle, 256> shuffles{};
    for (unsigned int mask = 0; mask < 256; ++mask) {
        shuffles[mask].fill(0x80); // a zero, in bytes that the next step writes over
        std::size_t count = 0;
        for (unsigned int i = 0; i < 16; ++i)
            if (keeps(mask, i / laneBytes, i % laneBytes)) shuffles[mask][count++] = static_cast<std::uint8_t>(i);
    }
    return shuffles;
}

} // namespace xc::text
