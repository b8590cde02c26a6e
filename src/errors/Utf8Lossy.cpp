#include "errors/Utf8Lossy.h"

#include <cstddef>

#include "text/Units.h"

namespace xc::errors {

namespace {

void AppendCharacter(std::string& bytes, std::uint32_t character)
{
    auto const tail = [&bytes, character](unsigned int shift) {
        bytes += static_cast<char>(0x80 | ((character >> shift) & 0x3F));
    };
    if (character < 0x80) {
        bytes += static_cast<char>(character);
    } else if (character < 0x800) {
        bytes += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        bytes += static_cast<char>(0xE0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        bytes += static_cast<char>(0xF0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

} // namespace

std::string Utf8Lossy(std::wstring_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t character = text::ToUint(text[i]);
        if (text::IsHighSurrogate(text[i]) && i + 1 < text.size() && text::IsLowSurrogate(text[i + 1]))
            character = 0x10000 + ((character - 0xD800) << 10) + (text::ToUint(text[++i]) - 0xDC00);
        else if ((character & 0xF800) == 0xD800)
            character = 0xFFFD;
        AppendCharacter(bytes, character);
    }
    return bytes;
}

} // namespace xc::errors
