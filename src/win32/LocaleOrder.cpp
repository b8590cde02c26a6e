// Comparison and sort keys of the system. Punctuation counts as letters do (string sort): the other way, in which hyphens
// and apostrophes nearly vanish, depends on the release, and keys and comparisons of some releases disagree about it.
#include "win32/LocaleOrder.h"

#include <windows.h>

namespace xc::win32 {

namespace {

DWORD FlagsOf(LocaleOrder const& order) noexcept
{
    constexpr DWORD kDigitsAsNumbers = 8; // SORT_DIGITSASNUMBERS, which older headers lack
    return SORT_STRINGSORT | (order.accents ? 0 : NORM_IGNORENONSPACE) | (order.cases ? 0 : NORM_IGNORECASE) |
           (order.numbers ? kDigitsAsNumbers : 0);
}

} // namespace

bool CompareInLocale(LocaleOrder const& order, wchar_t const* a, wchar_t const* b, int& result) noexcept
{
    int const answer = ::CompareStringEx(order.name.c_str(), FlagsOf(order), a, -1, b, -1, nullptr, nullptr, 0);
    // The system answers 1, 2 or 3, and 0 for a failure, so that nothing valid is lost in the subtraction.
    result = answer - CSTR_EQUAL;
    return answer != 0;
}

bool AppendLocaleKey(LocaleOrder const& order, wchar_t const* text, std::string& key)
{
    DWORD const flags = LCMAP_SORTKEY | FlagsOf(order);
    char buffer[512]; // most keys fit, and asking for the length costs as much as the key
    int count = ::LCMapStringEx(order.name.c_str(), flags, text, -1, reinterpret_cast<wchar_t*>(buffer), sizeof buffer,
                                nullptr, nullptr, 0);
    if (count > 0) {
        // Without the zero at the end, which the length makes superfluous.
        key.append(buffer, static_cast<std::size_t>(count - 1));
        return true;
    }
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return false;
    count = ::LCMapStringEx(order.name.c_str(), flags, text, -1, nullptr, 0, nullptr, nullptr, 0);
    if (count <= 0) return false;
    std::string longer(static_cast<std::size_t>(count), '\0');
    count = ::LCMapStringEx(order.name.c_str(), flags, text, -1, reinterpret_cast<wchar_t*>(longer.data()), count,
                            nullptr, nullptr, 0);
    if (count <= 0) return false;
    key.append(longer, 0, static_cast<std::size_t>(count - 1));
    return true;
}

} // namespace xc::win32
