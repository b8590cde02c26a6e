// Kernels.h - the scan kernels over 16-bit units that string search, comparison, hashing and the matcher share.
//
// All take a pointer and a count, never look for a terminator beyond the count, and read no unit outside it. SSE2 is
// the baseline; the long loops have an AVX2 form that is chosen at run time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace xc::text {

/// The index of the first (last) `unit`, or n.
std::size_t FindUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept;
std::size_t FindLastUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept;
/// How many of the n units are `unit`.
std::size_t CountUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept;

/// The index of the first `needle` (m units) in n units, or n. An empty needle is found at 0. Linear time: a vector
/// filter on two units of the needle, which gives way to the two-way algorithm where the filter fails too often.
std::size_t FindText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept;
/// The same from the end: the index of the last needle, or n; an empty needle is found at n.
std::size_t FindLastText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept;

/// The index of the first unit that differs, or n.
std::size_t Mismatch(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept;
/// The index of the first place where the units differ or `a` is U+0000, or n.
std::size_t MismatchOrEnd(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept;

/// Whether n units are the same, where that can be told faster than by looking for a difference: false says nothing.
bool IsKnownSame(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept;

/// The same as MismatchOrEnd for two NUL-terminated texts: the index of the first place where they differ or both end.
std::size_t MismatchOrEnd(wchar_t const* a, wchar_t const* b) noexcept;

/// h = h * 613 + unit over n units, wrapping at 32 bits.
std::uint32_t Hash613(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept;

/// The length of a NUL-terminated text; null counts as empty.
std::size_t TextLength(wchar_t const* text) noexcept;

/// What is copied without a call.
inline constexpr std::size_t kFewUnits = 32;

/// As CopyUnits for more than that.
void CopyManyUnits(wchar_t* to, wchar_t const* from, std::size_t n) noexcept;

/// As CopyUnits for at most kFewUnits: always a part of the caller, which needs to keep no register for it.
[[gnu::always_inline]] inline void CopyFewUnits(wchar_t* to, wchar_t const* from, std::size_t n) noexcept
{
    auto const load = [](wchar_t const* at) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at)); };
    auto const store = [](wchar_t* at, __m128i block) { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), block); };
    if (n >= 8) { // blocks from both ends, overlapping in the middle
        __m128i const first = load(from);
        __m128i const last = load(from + n - 8);
        if (n > 16) {
            __m128i const second = load(from + 8);
            __m128i const third = load(from + n - 16);
            store(to + 8, second);
            store(to + n - 16, third);
        }
        store(to, first);
        store(to + n - 8, last);
    } else if (n >= 4) {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        std::memcpy(&first, from, 8);
        std::memcpy(&last, from + n - 4, 8);
        std::memcpy(to, &first, 8);
        std::memcpy(to + n - 4, &last, 8);
    } else {
        for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
    }
}

/// Copies n units, short texts without a call. The places may overlap where `to` is the lower one.
inline void CopyUnits(wchar_t* to, wchar_t const* from, std::size_t n) noexcept
{
    if (n > kFewUnits)
        CopyManyUnits(to, from, n);
    else
        CopyFewUnits(to, from, n);
}

} // namespace xc::text
