// UTF-8 to UTF-16.
//
// Runs of ASCII are widened many bytes a step. What follows a run goes by blocks where the processor allows it
// (Utf8Kernels.h), and what these leave, one character at a time: sequences of two and three bytes by one look at four
// bytes, all others by the table of well-formed sequences of the Unicode standard (chapter 3, table 3-7). That table
// refuses overlong forms, surrogates and codes above U+10FFFF, so each code has exactly one spelling. Bytes that are
// not all ASCII are counted before, so that a conversion allocates once.
//
// Invariant: at every return of DecodeUtf8 the bytes before `used` are whole, well-formed characters, and `out` holds
// exactly their units. The lenient form relies on it: it steps over one byte and goes on. No text has more units than
// bytes. Cost: one pass to write, one to count; a malformed byte costs one attempt.
#include "text/Utf8.h"

#include "text/Kernels.h"
#include "text/StringAccess.h"
#include "text/Utf8Blocks.h"
#include "text/Utf8Kernels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace xc::text {

namespace {

unsigned char ByteAt(std::string_view bytes, std::size_t i) noexcept
{
    return static_cast<unsigned char>(bytes[i]);
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

std::size_t CountUtf16Units(std::string_view bytes) noexcept
{
    // Every byte but the tails starts a character; those of four bytes need two units.
    std::size_t counted = 0;
    std::size_t i = CountDecodedBlocks(counted, bytes.data(), bytes.size());
    __m128i sums = _mm_setzero_si128();
    __m128i const lastTail = _mm_set1_epi8(static_cast<char>(0xBF));
    __m128i const lastLead3 = _mm_set1_epi8(static_cast<char>(0xEF));
    for (; bytes.size() - i >= kStep; i += kStep) {
        __m128i const block = Load(bytes.data() + i);
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
        // The block for ASCII goes first: both at once would be twice the memory that the text takes.
        fresh = XCString();
        fresh.Reserve(units + std::min(CountUtf16Units(rest), rest.size()) + 1);
        WidenAsciiRun(StringAccess::Units(fresh), bytes.data(), units);
        std::size_t more = 0;
        units += DecodeUtf8(StringAccess::Units(fresh) + units, fresh.Capacity() - units, rest, more);
        used += more;
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

} // namespace xc::text
