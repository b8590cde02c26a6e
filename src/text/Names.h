// Names.h - names that match without regard to case: options, sections and keys.
#pragma once

#include "text/CaseTables.h"
#include "text/Units.h"

#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace xc::text {

constexpr std::size_t kLanes = 4; // units handled at a time
constexpr std::uint64_t kOneInEachLane = 0x0001000100010001u;

constexpr std::uint64_t kNotAscii = kOneInEachLane * 0xFF80;

/// Four units of ASCII side by side, in upper case, in arithmetic.
inline std::uint64_t FoldAsciiLanes(std::uint64_t lanes) noexcept
{
    std::uint64_t const fromSmallA = lanes + kOneInEachLane * (0x80 - 'a');
    std::uint64_t const pastSmallZ = lanes + kOneInEachLane * (0x7F - 'z');
    return lanes - ((fromSmallA & ~pastSmallZ & (kOneInEachLane * 0x80)) >> 2);
}

/// Four units side by side, in upper case. Units beyond ASCII are folded by the system's table.
inline std::uint64_t FoldLanes(std::uint64_t lanes)
{
    if ((lanes & kNotAscii) == 0) return FoldAsciiLanes(lanes);
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

/// The last one to four of n units, which are not none; four or more have all lanes filled.
inline std::uint64_t LoadLastLanes(wchar_t const* units, std::size_t n) noexcept
{
    if (n >= kLanes) return LoadLanes(units + n - kLanes);
    std::uint64_t lanes = 0;
    for (std::size_t i = 0; i < n; ++i) lanes = lanes << 16 | ToUint(units[i]);
    return lanes;
}

// Views go by reference: the calling convention passes them in memory anyway, and a copy of one whose halves have just
// been written, made by a vector, waits for both of them.

/// Whether same(x, y) holds for all lanes of n units, which are not none.
template <class Same>
bool AreLanes(wchar_t const* a, wchar_t const* b, std::size_t n, Same const& same)
{
    for (std::size_t i = 0; i + kLanes < n; i += kLanes)
        if (!same(LoadLanes(a + i), LoadLanes(b + i))) return false;
    return same(LoadLastLanes(a, n), LoadLastLanes(b, n));
}

// Not a part of their callers, which then keep no registers for the call of the table.
[[gnu::noinline]] inline bool IsSameByTable(wchar_t const* a, wchar_t const* b, std::size_t n)
{
    return AreLanes(a, b, n, [](std::uint64_t x, std::uint64_t y) { return x == y || FoldLanes(x) == FoldLanes(y); });
}
[[gnu::noinline]] inline bool AreSameUnitsFolded(wchar_t const* a, wchar_t const* b, std::size_t n)
{
    // Taken for ASCII, as names are, and asked once at the end whether they were. Most are asked for as they are spelled.
    std::uint64_t other = 0;
    bool const same = AreLanes(a, b, n, [&other](std::uint64_t x, std::uint64_t y) {
        if (x == y) return true;
        other |= x | y;
        return FoldAsciiLanes(x) == FoldAsciiLanes(y);
    });
    return (other & kNotAscii) == 0 ? same : IsSameByTable(a, b, n);
}

/// Whether two names are the same when both are in upper case.
inline bool IsSameNameFolded(std::wstring_view const& a, std::wstring_view const& b)
{
    return a.size() == b.size() && (a.empty() || AreSameUnitsFolded(a.data(), b.data(), a.size()));
}

/// The hash of a name whose lanes `fold` puts in upper case.
// Both halves of the product count, so that no difference of two names cancels out for every seed. A multiplication
// takes eight units, four in each factor: multiplications wait for each other, so half as many take half the time. The
// seed is in both factors, so that nobody without it can make one of them zero, and so is the length: names of different
// lengths that have the same units in the places that are looked at would collide for some seeds.
template <class Fold>
std::uint32_t HashLanes(wchar_t const* units, std::size_t n, std::uint64_t seed, Fold const& fold)
{
    __extension__ typedef unsigned __int128 Product;
    std::uint64_t hash = seed ^ n;
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;
    std::uint64_t const factor = (std::rotl(seed, 32) ^ n * kSpread) | 1;
    auto const mix = [&hash, &fold, factor](std::uint64_t first, std::uint64_t second) {
        Product const product = static_cast<Product>(hash ^ fold(first)) * (factor ^ fold(second));
        hash = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    };
    std::size_t i = 0;
    for (; i + 2 * kLanes < n; i += 2 * kLanes) mix(LoadLanes(units + i), LoadLanes(units + i + kLanes));
    // The rest is eight units at most. In a longer name units before it count twice.
    if (n > kLanes)
        mix(LoadLanes(units + (n < 2 * kLanes ? 0 : n - 2 * kLanes)), LoadLanes(units + n - kLanes));
    else if (n != 0)
        mix(LoadLastLanes(units, n), 0);
    return static_cast<std::uint32_t>(hash);
}

[[gnu::noinline]] inline std::uint32_t HashByTable(wchar_t const* units, std::size_t n, std::uint64_t seed)
{
    return HashLanes(units, n, seed, FoldLanes);
}

/// Equal for names that are the same when both are in upper case. Names that collide cannot be made up without the
/// seed.
inline std::uint32_t HashFolded(std::wstring_view const& name, std::uint64_t seed)
{
    // Taken for ASCII in the same way.
    std::uint64_t all = 0;
    std::uint32_t const hash = HashLanes(name.data(), name.size(), seed, [&all](std::uint64_t lanes) {
        all |= lanes;
        return FoldAsciiLanes(lanes);
    });
    return (all & kNotAscii) == 0 ? hash : HashByTable(name.data(), name.size(), seed);
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
