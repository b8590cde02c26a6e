#include "app/ConfigReader.h"

#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>

namespace xc::app {

namespace {

constexpr wchar_t kKeyCut[] = L"unexpected EOF while parsing a key name of a configuration line";
constexpr wchar_t kNoHeader[] = L"expecting a '[' at the beginning of a section";
constexpr wchar_t kNameCut[] = L"unexpected EOF while parsing a section name";
constexpr wchar_t kAfterHeader[] = L"unexpected character after the closing ']' of a section name";

bool IsBlankOrReturn(wchar_t unit) noexcept
{
    return text::IsBlank(unit) || unit == L'\r';
}

std::wstring_view WithoutTrailing(std::wstring_view text, bool (*drop)(wchar_t)) noexcept
{
    while (!text.empty() && drop(text.back())) text.remove_suffix(1);
    return text;
}

std::wstring_view WithoutLeading(std::wstring_view text, bool (*drop)(wchar_t)) noexcept
{
    while (!text.empty() && drop(text.front())) text.remove_prefix(1);
    return text;
}

bool IsSpaceUnit(wchar_t unit) noexcept
{
    return text::IsSpace(unit);
}

} // namespace

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

/// The rest of the line without the returns before its line feed; moves past the line feed.
std::wstring_view ConfigReader::TakeLine() noexcept
{
    std::size_t const left = m_text.size() - m_pos;
    std::size_t const length = text::FindUnit(m_text.data() + m_pos, left, L'\n');
    std::wstring_view line = m_text.substr(m_pos, length);
    m_pos += length;
    if (!AtEnd()) {
        ++m_pos;
        ++m_lines;
        if (!line.empty() && line.back() == L'\r') ++m_crlfLines;
    }
    while (!line.empty() && line.back() == L'\r') line.remove_suffix(1);
    return line;
}

void ConfigReader::ReadComments()
{
    m_comments.clear();
    for (;;) {
        std::size_t const lineStart = m_pos;
        while (!AtEnd() && IsBlankOrReturn(m_text[m_pos])) ++m_pos;
        if (AtEnd()) return;
        if (m_text[m_pos] == L';') {
            ++m_pos;
            m_comments.push_back(TakeLine());
        } else if (m_text[m_pos] == L'\n') {
            m_pos = lineStart; // so that the returns of the blank line are seen
            TakeLine();
            m_comments.emplace_back();
        } else {
            return;
        }
    }
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
    std::wstring_view const rest = TakeLine();
    auto const other = std::find_if_not(rest.begin(), rest.end(), IsBlankOrReturn);
    if (other != rest.end())
        throw ConfigSyntaxError{kAfterHeader, afterName + static_cast<std::size_t>(other - rest.begin())};
    m_value = {};
    m_inSection = true;
}

void ConfigReader::ReadLine()
{
    m_name = WithoutTrailing(TakeUpTo(L'=', kKeyCut), IsSpaceUnit);
    SetValue(TakeLine());
}

void ConfigReader::SetValue(std::wstring_view value)
{
    value = WithoutLeading(value, IsSpaceUnit);
    if (text::FindUnit(value.data(), value.size(), L'\r') != value.size()) {
        m_valueWithoutReturns.assign(value);
        std::erase(m_valueWithoutReturns, L'\r');
        value = m_valueWithoutReturns;
    }
    m_value = WithoutTrailing(value, text::IsBlank);
}

LineAndColumn Locate(std::wstring_view text, std::size_t position) noexcept
{
    std::wstring_view const before = text.substr(0, position);
    std::size_t const lineFeed = before.rfind(L'\n');
    auto const lineFeeds = static_cast<std::size_t>(std::count(before.begin(), before.end(), L'\n'));
    return {lineFeeds + 1, lineFeed == std::wstring_view::npos ? position + 1 : position - lineFeed};
}

} // namespace xc::app
