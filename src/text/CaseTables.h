// CaseTables.h - case and base letter of every code unit, read from the system on first use.
#pragma once

namespace xc::text {

/// 65,536 entries each; valid until the end of the process. The first call may race: one table results.
wchar_t const* UpperCaseTable();
wchar_t const* LowerCaseTable();
wchar_t const* BaseLetterTable();

} // namespace xc::text
