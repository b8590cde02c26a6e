// The text of a configuration file, cut into sections, lines and comments.
//
// The reader walks the text once and never goes back more than to the start of a line: comments in front of a part,
// then a header or a line. What it delivers are views into the text. Only a value with carriage returns inside is
// copied, because these must go. Search for the end of a line, a key or a name is done by the vector kernels
// (text/Kernels.h), so that most units are looked at in groups. Cost: linear in the text, hostile text included.
// Invariant: m_pos stands at the start of a comment, a header, a key or the end; whatever stands before it has been
// delivered. A fault throws with the place of the part that it opens, and all parts before it stay delivered.
#include "app/config/ConfigReader.h"

#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>

namespace xc::config {

namespace {

constexpr wchar_t kKeyCut[] = L"unexpected EOF while parsing a key name of a configuration line";
constexpr wchar_t kNoHeader[] = L"expecting a '[' at the beginning of a section";
constexpr wchar_t kNameCut[] = L"unexpected EOF while parsing a section name";
constexpr wchar_t kAfterHeader[] = L"unexpected character after the closing ']' of a section name";

template <class Predicate>
std::wstring_view WithoutTrailing(std::wstring_view text, Predicate drop) noexcept
{
    while (!text.empty() && drop(text.back())) text.remove_suffix(1);
    return text;
}

template <class Predicate>
std::wstring_view WithoutLeading(std::wstring_view text, Predicate drop) noexcept
{
    while (!text.empty() && drop(text.front())) text.remove_prefix(1);
    return text;
}

/// Takes the rest of the line, its line feed included, off the front; delivers it without the returns and the feed.
std::wstring_view TakeLine(std::wstring_view& text) noexcept
{
    std::size_t const length = text::FindUnit(text.data(), text.size(), L'\n');
    std::wstring_view line = text.substr(0, length);
    text.remove_prefix(length == text.size() ? length : length + 1);
    while (!line.empty() && line.back() == L'\r') line.remove_suffix(1);
    return line;
}

} // namespace

// A blank line counts as an empty comment: it is kept with the part that follows, so that a saved file has the gaps of
// the one that was read.
bool TakeComment(std::wstring_view& text, std::wstring_view& comment) noexcept
{
    std::wstring_view rest = WithoutLeading(text, kBlankOrReturn);
    if (rest.empty() || (rest.front() != L';' && rest.front() != L'\n')) return false;
    if (rest.front() == L';') rest.remove_prefix(1);
    comment = TakeLine(rest);
    text = rest;
    return true;
}

ConfigReader::Part ConfigReader::Next()
{
    ReadComments();
    if (AtEnd()) return Part::End;
    if (m_text[m_pos] == L'[') {
        ReadHeader();
        return Part::Section;
    }
    if (!m_inSection) throw ConfigSyntaxError{kNoHeader, m_pos};
    ReadLine();
    return Part::Line;
}

// The ends of lines are counted while they are passed; the majority decides how the file is written again.
void ConfigReader::CountLine(std::size_t end) noexcept
{
    if (m_text[end - 1] != L'\n') return;
    ++m_lines;
    if (end > 1 && m_text[end - 2] == L'\r') ++m_crlfLines;
}

void ConfigReader::ReadComments()
{
    std::size_t const start = m_pos;
    std::wstring_view rest = m_text.substr(m_pos);
    for (std::wstring_view comment; TakeComment(rest, comment);) CountLine(m_text.size() - rest.size());
    // The comments stay one piece of the text; LazyComments cuts them when they are asked for.
    m_comments = m_text.substr(start, m_text.size() - rest.size() - start);
    m_pos = m_text.size() - WithoutLeading(rest, kBlankOrReturn).size();
}

std::wstring_view ConfigReader::TakeRestOfLine() noexcept
{
    std::wstring_view rest = m_text.substr(m_pos);
    std::wstring_view const line = TakeLine(rest);
    m_pos = m_text.size() - rest.size();
    CountLine(m_pos);
    return line;
}

/// What stands before `end`; moves past it.
std::wstring_view ConfigReader::TakeUpTo(wchar_t end, wchar_t const* messageAtEof)
{
    std::size_t const left = m_text.size() - m_pos;
    std::size_t const length = text::FindUnit(m_text.data() + m_pos, left, end);
    if (length == left) throw ConfigSyntaxError{messageAtEof, m_pos};
    std::wstring_view const taken = m_text.substr(m_pos, length);
    m_pos += length + 1;
    return taken;
}

void ConfigReader::ReadHeader()
{
    ++m_pos;
    m_name = TakeUpTo(L']', kNameCut);
    std::size_t const afterName = m_pos;
    std::wstring_view const rest = TakeRestOfLine();
    auto const other = std::find_if_not(rest.begin(), rest.end(), kBlankOrReturn);
    if (other != rest.end())
        throw ConfigSyntaxError{kAfterHeader, afterName + static_cast<std::size_t>(other - rest.begin())};
    m_value = {};
    m_inSection = true;
}

void ConfigReader::ReadLine()
{
    // The search for '=' goes over ends of lines: a line without one is no error here, it becomes part of the next key.
    //
    m_name = WithoutTrailing(TakeUpTo(L'=', kKeyCut), kSpace);
    SetValue(TakeRestOfLine());
}

void ConfigReader::SetValue(std::wstring_view value)
{
    value = WithoutLeading(value, kSpace);
    // Returns at the end of the line went in TakeLine; these are inside the value, which is rare.
    m_valueIsPart = text::FindUnit(value.data(), value.size(), L'\r') == value.size();
    if (!m_valueIsPart) {
        m_valueWithoutReturns.assign(value);
        std::erase(m_valueWithoutReturns, L'\r');
        value = m_valueWithoutReturns;
    }
    m_value = WithoutTrailing(value, kBlank);
}

// Counted only when a fault is told: reading itself keeps no count of lines by position.
LineAndColumn Locate(std::wstring_view text, std::size_t position) noexcept
{
    std::wstring_view const before = text.substr(0, position);
    std::size_t const lineFeed = before.rfind(L'\n');
    auto const lineFeeds = static_cast<std::size_t>(std::count(before.begin(), before.end(), L'\n'));
    return {lineFeeds + 1, lineFeed == std::wstring_view::npos ? position + 1 : position - lineFeed};
}

} // namespace xc::config
