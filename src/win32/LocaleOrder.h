// LocaleOrder.h - the order of texts as the system has it for a locale.
#pragma once

#include <string>

namespace xc::win32 {

/// What the order looks at.
struct LocaleOrder {
    std::wstring name; ///< empty: the invariant locale
    bool accents;
    bool cases;
    bool numbers; ///< runs of digits count as numbers
};

/// -1, 0 or 1 in `result`; false when the system refuses.
bool CompareInLocale(LocaleOrder const& order, wchar_t const* a, wchar_t const* b, int& result) noexcept;
/// Appends the system's sort key, without its terminator; false when the system refuses.
bool AppendLocaleKey(LocaleOrder const& order, wchar_t const* text, std::string& key);

} // namespace xc::win32
