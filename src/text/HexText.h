// HexText.h - hexadecimal digits, in texts of either width.
#pragma once

#include <cstdint>

namespace xc::text {

inline constexpr char kUpperHex[] = "0123456789ABCDEF";
inline constexpr char kLowerHex[] = "0123456789abcdef";

/// Writes exactly `width` digits, the lowest ones of the value; returns what follows them.
template <class Unit>
constexpr Unit* PutHex(Unit* to, std::uint64_t value, int width, char const* digits = kUpperHex) noexcept
{
    for (int i = width; i-- > 0; value >>= 4) to[i] = static_cast<Unit>(digits[value & 15]);
    return to + width;
}

/// Appends as many to a text of the standard library; at most 16.
template <class Text>
void AppendHex(Text& to, std::uint64_t value, int width, char const* digits = kUpperHex)
{
    typename Text::value_type written[16];
    to.append(written, PutHex(written, value, width, digits));
}

} // namespace xc::text
