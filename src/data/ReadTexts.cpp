// Texts out of bytes that lie in one piece or in several. UTF-8 of several pieces is decoded through a small block: what
// remains of it, the front of a sequence that the block cut, is carried over to the next. A cut sequence has at most
// three bytes, so a longer remainder is malformed; so is any at the end.
//
// Records are full of short texts in ASCII: one load, one test and two stores widen up to 16 bytes, right into the
// target's block where nobody shares it. No more than 16 bytes need be at hand, since what follows the text is read along.
//
// Three ways, then, by size: short ASCII by one load, up to 256 bytes over the stack into the block that the target
// has already, everything else into a fresh block that replaces the target's. The first two matter most, since a
// record has a dozen such fields; the last one never leaves a half-read text behind.
#include <XelbrinCore/XCBinaryReader.h>

#include "encoding/TextErrors.h"
#include "text/StringAccess.h"
#include "text/Utf8.h"

#include <algorithm>
#include <emmintrin.h>
#include <string_view>

using xc::encoding::MalformedText;
using xc::text::StringAccess;

namespace {

constexpr std::size_t kShort = sizeof(__m128i); // bytes of a text that are widened in one step
constexpr std::size_t kOnStack = 256; // bytes of a text that is decoded on the stack and copied into the target's block
constexpr std::size_t kBlock = 4096;
constexpr std::size_t kLongestCut = 3;

std::string_view Chars(std::uint8_t const* bytes, std::size_t size) noexcept
{
    return {reinterpret_cast<char const*>(bytes), size};
}

void WidenShort(wchar_t* out, __m128i bytes) noexcept
{
    __m128i const zero = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + kShort / 2), _mm_unpackhi_epi8(bytes, zero));
}

/// Replaces the text by the first `size` of kShort bytes. False, and no change, when one of them is not ASCII.
bool AssignShort(XCString& text, std::uint8_t const* bytes, std::size_t size)
{
    __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
    if ((static_cast<unsigned int>(_mm_movemask_epi8(block)) & ((1u << size) - 1)) != 0) return false;
    // All 16 units are stored, whatever the size; only a block with room for them may be written in place.
    if (StringAccess::CanWrite(text, kShort)) {
        WidenShort(StringAccess::Units(text), block);
        StringAccess::SetLength(text, size);
    } else {
        wchar_t units[kShort];
        WidenShort(units, block);
        // A new block gets room for the next short text as well, which then takes the way above.
        text.Assign(units, size, size == 0 || StringAccess::CanWrite(text, size) ? 0 : kShort);
    }
    return true;
}

} // namespace

bool XCBinaryReader::ReadText(XCString& text, XCTextForm form, XCLengthForm length)
{
    std::size_t size = 0;
    std::size_t const most = std::min(m_limits.maxLength, XCString::kMaxLength - 1);
    if (!(length == XCLengthForm::Var ? ReadVar(size) : ReadLength(size, length))) return false;
    // Within the piece at hand and the limit nothing can be missing: the usual case costs two comparisons.
    if ((size > AtHand() || size > most) && !WantLength(size, most)) return false;
    if (form == XCTextForm::Utf8 && size <= kShort && AtHand() >= kShort && AssignShort(text, m_at, size)) {
        m_at += size;
        return true;
    }
    return form == XCTextForm::Utf8 ? ReadUtf8(text, size) : ReadUtf16(text, size);
}

bool XCBinaryReader::ReadUtf8(XCString& text, std::size_t size)
{
    if (size > AtHand()) return ReadUtf8Pieces(text, size);
    std::string_view const bytes = Chars(m_at, size);
    std::size_t wrong = 0;
    if (size <= kOnStack) {
        wchar_t units[kOnStack];
        std::size_t const count = xc::text::DecodeUtf8(units, bytes, wrong);
        if (wrong == size) text.Assign(units, count);
    } else if (xc::text::DecodeUtf8(text, bytes, &wrong)) {
        wrong = size;
    }
    m_at += wrong;
    return wrong == size || Fail(MalformedText(static_cast<std::size_t>(GetPosition())));
}

bool XCBinaryReader::ReadUtf8Pieces(XCString& text, std::size_t size)
{
    using namespace xc::text;
    std::uint64_t const start = GetPosition();
    std::size_t units = 0;
    // A first walk counts, so that the text is allocated once and in its size. Cut sequences are counted with the
    // piece that begins them.
    for (std::size_t left = size; left > 0; left -= std::min(left, AtHand()), Show(m_endPosition))
        units += CountUtf16Units(Chars(m_at, std::min(left, AtHand())));
    Show(start);

    XCString fresh;
    fresh.Reserve(std::min(units, size) + 1); // malformed bytes may count double
    std::uint8_t block[kBlock];
    std::size_t carried = 0, written = 0;
    for (std::size_t left = size; left > 0;) {
        std::size_t const count = std::min(left, kBlock - carried);
        CopyOut(block + carried, count);
        left -= count;
        std::size_t const held = carried + count;
        std::size_t used = 0;
        written +=
            DecodeUtf8(StringAccess::Units(fresh) + written, fresh.Capacity() - written, Chars(block, held), used);
        carried = held - used;
        if (carried > kLongestCut || (carried > 0 && left == 0)) {
            // The position of the fault is that of the sequence, not of the block's end.
            Show(GetPosition() - carried);
            return Fail(MalformedText(static_cast<std::size_t>(GetPosition())));
        }
        // At most kLongestCut bytes, so this never overlaps in a harmful way: the front is free.
        std::copy(block + used, block + held, block);
    }
    StringAccess::SetLength(fresh, written);
    text.Swap(fresh);
    return true;
}

bool XCBinaryReader::ReadUtf16(XCString& text, std::size_t size)
{
    if (size % 2 != 0) return Fail();
    std::size_t const count = size / 2;
    XCString fresh;
    fresh.Reserve(count + 1);
    wchar_t* const units = StringAccess::Units(fresh);
    CopyOut(units, size);
    if (m_order == XCByteOrder::Big)
        for (std::size_t i = 0; i < count; ++i)
            units[i] = static_cast<wchar_t>(xc::data::SwapBytes(static_cast<std::uint16_t>(units[i])));
    StringAccess::SetLength(fresh, count);
    text.Swap(fresh);
    return true;
}
