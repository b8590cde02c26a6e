// Case mapping by tables of the whole basic plane.
//
// The system maps case through a function call a text and by rules that depend on the locale given; 65,536 units read
// once in the invariant way give one look-up a unit, the same on every thread. The tables are made at first use and never
// freed: texts are mapped until the last instruction of the process. ASCII, nearly all of what is mapped, is folded in
// vector steps without the table.
#include "text/CaseTables.h"

#include "text/Units.h"
#include "win32/CaseTable.h"

#include <emmintrin.h>

namespace xc::text {

namespace {

struct Table {
    explicit Table(void (*read)(wchar_t (&)[0x10000])) { read(units); }
    wchar_t units[0x10000];
};

} // namespace

wchar_t const* UpperCaseTable()
{
    // The language makes one thread fill it while the others wait; afterwards a call costs one test.
    static Table const* const table = new Table(win32::ReadUpperCase);
    return table->units;
}

wchar_t const* LowerCaseTable()
{
    static Table const* const table = new Table(win32::ReadLowerCase);
    return table->units;
}

wchar_t const* BaseLetterTable()
{
    static Table const* const table = new Table(win32::ReadBaseLetters);
    return table->units;
}

namespace {

constexpr std::size_t kCaseBlock = 8; // units a vector step maps

__m128i LoadUnits(wchar_t const* at) noexcept
{
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at));
}

__m128i SplatUnit(wchar_t unit) noexcept
{
    return _mm_set1_epi16(static_cast<short>(unit));
}

/// Maps ASCII in blocks, all else by the table. `first` is the first of the 26 letters that change.
void MapCase(wchar_t* out, wchar_t const* text, std::size_t n, wchar_t first, wchar_t const* table) noexcept
{
    __m128i const high = SplatUnit(static_cast<wchar_t>(0xFF80));
    __m128i const below = SplatUnit(static_cast<wchar_t>(first - 1));
    // The comparisons are strict, so that the borders lie one unit outside the letters.
    __m128i const above = SplatUnit(static_cast<wchar_t>(first + 26));
    // Upper and lower case of ASCII differ in this bit alone: one exchange serves both directions.
    __m128i const bit = SplatUnit(0x20);
    std::size_t i = 0;
    while (i < n) {
        for (; n - i >= kCaseBlock; i += kCaseBlock) {
            __m128i const block = LoadUnits(text + i);
            // One unit above ASCII sends its whole block to the table, and the next block is tried in steps again: a
            // text of mixed scripts costs a table look-up a unit, never more.
            if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(block, high), _mm_setzero_si128())) != 0xFFFF) break;
            // Signed comparison is right here: all units are below 0x80.
            __m128i const letter = _mm_and_si128(_mm_cmpgt_epi16(block, below), _mm_cmplt_epi16(block, above));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_xor_si128(block, _mm_and_si128(letter, bit)));
        }
        // A block that is not all ASCII, or the units that fill none.
        for (std::size_t const end = n - i < kCaseBlock ? n : i + kCaseBlock; i < end; ++i)
            out[i] = table[ToUint(text[i])];
    }
}

} // namespace

void MapUpper(wchar_t* out, wchar_t const* text, std::size_t n) noexcept
{
    MapCase(out, text, n, L'a', UpperCaseTable());
}

void MapLower(wchar_t* out, wchar_t const* text, std::size_t n) noexcept
{
    MapCase(out, text, n, L'A', LowerCaseTable());
}

} // namespace xc::text
