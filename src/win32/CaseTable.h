// CaseTable.h - the system's facts about single code units, read once by those who keep tables of them.
#pragma once

namespace xc::win32 {

/// The invariant one-to-one upper, lower case of every unit, 0 to 0xFFFF.
void ReadUpperCase(wchar_t (&table)[0x10000]);
void ReadLowerCase(wchar_t (&table)[0x10000]);

/// The base letter of every unit: its canonical decomposition without the marks; the unit itself where there is none.
void ReadBaseLetters(wchar_t (&table)[0x10000]);

} // namespace xc::win32
