// Bytes that are units of their own: the 256 codes of Latin-1, which are the first of Unicode.
//
// Nothing can be malformed on the way in, so that widening is a plain loop of vectors. On the way out units above 00FF
// have no byte: a step of sixteen units is taken only when none of them has a high byte, and the single steps after it
// find the place of the first that has one. Cost: one pass, no allocation. Invariant: no step reads or writes past what
// the caller gave.
#include "text/Utf8.h"

#include "text/Units.h"
#include "text/Utf8Blocks.h"

namespace xc::text {

/// Each byte is the unit of its value, as in Latin-1: nothing can be malformed.
void WidenBytes(wchar_t* out, std::string_view bytes) noexcept
{
    std::size_t i = 0;
    __m128i const zero = _mm_setzero_si128();
    for (; bytes.size() - i >= kStep; i += kStep) {
        __m128i const block = Load(bytes.data() + i);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(block, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + kHalf), _mm_unpackhi_epi8(block, zero));
    }
    for (; i < bytes.size(); ++i) out[i] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]));
}

/// Stops at the first unit that has no byte, whose place the caller tells.
std::size_t NarrowUnits(char* out, std::wstring_view text) noexcept
{
    std::size_t i = 0;
    __m128i const high = _mm_set1_epi16(static_cast<short>(0xFF00));
    for (; text.size() - i >= kStep; i += kStep) {
        __m128i const a = Load(text.data() + i);
        __m128i const b = Load(text.data() + i + kHalf);
        __m128i const rest = _mm_and_si128(_mm_or_si128(a, b), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(rest, _mm_setzero_si128())) != 0xFFFF) break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(a, b));
    }
    for (; i < text.size() && ToUint(text[i]) <= 0xFF; ++i) out[i] = static_cast<char>(text[i]);
    return i;
}

} // namespace xc::text
