// Parts of texts as views, numbers as texts, and strings from streams.
//
// Splitting and trimming work on views: they allocate nothing but the list of parts, and a caller that wants strings of
// its own asks for them. The views point into the text that was given, which must outlive them.
//
// White space is that of Unicode here, not of a locale, so that a text trims alike on every machine. Numbers take the
// invariant form of NumberText, which needs no stream and reads back as the same value.
#include <XelbrinCore/XCStringParts.h>
#include <XelbrinCore/XCUnicode.h>

#include "text/FindText.h"
#include "text/NumberText.h"

#include <algorithm>
#include <istream>
#include <string>

namespace {

template <class IsDropped>
std::wstring_view TrimEnds(std::wstring_view text, IsDropped isDropped) noexcept
{
    auto const first = std::find_if_not(text.begin(), text.end(), isDropped);
    // The search from the end stops where the one from the front did: a text of dropped units alone yields an empty
    // view and is walked once.
    auto const last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isDropped).base();
    return {first, last};
}

} // namespace

std::wstring_view XCTrim(std::wstring_view text) noexcept
{
    return TrimEnds(text, [](wchar_t unit) { return XCUnicode::IsSpace(unit); });
}

std::wstring_view XCTrim(std::wstring_view text, std::wstring_view set) noexcept
{
    return TrimEnds(text, [set](wchar_t unit) { return set.find(unit) != std::wstring_view::npos; });
}

std::vector<std::wstring_view> XCSplitViews(std::wstring_view text, std::wstring_view separator)
{
    std::vector<std::wstring_view> parts;
    xc::text::TextFinder finder(separator); // remembers what it compared in vain: linear for every separator
    // An empty separator fits everywhere and would never end: the text stays whole.
    while (!separator.empty()) {
        std::size_t const at = finder.Find(text.data(), text.size());
        if (at == text.size()) break;
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + separator.size());
    }
    parts.push_back(text);
    return parts;
}

std::vector<XCString> XCSplit(std::wstring_view text, std::wstring_view separator)
{
    std::vector<std::wstring_view> const views = XCSplitViews(text, separator);
    return {views.begin(), views.end()};
}

XCString XCToText(std::int64_t number)
{
    return xc::text::NumberText(number);
}

XCString XCToText(std::uint64_t number)
{
    return xc::text::NumberText(number);
}

XCString XCToText(double number)
{
    return xc::text::NumberText(number);
}

std::wistream& operator>>(std::wistream& in, XCString& text)
{
    // Read into a string of the standard library, whose stream operators keep width, flags and locale of the stream. A
    // read that fails leaves the text as it was.
    if (std::wstring word; in >> word) text.Assign(word);
    return in;
}

std::wistream& getline(std::wistream& in, XCString& text, wchar_t end)
{
    if (std::wstring line; std::getline(in, line, end)) text.Assign(line);
    return in;
}
