// Code pages, collation and the texts of messages.
#include "answers.h"

#include <windows.h>

namespace xc::evidence {

namespace {

/// One sequence of bytes in a code page, which must be this one unit.
template <UINT Page, wchar_t Unit>
Answer Decoded(Asker const& /*asker*/)
{
    char const* const bytes = Page == 50220 ? "\x1b$B0!\x1b(B" : Page == 51932 ? "\xB0\xA1" : "\xB0\xA1";
    wchar_t units[8] = {};
    int const count = ::MultiByteToWideChar(Page, 0, bytes, -1, units, 8);
    if (count == 0) return Code(::GetLastError(), {});
    return Says(units[0] == Unit, Text(L"U+%04X", static_cast<unsigned int>(units[0])));
}

Answer DefaultOfUtf8(Asker const& /*asker*/)
{
    char bytes[8];
    int const count = ::WideCharToMultiByte(CP_UTF8, 0, L"a", -1, bytes, sizeof bytes, "?", nullptr);
    return Code(count != 0 ? 0 : ::GetLastError(), {ERROR_INVALID_PARAMETER});
}

Answer UnknownFlag(Asker const& /*asker*/)
{
    int const order = ::CompareStringEx(L"de-DE", 0x400000, L"a", 1, L"b", 1, nullptr, nullptr, 0);
    return Code(order != 0 ? 0 : ::GetLastError(), {ERROR_INVALID_FLAGS});
}

Answer SharpS(Asker const& /*asker*/)
{
    int const order = ::CompareStringEx(L"de-DE", 0, L"strasse", -1, L"stra\u00DFe", -1, nullptr, nullptr, 0);
    return Says(order == CSTR_EQUAL, order == CSTR_EQUAL ? L"equal" : Text(L"order %d", order - 2));
}

Answer TurkishI(Asker const& /*asker*/)
{
    wchar_t unit = 0;
    ::LCMapStringEx(L"tr-TR", LCMAP_UPPERCASE | LCMAP_LINGUISTIC_CASING, L"i", 1, &unit, 1, nullptr, nullptr, 0);
    return Says(unit == 0x130, Text(L"U+%04X", static_cast<unsigned int>(unit)));
}

DWORD ErrorOfMessage(DWORD flags, HMODULE module, DWORD code, DWORD language)
{
    wchar_t text[512];
    return ::FormatMessageW(flags, module, code, language, text, 512, nullptr) != 0 ? 0 : ::GetLastError();
}

Answer InsertsWithoutValues(Asker const& /*asker*/)
{
    return Code(ErrorOfMessage(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, ERROR_WRONG_DISK, 0), {ERROR_INVALID_PARAMETER});
}

Answer OtherLanguage(Asker const& /*asker*/)
{
    DWORD const flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS;
    HMODULE const library = ::GetModuleHandleW(L"XelbrinCore-x64.dll");
    for (DWORD code = 1; code < 2000; ++code) // a message that the library has in English
        if (ErrorOfMessage(flags, library, code, 0x409) == 0)
            return Code(ErrorOfMessage(flags, library, code, 0x407), {ERROR_RESOURCE_LANG_NOT_FOUND});
    return NotAsked(L"no message found in the library");
}

Answer SystemInOtherLanguage(Asker const& /*asker*/)
{
    DWORD const flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    return Code(ErrorOfMessage(flags, nullptr, ERROR_FILE_NOT_FOUND, 0x436),
                {ERROR_RESOURCE_LANG_NOT_FOUND, ERROR_MUI_FILE_NOT_FOUND, ERROR_MUI_FILE_NOT_LOADED});
}

} // namespace

std::vector<Question> TextQuestions()
{
    return {
        {L"text", L"B0 A1 in code page 54936 (GB 18030)", L"U+554A", &Decoded<54936, 0x554A>},
        {L"text", L"B0 A1 in code page 51932 (EUC-JP)", L"U+4E9C", &Decoded<51932, 0x4E9C>},
        {L"text", L"ESC $ B 30 21 in code page 50220 (ISO-2022-JP)", L"U+4E9C", &Decoded<50220, 0x4E9C>},
        {L"text", L"A default character for UTF-8", L"error 87", &DefaultOfUtf8},
        {L"text", L"CompareStringEx is given an unknown flag", L"error 1004", &UnknownFlag},
        {L"text", L"\"strasse\" and \"stra\u00DFe\" in German", L"equal", &SharpS},
        {L"text", L"\"i\" in Turkish upper case", L"U+0130", &TurkishI},
        {L"text", L"A system message with inserts, without values", L"error 87", &InsertsWithoutValues},
        {L"text", L"A message of the library in a language that it lacks", L"error 1815", &OtherLanguage},
        {L"text", L"A message of the system in a language that is not installed", L"error 1815, 15100 or 15105",
         &SystemInOtherLanguage},
    };
}

} // namespace xc::evidence
