#include "text/Visible.h"

#include "text/Units.h"

#include <string>

namespace xc::text {

namespace {

constexpr wchar_t kHex[] = L"0123456789ABCDEF";

/// Control characters of both blocks, line and paragraph separator, the marks of bidirectional text.
constexpr bool ShapesLines(std::uint32_t u) noexcept
{
    return u < 0x20 || (u >= 0x7F && u < 0xA0) || (u >= 0x2028 && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069) ||
           u == 0x200E || u == 0x200F || u == 0x061C;
}

/// Whether the unit at a place is half of a pair without its other half.
bool IsLone(std::wstring_view text, std::size_t at) noexcept
{
    if (IsHighSurrogate(text[at])) return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
    return IsLowSurrogate(text[at]) && (at == 0 || !IsHighSurrogate(text[at - 1]));
}

bool IsHidden(std::wstring_view text, std::size_t at) noexcept
{
    return ShapesLines(ToUint(text[at])) || IsLone(text, at);
}

void AppendEscape(std::wstring& to, wchar_t unit)
{
    to.push_back(L'\\');
    if (unit == L'\n') return to.push_back(L'n');
    if (unit == L'\r') return to.push_back(L'r');
    if (unit == L'\t') return to.push_back(L't');
    std::uint32_t const u = ToUint(unit);
    to.push_back(u < 0x100 ? L'x' : L'u');
    for (int shift = u < 0x100 ? 4 : 12; shift >= 0; shift -= 4) to.push_back(kHex[(u >> shift) & 15]);
}

std::wstring_view WithoutEnd(std::wstring_view text) noexcept
{
    while (!text.empty() && (IsBlank(text.back()) || text.back() == L'\n' || text.back() == L'\r'))
        text.remove_suffix(1);
    return text;
}

} // namespace

XCString Visible(std::wstring_view text)
{
    text = WithoutEnd(text);
    std::size_t at = 0;
    while (at < text.size() && !IsHidden(text, at)) ++at;
    if (at == text.size()) return XCString(text);
    std::wstring shown(text.substr(0, at));
    for (; at < text.size(); ++at) {
        if (IsHidden(text, at))
            AppendEscape(shown, text[at]);
        else
            shown.push_back(text[at]);
    }
    return XCString(std::wstring_view(shown));
}

} // namespace xc::text
