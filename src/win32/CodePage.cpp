// Code pages of the system, strictly: bytes that are no text and units without bytes are failures, never replaced.
//
// The flags that ask for strictness are refused by some pages, which then could not tell what they guessed; such a page
// counts as unknown. A unit that would only fit approximately is refused by WC_NO_BEST_FIT_CHARS.
#include "win32/CodePage.h"

#include <climits>
#include <stdexcept>
#include <windows.h>

namespace xc::win32 {

namespace {

int CountOf(std::size_t n)
{
    // The system counts in int; cutting a text into pieces could cut a character.
    if (n > INT_MAX) throw std::length_error("code page: text too long");
    return static_cast<int>(n);
}

} // namespace

CodePageFacts GetCodePageFacts(unsigned int codePage) noexcept
{
    CPINFOEXW info{};
    if (!::GetCPInfoExW(codePage, 0, &info)) return {false, codePage, 0};
    // A page that refuses the strict flags cannot tell what it guessed.
    wchar_t units[4];
    char bytes[16];
    BOOL replaced = FALSE;
    bool const strict =
        // A letter that every page has: what fails here is the flag.
        ::MultiByteToWideChar(info.CodePage, MB_ERR_INVALID_CHARS, "A", 1, units, 4) == 1 &&
        ::WideCharToMultiByte(info.CodePage, WC_NO_BEST_FIT_CHARS, L"A", 1, bytes, 16, nullptr, &replaced) > 0;
    return {strict, info.CodePage, info.MaxCharSize};
}

std::optional<std::wstring> BytesToUnits(unsigned int codePage, std::string_view bytes)
{
    if (bytes.empty()) return std::wstring();
    std::wstring units(bytes.size(), L'\0'); // no code page needs more units than bytes
    int const count = ::MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), CountOf(bytes.size()),
                                            units.data(), CountOf(units.size()));
    if (count <= 0) return std::nullopt;
    units.resize(static_cast<std::size_t>(count));
    return units;
}

std::optional<std::string> UnitsToBytes(unsigned int codePage, std::wstring_view units)
{
    if (units.empty()) return std::string();
    BOOL replaced = FALSE;
    int const wanted = ::WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, units.data(), CountOf(units.size()),
                                             nullptr, 0, nullptr, &replaced);
    // A text that is not spelled exactly is found by the first pass, before memory is taken for it.
    if (wanted <= 0 || replaced) return std::nullopt;
    std::string bytes(static_cast<std::size_t>(wanted), '\0');
    int const written = ::WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, units.data(), CountOf(units.size()),
                                              bytes.data(), wanted, nullptr, &replaced);
    if (written != wanted || replaced) return std::nullopt;
    return bytes;
}

std::size_t CharacterLength(unsigned int codePage, unsigned char lead) noexcept
{
    return ::IsDBCSLeadByteEx(codePage, lead) ? 2 : 1;
}

} // namespace xc::win32
