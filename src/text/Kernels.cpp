#include "text/Kernels.h"

namespace xc::text {

std::size_t FindUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    for (std::size_t i = 0; i < n; ++i)
        if (text[i] == unit) return i;
    return n;
}

std::size_t FindLastUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept
{
    for (std::size_t i = n; i-- > 0;)
        if (text[i] == unit) return i;
    return n;
}

std::size_t FindText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept
{
    if (m == 0) return 0;
    for (std::size_t i = 0; i + m <= n; ++i)
        if (Mismatch(text + i, needle, m) == m) return i;
    return n;
}

std::size_t Mismatch(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept
{
    std::size_t i = 0;
    while (i < n && a[i] == b[i]) ++i;
    return i;
}

std::uint32_t Hash613(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept
{
    for (std::size_t i = 0; i < n; ++i) h = h * 613 + static_cast<std::uint16_t>(text[i]);
    return h;
}

} // namespace xc::text
