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

std::size_t XCString::Find(wchar_t const* text, std::size_t start) const
{
    std::size_t const length = m_data->length;
    // An empty text is found at every place, the end included, and nowhere past it.
    if (!text || start > length) return npos;
    std::size_t const wanted = TextLength(text);
    if (wanted == 0) return start;
    std::size_t const at = start + FindText(m_data->Text() + start, length - start, text, wanted);
    return at < length ? at : npos;
}

std::size_t XCString::Find(wchar_t unit, std::size_t start) const noexcept
{
    std::size_t const length = m_data->length;
    if (start >= length) return npos;
    std::size_t const at = start + FindUnit(m_data->Text() + start, length - start, unit);
    return at < length ? at : npos;
}

std::size_t XCString::RFind(wchar_t const* text, std::size_t start) const
{
    std::size_t const wanted = TextLength(text);
    std::size_t const length = m_data->length;
    if (!text || wanted > length) return npos;
    // A hit that begins at the start may reach past it.
    std::size_t const end = std::min(start, length - wanted) + wanted; // of the last place that counts
    std::size_t const at = xc::text::FindLastText(m_data->Text(), end, text, wanted);
    // An empty text is found at the end of what counts, which is a place like any other.
    return wanted == 0 || at < end ? at : npos;
}

std::size_t XCString::RFind(wchar_t unit, std::size_t start) const noexcept
{
    std::size_t const length = m_data->length;
    if (length == 0) return npos;
    std::size_t const count = std::min(start, length - 1) + 1;
    std::size_t const at = FindLastUnit(m_data->Text(), count, unit);
    return at < count ? at : npos;
}

std::size_t XCString::FindInSet(wchar_t const* set, std::size_t start, bool member) const
{
    std::size_t const length = m_data->length;
    if (start >= length) return npos;
    std::size_t const at = start + UnitSet(set).FindFirst(m_data->Text() + start, length - start, member);
    return at < length ? at : npos;
}

std::size_t XCString::FindLastInSet(wchar_t const* set, std::size_t start, bool member) const
{
    std::size_t const length = m_data->length;
    if (length == 0) return npos;
    std::size_t const count = std::min(start, length - 1) + 1;
    std::size_t const at = UnitSet(set).FindLast(m_data->Text(), count, member);
    return at < count ? at : npos;
}

std::size_t XCString::FindFirstOf(wchar_t const* set, std::size_t start) const
{
    return FindInSet(set, start, true);
}

std::size_t XCString::FindFirstNotOf(wchar_t const* set, std::size_t start) const
{
    return FindInSet(set, start, false);
}

std::size_t XCString::FindLastOf(wchar_t const* set, std::size_t start) const
{
    return FindLastInSet(set, start, true);
}

std::size_t XCString::FindLastNotOf(wchar_t const* set, std::size_t start) const
{
    return FindLastInSet(set, start, false);
}
