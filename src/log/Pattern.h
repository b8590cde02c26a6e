// Pattern.h - a compiled layout of log lines. XCLogPattern.h tells what patterns hold.
#pragma once

#include "log/RecordFields.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace xc::log {

class Pattern {
public:
    /// Compiles a pattern. 0, or the place of the fault, from 1: the object is not to be used then.
    std::size_t Compile(std::wstring_view pattern);
    /// Appends one line.
    void Append(std::string& to, std::wstring_view channel, int level, ServedText const& parts) const;

private:
    struct Step {
        wchar_t letter = 0;    ///< 0: the literal
        std::size_t width = 0; ///< the least, in characters
        bool isLeft = false;   ///< blanks stand at the right
        std::string literal{};
    };
    struct Line;

    void AddLiteral(std::wstring_view text);
    void AddWhatIsMissing();

    std::vector<Step> m_steps;
};

} // namespace xc::log
