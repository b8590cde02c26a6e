// Searching a string: for texts, for units, and for units of a set; forwards and backwards.
//
// The searches themselves are those of FindText, Kernels and UnitSet, which know a block of units and nothing of
// strings and answer its length for "not found". What stands here is the meaning of a start: past the end nothing is
// found; a search backwards begins at the start or at the last place a hit can begin at, whichever comes first; and an
// empty text is found at the start itself, so that a loop over hits can treat it like any other. A set is prepared
// once a call: its cost is that of its own length, and each unit of the text then costs one look.
#include <XelbrinCore/XCString.h>

#include "text/FindText.h"
#include "text/Kernels.h"
#include "text/UnitSet.h"

#include <algorithm>

using xc::text::FindLastUnit;
using xc::text::FindText;
using xc::text::FindUnit;
using xc::text::TextLength;
using xc::text::UnitSet;

std::size_t XCStringSearch::Find(wchar_t const* text, std::size_t start) const
{
    return text ? FindUnits({text, TextLength(text)}, start) : npos;
}

std::size_t XCStringSearch::FindUnits(std::wstring_view text, std::size_t start) const
{
    std::size_t const length = m_data->length;
    // An empty text is found at every place, the end included, and nowhere past it.
    if (start > length) return npos;
    if (text.empty()) return start;
    std::size_t const at = start + FindText(m_data->Text() + start, length - start, text.data(), text.size());
    return at < length ? at : npos;
}

std::size_t XCStringSearch::Find(wchar_t unit, std::size_t start) const noexcept
{
    std::size_t const length = m_data->length;
    if (start >= length) return npos;
    std::size_t const at = start + FindUnit(m_data->Text() + start, length - start, unit);
    return at < length ? at : npos;
}

std::size_t XCStringSearch::RFind(wchar_t const* text, std::size_t start) const
{
    return text ? FindUnitsBackwards({text, TextLength(text)}, start) : npos;
}

std::size_t XCStringSearch::FindUnitsBackwards(std::wstring_view text, std::size_t start) const
{
    std::size_t const length = m_data->length;
    if (text.size() > length) return npos;
    // A hit that begins at the start may reach past it.
    std::size_t const end = std::min(start, length - text.size()) + text.size(); // of the last place that counts
    std::size_t const at = xc::text::FindLastText(m_data->Text(), end, text.data(), text.size());
    // An empty text is found at the end of what counts, which is a place like any other.
    return text.empty() || at < end ? at : npos;
}

std::size_t XCStringSearch::RFind(wchar_t unit, std::size_t start) const noexcept
{
    std::size_t const length = m_data->length;
    if (length == 0) return npos;
    std::size_t const count = std::min(start, length - 1) + 1;
    std::size_t const at = FindLastUnit(m_data->Text(), count, unit);
    return at < count ? at : npos;
}

std::size_t XCStringSearch::FindInSet(std::wstring_view set, std::size_t start, bool member) const
{
    std::size_t const length = m_data->length;
    if (start >= length) return npos;
    std::size_t const at = start + UnitSet(set).FindFirst(m_data->Text() + start, length - start, member);
    return at < length ? at : npos;
}

std::size_t XCStringSearch::FindLastInSet(std::wstring_view set, std::size_t start, bool member) const
{
    std::size_t const length = m_data->length;
    if (length == 0) return npos;
    std::size_t const count = std::min(start, length - 1) + 1;
    std::size_t const at = UnitSet(set).FindLast(m_data->Text(), count, member);
    return at < count ? at : npos;
}
