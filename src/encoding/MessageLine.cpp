// Scanning the lines of message files.
//
// A file of 100,000 texts is to open in some milliseconds, so each byte is looked at once before anything is decided:
// sixteen bytes a step are compared with the line feed, and the same step notes whether the line holds bytes beyond ASCII,
// backslashes, percent signs or control characters. Most lines have none of them and need no second look: no validation,
// no search for escapes, no comparison of conversions. The bits of the block that holds the line feed count only up to it.
//
// An escape is always shorter in units than in its spelling, so that a text is unescaped where it stands.
#include "encoding/MessageLine.h"

#include "text/Units.h"

#include <bit>
#include <emmintrin.h>
#include <type_traits>

namespace xc::encoding {

namespace {

constexpr std::size_t kBlock = 16;

std::uint8_t TraitsOf(char byte) noexcept
{
    auto const code = static_cast<unsigned char>(byte);
    if (code >= 0x80) return kTextHigh;
    if (byte == '\\') return kTextEscaped;
    if (byte == '%') return kTextPercent;
    return code < 0x20 && byte != '\t' && byte != '\r' ? kTextControl : 0;
}

unsigned int BitsOf(__m128i mask) noexcept
{
    return static_cast<unsigned int>(_mm_movemask_epi8(mask));
}

__m128i Equal(__m128i block, char byte) noexcept
{
    return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte));
}

/// Nearly all blocks of most files hold letters, blanks and digits alone: whether one does is one question.
class Block {
public:
    explicit Block(char const* at) noexcept
        : m_bytes(_mm_loadu_si128(reinterpret_cast<__m128i const*>(at))), m_escapes(Equal(m_bytes, '\\')),
          m_percents(Equal(m_bytes, '%')),
          // Unsigned, a control character is its own minimum with 0x1F.
          m_controls(_mm_cmpeq_epi8(_mm_min_epu8(m_bytes, _mm_set1_epi8(0x1F)), m_bytes))
    {
    }
    [[nodiscard]] unsigned int LineFeeds() const noexcept { return BitsOf(Equal(m_bytes, '\n')); }
    /// Of the bytes whose bits are set.
    [[nodiscard]] std::uint8_t Traits(unsigned int within) const noexcept
    {
        // A byte beyond ASCII has its highest bit, which is the one that is asked for.
        __m128i const any = _mm_or_si128(_mm_or_si128(m_bytes, m_escapes), _mm_or_si128(m_percents, m_controls));
        if ((BitsOf(any) & within) == 0) return 0;
        auto const trait = [within](__m128i mask, TextTraits value) {
            return (BitsOf(mask) & within) != 0 ? static_cast<unsigned int>(value) : 0u;
        };
        __m128i const layout = _mm_or_si128(Equal(m_bytes, '\t'), Equal(m_bytes, '\r'));
        return static_cast<std::uint8_t>(trait(m_bytes, kTextHigh) | trait(m_escapes, kTextEscaped) |
                                         trait(m_percents, kTextPercent) |
                                         trait(_mm_andnot_si128(layout, m_controls), kTextControl));
    }

private:
    __m128i m_bytes, m_escapes, m_percents, m_controls;
};

} // namespace

ScannedLine ScanLine(std::string_view bytes, std::size_t begin) noexcept
{
    std::size_t at = begin;
    std::uint8_t traits = 0;
    for (; bytes.size() - at >= kBlock; at += kBlock) {
        Block const block(bytes.data() + at);
        unsigned int const feed = block.LineFeeds();
        // The lowest bit less one masks all bytes before the line feed; those after it belong to the next line.
        traits |= block.Traits(feed == 0 ? 0xFFFF : (feed & (0u - feed)) - 1);
        if (feed == 0) continue;
        at += static_cast<std::size_t>(std::countr_zero(feed));
        break;
    }
    for (; at < bytes.size() && bytes[at] != '\n'; ++at) traits |= TraitsOf(bytes[at]);
    std::size_t const next = at < bytes.size() ? at + 1 : at;
    return {at > begin && bytes[at - 1] == '\r' ? at - 1 : at, next, traits};
}

bool IsContinued(std::string_view line) noexcept
{
    // An even number of them is so many escaped backslashes, and the line ends there.
    std::size_t backslashes = 0;
    while (backslashes < line.size() && line[line.size() - 1 - backslashes] == '\\') ++backslashes;
    return backslashes % 2 == 1;
}

namespace {

constexpr std::size_t kHexDigits = 4;

/// -1 when the unit is none.
template <class Unit>
constexpr int HexValue(Unit unit) noexcept
{
    auto const value = static_cast<int>(static_cast<std::make_unsigned_t<Unit>>(unit));
    if (value >= '0' && value <= '9') return value - '0';
    if (value >= 'a' && value <= 'f') return value - 'a' + 10;
    return value >= 'A' && value <= 'F' ? value - 'A' + 10 : -1;
}

/// The unit of the four digits at a position; -1 when they are none.
template <class Unit>
constexpr int HexUnit(Unit const* digits, std::size_t count) noexcept
{
    if (count < kHexDigits) return -1;
    int unit = 0;
    for (std::size_t i = 0; i < kHexDigits; ++i) {
        int const value = HexValue(digits[i]);
        if (value < 0) return -1;
        unit = unit * 16 + value;
    }
    return unit;
}

/// The unit of the escape \uXXXX at a position; -1 when there is none.
int EscapedUnit(std::string_view text, std::size_t at) noexcept
{
    if (text.size() - at < 2 || text[at] != '\\' || text[at + 1] != 'u') return -1;
    return HexUnit(text.data() + at + 2, text.size() - at - 2);
}

/// The length of the escape at a position, or 0 and a reason.
std::size_t EscapeLength(std::string_view text, std::size_t at, wchar_t const*& reason) noexcept
{
    char const letter = at + 1 < text.size() ? text[at + 1] : '\0';
    if (letter == 'n' || letter == 't' || letter == '\\' || letter == '\n') return 2;
    if (letter == '\r' && at + 2 < text.size() && text[at + 2] == '\n') return 3; // the text goes on in the next line
    reason = L"an escape is \\n, \\t, \\\\ or \\u with four hexadecimal digits";
    if (letter != 'u') return 0;
    int const unit = EscapedUnit(text, at);
    if (unit < 0) return 0;
    reason = L"\\u0000 would end the text";
    if (unit == 0) return 0;
    constexpr std::size_t kLength = 2 + kHexDigits;
    reason = L"one half of a pair without the other";
    // The halves of a pair must come together: the text is handed out as UTF-16 that every reader may rely on.
    if (text::IsLowSurrogate(static_cast<wchar_t>(unit))) return 0;
    if (!text::IsHighSurrogate(static_cast<wchar_t>(unit))) return kLength;
    int const second = at + kLength < text.size() ? EscapedUnit(text, at + kLength) : -1;
    return second >= 0 && text::IsLowSurrogate(static_cast<wchar_t>(second)) ? 2 * kLength : 0;
}

} // namespace

EscapeFault FindEscapeFault(std::string_view text) noexcept
{
    for (std::size_t at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at)) {
        wchar_t const* reason = nullptr;
        std::size_t const length = EscapeLength(text, at, reason);
        if (length == 0) return {at, reason};
        at += length;
    }
    return {};
}

std::size_t Unescape(wchar_t* units, std::size_t length) noexcept
{
    wchar_t* to = units;
    for (std::size_t at = 0; at < length; ++at) {
        // A backslash at the very end stands for itself: the reader has named it before, and here nothing may fail.
        if (units[at] != L'\\' || at + 1 == length) {
            *to++ = units[at];
            continue;
        }
        switch (units[++at]) {
        case L'n': *to++ = L'\n'; break;
        case L't': *to++ = L'\t'; break;
        case L'u':
            // The digits were checked when the file was read (FindEscapeFault).
            *to++ = static_cast<wchar_t>(HexUnit(units + at + 1, length - at - 1));
            at += kHexDigits;
            break;
        case L'\r': ++at; [[fallthrough]];
        case L'\n': // what the next line begins with is the layout of the file
            while (at + 1 < length && text::IsBlank(units[at + 1])) ++at;
            break;
        default: *to++ = units[at]; break;
        }
    }
    return static_cast<std::size_t>(to - units);
}

} // namespace xc::encoding
