// CaseTables.h - case and base letter of every code unit, read from the system on first use.
#pragma once

#include <cstddef>

namespace xc::text {

/// 65,536 entries each; valid until the end of the process. The first call may race: one table results.
wchar_t const* UpperCaseTable();
wchar_t const* LowerCaseTable();
wchar_t const* BaseLetterTable();

/// Writes the n units in upper (lower) case by the tables that XCtowupper (XCtowlower) uses; in place is fine.
void MapUpper(wchar_t* out, wchar_t const* text, std::size_t n) noexcept;
void MapLower(wchar_t* out, wchar_t const* text, std::size_t n) noexcept;

} // namespace xc::text
