// A pattern and a text, split at the first U+0000: places and groups must agree with trying every place.
#include "input.h"

#include "../match/find_reference.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    auto const [pattern, rest] = Halves(Units(bytes, size));
    if (pattern.size() > 24) return;
    std::wstring const text = rest.substr(0, 24);
    XCParsedRegEx const parsed = XCStringRegExParser(XCString(pattern)).Parse();
    XCRegEx const expression(parsed, false, {64, 1u << 14});
    if (XCRegEx::DumpNodes(parsed).Length() > 4000) return; // counts unfolded: the reference would take minutes
    for (XCRegExPlace const& place : expression.FindAll(text)) {
        auto const groups = expression.FindGroups(text, place);
        auto const wanted = reference::Backtracker(text, place, expression.GetGroupCount()).Run(parsed);
        if (!wanted.empty() && groups != wanted) std::abort();
    }
    if (expression.Find(text) != reference::FindPlace(parsed, text, 0)) std::abort();
}
