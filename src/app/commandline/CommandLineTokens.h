// CommandLineTokens.h - cuts a command-line string into its tokens, quotes still in place.
#pragma once

#include "text/Units.h"

#include <cstddef>
#include <string_view>

namespace xc::commandline {

/// Blanks and tabs outside double quotes end a token. Inside quotes two adjacent quotes keep them open. An unclosed
/// quote makes the rest the last token. Each unit is looked at once.
class CommandLineTokens {
public:
    explicit CommandLineTokens(std::wstring_view text) noexcept : m_text(text) {}

    /// The next token; false at the end. It points into the text.
    bool GetNext(std::wstring_view& token) noexcept
    {
        while (m_pos < m_text.size() && text::IsBlank(m_text[m_pos])) ++m_pos;
        std::size_t const start = m_pos;
        bool quoted = false;
        for (; m_pos < m_text.size() && (quoted || !text::IsBlank(m_text[m_pos])); ++m_pos) {
            if (m_text[m_pos] != L'"') continue;
            bool const isPair = quoted && m_pos + 1 < m_text.size() && m_text[m_pos + 1] == L'"';
            if (isPair)
                ++m_pos;
            else
                quoted = !quoted;
        }
        token = m_text.substr(start, m_pos - start);
        return !token.empty();
    }

private:
    std::wstring_view m_text;
    std::size_t m_pos = 0;
};

} // namespace xc::commandline
