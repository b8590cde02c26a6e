// NamePattern.h - patterns of file names: "*.cpp;*.h".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xc::files {

/// Several patterns, separated by ";"; a name matches when it matches one. "*" is any text, "?" one unit.
class NamePattern {
public:
    explicit NamePattern(std::wstring_view patterns);

    /// True when there is no pattern.
    [[nodiscard]] bool Matches(std::wstring_view name) const noexcept;

private:
    std::vector<std::wstring> m_patterns; ///< in upper case
};

} // namespace xc::files
