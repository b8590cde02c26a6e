// Units.h - what every reader of text asks of one code unit, in the invariant way.
#pragma once

#include <cstdint>

namespace xc::text {

constexpr std::uint32_t ToUint(wchar_t unit) noexcept
{
    return static_cast<std::uint16_t>(unit);
}
constexpr bool IsDigit(wchar_t unit) noexcept
{
    return unit >= L'0' && unit <= L'9';
}
/// Space and tab.
constexpr bool IsBlank(wchar_t unit) noexcept
{
    return unit == L' ' || unit == L'\t';
}
/// The white space of Unicode's basic plane.
constexpr bool IsSpace(wchar_t unit) noexcept
{
    std::uint32_t const u = ToUint(unit);
    return u == 0x20 || (u >= 0x09 && u <= 0x0D) || u == 0x85 || u == 0xA0 || u == 0x1680 ||
           (u >= 0x2000 && u <= 0x200A) || u == 0x2028 || u == 0x2029 || u == 0x202F || u == 0x205F || u == 0x3000;
}
constexpr bool IsHighSurrogate(wchar_t unit) noexcept
{
    return (ToUint(unit) & 0xFC00) == 0xD800;
}
constexpr bool IsLowSurrogate(wchar_t unit) noexcept
{
    return (ToUint(unit) & 0xFC00) == 0xDC00;
}

} // namespace xc::text
