// Loops over units in vector steps: the next or last unit of a value, counts, lengths, comparison and the hash.
//
// Texts are mostly short, so the 8-unit steps of SSE2 (always there on 64-bit processors) carry the work; from 64 units
// on, a processor with AVX2 first skips whole steps of 32 or 64 units that hold no answer, and the 8-unit loop finds
// the place. The skipping loops combine several comparisons into one test, because the branch is what costs. A rest that
// is shorter than a step is covered by a step that overlaps units already seen, or by single units.
//
// Invariant: nothing outside [text, text + n) is read; functions that know no n read blocks that stay within a page.
// The hash h = h * 613 + unit is a polynomial modulo 2^32 (Horner's rule). One step a unit waits for the multiplication
// before; split into 64 interleaved polynomials in 613^64, all lanes advance at once, and a weighted sum joins them.
#include "text/Kernels.h"

#include "text/Cpu.h"
#include "text/Units.h"

#include <array>
#include <bit>
#include <immintrin.h>

// Functions that know no length read whole blocks, which never leave the page that holds the terminator. Bytes of a
// block outside the text are read but never looked at: the sanitizers are told so.
#if defined(__GNUC__)
#define XC_READS_WHOLE_BLOCKS __attribute__((no_sanitize("address", "thread")))
#else
#define XC_READS_WHOLE_BLOCKS
#endif

namespace xc::text {

namespace {

constexpr std::size_t kSseUnits = 8;
constexpr std::size_t kAvxUnits = 16;
constexpr std::size_t kAvxWorth = 64; // below this many units the wider loop does not pay

__m128i Load8(wchar_t const* at) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at));
}

__m128i Splat8(wchar_t unit) noexcept
{
    return _mm_set1_epi16(static_cast<short>(unit));
}

/// Two bits a unit.
unsigned int MaskOf(__m128i equal) noexcept
{
    return static_cast<unsigned int>(_mm_movemask_epi8(equal));
}

std::size_t FirstIn(unsigned int mask) noexcept
{
    return static_cast<std::size_t>(std::countr_zero(mask)) / 2;
}

std::size_t LastIn(unsigned int mask) noexcept
{
    return (31 - static_cast<std::size_t>(std::countl_zero(mask))) / 2;
}

XC_TARGET_AVX2 inline __m256i Load16(wchar_t const* at) noexcept
{
    return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at));
}

/// Goes on from `i` in steps of 64 units; stops at the step that holds the unit, or where no step is left.
XC_TARGET_AVX2 std::size_t SkipToUnitAvx2(wchar_t const* text, std::size_t i, std::size_t n, wchar_t unit) noexcept
{
    __m256i const wanted = _mm256_set1_epi16(static_cast<short>(unit));
    for (; n - i >= 4 * kAvxUnits; i += 4 * kAvxUnits) {
        __m256i const a = _mm256_cmpeq_epi16(Load16(text + i), wanted);
        __m256i const b = _mm256_cmpeq_epi16(Load16(text + i + kAvxUnits), wanted);
        __m256i const c = _mm256_cmpeq_epi16(Load16(text + i + 2 * kAvxUnits), wanted);
        __m256i const d = _mm256_cmpeq_epi16(Load16(text + i + 3 * kAvxUnits), wanted);
        __m256i const any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (_mm256_movemask_epi8(any) != 0) break;
    }
    return i;
}

/// The same from the end: the count of units that remain to be looked at.
XC_TARGET_AVX2 std::size_t SkipBackToUnitAvx2(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    __m256i const wanted = _mm256_set1_epi16(static_cast<short>(unit));
    for (; n >= 2 * kAvxUnits; n -= 2 * kAvxUnits) {
        __m256i const a = _mm256_cmpeq_epi16(Load16(text + n - kAvxUnits), wanted);
        __m256i const b = _mm256_cmpeq_epi16(Load16(text + n - 2 * kAvxUnits), wanted);
        if (_mm256_movemask_epi8(_mm256_or_si256(a, b)) != 0) break;
    }
    return n;
}

/// Stops at the step that holds a difference; the loop of 8 units then tells its place.
XC_TARGET_AVX2 std::size_t SkipEqualAvx2(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    std::size_t i = 0;
    for (; n - i >= 2 * kAvxUnits; i += 2 * kAvxUnits) {
        __m256i const x = _mm256_cmpeq_epi16(Load16(a + i), Load16(b + i));
        __m256i const y = _mm256_cmpeq_epi16(Load16(a + i + kAvxUnits), Load16(b + i + kAvxUnits));
        if (_mm256_movemask_epi8(_mm256_and_si256(x, y)) != -1) break;
    }
    return i;
}

XC_INLINE_AVX2 bool IsSameBlockAvx2(wchar_t const* a, wchar_t const* b) noexcept
{
    __m256i const x = _mm256_cmpeq_epi16(Load16(a), Load16(b));
    __m256i const y = _mm256_cmpeq_epi16(Load16(a + kAvxUnits), Load16(b + kAvxUnits));
    __m256i const z = _mm256_cmpeq_epi16(Load16(a + 2 * kAvxUnits), Load16(b + 2 * kAvxUnits));
    __m256i const w = _mm256_cmpeq_epi16(Load16(a + 3 * kAvxUnits), Load16(b + 3 * kAvxUnits));
    return _mm256_movemask_epi8(_mm256_and_si256(_mm256_and_si256(x, y), _mm256_and_si256(z, w))) == -1;
}

/// Whether at least one block of 64 units is the same. The last block overlaps the one before.
XC_TARGET_AVX2 bool IsSameAvx2(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    std::size_t const last = n - 4 * kAvxUnits;
    // The texts of strings stand twelve bytes after what the heap has aligned: from the second block on no load of `a`,
    // and as a rule none of `b`, crosses a line of the cache.
    if (!IsSameBlockAvx2(a, b)) return false;
    for (std::size_t i = (64 - reinterpret_cast<std::uintptr_t>(a) % 64) / sizeof(wchar_t); i < last;
         i += 4 * kAvxUnits)
        if (!IsSameBlockAvx2(a + i, b + i)) return false;
    return IsSameBlockAvx2(a + last, b + last);
}

/// Equal units that are not 0.
XC_TARGET_AVX2 std::size_t SkipEqualTextAvx2(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    std::size_t i = 0;
    __m256i const zero = _mm256_setzero_si256();
    for (; n - i >= 2 * kAvxUnits; i += 2 * kAvxUnits) {
        __m256i const x = Load16(a + i);
        __m256i const y = Load16(a + i + kAvxUnits);
        __m256i const equalX = _mm256_cmpeq_epi16(x, Load16(b + i));
        __m256i const equalY = _mm256_cmpeq_epi16(y, Load16(b + i + kAvxUnits));
        // The smaller of two units is 0 exactly when one of them is: one comparison serves two vectors.
        __m256i const ends = _mm256_cmpeq_epi16(_mm256_min_epu16(x, y), zero);
        if (_mm256_movemask_epi8(_mm256_andnot_si256(ends, _mm256_and_si256(equalX, equalY))) != -1) break;
    }
    return i;
}

} // namespace

// One unit ------------------------------------------------------------------------------------------------------

std::size_t FindUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    std::size_t i = 0;
    if (n >= kAvxWorth && HasAvx2()) i = SkipToUnitAvx2(text, i, n, unit);
    __m128i const wanted = Splat8(unit);
    for (; n - i >= kSseUnits; i += kSseUnits) {
        unsigned int const mask = MaskOf(_mm_cmpeq_epi16(Load8(text + i), wanted));
        if (mask != 0) return i + FirstIn(mask);
    }
    if (n >= kSseUnits) { // the rest lies in the last whole block; what it repeats had no hit
        unsigned int const mask = MaskOf(_mm_cmpeq_epi16(Load8(text + n - kSseUnits), wanted));
        return mask != 0 ? n - kSseUnits + FirstIn(mask) : n;
    }
    // Fewer than eight units in all: no block may be read.
    while (i < n && text[i] != unit) ++i;
    return i;
}

std::size_t FindLastUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    std::size_t left = n;
    if (n >= kAvxWorth && HasAvx2()) left = SkipBackToUnitAvx2(text, n, unit);
    __m128i const wanted = Splat8(unit);
    for (; left >= kSseUnits; left -= kSseUnits) {
        unsigned int const mask = MaskOf(_mm_cmpeq_epi16(Load8(text + left - kSseUnits), wanted));
        if (mask != 0) return left - kSseUnits + LastIn(mask);
    }
    while (left-- > 0)
        if (text[left] == unit) return left;
    return n;
}

std::size_t CountUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    std::size_t count = 0;
    std::size_t i = 0;
    __m128i const wanted = Splat8(unit);
    // Counting never stops early, so that two levels of sums keep the inner loop to one load, comparison and
    // subtraction.
    while (n - i >= kSseUnits) {
        // Each lane counts downwards; 127 steps at most, so that the signed sums of pairs fit.
        __m128i lanes = _mm_setzero_si128();
        for (int step = 0; step < 127 && n - i >= kSseUnits; ++step, i += kSseUnits)
            lanes = _mm_sub_epi16(lanes, _mm_cmpeq_epi16(Load8(text + i), wanted));
        __m128i sums = _mm_madd_epi16(lanes, _mm_set1_epi16(1));
        sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2)));
        sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(2, 3, 0, 1)));
        count += static_cast<std::size_t>(_mm_cvtsi128_si32(sums));
    }
    for (; i < n; ++i) count += text[i] == unit;
    return count;
}

XC_READS_WHOLE_BLOCKS std::size_t TextLength(wchar_t const* text) noexcept
{
    if (!text) return 0;
    __m128i const zero = _mm_setzero_si128();
    // Aligned blocks of 16 bytes never cross a page: what is read around the text lies in pages that the text is in.
    auto const address = reinterpret_cast<std::uintptr_t>(text);
    if (address % sizeof(wchar_t) != 0) { // a text at an odd address: no block begins with a unit
        std::size_t n = 0;
        for (wchar_t unit = 0; std::memcpy(&unit, text + n, sizeof unit), unit != L'\0';) ++n;
        return n;
    }
    std::size_t const before = address % 16;
    auto const* block = reinterpret_cast<__m128i const*>(address - before);
    // The bits of units before the text are shifted out.
    unsigned int mask = MaskOf(_mm_cmpeq_epi16(*block, zero)) >> before;
    if (mask != 0) return FirstIn(mask);
    constexpr std::uintptr_t kLine = 64; // of the cache; as whole as a page
    do {
        ++block;
        // One test for the four blocks of a line, until one has the end.
        if (reinterpret_cast<std::uintptr_t>(block) % kLine == 0)
            for (;; block += 4) {
                __m128i const first = _mm_or_si128(_mm_cmpeq_epi16(block[0], zero), _mm_cmpeq_epi16(block[1], zero));
                __m128i const last = _mm_or_si128(_mm_cmpeq_epi16(block[2], zero), _mm_cmpeq_epi16(block[3], zero));
                if (MaskOf(_mm_or_si128(first, last)) != 0) break;
            }
        mask = MaskOf(_mm_cmpeq_epi16(*block, zero));
    } while (mask == 0);
    return (reinterpret_cast<std::uintptr_t>(block) - address) / sizeof(wchar_t) + FirstIn(mask);
}

// Copies --------------------------------------------------------------------------------------------------------

void CopyManyUnits(wchar_t* to, wchar_t const* from, std::size_t n) noexcept
{
    if (n > 256) {
        std::memmove(to, from, n * sizeof(wchar_t));
        return;
    }
    // A call costs some runtime libraries more than the copy of a line.
    __m128i const last = Load8(from + n - kSseUnits);
    auto const store = [to](std::size_t i, __m128i block) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), block);
    };
    for (std::size_t i = 0; i < n - kSseUnits; i += kSseUnits) store(i, Load8(from + i));
    store(n - kSseUnits, last);
}

// Comparison ----------------------------------------------------------------------------------------------------

std::size_t Mismatch(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    // The place itself is always found by the loop below, so that the wide loop stays a pure test.
    std::size_t i = n >= kAvxWorth && HasAvx2() ? SkipEqualAvx2(a, b, n) : 0;
    for (; n - i >= kSseUnits; i += kSseUnits) {
        unsigned int const differ = MaskOf(_mm_cmpeq_epi16(Load8(a + i), Load8(b + i))) ^ 0xFFFF;
        if (differ != 0) return i + FirstIn(differ);
    }
    while (i < n && a[i] == b[i]) ++i;
    return i;
}

bool IsKnownSame(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    return n >= kAvxWorth && HasAvx2() && IsSameAvx2(a, b, n);
}

XC_READS_WHOLE_BLOCKS std::size_t MismatchOrEnd(wchar_t const* a, wchar_t const* b) noexcept
{
    constexpr std::uintptr_t kPage = 4096;
    constexpr std::uintptr_t kLast = kPage - sizeof(__m128i); // a block from here on stays within its page
    __m128i const zero = _mm_setzero_si128();
    // Two texts cannot both be read at aligned places, so that each step asks whether a block would leave a page.
    for (std::size_t i = 0;;) {
        auto const left = reinterpret_cast<std::uintptr_t>(a + i) % kPage;
        auto const right = reinterpret_cast<std::uintptr_t>(b + i) % kPage;
        if (left > kLast || right > kLast) { // the next page may not be there
            if (a[i] != b[i] || a[i] == L'\0') return i;
            ++i;
            continue;
        }
        __m128i const x = *reinterpret_cast<__m128i_u const*>(a + i);
        __m128i const y = *reinterpret_cast<__m128i_u const*>(b + i);
        // Zeros are looked for in one text alone: a zero in the other one is a difference, or the end of both.
        unsigned int const stop = MaskOf(_mm_andnot_si128(_mm_cmpeq_epi16(x, zero), _mm_cmpeq_epi16(x, y))) ^ 0xFFFF;
        if (stop != 0) return i + FirstIn(stop);
        i += kSseUnits;
    }
}

std::size_t MismatchOrEnd(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    std::size_t i = n >= kAvxWorth && HasAvx2() ? SkipEqualTextAvx2(a, b, n) : 0;
    __m128i const zero = _mm_setzero_si128();
    for (; n - i >= kSseUnits; i += kSseUnits) {
        __m128i const x = Load8(a + i);
        __m128i const equal = _mm_cmpeq_epi16(x, Load8(b + i));
        unsigned int const stop = MaskOf(_mm_andnot_si128(_mm_cmpeq_epi16(x, zero), equal)) ^ 0xFFFF;
        if (stop != 0) return i + FirstIn(stop);
    }
    while (i < n && a[i] == b[i] && a[i] != L'\0') ++i;
    return i;
}

// Hash ----------------------------------------------------------------------------------------------------------

namespace {

// Two units make one product and sum: a machine instruction multiplies pairs of signed 16-bit numbers and adds the two
// results. Units are shifted down by 0x8000 for it, and what that takes from a pair is the same for all of them.
constexpr std::uint32_t kFactor = 613;
constexpr int kPairFactors = 1 << 16 | static_cast<int>(kFactor); // for the first of a pair and the second
constexpr int kPairShift = 0x8000 * (static_cast<int>(kFactor) + 1);
/// Four vectors of eight lanes, a pair of units each: products enough under way to hide the time that one takes.
constexpr std::size_t kHashBlock = 64;
constexpr std::size_t kVectors = 4;

/// kFactor to the powers 0 to 64.
constexpr std::array<std::uint32_t, kHashBlock + 1> kPowers = [] {
    std::array<std::uint32_t, kHashBlock + 1> powers{};
    powers[0] = 1;
    for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * kFactor;
    return powers;
}();

/// The factors of the 32 pairs of a block: 613^62 for the first, 1 for the last.
constexpr std::array<std::uint32_t, kHashBlock / 2> kWeights = [] {
    std::array<std::uint32_t, kHashBlock / 2> weights{};
    for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = kPowers[kHashBlock - 2 - 2 * i];
    return weights;
}();

XC_TARGET_AVX2 inline __m256i Pairs16(wchar_t const* at) noexcept
{
    __m256i const units = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at));
    __m256i const shifted = _mm256_xor_si256(units, _mm256_set1_epi16(static_cast<short>(0x8000)));
    return _mm256_add_epi32(_mm256_madd_epi16(shifted, _mm256_set1_epi32(kPairFactors)), _mm256_set1_epi32(kPairShift));
}

/// Whole blocks: each lane evaluates its own polynomial in 613^64; their weighted sum is the polynomial in 613.
XC_TARGET_AVX2 std::uint32_t HashBlocksAvx2(std::uint32_t h, wchar_t const* text, std::size_t blocks) noexcept
{
    __m256i lanes[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) lanes[v] = Pairs16(text + 16 * v);
    // What was hashed before stands in front of the block as one more, higher term.
    h *= kPowers[kHashBlock];
    __m256i const factor = _mm256_set1_epi32(static_cast<int>(kPowers[kHashBlock]));
    for (std::size_t block = 1; block < blocks; ++block) {
        text += kHashBlock;
        h *= kPowers[kHashBlock];
        for (std::size_t v = 0; v < kVectors; ++v)
            lanes[v] = _mm256_add_epi32(_mm256_mullo_epi32(lanes[v], factor), Pairs16(text + 16 * v));
    }
    __m256i sum = _mm256_setzero_si256();
    for (std::size_t v = 0; v < kVectors; ++v) {
        __m256i const weights = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(kWeights.data() + 8 * v));
        sum = _mm256_add_epi32(sum, _mm256_mullo_epi32(lanes[v], weights));
    }
    __m128i parts = _mm_add_epi32(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
    parts = _mm_add_epi32(parts, _mm_unpackhi_epi64(parts, parts));
    parts = _mm_add_epi32(parts, _mm_srli_epi64(parts, 32));
    return h + static_cast<std::uint32_t>(_mm_cvtsi128_si32(parts));
}

/// What the shift of eight units takes from their polynomial.
constexpr std::uint32_t kShift8 = [] {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < 8; ++i) sum += kPowers[i] * 0x8000u;
    return sum;
}();

/// The polynomial of eight shifted units: few enough vectors that none has to be saved for the caller.
inline std::uint32_t Hash8(wchar_t const* text) noexcept
{
    __m128i const shifted = _mm_xor_si128(Load8(text), _mm_set1_epi16(static_cast<short>(0x8000)));
    __m128i const pairs = _mm_madd_epi16(shifted, _mm_set1_epi32(kPairFactors));
    // Products of even lanes and of odd ones; the low halves of the sums are what counts.
    auto const weights = [](std::uint32_t first, std::uint32_t second) {
        return _mm_set_epi64x(static_cast<long long>(second), static_cast<long long>(first));
    };
    __m128i const even = _mm_mul_epu32(pairs, weights(kPowers[6], kPowers[2]));
    __m128i const odd = _mm_mul_epu32(_mm_srli_epi64(pairs, 32), weights(kPowers[4], kPowers[0]));
    __m128i const sum = _mm_add_epi32(even, odd);
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_add_epi32(sum, _mm_unpackhi_epi64(sum, sum))));
}

/// Eight units at a time: nothing but the last sum waits for those before.
inline std::uint32_t HashByEight(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept
{
    for (; n >= 8; n -= 8, text += 8) h = h * kPowers[8] + kShift8 + Hash8(text);
    for (; n > 0; --n, ++text) h = h * kFactor + ToUint(*text);
    return h;
}

/// The sum of all lanes at the end costs as much as a block: that pays from two blocks on. Apart from the short way, which
/// calls nothing and so saves no register for its caller.
[[gnu::noinline]] std::uint32_t HashLong(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept
{
    if (HasAvx2()) {
        std::size_t const blocks = n / kHashBlock;
        h = HashBlocksAvx2(h, text, blocks);
        text += blocks * kHashBlock;
        n -= blocks * kHashBlock;
    }
    return HashByEight(h, text, n);
}

} // namespace

std::uint32_t Hash613(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept
{
    return n >= 2 * kHashBlock ? HashLong(h, text, n) : HashByEight(h, text, n);
}

} // namespace xc::text
