// UTF-8 both ways by vectors: sixteen bytes, or eight units, a step.
//
// Encoding puts all forms that a unit may take side by side into a lane, chooses the right one by comparison, and lets
// a byte shuffle close the gaps: which bytes stay follows from which lanes are short, so that one table of 256 shuffles
// serves a block. Decoding computes, for every byte, the unit of a character that would begin there, from the byte and
// the one or two after it; the shuffle then drops what lies at continuation bytes. Text of one script (all of two
// bytes) needs neither table and is told by its masks.
//
// Well-formedness is decided by masks of bits, one a byte: the leads, moved to where they want their continuation
// bytes, must give exactly the mask of those. Forms that are too long, and surrogates, show in the unit that comes out.
// Whatever a block does not prove is left to the reader of single characters, which alone knows how to name a fault.
//
// Invariant: no step reads past the n units or bytes. An encoder's step is taken only while as many units are left as
// it may write bytes more than it needs (each unit gives a byte at least); a decoder's while `room` allows two stores.
// The shuffles are those of published transcoders (Lemire and others); the tables are made by the compiler.
#include "text/Utf8Kernels.h"

#include "text/Cpu.h"
#include "text/Units.h"

#include <array>
#include <bit>
#include <cstdint>
#include <immintrin.h>

namespace xc::text {

namespace {

constexpr std::size_t kStep = 16; // units or bytes that a step of SSE2 handles
constexpr std::size_t kHalf = 8;
constexpr std::size_t kWide = 32; // units or bytes that a step of AVX2 handles
constexpr std::size_t kWorth = 64;

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
/// A bit for each of eight units: set, it stays.
alignas(16) constexpr auto kUnits = MakeShuffles(2, [](unsigned int mask, unsigned int lane, unsigned int) {
    return (mask >> lane & 1) != 0;
});

inline __m128i Load(void const* from) noexcept
{
    return _mm_loadu_si128(static_cast<__m128i const*>(from));
}
inline void Store(void* to, __m128i block) noexcept
{
    _mm_storeu_si128(static_cast<__m128i*>(to), block);
}
inline __m128i Units8(unsigned int value) noexcept
{
    return _mm_set1_epi16(static_cast<short>(value));
}
inline __m128i Bytes16(unsigned int value) noexcept
{
    return _mm_set1_epi8(static_cast<char>(value));
}
inline unsigned int MaskOfBytes(__m128i bytes) noexcept
{
    return static_cast<unsigned int>(_mm_movemask_epi8(bytes));
}

// ASCII ---------------------------------------------------------------------------------------------------------

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

std::size_t NarrowAsciiRun(char* out, wchar_t const* units, std::size_t n) noexcept
{
    std::size_t i = n >= kWorth && HasAvx2() ? NarrowAsciiAvx2(out, units, n) : 0;
    __m128i const high = Units8(0xFF80);
    for (; n - i >= kStep; i += kStep) {
        __m128i const a = Load(units + i);
        __m128i const b = Load(units + i + kHalf);
        __m128i const rest = _mm_and_si128(_mm_or_si128(a, b), high);
        if (MaskOfBytes(_mm_cmpeq_epi8(rest, _mm_setzero_si128())) != 0xFFFF) break;
        Store(out + i, _mm_packus_epi16(a, b));
    }
    // The rest of the run by single units: the caller must meet the first unit that is none of ASCII.
    for (; i < n && ToUint(units[i]) < 0x80; ++i) out[i] = static_cast<char>(units[i]);
    return i;
}

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

// Encoding ------------------------------------------------------------------------------------------------------

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

// Decoding ------------------------------------------------------------------------------------------------------

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
