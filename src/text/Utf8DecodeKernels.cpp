// Steps of the decoder from UTF-8 by vectors, sixteen bytes each.
//
// For every byte the unit of a character that would begin there is computed, from the byte and the one or two after
// it; a shuffle then drops what lies at continuation bytes. Text of one script, all of two bytes a character, needs no
// table and is told by its masks.
//
// Well-formedness is decided by masks of bits, one a byte: the leads, moved to where they want their continuation
// bytes, must give exactly the mask of those. Forms that are too long, and surrogates, show in the unit that comes out.
// Whatever a block does not prove is left to the reader of single characters, which alone knows how to name a fault.
//
// Invariant: no step reads past the n bytes, and one is taken only while `room` allows two stores. Every step ends at
// the end of a character. The shuffles are those of published transcoders (Lemire and others).
#include "text/Utf8Kernels.h"

#include "text/Cpu.h"
#include "text/Utf8Blocks.h"
#include "text/Utf8Shuffles.h"

#include <bit>
#include <immintrin.h>

namespace xc::text {

namespace {

/// A bit for each of eight units: set, it stays.
alignas(16) constexpr auto kUnits = MakeShuffles(2, [](unsigned int mask, unsigned int lane, unsigned int) {
    return (mask >> lane & 1) != 0;
});

XC_TARGET_AVX2 std::size_t WidenAsciiAvx2(wchar_t* out, char const* bytes, std::size_t n) noexcept
{
    std::size_t i = 0;
    for (; n - i >= kWide; i += kWide) {
        __m128i const a = Load(bytes + i);
        __m128i const b = Load(bytes + i + kWide / 2);
        if (MaskOfBytes(_mm_or_si128(a, b)) != 0) break;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_cvtepu8_epi16(a));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i + kWide / 2), _mm256_cvtepu8_epi16(b));
    }
    return i;
}

} // namespace

std::size_t WidenAsciiRun(wchar_t* out, char const* bytes, std::size_t n) noexcept
{
    std::size_t i = n >= kWorth && HasAvx2() ? WidenAsciiAvx2(out, bytes, n) : 0;
    __m128i const zero = _mm_setzero_si128();
    for (; n - i >= kStep; i += kStep) {
        __m128i const block = Load(bytes + i);
        if (MaskOfBytes(block) != 0) break;
        Store(out + i, _mm_unpacklo_epi8(block, zero));
        Store(out + i + kHalf, _mm_unpackhi_epi8(block, zero));
    }
    for (; i < n && static_cast<unsigned char>(bytes[i]) < 0x80; ++i) out[i] = static_cast<wchar_t>(bytes[i]);
    return i;
}

namespace {

/// Bytes that must be left for a step: its sixteen and the two in which its last character may end.
constexpr std::size_t kDecodeMargin = 18;

/// One bit for each of sixteen bytes. Those of ASCII are in none of the masks.
struct ByteKinds {
    unsigned int tails;  ///< continuation bytes
    unsigned int leads;  ///< all others
    unsigned int threes; ///< leads of three bytes
};

XC_TARGET_AVX2 inline __m128i Tails(__m128i bytes) noexcept
{
    return _mm_cmpgt_epi8(Bytes16(0xC0), bytes); // as signed numbers 80 to BF are the lowest
}

inline unsigned int IsTailByte(char byte) noexcept
{
    return static_cast<signed char>(byte) < -0x40 ? 1 : 0;
}

/// False when the block holds a lead of four bytes, or one that begins nothing.
XC_TARGET_AVX2 inline bool TellKinds(ByteKinds& kinds, __m128i bytes, unsigned int beyond) noexcept
{
    kinds.tails = MaskOfBytes(Tails(bytes));
    kinds.leads = beyond & ~kinds.tails;
    // As signed numbers ASCII is above all leads: `beyond` takes it out.
    kinds.threes = MaskOfBytes(_mm_cmpgt_epi8(bytes, Bytes16(0xDF))) & beyond;
    __m128i const longer = _mm_cmpgt_epi8(bytes, Bytes16(0xEF));
    __m128i const overlong = _mm_cmpeq_epi8(_mm_and_si128(bytes, Bytes16(0xFE)), Bytes16(0xC0));
    return (MaskOfBytes(_mm_or_si128(longer, overlong)) & beyond) == 0;
}

/// For eight bytes, each in a lane, the unit of a character of one or two bytes that begins with it.
XC_TARGET_AVX2 inline __m128i UnitsOfTwo(__m128i first, __m128i second) noexcept
{
    __m128i const two =
        _mm_or_si128(_mm_slli_epi16(_mm_and_si128(first, Units8(0x1F)), 6), _mm_and_si128(second, Units8(0x3F)));
    return _mm_blendv_epi8(first, two, _mm_cmpgt_epi16(first, Units8(0x7F)));
}

/// The same with characters of three bytes put over it; -1 in the lanes of `wrong` whose character is none.
XC_TARGET_AVX2 inline __m128i UnitsOfThree(__m128i units, __m128i first, __m128i second, __m128i third,
                                           __m128i& wrong) noexcept
{
    __m128i const three =
        _mm_or_si128(_mm_slli_epi16(first, 12), _mm_or_si128(_mm_slli_epi16(_mm_and_si128(second, Units8(0x3F)), 6),
                                                             _mm_and_si128(third, Units8(0x3F))));
    __m128i const isThree = _mm_cmpgt_epi16(first, Units8(0xDF));
    // Overlong forms and encoded surrogates: one code, one spelling.
    __m128i const plane = _mm_and_si128(three, Units8(0xF800));
    __m128i const refused =
        _mm_or_si128(_mm_cmpeq_epi16(plane, _mm_setzero_si128()), _mm_cmpeq_epi16(plane, Units8(0xD800)));
    wrong = _mm_or_si128(wrong, _mm_and_si128(isThree, refused));
    return _mm_blendv_epi8(units, three, isThree);
}

XC_TARGET_AVX2 inline wchar_t* PutKept(wchar_t* out, __m128i units, unsigned int keep) noexcept
{
    Store(out, _mm_shuffle_epi8(units, Load(kUnits[keep].data())));
    return out + std::popcount(keep);
}

/// One block whose kinds are known; null, and nothing told, when a character of it is none.
XC_TARGET_AVX2 inline wchar_t* PutBlock(wchar_t* out, char const* bytes, __m128i first, ByteKinds const& kinds) noexcept
{
    __m128i const second = Load(bytes + 1);
    __m128i const zero = _mm_setzero_si128();
    __m128i const lowFirst = _mm_unpacklo_epi8(first, zero), highFirst = _mm_unpackhi_epi8(first, zero);
    __m128i const lowSecond = _mm_unpacklo_epi8(second, zero), highSecond = _mm_unpackhi_epi8(second, zero);
    __m128i low = UnitsOfTwo(lowFirst, lowSecond);
    __m128i high = UnitsOfTwo(highFirst, highSecond);
    if (kinds.threes != 0) {
        __m128i const third = Load(bytes + 2);
        __m128i wrong = zero;
        low = UnitsOfThree(low, lowFirst, lowSecond, _mm_unpacklo_epi8(third, zero), wrong);
        high = UnitsOfThree(high, highFirst, highSecond, _mm_unpackhi_epi8(third, zero), wrong);
        // At continuation bytes nothing begins, whatever they would give.
        if (_mm_testz_si128(wrong, wrong) == 0) return nullptr;
    }
    unsigned int const keep = ~kinds.tails;
    return PutKept(PutKept(out, low, keep & 0xFF), high, keep >> 8 & 0xFF);
}

XC_TARGET_AVX2 std::size_t DecodeBlocksAvx2(wchar_t*& out, std::size_t room, char const* bytes, std::size_t n) noexcept
{
    wchar_t* to = out;
    wchar_t const* const last = out + room - kStep; // where a step may still begin to write
    std::size_t i = 0;
    while (n - i >= kDecodeMargin && to <= last) {
        __m128i const block = Load(bytes + i);
        unsigned int const beyond = MaskOfBytes(block);
        if (beyond == 0) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_cvtepu8_epi16(block));
            to += kStep;
            i += kStep;
            continue;
        }
        ByteKinds kinds;
        if (!TellKinds(kinds, block, beyond)) break;
        // Where the leads want their continuation bytes: up to two bytes after the block. These two are looked at by
        // themselves, since the next step waits for where this one ends, and a way by the masks would take as long as
        // all the rest.
        unsigned int const wanted = kinds.leads << 1 | kinds.threes << 2;
        unsigned int const first = IsTailByte(bytes[i + kStep]);
        unsigned int const second = first & IsTailByte(bytes[i + kStep + 1]);
        if (wanted != (kinds.tails | first << kStep | second << (kStep + 1))) break;
        if (kinds.leads == 0x5555 && kinds.threes == 0) { // a lead and its byte in each lane
            Store(to, _mm_or_si128(_mm_slli_epi16(_mm_and_si128(block, Units8(0x1F)), 6),
                                   _mm_and_si128(_mm_srli_epi16(block, 8), Units8(0x3F))));
            to += kHalf;
        } else {
            wchar_t* const end = PutBlock(to, bytes + i, block, kinds);
            if (!end) break;
            to = end;
        }
        i += kStep + first + second;
    }
    out = to;
    return i;
}

XC_TARGET_AVX2 std::size_t CountDecodedAvx2(std::size_t& units, char const* bytes, std::size_t n) noexcept
{
    std::size_t i = 0;
    __m256i const zero = _mm256_setzero_si256();
    __m256i sums = zero;
    std::size_t ascii = 0;
    for (; n - i >= kWide; i += kWide) {
        __m256i const block = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(bytes + i));
        if (_mm256_movemask_epi8(block) == 0) {
            ascii += kWide;
            continue;
        }
        __m256i const starts = _mm256_cmpgt_epi8(block, _mm256_set1_epi8(static_cast<char>(0xBF)));
        __m256i const four = _mm256_and_si256(_mm256_cmpgt_epi8(block, _mm256_set1_epi8(static_cast<char>(0xEF))),
                                              _mm256_cmpgt_epi8(zero, block));
        // Comparisons give -1, so the negated sum is 0, 1 or 2 a byte.
        __m256i const counts = _mm256_sub_epi8(zero, _mm256_add_epi8(starts, four));
        sums = _mm256_add_epi64(sums, _mm256_sad_epu8(counts, zero));
    }
    __m128i const halves = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    units +=
        ascii + static_cast<std::size_t>(_mm_cvtsi128_si64(_mm_add_epi64(halves, _mm_unpackhi_epi64(halves, halves))));
    return i;
}

} // namespace

std::size_t DecodeBlocks(wchar_t*& out, std::size_t room, char const* bytes, std::size_t n) noexcept
{
    return n >= kDecodeMargin && room >= kStep && HasAvx2() ? DecodeBlocksAvx2(out, room, bytes, n) : 0;
}

std::size_t CountDecodedBlocks(std::size_t& units, char const* bytes, std::size_t n) noexcept
{
    return n >= kWorth && HasAvx2() ? CountDecodedAvx2(units, bytes, n) : 0;
}

} // namespace xc::text
