// Scans for the next unit inside or outside up to eight ranges.
//
// Membership in a range takes one subtraction and one saturating subtraction a lane: (unit - first) - span, held at 0,
// is 0 exactly for members. The least of these values over all ranges answers for all of them, so the cost is three
// instructions a range for 16 units. The number of ranges is a template parameter: the bounds stay in registers.
//
// The counting forms look for the terminator of a text whose length nobody knows. They read aligned vectors only, which
// never cross a page, so that they touch no page in which the text has no unit. Under sanitizers, and on processors
// without AVX2, plain loops take their place.
#include "text/RangeKernels.h"

#include "text/Cpu.h"

#include <algorithm>
#include <bit>
#include <immintrin.h>
#include <iterator>
#include <utility>

namespace xc::text {

namespace {

using ScanFunction = std::size_t (*)(wchar_t const*, std::size_t, UnitRanges const&) noexcept;

template <bool Inside>
std::size_t ScanPlain(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    std::size_t i = 0;
    while (i < n && ranges.Holds(text[i]) != Inside) ++i;
    return i;
}

/// A unit lies in a range when (unit - first), less the span without going below 0, is 0: the least of these values
/// over all ranges tells it for all of them. Two mask bits a unit.
template <unsigned Count, bool Inside>
XC_TARGET_AVX2 inline std::uint32_t HitsAvx2(wchar_t const* at, __m256i const (&first)[Count],
                                             __m256i const (&span)[Count]) noexcept
{
    __m256i const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at));
    __m256i least = _mm256_subs_epu16(_mm256_sub_epi16(units, first[0]), span[0]);
    for (unsigned i = 1; i < Count; ++i)
        least = _mm256_min_epu16(least, _mm256_subs_epu16(_mm256_sub_epi16(units, first[i]), span[i]));
    auto const inside =
        static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(least, _mm256_setzero_si256())));
    return Inside ? inside : ~inside;
}

template <unsigned Count, bool Inside>
XC_TARGET_AVX2 std::size_t ScanAvx2(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    // The overlapping step at the end needs one whole vector in front of it.
    if (n < 16) return ScanPlain<Inside>(text, n, ranges);
    __m256i first[Count];
    __m256i span[Count];
    for (unsigned i = 0; i < Count; ++i) {
        first[i] = _mm256_set1_epi16(static_cast<short>(ranges.First(i)));
        span[i] = _mm256_set1_epi16(static_cast<short>(ranges.Span(i)));
    }
    std::size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        std::uint32_t const low = HitsAvx2<Count, Inside>(text + i, first, span);
        std::uint32_t const high = HitsAvx2<Count, Inside>(text + i + 16, first, span);
        if ((low | high) != 0) {
            // Joined, so that one count of zeros finds the first hit in either vector.
            std::uint64_t const both = low | static_cast<std::uint64_t>(high) << 32;
            return i + static_cast<std::size_t>(std::countr_zero(both)) / 2;
        }
    }
    while (i < n) { // the last vector may overlap units already seen to be no hits
        i = i + 16 <= n ? i : n - 16;
        if (std::uint32_t const hits = HitsAvx2<Count, Inside>(text + i, first, span); hits != 0)
            return i + static_cast<std::size_t>(std::countr_zero(hits)) / 2;
        i += 16;
    }
    return n;
}

template <bool Inside>
std::size_t ScanSse2(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    std::size_t i = 0;
    // The bounds are spread anew in each step: there are too few registers for eight ranges, and this is the way of old
    // processors alone.
    for (; i + 8 <= n; i += 8) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i));
        __m128i inside = _mm_setzero_si128();
        for (std::uint32_t r = 0; r < ranges.Count(); ++r) {
            __m128i const above = _mm_sub_epi16(units, _mm_set1_epi16(static_cast<short>(ranges.First(r))));
            __m128i const rest = _mm_subs_epu16(above, _mm_set1_epi16(static_cast<short>(ranges.Span(r))));
            inside = _mm_or_si128(inside, _mm_cmpeq_epi16(rest, _mm_setzero_si128()));
        }
        auto const mask = static_cast<std::uint32_t>(_mm_movemask_epi8(inside));
        std::uint32_t const hits = Inside ? mask : mask ^ 0xFFFFu;
        if (hits != 0) return i + static_cast<std::size_t>(std::countr_zero(hits)) / 2;
    }
    return i + ScanPlain<Inside>(text + i, n - i, ranges);
}

/// One instance for each number of ranges, so that the ranges stay in registers.
template <bool Inside, unsigned... Counts>
std::size_t ScanCounted(wchar_t const* text, std::size_t n, UnitRanges const& ranges,
                        std::integer_sequence<unsigned, Counts...>) noexcept
{
    // A call through a table costs less than one test of the count in each step.
    static constexpr ScanFunction kScans[] = {&ScanAvx2<Counts + 1, Inside>...};
    return kScans[ranges.Count() - 1](text, n, ranges);
}

template <bool Inside>
std::size_t Scan(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    // No range holds any unit, and the table of instances begins with one range.
    if (ranges.Count() == 0) return Inside ? n : 0;
    if (!HasAvx2()) return ScanSse2<Inside>(text, n, ranges);
    return ScanCounted<Inside>(text, n, ranges, std::make_integer_sequence<unsigned, UnitRanges::kMax>{});
}

/// Aligned vectors, and aligned pairs of them, lie in one page with a unit of the text. The units before it are shifted
/// out of the first one: each bit of the mask stands for a byte.
template <unsigned Count>
[[maybe_unused]] XC_TARGET_AVX2 std::size_t LeadAvx2(wchar_t const* text, std::size_t limit,
                                                     UnitRanges const& ranges) noexcept
{
    __m256i first[Count];
    __m256i span[Count];
    for (unsigned i = 0; i < Count; ++i) {
        first[i] = _mm256_set1_epi16(static_cast<short>(ranges.First(i)));
        span[i] = _mm256_set1_epi16(static_cast<short>(ranges.Span(i)));
    }
    auto const skipped = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(text) & 31);
    std::uint32_t mask = HitsAvx2<Count, false>(text - skipped / 2, first, span) >> skipped;
    std::size_t n = mask != 0 ? static_cast<std::size_t>(std::countr_zero(mask)) / 2 : (32 - skipped) / 2;
    while (mask == 0 && n < limit) {
        mask = HitsAvx2<Count, false>(text + n, first, span);
        n += mask != 0 ? static_cast<std::size_t>(std::countr_zero(mask)) / 2 : 16;
    }
    return n;
}

template <unsigned... Counts>
[[maybe_unused]] std::size_t LeadCounted(wchar_t const* text, std::size_t limit, UnitRanges const& ranges,
                                         std::integer_sequence<unsigned, Counts...>) noexcept
{
    using LeadFunction = std::size_t (*)(wchar_t const*, std::size_t, UnitRanges const&) noexcept;
    static constexpr LeadFunction kLeads[] = {&LeadAvx2<Counts + 1>...};
    return kLeads[ranges.Count() - 1](text, limit, ranges);
}

/// For each unit 0 where it ends the count: the unit itself at the terminator, its difference from another end there.
template <unsigned Others, std::size_t Size>
XC_INLINE_AVX2 __m256i ToEndAvx2(__m256i const* at, __m256i const (&others)[Size]) noexcept
{
    __m256i const units = _mm256_load_si256(at);
    __m256i least = units;
#pragma GCC unroll 4
    for (unsigned i = 0; i < Others; ++i) least = _mm256_min_epu16(least, _mm256_xor_si256(units, others[i]));
    return least;
}

/// Whether none of the units of two vectors may end the count, told by their bytes after packing, in which U+0000 and
/// what lies above U+7FFF is 0: half as many comparisons. @param packed the others, packed in the same way.
template <unsigned Others, std::size_t Size>
XC_INLINE_AVX2 bool LacksEndsAvx2(__m256i const* at, __m256i const (&packed)[Size]) noexcept
{
    __m256i const units = _mm256_packus_epi16(_mm256_load_si256(at), _mm256_load_si256(at + 1));
    __m256i least = units;
#pragma GCC unroll 4
    for (unsigned i = 0; i < Others; ++i) least = _mm256_min_epu8(least, _mm256_xor_si256(units, packed[i]));
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) == 0;
}

/// Two bits for each unit that is 0.
XC_INLINE_AVX2 std::uint32_t ZerosAvx2(__m256i const& units) noexcept
{
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi16(units, _mm256_setzero_si256())));
}

/// Aligned vectors, and aligned pairs of them, lie in one page with the unit they are read for.
template <unsigned Others>
[[maybe_unused]] XC_TARGET_AVX2 std::size_t CountAvx2(wchar_t const* text, std::size_t limit,
                                                      wchar_t const* others) noexcept
{
    __m256i ends[Others == 0 ? 1 : Others];
    __m256i packed[Others == 0 ? 1 : Others];
#pragma GCC unroll 4
    for (unsigned i = 0; i < Others; ++i) {
        ends[i] = _mm256_set1_epi16(static_cast<short>(others[i]));
        packed[i] = _mm256_packus_epi16(ends[i], ends[i]);
    }
    auto const address = reinterpret_cast<std::uintptr_t>(text);
    auto const skipped = static_cast<unsigned>(address & 31);
    auto const* at = reinterpret_cast<__m256i const*>(address - skipped);
    // Units of the vector before the text are shifted out: each bit of the mask stands for a byte.
    std::uint32_t mask = ZerosAvx2(ToEndAvx2<Others>(at, ends)) >> skipped;
    std::size_t n = mask != 0 ? static_cast<std::size_t>(std::countr_zero(mask)) / 2 : (32 - skipped) / 2;
    while (mask == 0 && n < limit) {
        if ((reinterpret_cast<std::uintptr_t>(++at) & 63) == 0)
            // Pairs begin at multiples of 64 bytes, so the second vector lies in the page of the first.
            for (; n + 32 <= limit; at += 2, n += 32)
                if (!(Others > 0 && LacksEndsAvx2<Others>(at, packed)) &&
                    ZerosAvx2(_mm256_min_epu16(ToEndAvx2<Others>(at, ends), ToEndAvx2<Others>(at + 1, ends))) != 0)
                    break;
        if (n == limit) break;
        mask = ZerosAvx2(ToEndAvx2<Others>(at, ends));
        n += mask != 0 ? static_cast<std::size_t>(std::countr_zero(mask)) / 2 : 16;
    }
    // The last vector may reach past the limit.
    return n < limit ? n : limit;
}

template <unsigned Others>
std::size_t Count(wchar_t const* text, std::size_t limit, wchar_t const* others) noexcept
{
#if !defined(XC_NO_OVERREAD)
    // At an odd address units straddle the lanes of aligned vectors.
    bool const aligned = (reinterpret_cast<std::uintptr_t>(text) & 1) == 0;
    if (limit != 0 && aligned && HasAvx2()) return CountAvx2<Others>(text, limit, others);
#endif
    std::size_t n = 0;
    while (n < limit && text[n] != 0 && std::find(others, others + Others, text[n]) == others + Others) ++n;
    return n;
}

} // namespace

std::size_t FindInside(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    return Scan<true>(text, n, ranges);
}

std::size_t FindOutside(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept
{
    return Scan<false>(text, n, ranges);
}

std::size_t LeadInside(wchar_t const* text, std::size_t limit, UnitRanges const& ranges) noexcept
{
    if (ranges.Count() == 0) return 0;
#if !defined(XC_NO_OVERREAD)
    if ((reinterpret_cast<std::uintptr_t>(text) & 1) == 0 && HasAvx2())
        return LeadCounted(text, limit, ranges, std::make_integer_sequence<unsigned, UnitRanges::kMax>{});
#endif
    constexpr std::size_t kStretch = 256;
    for (std::size_t n = 0;;) {
        std::size_t const known = UnitCount(text + n, kStretch);
        std::size_t const inside = FindOutside(text + n, known, ranges);
        n += inside;
        if (inside < kStretch || n >= limit) return n;
    }
}

std::size_t UnitCount(wchar_t const* text, std::size_t limit) noexcept
{
    return Count<0>(text, limit, nullptr);
}

std::size_t DotCount(wchar_t const* text, std::size_t limit) noexcept
{
    constexpr wchar_t kNoDot = 0xFFFF;
    return Count<1>(text, limit, &kNoDot);
}

std::size_t CountUpTo(wchar_t const* text, std::size_t limit, std::span<wchar_t const> ends) noexcept
{
    using CountFunction = std::size_t (*)(wchar_t const*, std::size_t, wchar_t const*) noexcept;
    static constexpr CountFunction kCounts[] = {&Count<0>, &Count<1>, &Count<2>, &Count<3>};
    static_assert(std::size(kCounts) == kMostEnds + 1);
    return kCounts[ends.size()](text, limit, ends.data());
}

} // namespace xc::text
