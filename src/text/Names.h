// Names.h - names that match without regard to case: options, sections and keys.
#pragma once

#include "text/CaseTables.h"
#include "text/Units.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace xc::text {

constexpr std::size_t kLanes = 4; // units handled at a time
constexpr std::uint64_t kOneInEachLane = 0x0001000100010001u;

/// Four units side by side, in upper case. Units of ASCII are folded in arithmetic, others by the system's table.
inline std::uint64_t FoldLanes(std::uint64_t lanes)
{
    if ((lanes & (kOneInEachLane * 0xFF80)) == 0) {
        std::uint64_t const fromSmallA = lanes + kOneInEachLane * (0x80 - 'a');
        std::uint64_t const pastSmallZ = lanes + kOneInEachLane * (0x7F - 'z');
        return lanes - ((fromSmallA & ~pastSmallZ & (kOneInEachLane * 0x80)) >> 2);
    }
    wchar_t const* const upper = UpperCaseTable();
    std::uint64_t folded = 0;
    for (unsigned int shift = 0; shift < 64; shift += 16)
        folded |= std::uint64_t{ToUint(upper[(lanes >> shift) & 0xFFFF])} << shift;
    return folded;
}

inline std::uint64_t LoadLanes(wchar_t const* units) noexcept
{
    std::uint64_t lanes = 0;
    std::memcpy(&lanes, units, sizeof lanes);
    return lanes;
}

/// The last one to four units of a name that is not empty; a name of four or more has all lanes filled.
inline std::uint64_t LoadLastLanes(std::wstring_view name) noexcept
{
    if (name.size() >= kLanes) return LoadLanes(name.data() + name.size() - kLanes);
    std::uint64_t lanes = 0;
    for (wchar_t const unit : name) lanes = lanes << 16 | ToUint(unit);
    return lanes;
}

/// Whether two names are the same when both are in upper case.
inline bool IsSameNameFolded(std::wstring_view a, std::wstring_view b)
{
    if (a.size() != b.size()) return false;
    if (a.empty()) return true;
    auto const same = [](std::uint64_t x, std::uint64_t y) { return x == y || FoldLanes(x) == FoldLanes(y); };
    for (std::size_t i = 0; i + kLanes < a.size(); i += kLanes)
        if (!same(LoadLanes(a.data() + i), LoadLanes(b.data() + i))) return false;
    return same(LoadLastLanes(a), LoadLastLanes(b));
}

/// Equal for names that are the same when both are in upper case. Names that collide cannot be made up without the
/// seed: both halves of the product count, so that no difference of two names cancels out for every seed.
inline std::uint32_t HashFolded(std::wstring_view name, std::uint64_t seed)
{
    __extension__ typedef unsigned __int128 Product;
    std::uint64_t hash = seed ^ name.size();
    auto const mix = [&hash, factor = seed | 1](std::uint64_t lanes) {
        Product const product = static_cast<Product>(hash ^ FoldLanes(lanes)) * factor;
        hash = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    };
    for (std::size_t i = 0; i + kLanes < name.size(); i += kLanes) mix(LoadLanes(name.data() + i));
    if (!name.empty()) mix(LoadLastLanes(name));
    return static_cast<std::uint32_t>(hash);
}

/// Differs from one process to the next, so that no file can be written to make lookups slow.
inline std::uint64_t NameSeed()
{
    static std::uint64_t const seed = [] {
        constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;
        auto const time = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
        auto const place = reinterpret_cast<std::uintptr_t>(&time);
        std::uint64_t const mixed = (time ^ place << 24) * kSpread;
        return (mixed ^ mixed >> 29) * kSpread;
    }();
    return seed;
}

} // namespace xc::text
