// UTF-16 to UTF-8.
//
// Most text is ASCII: runs of it are packed, many units a step. What follows a run goes by blocks where the processor
// allows it (Utf8Kernels.h), and what these leave, one character at a time. A string may hold half a pair: the strict
// forms stop there and tell its place, the lenient ones write U+FFFD for it and go on, so that each lenient form is a
// loop around its strict one. Text that is not all ASCII is counted before it is appended, so that it grows its string
// once.
//
// Invariant: at every return of EncodeUtf8 `out` holds exactly the bytes of the `used` units, which end at a whole
// character. CountUtf8Bytes counts what the lenient form writes; the strict one never writes more. Cost: one pass to
// write, one to count.
#include "text/Utf8.h"

#include "text/Units.h"
#include "text/Utf8Blocks.h"
#include "text/Utf8Kernels.h"

#include <algorithm>
#include <cstdint>

namespace xc::text {

namespace {

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

} // namespace

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
        if (i == n) break;
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

} // namespace

std::size_t CountUtf8Bytes(std::wstring_view text) noexcept
{
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < text.size();) {
        i += CountEncodedBlocks(bytes, text.data() + i, text.size() - i);
        // Three bytes a unit, but one less where 07FF is enough and again where 007F is.
        __m128i saved = _mm_setzero_si128();
        std::size_t const begin = i;
        std::size_t const stop = std::min(text.size(), begin + kHalf * 0x3FFF); // the lanes hold that many
        for (; stop - i >= kHalf; i += kHalf) {
            __m128i const block = Load(text.data() + i);
            if (HasSurrogate(block)) break;
            saved = _mm_sub_epi16(saved, _mm_add_epi16(AtMost(block, 0x7F), AtMost(block, 0x7FF)));
        }
        bytes += (i - begin) * 3 - SumLanes(saved);
        // A block with surrogates, or the rest. A pair may reach over the end of the block: `i` then stands after it.
        for (std::size_t const end = std::min(text.size(), i + kHalf); i < end;) {
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
        while (text.size() - i >= kHalf && !HasSurrogate(Load(text.data() + i))) i += kHalf;
        for (std::size_t const end = std::min(text.size(), i + kHalf); i < end;) {
            std::size_t const at = i;
            if ((ToUint(text[i]) & 0xF800) != 0xD800)
                ++i;
            else if (TakeSurrogates(text, i) < 0x10000)
                return at;
        }
    }
    return text.size();
}

} // namespace xc::text
