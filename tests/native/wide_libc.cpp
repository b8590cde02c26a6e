// The C library's wide functions for 16-bit wchar_t: the native build of the portable core uses these instead.
#include <cstddef>

extern "C" {
std::size_t wcslen(wchar_t const* text)
{
    std::size_t n = 0;
    while (text[n] != 0) ++n;
    return n;
}
int wmemcmp(wchar_t const* a, wchar_t const* b, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    return 0;
}
wchar_t* wmemcpy(wchar_t* to, wchar_t const* from, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
    return to;
}
wchar_t* wmemmove(wchar_t* to, wchar_t const* from, std::size_t n)
{
    if (to < from) return wmemcpy(to, from, n);
    while (n-- > 0) to[n] = from[n];
    return to;
}
wchar_t* wmemset(wchar_t* to, wchar_t unit, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) to[i] = unit;
    return to;
}
wchar_t* wmemchr(wchar_t const* text, wchar_t unit, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        if (text[i] == unit) return const_cast<wchar_t*>(text + i);
    return nullptr;
}
}
