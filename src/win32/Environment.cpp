// The block of variables is copied by the system for the call: other threads may change the environment meanwhile. Its
// entries are "name=value", one after the other; a leading '=' belongs to the name (the system keeps the current folder
// of each drive there), so that the '=' of an entry is looked for after its first unit.
#include "win32/Environment.h"

#include <windows.h>

#include <memory>

namespace xc::win32 {

namespace {

// The rule by which the system itself compares names of variables.
bool BeginsWith(std::wstring_view text, std::wstring_view prefix) noexcept
{
    auto const length = static_cast<int>(prefix.size());
    return text.size() >= prefix.size() &&
           ::CompareStringOrdinal(text.data(), length, prefix.data(), length, TRUE) == CSTR_EQUAL;
}

} // namespace

std::vector<std::pair<std::wstring, std::wstring>> ReadEnvironmentWith(std::wstring_view prefix)
{
    std::unique_ptr<wchar_t, decltype(&::FreeEnvironmentStringsW)> const block(::GetEnvironmentStringsW(),
                                                                               &::FreeEnvironmentStringsW);
    std::vector<std::pair<std::wstring, std::wstring>> found;
    if (!block) return found;
    std::wstring_view entry;
    for (wchar_t const* at = block.get(); *at != L'\0'; at += entry.size() + 1) {
        entry = at;
        std::size_t const equals = entry.find(L'=', 1);
        if (equals == std::wstring_view::npos || !BeginsWith(entry.substr(0, equals), prefix)) continue;
        found.emplace_back(entry.substr(0, equals), entry.substr(equals + 1));
    }
    return found;
}

} // namespace xc::win32
