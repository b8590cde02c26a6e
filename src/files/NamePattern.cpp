// Matching of a name against "*" and "?".
//
// The text before the first "*" must stand at the beginning, each later piece at the first place where it fits: for
// patterns of these two signs a later place can never succeed where the first one fails. So one place to return to is
// enough, and the cost is at most name times pattern, without recursion. Units are compared in the system's upper case,
// as its file systems compare names.
#include "files/NamePattern.h"

#include "text/CaseTables.h"

namespace xc::files {

namespace {

bool MatchesOne(std::wstring_view pattern, std::wstring_view name, wchar_t const* upper) noexcept
{
    std::size_t at = 0, in = 0;
    std::size_t star = std::wstring_view::npos, resume = 0; // the last "*", and where in the name it ends so far
    while (in < name.size()) {
        if (at < pattern.size() && pattern[at] == L'*') {
            star = at++;
            resume = in;
        } else if (at < pattern.size() && (pattern[at] == L'?' || pattern[at] == upper[name[in] & 0xFFFF])) {
            ++at;
            ++in;
        } else if (star != std::wstring_view::npos) {
            at = star + 1;
            in = ++resume;
        } else {
            return false;
        }
    }
    // The name has ended: only signs that fit nothing may be left.
    while (at < pattern.size() && pattern[at] == L'*') ++at;
    return at == pattern.size();
}

} // namespace

NamePattern::NamePattern(std::wstring_view patterns)
{
    while (!patterns.empty()) {
        std::wstring pattern(patterns.substr(0, patterns.find(L';')));
        patterns.remove_prefix(pattern.size() < patterns.size() ? pattern.size() + 1 : pattern.size());
        // Once for each pattern; names are mapped unit by unit while they are compared, and cost no copy.
        text::MapUpper(pattern.data(), pattern.data(), pattern.size());
        if (!pattern.empty()) m_patterns.push_back(std::move(pattern));
    }
}

bool NamePattern::Matches(std::wstring_view name) const noexcept
{
    if (m_patterns.empty()) return true;
    wchar_t const* const upper = text::UpperCaseTable();
    for (std::wstring const& pattern : m_patterns)
        if (MatchesOne(pattern, name, upper)) return true;
    return false;
}

} // namespace xc::files
