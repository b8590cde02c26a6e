// For the native build: some locales as the system tells them, one for each form of separator and grouping.
#include "win32/LocaleFacts.h"
#include "win32/LocaleOrder.h"

namespace xc::win32 {

std::optional<LocaleFacts> ReadLocale(std::wstring const& name)
{
    static LocaleFacts const kKnown[] = {
        {L"en-US", L".", L",", L"3;0", L",", L"M/d/yyyy"},
        {L"de-DE", L",", L".", L"3;0", L";", L"dd.MM.yyyy"},
        {L"de-CH", L".", L"\u2019", L"3;0", L";", L"dd.MM.yyyy"},
        {L"fr-FR", L",", L"\u202F", L"3;0", L";", L"dd/MM/yyyy"},
        {L"hi-IN", L".", L",", L"3;2;0", L",", L"dd-MM-yyyy"},
        {L"ja-JP", L".", L",", L"3;0", L",", L"yyyy/MM/dd"},
    };
    for (LocaleFacts const& facts : kKnown)
        if (facts.name == name) return facts;
    return std::nullopt;
}

std::optional<LocaleFacts> ReadUserLocale()
{
    return ReadLocale(L"en-US");
}

std::wstring ReadUserLanguage()
{
    return L"ENU";
}

bool CompareInLocale(LocaleOrder const&, wchar_t const* a, wchar_t const* b, int& result) noexcept
{
    result = std::wstring_view(a).compare(b);
    result = (result > 0) - (result < 0);
    return true;
}

bool AppendLocaleKey(LocaleOrder const&, wchar_t const* text, std::string& key)
{
    for (; *text != L'\0'; ++text) (key += static_cast<char>(*text >> 8)) += static_cast<char>(*text);
    return true;
}

} // namespace xc::win32
