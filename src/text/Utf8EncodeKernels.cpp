// Steps of the encoder to UTF-8 by vectors, eight units each; sixteen or more of ASCII.
//
// All forms that a unit may take stand next to each other in its lane. A comparison chooses the right one, and a byte
// shuffle closes the gaps: which bytes stay follows from which lanes are short. Text of one script, all of two bytes a
// unit, needs no shuffle and is told by its mask. Blocks with surrogates are left to the encoder of single characters,
// since a pair may reach over the end of a block. Counting needs no forms: three bytes a unit, less one for each of two
// bounds that the unit is below.
//
// Invariant: no step reads past the n units. A step is taken only while as many units are left as it may write bytes
// more than it needs; each unit gives a byte at least, so the store stays in the room of the n units. Cost: some 20
// instructions a block. The shuffles are those of published transcoders (Lemire and others).
#include "text/Utf8Kernels.h"

#include "text/Cpu.h"
#include "text/Units.h"
#include "text/Utf8Blocks.h"
#include "text/Utf8Shuffles.h"

#include <algorithm>
#include <bit>
#include <immintrin.h>

namespace xc::text {

namespace {

/// A bit for each of eight lanes of two bytes: set, it keeps its first byte alone.
alignas(16) constexpr auto kOfTwo = MakeShuffles(2, [](unsigned int mask, unsigned int lane, unsigned int byte) {
    return byte == 0 || (mask >> lane & 1) == 0;
});
/// Four lanes of four bytes: a low bit keeps one of them, a high bit two, none three.
alignas(16) constexpr auto kOfThree = MakeShuffles(4, [](unsigned int mask, unsigned int lane, unsigned int byte) {
    bool const second = (mask >> lane & 1) == 0;
    bool const third = (mask >> (lane + 4) & 1) == 0;
    return byte == 0 || (byte == 1 && second) || (byte == 2 && second && third);
});

XC_TARGET_AVX2 std::size_t NarrowAsciiAvx2(char* out, wchar_t const* units, std::size_t n) noexcept
{
    std::size_t i = 0;
    __m256i const high = _mm256_set1_epi16(static_cast<short>(0xFF80));
    for (; n - i >= kWide; i += kWide) {
        __m256i const a = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(units + i));
        __m256i const b = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(units + i + kWide / 2));
        if (_mm256_testz_si256(_mm256_or_si256(a, b), high) == 0) break;
        // Packing works on halves of a vector: their order is put right.
        __m256i const packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), _MM_SHUFFLE(3, 1, 2, 0));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
    }
    return i;
}

} // namespace

namespace {

/// Whether every unit of the block is one of ASCII.
bool IsAscii(__m128i block) noexcept
{
    return MaskOfBytes(_mm_cmpeq_epi8(_mm_and_si128(block, Units8(0xFF80)), _mm_setzero_si128())) == 0xFFFF;
}

/// Steps of eight units, the last one over units already written; stops before the first step that is not all ASCII.
std::size_t NarrowAsciiRest(char* out, wchar_t const* units, std::size_t i, std::size_t n) noexcept
{
    while (i < n && n >= kHalf) {
        std::size_t const at = std::min(i, n - kHalf);
        __m128i const block = Load(units + at);
        if (!IsAscii(block)) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + at), _mm_packus_epi16(block, block));
        i = at + kHalf;
    }
    return i;
}

} // namespace

std::size_t NarrowAsciiRun(char* out, wchar_t const* units, std::size_t n) noexcept
{
    std::size_t i = n >= kWorth && HasAvx2() ? NarrowAsciiAvx2(out, units, n) : 0;
    for (; n - i >= kStep; i += kStep) {
        __m128i const a = Load(units + i);
        __m128i const b = Load(units + i + kHalf);
        if (!IsAscii(_mm_or_si128(a, b))) break;
        Store(out + i, _mm_packus_epi16(a, b));
    }
    i = NarrowAsciiRest(out, units, i, n);
    // The rest of the run by single units: the caller must meet the first unit that is none of ASCII.
    for (; i < n && ToUint(units[i]) < 0x80; ++i) out[i] = static_cast<char>(units[i]);
    return i;
}

namespace {

/// Units that must be left for a step: it may write 28 bytes where 16 are needed, and each unit after the eight of the
/// step gives one more.
constexpr std::size_t kEncodeMargin = 20;

/// Eight units below 0800; returns how many bytes they are.
XC_TARGET_AVX2 inline std::size_t PutBelow800(char* out, __m128i block) noexcept
{
    // Lead and continuation byte, in the order of memory.
    __m128i const two = _mm_or_si128(_mm_or_si128(_mm_srli_epi16(block, 6), Units8(0x80C0)),
                                     _mm_slli_epi16(_mm_and_si128(block, Units8(0x3F)), 8));
    __m128i const isOne = _mm_cmpgt_epi16(Units8(0x80), block);
    unsigned int const ones = MaskOfBytes(_mm_packs_epi16(isOne, _mm_setzero_si128()));
    // Most blocks of a script that has no blank among eight letters need no shuffle.
    if (ones == 0) {
        Store(out, two);
        return kStep;
    }
    Store(out, _mm_shuffle_epi8(_mm_blendv_epi8(two, block, isOne), Load(kOfTwo[ones].data())));
    return kStep - static_cast<std::size_t>(std::popcount(ones));
}

/// Four units in lanes of four bytes; returns how many bytes they are.
XC_TARGET_AVX2 inline std::size_t PutFour(char* out, __m128i units) noexcept
{
    __m128i const tail = _mm_and_si128(units, _mm_set1_epi32(0x3F));
    __m128i const two =
        _mm_or_si128(_mm_or_si128(_mm_srli_epi32(units, 6), _mm_set1_epi32(0x80C0)), _mm_slli_epi32(tail, 8));
    __m128i const middle = _mm_slli_epi32(_mm_and_si128(units, _mm_set1_epi32(0xFC0)), 2);
    __m128i const three = _mm_or_si128(_mm_or_si128(_mm_srli_epi32(units, 12), _mm_set1_epi32(0x8080E0)),
                                       _mm_or_si128(middle, _mm_slli_epi32(tail, 16)));
    __m128i const isOne = _mm_cmpgt_epi32(_mm_set1_epi32(0x80), units);
    __m128i const isShort = _mm_cmpgt_epi32(_mm_set1_epi32(0x800), units);
    __m128i const all = _mm_blendv_epi8(_mm_blendv_epi8(three, two, isShort), units, isOne);
    auto const mask = static_cast<unsigned int>(_mm_movemask_ps(_mm_castsi128_ps(isOne)) |
                                                _mm_movemask_ps(_mm_castsi128_ps(isShort)) << 4);
    Store(out, _mm_shuffle_epi8(all, Load(kOfThree[mask].data())));
    // A unit of one byte has both of its bits set.
    return 12 - static_cast<std::size_t>(std::popcount(mask));
}

XC_TARGET_AVX2 std::size_t EncodeBlocksAvx2(char*& out, wchar_t const* units, std::size_t n) noexcept
{
    char* to = out;
    std::size_t i = 0;
    __m128i const top = Units8(0xF800);
    for (; n - i >= kEncodeMargin; i += kHalf) {
        __m128i const block = Load(units + i);
        __m128i const plane = _mm_and_si128(block, top);
        if (_mm_testz_si128(block, Units8(0xFF80)) != 0) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(block, block));
            to += kHalf;
        } else if (_mm_testz_si128(block, top) != 0) {
            to += PutBelow800(to, block);
        } else if (MaskOfBytes(_mm_cmpeq_epi16(plane, Units8(0xD800))) == 0) {
            to += PutFour(to, _mm_cvtepu16_epi32(block));
            to += PutFour(to, _mm_cvtepu16_epi32(_mm_srli_si128(block, 8)));
        } else {
            break;
        }
    }
    out = to;
    return i;
}

XC_TARGET_AVX2 std::size_t CountEncodedAvx2(std::size_t& bytes, wchar_t const* units, std::size_t n) noexcept
{
    // Three bytes a unit, but one less where 07FF is enough and again where 007F is. Each lane counts what is saved, 64
    // steps at most before the lanes are added up, so that none of them runs over.
    std::size_t i = 0;
    std::size_t saved = 0;
    __m256i const zero = _mm256_setzero_si256();
    for (bool ends = false; !ends && n - i >= kStep;) {
        __m256i lanes = zero;
        for (int step = 0; step < 64 && n - i >= kStep; ++step, i += kStep) {
            __m256i const block = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(units + i));
            __m256i const top = _mm256_and_si256(block, _mm256_set1_epi16(static_cast<short>(0xF800)));
            ends = _mm256_movemask_epi8(_mm256_cmpeq_epi16(top, _mm256_set1_epi16(static_cast<short>(0xD800)))) != 0;
            if (ends) break;
            __m256i const high = _mm256_and_si256(block, _mm256_set1_epi16(static_cast<short>(0xFF80)));
            lanes = _mm256_sub_epi16(lanes,
                                     _mm256_add_epi16(_mm256_cmpeq_epi16(top, zero), _mm256_cmpeq_epi16(high, zero)));
        }
        __m256i const pairs = _mm256_madd_epi16(lanes, _mm256_set1_epi16(1));
        __m128i sums = _mm_add_epi32(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1));
        sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2)));
        sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(2, 3, 0, 1)));
        saved += static_cast<std::size_t>(_mm_cvtsi128_si32(sums));
    }
    bytes += 3 * i - saved;
    return i;
}

} // namespace

std::size_t EncodeBlocks(char*& out, wchar_t const* units, std::size_t n) noexcept
{
    return n >= kEncodeMargin && HasAvx2() ? EncodeBlocksAvx2(out, units, n) : 0;
}

std::size_t CountEncodedBlocks(std::size_t& bytes, wchar_t const* units, std::size_t n) noexcept
{
    return n >= kWorth && HasAvx2() ? CountEncodedAvx2(bytes, units, n) : 0;
}

} // namespace xc::text
