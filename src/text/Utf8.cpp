// UTF-8 to UTF-16 and back.
//
// Most text is ASCII: runs of it are packed or widened 16 at a time. What follows a run goes by blocks where the
// processor allows it (Utf8Kernels), and what these leave, one character at a time: sequences of two and three bytes by
// one look at four bytes, all others by the table of well-formed sequences of the Unicode standard (chapter 3, table
// 3-7). That table refuses overlong forms, surrogates and codes above U+10FFFF, so each code has exactly one spelling.
// Sizes are counted before where the text is none of ASCII, so that a conversion allocates once.
//
// Invariant: at every return of DecodeUtf8 the bytes before `used` are whole, well-formed characters, and `out` holds
// exactly their units. The lenient form relies on it: it steps over one byte and goes on. No kernel writes more units
// than there are bytes.
#include "text/Utf8.h"

#include "text/Kernels.h"
#include "text/StringAccess.h"
#include "text/Units.h"
#include "text/Utf8Kernels.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace xc::text {

namespace {

constexpr std::size_t kBlock = 16; // units or bytes a vector step handles

unsigned char ByteAt(std::string_view bytes, std::size_t i) noexcept
{
    return static_cast<unsigned char>(bytes[i]);
}

__m128i LoadBlock(void const* from) noexcept
{
    return _mm_loadu_si128(static_cast<__m128i const*>(from));
}

/// The shortest form of a code is its only legal one.
char* PutSequence(char* out, std::uint32_t code) noexcept
{
    auto const tail = [code](int shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x800) {
        *out++ = static_cast<char>(0xC0 | (code >> 6));
    } else {
        if (code < 0x10000) {
            *out++ = static_cast<char>(0xE0 | (code >> 12));
        } else {
            *out++ = static_cast<char>(0xF0 | (code >> 18));
            *out++ = tail(12);
        }
        *out++ = tail(6);
    }
    *out++ = tail(0);
    return out;
}

/// The code point of the pair at i, or U+FFFD for an unpaired surrogate; `i` moves past what was read.
// Strings may hold half pairs: file names of the system do. Encoding has no failure to report, so that they become the
// replacement character; who must know asks FindUnpairedSurrogate first.
std::uint32_t TakeSurrogates(std::wstring_view text, std::size_t& i) noexcept
{
    wchar_t const first = text[i++];
    if (!IsHighSurrogate(first) || i == text.size() || !IsLowSurrogate(text[i])) return 0xFFFD;
    return 0x10000 + ((ToUint(first) - 0xD800) << 10) + (ToUint(text[i++]) - 0xDC00);
}

bool IsTail(unsigned char byte) noexcept
{
    return (byte & 0xC0) == 0x80;
}

/// The length of the well-formed sequence of two to four bytes at i, and its code point; 0 when there is none.
inline std::size_t ReadSequence(std::string_view bytes, std::size_t i, std::uint32_t& code) noexcept
{
    auto const* const at = reinterpret_cast<unsigned char const*>(bytes.data()) + i;
    std::size_t const left = bytes.size() - i;
    // The bounds of the second byte that depend on the lead are asked of the code at the end: overlong forms and codes
    // past the last plane show in its value.
    std::uint32_t const lead = at[0];
    // C0 and C1 could only begin overlong forms, F5 and above codes past the last plane.
    if (lead < 0xC2 || lead > 0xF4 || left < 2 || !IsTail(at[1])) return 0;
    if (lead < 0xE0) {
        code = (lead & 0x1Fu) << 6 | (at[1] & 0x3Fu);
        return 2;
    }
    if (left < 3 || !IsTail(at[2])) return 0;
    if (lead < 0xF0) {
        code = (lead & 0x0Fu) << 12 | (at[1] & 0x3Fu) << 6 | (at[2] & 0x3Fu);
        // Overlong forms and encoded surrogates are refused: one code, one spelling.
        return code < 0x800 || (code & 0xF800) == 0xD800 ? 0 : 3;
    }
    if (left < 4 || !IsTail(at[3])) return 0;
    code = (lead & 0x07u) << 18 | (at[1] & 0x3Fu) << 12 | (at[2] & 0x3Fu) << 6 | (at[3] & 0x3Fu);
    return code < 0x10000 || code > 0x10FFFF ? 0 : 4;
}

/// The same for sequences of two and three bytes, the common ones, by one look at four bytes; 0 for any other.
inline std::size_t ReadShortSequence(char const* bytes, std::uint32_t& code) noexcept
{
    // One load and one masked comparison take the place of a chain of tests on single bytes. The masks read the bytes
    // in the order of a little-endian load; callers see to it that four bytes are there.
    std::uint32_t four = 0;
    std::memcpy(&four, bytes, sizeof four);
    // Lowest byte first: 1110xxxx, 10xxxxxx, 10xxxxxx.
    if ((four & 0xC0C0F0) == 0x8080E0) {
        code = (four & 0x0F) << 12 | (four >> 2 & 0xFC0) | (four >> 16 & 0x3F);
        return code < 0x800 || (code & 0xF800) == 0xD800 ? 0 : 3;
    }
    code = (four & 0x1F) << 6 | (four >> 8 & 0x3F);
    // A lead of 0xC0 or 0xC1 would give a code below 0x80: the bound refuses both.
    return (four & 0xC0E0) == 0x80C0 && code >= 0x80 ? 2 : 0;
}

wchar_t* PutCodePoint(wchar_t* out, std::uint32_t code) noexcept
{
    if (code < 0x10000) {
        *out++ = static_cast<wchar_t>(code);
    } else {
        *out++ = static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
        *out++ = static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
    return out;
}

} // namespace

/// Units that are read singly before blocks are tried again: a character that stopped them is over by then, and a text
/// that stops each block loses little by the tries.
constexpr std::size_t kSingly = 16;

/// Room is the caller's part: CountUtf8Bytes tells it, and three bytes for each unit are always enough.
std::size_t EncodeUtf8(char* out, std::wstring_view text, std::size_t& used) noexcept
{
    char* at = out;
    std::size_t i = 0;
    std::size_t const n = text.size();
    while (i < n) {
        std::size_t const run = NarrowAsciiRun(at, text.data() + i, n - i);
        at += run;
        i += run;
        i += EncodeBlocks(at, text.data() + i, n - i);
        std::size_t const stop = std::min(n, i + kSingly);
        // Stays here until ASCII comes back: texts of one script would otherwise try the vector loop for each
        // character.
        for (std::uint32_t unit = 0; i < stop && (unit = ToUint(text[i])) >= 0x80;) {
            if (unit < 0x800) {
                at[0] = static_cast<char>(0xC0 | unit >> 6);
                at[1] = static_cast<char>(0x80 | (unit & 0x3F));
                at += 2;
                ++i;
            } else if ((unit & 0xF800) != 0xD800) {
                at[0] = static_cast<char>(0xE0 | unit >> 12);
                at[1] = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
                at[2] = static_cast<char>(0x80 | (unit & 0x3F));
                at += 3;
                ++i;
            } else {
                std::size_t next = i;
                std::uint32_t const code = TakeSurrogates(text, next);
                if (code < 0x10000) { // half a pair
                    used = i;
                    return static_cast<std::size_t>(at - out);
                }
                at = PutSequence(at, code);
                i = next;
            }
        }
    }
    used = n;
    return static_cast<std::size_t>(at - out);
}

std::size_t EncodeUtf8(char* out, std::wstring_view text) noexcept
{
    std::size_t bytes = 0;
    for (std::size_t used = 0;; text.remove_prefix(used + 1)) {
        bytes += EncodeUtf8(out + bytes, text, used);
        if (used == text.size()) return bytes;
        bytes = static_cast<std::size_t>(PutSequence(out + bytes, 0xFFFD) - out);
    }
}

namespace {

/// Sums of eight lanes of small counts.
std::size_t SumLanes(__m128i lanes) noexcept
{
    __m128i sums = _mm_madd_epi16(lanes, _mm_set1_epi16(1));
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2)));
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<std::size_t>(_mm_cvtsi128_si32(sums));
}

/// -1 in each lane whose unit is at most `most`. (Saturated, such units become 0; there is no unsigned comparison.)
__m128i AtMost(__m128i block, short most) noexcept
{
    return _mm_cmpeq_epi16(_mm_subs_epu16(block, _mm_set1_epi16(most)), _mm_setzero_si128());
}

bool HasSurrogate(__m128i block) noexcept
{
    __m128i const top = _mm_and_si128(block, _mm_set1_epi16(static_cast<short>(0xF800)));
    return _mm_movemask_epi8(_mm_cmpeq_epi16(top, _mm_set1_epi16(static_cast<short>(0xD800)))) != 0;
}

constexpr std::size_t kUnitBlock = 8;

} // namespace

std::size_t CountUtf8Bytes(std::wstring_view text) noexcept
{
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < text.size();) {
        i += CountEncodedBlocks(bytes, text.data() + i, text.size() - i);
        // Three bytes a unit, but one less where 07FF is enough and again where 007F is.
        __m128i saved = _mm_setzero_si128();
        std::size_t const begin = i;
        std::size_t const stop = std::min(text.size(), begin + kUnitBlock * 0x3FFF); // the lanes hold that many
        for (; stop - i >= kUnitBlock; i += kUnitBlock) {
            __m128i const block = LoadBlock(text.data() + i);
            if (HasSurrogate(block)) break;
            saved = _mm_sub_epi16(saved, _mm_add_epi16(AtMost(block, 0x7F), AtMost(block, 0x7FF)));
        }
        bytes += (i - begin) * 3 - SumLanes(saved);
        // A block with surrogates, or the rest. A pair may reach over the end of the block: `i` then stands after it.
        for (std::size_t const end = std::min(text.size(), i + kUnitBlock); i < end;) {
            std::uint32_t const unit = ToUint(text[i]);
            if ((unit & 0xF800) == 0xD800) {
                bytes += TakeSurrogates(text, i) < 0x10000 ? 3u : 4u;
            } else {
                bytes += unit < 0x80 ? 1u : unit < 0x800 ? 2u : 3u;
                ++i;
            }
        }
    }
    return bytes;
}

namespace {

/// Units that are encoded on the stack before they are appended.
constexpr std::size_t kChunk = 1024;

/// The next units to encode at once: not half a pair that the text goes on with.
std::wstring_view ChunkOf(std::wstring_view text) noexcept
{
    bool const cutsPair = text.size() > kChunk && IsHighSurrogate(text[kChunk - 1]);
    return text.substr(0, cutsPair ? kChunk - 1 : kChunk);
}

/// All ASCII at the start, when that is all or at least much of the text. The text is widened with zeros first, which
/// costs less than a copy by way of the stack.
std::size_t AppendAsciiRun(std::string& out, std::wstring_view text)
{
    char bytes[kChunk];
    std::wstring_view const first = text.substr(0, kChunk);
    std::size_t const begun = NarrowAsciiRun(bytes, first.data(), first.size());
    if (begun < first.size() || begun == text.size()) {
        out.append(bytes, begun);
        return begun;
    }
    std::size_t const old = out.size();
    out.resize(old + text.size()); // right when all is ASCII
    std::size_t const run = NarrowAsciiRun(out.data() + old, text.data(), text.size());
    out.resize(old + run);
    return run;
}

} // namespace

std::size_t AppendUtf8Strictly(std::string& out, std::wstring_view text)
{
    // The usual text is ASCII and is converted while it is looked at; only others are counted first.
    std::size_t done = AppendAsciiRun(out, text);
    if (done == text.size()) return done;
    out.reserve(out.size() + CountUtf8Bytes(text.substr(done)));
    // By way of the stack: a string could only be made longer by zeros that are then written over.
    char bytes[MaxUtf8Bytes(kChunk)];
    while (done < text.size()) {
        std::wstring_view const chunk = ChunkOf(text.substr(done));
        std::size_t used = 0;
        out.append(bytes, EncodeUtf8(bytes, chunk, used));
        done += used;
        if (used < chunk.size()) break;
    }
    return done;
}

void AppendUtf8(std::string& out, std::wstring_view text)
{
    for (;;) {
        std::size_t const whole = AppendUtf8Strictly(out, text);
        if (whole == text.size()) return;
        out += "\xEF\xBF\xBD"; // half a pair
        text.remove_prefix(whole + 1);
    }
}

std::size_t FindUnpairedSurrogate(std::wstring_view text) noexcept
{
    for (std::size_t i = 0; i < text.size();) {
        while (text.size() - i >= kUnitBlock && !HasSurrogate(LoadBlock(text.data() + i))) i += kUnitBlock;
        for (std::size_t const end = std::min(text.size(), i + kUnitBlock); i < end;) {
            std::size_t const at = i;
            if ((ToUint(text[i]) & 0xF800) != 0xD800)
                ++i;
            else if (TakeSurrogates(text, i) < 0x10000)
                return at;
        }
    }
    return text.size();
}

std::size_t CountUtf16Units(std::string_view bytes) noexcept
{
    // Every byte but the tails starts a character; those of four bytes need two units.
    std::size_t counted = 0;
    std::size_t i = CountDecodedBlocks(counted, bytes.data(), bytes.size());
    __m128i sums = _mm_setzero_si128();
    __m128i const lastTail = _mm_set1_epi8(static_cast<char>(0xBF));
    __m128i const lastLead3 = _mm_set1_epi8(static_cast<char>(0xEF));
    for (; bytes.size() - i >= kBlock; i += kBlock) {
        __m128i const block = LoadBlock(bytes.data() + i);
        __m128i const starts = _mm_cmpgt_epi8(block, lastTail);
        __m128i const four =
            _mm_and_si128(_mm_cmpgt_epi8(block, lastLead3), _mm_cmplt_epi8(block, _mm_setzero_si128()));
        // Comparisons give -1, so the negated sum is 0, 1 or 2 a byte; as signed bytes, leads of four are F0 to FF,
        // below 0.
        __m128i const counts = _mm_sub_epi8(_mm_setzero_si128(), _mm_add_epi8(starts, four));
        sums = _mm_add_epi64(sums, _mm_sad_epu8(counts, _mm_setzero_si128()));
    }
    auto units =
        counted + static_cast<std::size_t>(_mm_cvtsi128_si64(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
    for (; i < bytes.size(); ++i) {
        unsigned char const byte = ByteAt(bytes, i);
        units += (IsTail(byte) ? 0u : 1u) + (byte >= 0xF0 ? 1u : 0u);
    }
    return units;
}

std::size_t DecodeUtf8(wchar_t* out, std::size_t room, std::string_view bytes, std::size_t& used) noexcept
{
    wchar_t* at = out;
    wchar_t const* const end = out + room;
    std::size_t i = 0;
    std::size_t const n = bytes.size();
    while (i < n) {
        std::size_t const run = WidenAsciiRun(at, bytes.data() + i, n - i);
        at += run;
        i += run;
        i += DecodeBlocks(at, static_cast<std::size_t>(end - at), bytes.data() + i, n - i);
        std::size_t const stop = std::min(n, i + kSingly);
        // Not 0, which would mean a bad byte: a run of ASCII up to the end is no fault.
        std::size_t length = 1;
        for (std::uint32_t code = 0; i < stop && ByteAt(bytes, i) >= 0x80; i += length) {
            length = n - i >= 4 ? ReadShortSequence(bytes.data() + i, code) : 0;
            if (length != 0) {
                *at++ = static_cast<wchar_t>(code);
                continue;
            }
            length = ReadSequence(bytes, i, code);
            if (length == 0) break;
            at = PutCodePoint(at, code);
        }
        if (length == 0) break;
    }
    used = i;
    return static_cast<std::size_t>(at - out);
}

std::size_t DecodeUtf8(wchar_t* out, std::string_view bytes, std::size_t& used) noexcept
{
    return DecodeUtf8(out, bytes.size(), bytes, used);
}

namespace {

/// Decodes the ASCII bytes at the start into a string that has room for as many units as there are bytes; returns how
/// many. Does nothing (0) where they do not begin like a text of ASCII, which is the only one that this serves.
std::size_t DecodeAscii(XCString& text, std::string_view bytes)
{
    constexpr std::size_t kLook = 256;
    std::string_view const start = bytes.substr(0, kLook);
    if (bytes.empty() || CountUtf16Units(start) != start.size()) return 0;
    text.Reserve(bytes.size() + 1);
    return WidenAsciiRun(StringAccess::Units(text), bytes.data(), bytes.size());
}

} // namespace

bool DecodeUtf8(XCString& result, std::string_view bytes, std::size_t* errorAt)
{
    XCString fresh;
    std::size_t units = DecodeAscii(fresh, bytes);
    std::size_t used = units;
    if (used != bytes.size()) {
        // The count is right for well-formed text and no less than needed for the well-formed start of any other, since
        // the decoder stops at the first bad byte. Malformed bytes may count double, and no text has more units than
        // bytes.
        std::string_view const rest = bytes.substr(used);
        XCString whole;
        whole.Reserve(units + std::min(CountUtf16Units(rest), rest.size()) + 1);
        CopyUnits(StringAccess::Units(whole), fresh.AsWChar(), units);
        std::size_t more = 0;
        units += DecodeUtf8(StringAccess::Units(whole) + units, whole.Capacity() - units, rest, more);
        used += more;
        fresh.Swap(whole);
    }
    if (used != bytes.size()) {
        if (errorAt) *errorAt = used;
        StringAccess::SetLength(fresh, 0);
        return false;
    }
    StringAccess::SetLength(fresh, units);
    result.Swap(fresh);
    return true;
}

std::size_t DecodeUtf8Leniently(wchar_t* out, std::string_view bytes) noexcept
{
    std::size_t units = 0;
    while (!bytes.empty()) {
        std::size_t used = 0;
        units += DecodeUtf8(out + units, bytes, used);
        // A byte that is no UTF-8 stands for the unit of its value, as in the one-byte encoding of western Europe.
        // Progress is one byte at least, so hostile bytes cost one attempt each.
        if (used < bytes.size()) out[units++] = static_cast<wchar_t>(ByteAt(bytes, used++));
        bytes.remove_prefix(used);
    }
    return units;
}

std::size_t DecodeUtf8Leniently(wchar_t* out, std::size_t room, std::string_view bytes) noexcept
{
    std::size_t units = 0;
    // Counts on when the room is used up: the caller pads by the full length.
    for (std::size_t i = 0; i < bytes.size();) {
        std::uint32_t code = 0;
        std::size_t length = ReadSequence(bytes, i, code);
        if (length == 0) {
            code = ByteAt(bytes, i);
            length = 1;
        }
        // Decoded aside: half a pair may fit while the other half does not.
        wchar_t pair[2];
        wchar_t const* const end = PutCodePoint(pair, code);
        for (wchar_t const* unit = pair; unit != end; ++unit, ++units)
            if (units < room) out[units] = *unit;
        i += length;
    }
    return units;
}

std::string_view WithoutBegunCharacter(std::string_view bytes) noexcept
{
    std::size_t tails = 0;
    while (tails < 3 && tails < bytes.size() && IsTail(ByteAt(bytes, bytes.size() - 1 - tails))) ++tails;
    if (tails == bytes.size()) return bytes;
    std::size_t const begin = bytes.size() - 1 - tails;
    // The begun character is one if some tails make it whole. The second byte has narrower bounds than the others.
    for (char const tail : {'\x80', '\xBF'}) {
        char whole[4] = {tail, tail, tail, tail};
        std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.end(), whole);
        std::uint32_t code = 0;
        if (ReadSequence({whole, 4}, 0, code) > tails + 1) return bytes.substr(0, begin);
    }
    return bytes;
}

/// Each byte is the unit of its value, as in Latin-1: nothing can be malformed.
void WidenBytes(wchar_t* out, std::string_view bytes) noexcept
{
    std::size_t i = 0;
    __m128i const zero = _mm_setzero_si128();
    for (; bytes.size() - i >= kBlock; i += kBlock) {
        __m128i const block = LoadBlock(bytes.data() + i);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(block, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + kBlock / 2), _mm_unpackhi_epi8(block, zero));
    }
    for (; i < bytes.size(); ++i) out[i] = static_cast<wchar_t>(ByteAt(bytes, i));
}

/// Stops at the first unit that has no byte, whose place the caller tells.
std::size_t NarrowUnits(char* out, std::wstring_view text) noexcept
{
    std::size_t i = 0;
    __m128i const high = _mm_set1_epi16(static_cast<short>(0xFF00));
    for (; text.size() - i >= kBlock; i += kBlock) {
        __m128i const a = LoadBlock(text.data() + i);
        __m128i const b = LoadBlock(text.data() + i + kBlock / 2);
        __m128i const rest = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(rest, _mm_setzero_si128())) != 0xFFFF) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(a, b));
    }
    for (; i < text.size() && ToUint(text[i]) <= 0xFF; ++i) out[i] = static_cast<char>(text[i]);
    return i;
}

} // namespace xc::text
