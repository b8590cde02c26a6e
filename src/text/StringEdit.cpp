// The changes of a string that look at its units first: replacing, case and trimming.
//
// Replace builds its result in a new block from left to right. Only a replacement that is longer needs its hits counted
// before; otherwise the old length bounds the result. One unit that becomes a few is written without a branch a unit,
// because dense hits would make the branch unpredictable. Trimming measures first and changes nothing when there is
// nothing to cut, so that a text which is clean already stays shared; case is mapped in place, since a mapping never
// changes the length. Memory is kept by all of them but Replace, which ends with the block of its result.
#include <XelbrinCore/XCString.h>

#include "text/CaseTables.h"
#include "text/FindText.h"
#include "text/Kernels.h"
#include "text/StringAccess.h"
#include "text/Units.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

using xc::text::CopyUnits;
using xc::text::FindText;
using xc::text::FindUnit;
using xc::text::TextLength;
using xc::text::ToUint;

namespace {

std::size_t CountOf(std::wstring_view text, std::wstring_view wanted) noexcept
{
    if (wanted.size() == 1) return xc::text::CountUnit(text.data(), text.size(), wanted[0]);
    xc::text::TextFinder finder(wanted);
    // Hits do not overlap: the search goes on after each, as the replacement does.
    for (std::size_t hits = 0;; ++hits) {
        std::size_t const at = finder.Find(text.data(), text.size());
        if (at == text.size()) return hits;
        text.remove_prefix(at + wanted.size());
    }
}

/// Where hits are dense, a decision a unit costs less than a search a hit: each unit is written as one group of four,
/// the new text or the unit itself. Reads and writes stay four units away from the ends; returns what is left to do.
struct UnitGroups {
    wchar_t* out;
    std::wstring_view text;
};
UnitGroups ReplaceInGroups(UnitGroups work, wchar_t oldUnit, std::wstring_view newText) noexcept
{
    std::uint64_t replacement = 0;
    std::memcpy(&replacement, newText.data(), newText.size() * sizeof(wchar_t));
    std::size_t i = 0;
    // Five units at least are left here, so that the four that are written stay within the result, which has room for
    // one for each of them.
    for (; i + 4 < work.text.size(); ++i) {
        wchar_t const unit = work.text[i];
        std::uint64_t const hit = 0 - std::uint64_t{unit == oldUnit}; // all bits: no branch to be guessed wrong
        std::uint64_t const group = (replacement & hit) | (static_cast<std::uint16_t>(unit) & ~hit);
        std::memcpy(work.out, &group, sizeof group);
        // Four units are always stored, the place moves by what counts: the next group writes over the rest.
        work.out += 1 + (hit & (newText.size() - 1));
    }
    work.text.remove_prefix(i);
    return work;
}

/// Writes `text` with every hit replaced; returns the end of what was written.
wchar_t* BuildReplaced(wchar_t* out, std::wstring_view text, std::wstring_view oldText, std::wstring_view newText)
{
    if (oldText.size() == 1 && !newText.empty() && newText.size() <= 4) {
        UnitGroups const rest = ReplaceInGroups({out, text}, oldText[0], newText);
        out = rest.out;
        text = rest.text;
    }
    xc::text::TextFinder finder(oldText);
    for (;;) {
        std::size_t const at = finder.Find(text.data(), text.size());
        CopyUnits(out, text.data(), at);
        out += at;
        if (at == text.size()) return out;
        CopyUnits(out, newText.data(), newText.size());
        out += newText.size();
        text.remove_prefix(at + oldText.size());
    }
}

} // namespace

XCString& XCString::Replace(wchar_t const* oldText, wchar_t const* newText)
{
    return ReplaceUnits(xc::text::UpToZero(oldText), xc::text::UpToZero(newText));
}

XCString& XCString::Replace(XCString const& oldText, XCString const& newText)
{
    return Replace(oldText.AsWChar(), newText.AsWChar());
}

XCString& XCString::ReplaceUnits(std::wstring_view oldText, std::wstring_view newText)
{
    if (oldText.empty()) return *this;
    std::wstring_view const whole = View();
    // Hits are looked for up to the first zero, as everywhere in this call's arguments; units after it are carried
    // along.
    std::wstring_view const text = whole.substr(0, FindUnit(whole.data(), whole.size(), L'\0'));
    std::size_t const first = FindText(text.data(), text.size(), oldText.data(), oldText.size());
    if (first == text.size()) return *this;
    // Where the text cannot grow it serves as the bound of the result, and the hits need not be counted.
    std::size_t bound = whole.size();
    if (newText.size() > oldText.size()) {
        std::size_t const hits = CountOf(text, oldText);
        // Asked as a division, since the product could wrap.
        if (hits > (kMaxLength - whole.size()) / (newText.size() - oldText.size()))
            throw std::length_error("XCString: text too long");
        bound += hits * (newText.size() - oldText.size());
    }
    XCString result;
    result.ResizeCapacity(bound + 1);
    wchar_t* out = BuildReplaced(result.m_data->Text(), text, oldText, newText);
    CopyUnits(out, text.data() + text.size(), whole.size() - text.size());
    out += whole.size() - text.size();
    xc::text::StringAccess::SetLength(result, static_cast<std::size_t>(out - result.m_data->Text()));
    // The old block lives to here: both arguments may point into it.
    Swap(result);
    return *this;
}

XCString& XCString::Upper()
{
    // Unit by unit and in place: a mapping never changes the length of a text.
    if (IsNull()) return *this;
    // The block becomes the string's own first: other strings may share it.
    ResizeCapacity(m_data->length);
    xc::text::MapUpper(m_data->Text(), m_data->Text(), m_data->length);
    return *this;
}

XCString& XCString::Lower()
{
    if (IsNull()) return *this;
    ResizeCapacity(m_data->length);
    xc::text::MapLower(m_data->Text(), m_data->Text(), m_data->length);
    return *this;
}

/// A block of the string's own as large as the shared one, with a part of its text: what goes is not copied first.
void XCString::CopyOwn(std::size_t pos, std::size_t count)
{
    DataDef* const fresh = Alloc(m_data->capacity);
    CopyUnits(fresh->Text(), m_data->Text() + pos, count);
    fresh->length = static_cast<std::uint32_t>(count);
    fresh->Text()[count] = L'\0';
    Unshare(std::exchange(m_data, fresh));
}

// Memory is kept on purpose in the calls that shorten: they are often followed by others that lengthen.
XCString& XCString::RemoveFront(std::size_t count)
{
    std::size_t const left = m_data->length - count;
    if (IsShared()) {
        CopyOwn(count, left);
    } else {
        CopyUnits(m_data->Text(), m_data->Text() + count, left);
        SetLength(left);
    }
    return *this;
}

XCString& XCString::CutTo(std::size_t length)
{
    if (length == 0)
        Clear();
    else if (length < m_data->length) {
        if (IsShared())
            CopyOwn(0, length);
        else
            SetLength(length);
    }
    return *this;
}

namespace {

/// Trimming ends after a unit or two as a rule, and a set costs more to set up than that many looks at its list. Only a
/// run that goes on, or a long list, is worth one.
constexpr std::size_t kWorthASet = 8;

/// A few units to look others up in: those below 64, as nearly all that are trimmed, by a bit.
class ShortList {
public:
    explicit ShortList(std::wstring_view list) noexcept : m_list(list)
    {
        for (wchar_t const member : list) {
            if (ToUint(member) < 64)
                m_bits |= std::uint64_t{1} << ToUint(member);
            else
                m_hasOthers = true;
        }
    }
    [[nodiscard]] bool Has(wchar_t unit) const noexcept
    {
        if (ToUint(unit) < 64) return (m_bits >> ToUint(unit) & 1) != 0;
        return m_hasOthers && m_list.find(unit) != std::wstring_view::npos;
    }

private:
    std::wstring_view m_list;
    std::uint64_t m_bits = 0;
    bool m_hasOthers = false;
};

/// As FindFirstNotOf.
std::size_t FirstUnlisted(XCString const& text, std::wstring_view list, std::size_t pos) noexcept
{
    if (list.size() > kWorthASet) return text.FindFirstNotOf(list, pos);
    ShortList const units(list);
    for (std::size_t const stop = pos < text.Length() ? std::min(text.Length() - pos, kWorthASet) + pos : pos;
         pos < stop; ++pos)
        if (!units.Has(text.AsWChar()[pos])) return pos;
    return text.FindFirstNotOf(list, pos);
}

/// As FindLastNotOf, for a text that is not empty.
std::size_t LastUnlisted(XCString const& text, std::wstring_view list, std::size_t pos) noexcept
{
    if (list.size() > kWorthASet) return text.FindLastNotOf(list, pos);
    ShortList const units(list);
    pos = std::min(pos, text.Length() - 1);
    for (std::size_t looks = 0; looks < kWorthASet; ++looks, --pos) {
        if (!units.Has(text.AsWChar()[pos])) return pos;
        if (pos == 0) return XCString::npos;
    }
    return text.FindLastNotOf(list, pos);
}

} // namespace

XCString& XCString::LTrim(wchar_t unit, std::size_t pos)
{
    std::size_t const length = m_data->length;
    if (length == 0) return *this;
    // Whatever stands before the place goes with the run.
    std::size_t reached = std::min(pos, length - 1);
    while (reached < length && m_data->Text()[reached] == unit) ++reached;
    return reached == 0 ? *this : RemoveFront(reached);
}

XCString& XCString::TrimLeft(std::wstring_view set, std::size_t pos)
{
    if (set.empty()) return *this;
    std::size_t const first = FirstUnlisted(*this, set, pos);
    if (first == npos) {
        Clear();
        return *this;
    }
    return first == 0 ? *this : RemoveFront(first);
}

XCString& XCString::RTrim(wchar_t unit, std::size_t pos)
{
    std::size_t const length = m_data->length;
    if (length == 0) return *this;
    std::size_t const last = std::min(pos, length - 1);
    std::size_t run = 0;
    while (run <= last && m_data->Text()[last - run] == unit) ++run;
    // A text that is nothing but the unit goes whole, wherever the count began.
    if (run == last + 1 && FindFirstNotOf(XCString(unit).AsWChar(), last) == npos) run = length;
    return run == 0 ? *this : CutTo(length - run);
}

XCString& XCString::TrimRight(std::wstring_view set, std::size_t pos)
{
    if (IsNull() || set.empty()) return *this;
    std::size_t const last = LastUnlisted(*this, set, pos);
    return CutTo(last == npos ? 0 : last + 1);
}
