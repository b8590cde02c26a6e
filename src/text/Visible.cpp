// A text as a line of a message shows it: without blanks and line ends at its end, controls and lone surrogates
// escaped. A text that needs no change is copied as it is, which shares its block when it was a string.
//
// Messages are read by people and scanned by programs; neither should see a line that a file name has broken. Half
// pairs are escaped as well, because many encodings cannot show them and would lose the whole line. Cost: one pass
// over the text, and no allocation but that of the result.
#include "text/Visible.h"

#include "text/LineText.h"
#include "text/Units.h"

#include <string>

namespace xc::text {

namespace {

/// Whether the unit at a place is half of a pair without its other half.
bool IsLone(std::wstring_view text, std::size_t at) noexcept
{
    if (IsHighSurrogate(text[at])) return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
    return IsLowSurrogate(text[at]) && (at == 0 || !IsHighSurrogate(text[at - 1]));
}

/// A lone half is asked for after the units that shape lines, which are found without a look at the neighbours.
bool IsHidden(std::wstring_view text, std::size_t at) noexcept
{
    return ShapesLines(text[at]) || IsLone(text, at);
}

std::wstring_view WithoutEnd(std::wstring_view text) noexcept
{
    while (!text.empty() && (IsBlank(text.back()) || text.back() == L'\n' || text.back() == L'\r'))
        text.remove_suffix(1);
    return text;
}

} // namespace

XCString Visible(std::wstring_view text)
{
    text = WithoutEnd(text);
    std::size_t at = 0;
    while (at < text.size() && !IsHidden(text, at)) ++at;
    // Nothing to escape: the usual text, which is not built unit by unit.
    if (at == text.size()) return XCString(text);
    std::wstring shown(text.substr(0, at));
    for (; at < text.size(); ++at) {
        if (IsHidden(text, at))
            AppendEscape(shown, text[at]);
        else
            shown.push_back(text[at]);
    }
    return XCString(std::wstring_view(shown));
}

} // namespace xc::text
