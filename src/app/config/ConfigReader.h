// ConfigReader.h - reads the text of a configuration file part by part.
#pragma once

#include "text/Units.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace xc::config {

// The units that the reader drops: after values, before parts, around keys and before values.
inline constexpr auto kBlank = [](wchar_t unit) { return text::IsBlank(unit); };
inline constexpr auto kBlankOrReturn = [](wchar_t unit) { return text::IsBlank(unit) || unit == L'\r'; };
inline constexpr auto kSpace = [](wchar_t unit) { return text::IsSpace(unit); };

/// A rule of the format is broken.
struct ConfigSyntaxError {
    wchar_t const* message;
    std::size_t position; ///< index into the text
};

/// Takes one line of comment, or one blank line, off the front of the text. `comment` receives what stands after the
/// ';', nothing for a blank line. False, and nothing taken, when another line comes or the text ends.
bool TakeComment(std::wstring_view& text, std::wstring_view& comment) noexcept;

/// Delivers sections and lines in the order of the file, each with the comments before it. Views point into the text,
/// but for values that ValueIsPart denies: those live until the next call. Every unit is looked at a small fixed number
/// of times.
class ConfigReader {
public:
    enum class Part { Section, Line, End };

    explicit ConfigReader(std::wstring_view text) noexcept : m_text(text) {}

    /// The next part. @throws ConfigSyntaxError
    Part Next();
    /// The comment lines before the part, for TakeComment. At the end: those after the last line.
    [[nodiscard]] std::wstring_view Comments() const noexcept { return m_comments; }
    /// The section's name or the line's key.
    [[nodiscard]] std::wstring_view Name() const noexcept { return m_name; }
    [[nodiscard]] std::wstring_view Value() const noexcept { return m_value; }
    /// False when carriage returns were taken out of the value.
    [[nodiscard]] bool ValueIsPart() const noexcept { return m_valueIsPart; }
    /// Whether most of the lines read so far end in CR LF.
    [[nodiscard]] bool EndsInCrLf() const noexcept { return m_crlfLines * 2 >= m_lines; }

private:
    [[nodiscard]] bool AtEnd() const noexcept { return m_pos == m_text.size(); }
    void ReadComments();
    void ReadHeader();
    void ReadLine();
    void SetValue(std::wstring_view value);
    std::wstring_view TakeRestOfLine() noexcept;
    void CountLine(std::size_t end) noexcept;
    std::wstring_view TakeUpTo(wchar_t end, wchar_t const* messageAtEof);

    std::wstring_view m_text;
    std::size_t m_pos = 0;
    std::wstring_view m_comments;
    std::wstring_view m_name;
    std::wstring_view m_value;
    std::wstring m_valueWithoutReturns;
    bool m_valueIsPart = true;
    std::size_t m_lines = 0;
    std::size_t m_crlfLines = 0;
    bool m_inSection = false;
};

/// The place of a position: line and column, from 1.
struct LineAndColumn {
    std::size_t line;
    std::size_t column;
};
LineAndColumn Locate(std::wstring_view text, std::size_t position) noexcept;

} // namespace xc::config
