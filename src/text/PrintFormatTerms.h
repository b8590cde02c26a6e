// PrintFormatTerms.h - terms that the reader and the writer of formats share.
#pragma once

#include "text/PrintFormat.h"

namespace xc::text {

enum FormatFlag : std::uint8_t {
    kAlternate = 1,
    kLeft = 2,
    kPlus = 4,
    kZero = 8,
    kBlank = 16,
    kStarWidth = 32,
    kStarPrecision = 64
};

inline constexpr std::wstring_view kNullText = L"(null)";

/// One bit for each letter, counted from '@'.
constexpr std::uint64_t BitsOfLetters(std::string_view letters) noexcept
{
    std::uint64_t bits = 0;
    for (char const letter : letters) bits |= std::uint64_t{1} << (letter - '@');
    return bits;
}

/// Whether %s, %S, %c or %C with this size names wide text.
inline bool IsWideConversion(wchar_t letter, FormatSize size) noexcept
{
    bool const capital = letter == L'S' || letter == L'C';
    if (size == FormatSize::Short) return false;
    return size == FormatSize::Long || !capital;
}

} // namespace xc::text
