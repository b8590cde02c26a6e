// The conventions of a locale as the system has them: by name without what the user has changed, or the user's own with
// it. A locale counts only when all of its facts can be read.
#include "win32/LocaleFacts.h"

#include <windows.h>

namespace xc::win32 {

namespace {

/// False when the system does not tell; the longest of these texts has 80 units.
bool ReadText(wchar_t const* locale, LCTYPE what, std::wstring& text)
{
    wchar_t buffer[128];
    int const count = ::GetLocaleInfoEx(locale, what, buffer, 128);
    if (count > 0) text.assign(buffer, static_cast<std::size_t>(count - 1)); // without the terminator
    return count > 0;
}

std::optional<LocaleFacts> ReadFacts(wchar_t const* locale, LCTYPE source)
{
    LocaleFacts facts;
    bool const all = ReadText(locale, LOCALE_SNAME, facts.name) &&
                     ReadText(locale, LOCALE_SDECIMAL | source, facts.decimal) &&
                     ReadText(locale, LOCALE_STHOUSAND | source, facts.thousands) &&
                     ReadText(locale, LOCALE_SGROUPING | source, facts.grouping) &&
                     ReadText(locale, LOCALE_SLIST | source, facts.list) &&
                     ReadText(locale, LOCALE_SSHORTDATE | source, facts.shortDate);
    return all ? std::optional(facts) : std::nullopt;
}

} // namespace

std::optional<LocaleFacts> ReadLocale(std::wstring const& name)
{
    // The null name is the user's, and newer systems make up a locale for any name in the right form.
    if (name.empty() || !::IsValidLocaleName(name.c_str())) return std::nullopt;
    return ReadFacts(name.c_str(), LOCALE_NOUSEROVERRIDE);
}

std::optional<LocaleFacts> ReadUserLocale()
{
    return ReadFacts(LOCALE_NAME_USER_DEFAULT, 0);
}

std::wstring ReadUserLanguage()
{
    std::wstring language;
    return ReadText(LOCALE_NAME_USER_DEFAULT, LOCALE_SABBREVLANGNAME, language) ? language : std::wstring();
}

} // namespace xc::win32
