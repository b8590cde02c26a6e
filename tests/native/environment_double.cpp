// The variables of the process, over POSIX: names are ASCII.
#include "win32/Environment.h"

#include <cwctype>

extern char** environ;

namespace xc::win32 {

std::vector<std::pair<std::wstring, std::wstring>> ReadEnvironmentWith(std::wstring_view prefix)
{
    std::vector<std::pair<std::wstring, std::wstring>> found;
    for (char** entry = environ; *entry; ++entry) {
        std::string_view const bytes(*entry);
        std::wstring const text(bytes.begin(), bytes.end());
        std::size_t const equals = text.find(L'=', 1);
        if (equals == std::wstring::npos || equals < prefix.size()) continue;
        bool same = true;
        for (std::size_t i = 0; i < prefix.size(); ++i)
            same = same && std::towupper(text[i]) == std::towupper(prefix[i]);
        if (same) found.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    return found;
}

} // namespace xc::win32
