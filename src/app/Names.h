// Names.h - names that match without regard to case: options, sections and keys.
#pragma once

#include "text/CaseTables.h"
#include "text/Units.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace xc::app {

constexpr std::size_t kLanes = 4; // units handled at a time
constexpr std::uint64_t kOneInEachLane = 0x0001000100010001u;

/// Up to four units side by side, in upper case. Units of ASCII are folded in arithmetic, others by the system's table.
inline std::uint64_t LoadFolded(wchar_t const* units, std::size_t count)
{
    wchar_t block[kLanes] = {};
    for (std::size_t i = 0; i < count; ++i) block[i] = units[i];
    std::uint64_t lanes = 0;
    std::memcpy(&lanes, block, sizeof lanes);
    if ((lanes & (kOneInEachLane * 0xFF80)) == 0) {
        std::uint64_t const fromSmallA = lanes + kOneInEachLane * (0x80 - 'a');
        std::uint64_t const pastSmallZ = lanes + kOneInEachLane * (0x7F - 'z');
        return lanes - ((fromSmallA & ~pastSmallZ & (kOneInEachLane * 0x80)) >> 2);
    }
    wchar_t const* const upper = text::UpperCaseTable();
    for (wchar_t& unit : block) unit = upper[text::ToUint(unit)];
    std::memcpy(&lanes, block, sizeof lanes);
    return lanes;
}

/// Whether two names are the same when both are in upper case.
inline bool IsSameNameFolded(std::wstring_view a, std::wstring_view b)
{
    if (a.size() != b.size()) return false;
    std::size_t i = 0;
    for (; a.size() - i >= kLanes; i += kLanes)
        if (LoadFolded(a.data() + i, kLanes) != LoadFolded(b.data() + i, kLanes)) return false;
    return i == a.size() || LoadFolded(a.data() + i, a.size() - i) == LoadFolded(b.data() + i, b.size() - i);
}

/// Equal for names that are the same when both are in upper case.
inline std::uint32_t HashFolded(std::wstring_view name)
{
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15u;
    std::uint64_t hash = name.size();
    auto const mix = [&hash](std::uint64_t lanes) {
        hash = (hash ^ lanes) * kFactor;
        hash ^= hash >> 32;
    };
    std::size_t i = 0;
    for (; name.size() - i >= kLanes; i += kLanes) mix(LoadFolded(name.data() + i, kLanes));
    if (i < name.size()) mix(LoadFolded(name.data() + i, name.size() - i));
    return static_cast<std::uint32_t>(hash);
}

} // namespace xc::app
