// CodePage.h - the system's code pages: plain conversion, as lenient as the system is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace xc::win32 {

/// What the system tells about a code page.
struct CodePageFacts {
    bool known;             ///< the system can convert it in both directions and report what it cannot map
    unsigned int number;    ///< the page itself, where the number asked for was an alias (0 to 3)
    unsigned int mostBytes; ///< of one character
};
CodePageFacts GetCodePageFacts(unsigned int codePage) noexcept;

/// Nothing when the system refuses the text. Beware: it still accepts some undefined bytes.
std::optional<std::wstring> BytesToUnits(unsigned int codePage, std::string_view bytes);
std::optional<std::string> UnitsToBytes(unsigned int codePage, std::wstring_view units);

/// The bytes of the character that starts with this byte: 1 or 2.
std::size_t CharacterLength(unsigned int codePage, unsigned char lead) noexcept;

} // namespace xc::win32
