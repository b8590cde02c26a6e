// Names that the system's resolver must not see.
//
// A name below "localhost" is the machine itself by its standard; a resolver that asks the network for it can be told
// anything. A name that ends in a number is an address to the old reader inside the system ("127.1" is 127.0.0.1 there),
// while the library's own reader has already refused it as one.
#include "net/HostName.h"

#include "net/AddressBits.h"

#include <algorithm>

namespace xc::net {

namespace {

std::wstring_view WithoutLastDot(std::wstring_view name) noexcept
{
    if (name.ends_with(L'.')) name.remove_suffix(1);
    return name;
}

bool IsHexDigit(wchar_t unit) noexcept
{
    return IsDigit(unit) || (unit >= L'a' && unit <= L'f') || (unit >= L'A' && unit <= L'F');
}

} // namespace

bool IsLocalName(std::wstring_view name) noexcept
{
    constexpr std::wstring_view kLocal = L"localhost";
    name = WithoutLastDot(name);
    if (name.size() < kLocal.size()) return false;
    std::wstring_view const tail = name.substr(name.size() - kLocal.size());
    bool const same = std::equal(tail.begin(), tail.end(), kLocal.begin(), [](wchar_t a, wchar_t b) {
        return a == b || (a >= L'A' && a <= L'Z' && a + 32 == b);
    });
    return same && (name.size() == kLocal.size() || name[name.size() - kLocal.size() - 1] == L'.');
}

bool LooksLikeAddress(std::wstring_view name) noexcept
{
    name = WithoutLastDot(name);
    std::wstring_view const last = name.substr(name.rfind(L'.') + 1); // npos + 1 is 0: the whole name
    if (last.empty()) return false;
    bool const hex = last.size() >= 2 && last[0] == L'0' && (last[1] == L'x' || last[1] == L'X');
    return hex ? std::all_of(last.begin() + 2, last.end(), IsHexDigit) : std::all_of(last.begin(), last.end(), IsDigit);
}

} // namespace xc::net
