// Case and base letters of the basic plane, read from the system in its invariant form.
//
// The system maps one unit to one unit here, as the names of its files do, so that names compare alike inside and
// outside the program. All 65,536 units are read row by row: a call for each unit would take a hundred times as long.
#include "win32/CaseTable.h"

#include <windows.h>

namespace xc::win32 {

namespace {

bool IsSurrogate(unsigned int unit)
{
    return unit >= 0xD800 && unit <= 0xDFFF;
}

bool IsMark(wchar_t unit)
{
    return unit >= 0x0300 && unit <= 0x036F;
}

void MapAll(wchar_t (&table)[0x10000], DWORD flags)
{
    for (unsigned int unit = 0; unit < 0x10000; ++unit) table[unit] = static_cast<wchar_t>(unit);
    // One call a row of 256 units; surrogates have no case of their own.
    for (unsigned int row = 0; row < 0x10000; row += 0x100) {
        wchar_t mapped[0x100];
        if (!IsSurrogate(row) && ::LCMapStringEx(LOCALE_NAME_INVARIANT, flags, table + row, 0x100, mapped, 0x100,
                                                 nullptr, nullptr, 0) == 0x100)
            for (unsigned int i = 0; i < 0x100; ++i) table[row + i] = mapped[i];
    }
}

} // namespace

void ReadUpperCase(wchar_t (&table)[0x10000])
{
    MapAll(table, LCMAP_UPPERCASE);
}

void ReadLowerCase(wchar_t (&table)[0x10000])
{
    MapAll(table, LCMAP_LOWERCASE);
}

void ReadBaseLetters(wchar_t (&table)[0x10000])
{
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
        wchar_t const self = static_cast<wchar_t>(unit);
        table[unit] = self;
        // No unit below U+00C0 is composed.
        if (unit < 0xC0 || IsSurrogate(unit)) continue;
        wchar_t parts[16];
        int const count = ::FoldStringW(MAP_COMPOSITE, &self, 1, parts, 16);
        // A letter followed by nothing but marks; syllables and compounds of other scripts stay whole.
        bool marksOnly = count > 1;
        for (int i = 1; i < count; ++i) marksOnly = marksOnly && IsMark(parts[i]);
        if (marksOnly) table[unit] = parts[0];
    }
}

} // namespace xc::win32
