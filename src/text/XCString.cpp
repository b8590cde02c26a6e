// The string itself: blocks, growth, editing and searching.
//
// Every change begins with ResizeCapacity, which gives the string a block of its own that is large enough. Capacity grows
// by half: appending n units one by one copies O(n) units in total and wastes at most a third of the block. Lengths are
// computed first, and what no string can hold is refused before anything is written, so a call that throws changes
// nothing. An argument may point into the string: such a change keeps the old text until its result is built.
//
// Replace builds its result in a new block from left to right. Only a replacement that is longer needs its hits counted
// before; otherwise the old length bounds the result. One unit that becomes a few is written without a branch a unit,
// because dense hits would make the branch unpredictable.
//
// Invariant: the unit at the length is 0; the empty block is never counted, written or freed.
#include <XelbrinCore/XCString.h>

#include "text/CaseTables.h"
#include "text/FindText.h"
#include "text/Kernels.h"
#include "text/PrintFormat.h"
#include "text/StringAccess.h"
#include "text/UnitSet.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

using xc::text::CopyUnits;
using xc::text::FindLastUnit;
using xc::text::FindText;
using xc::text::FindUnit;
using xc::text::TextLength;
using xc::text::UnitSet;

constinit bool XCUseFactory_ = false;
constinit bool XCUseMemoryPool_ = false;
constinit bool XCInitVar_ = false;

// Share count 1: any write through the empty block unshares first.
constinit XCStringStorage::EmptyDataDef XCStringStorage::glbEmptyData = {{0, 1, 0}, L'\0'};

static_assert(sizeof(XCString) == sizeof(void*));
static_assert(offsetof(XCString::EmptyDataDef, terminator) == sizeof(XCString::DataDef));

namespace {

/// The sum of lengths; too much for one string throws before anything has changed.
std::size_t SumOfLengths(std::size_t a, std::size_t b)
{
    if (a > XCString::kMaxLength || b > XCString::kMaxLength - a) throw std::length_error("XCString: text too long");
    return a + b;
}

// Replacing -----------------------------------------------------------------------------------------------------

std::size_t CountOf(std::wstring_view text, std::wstring_view wanted) noexcept
{
    if (wanted.size() == 1) return xc::text::CountUnit(text.data(), text.size(), wanted[0]);
    xc::text::TextFinder finder(wanted);
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
    for (; i + 4 < work.text.size(); ++i) {
        wchar_t const unit = work.text[i];
        std::uint64_t const hit = 0 - std::uint64_t{unit == oldUnit}; // all bits: no branch to be guessed wrong
        std::uint64_t const group = (replacement & hit) | (static_cast<std::uint16_t>(unit) & ~hit);
        std::memcpy(work.out, &group, sizeof group);
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

// Storage -------------------------------------------------------------------------------------------------------

XCStringStorage::DataDef* XCStringStorage::Alloc(std::size_t n)
{
    std::size_t const capacity = std::max<std::size_t>(n, 1);
    void* const memory = ::operator new(sizeof(DataDef) + (capacity + 1) * sizeof(wchar_t));
    auto* const data = ::new (memory) DataDef{static_cast<std::uint32_t>(capacity), 0, 0};
    data->Text()[0] = L'\0';
    return data;
}

// Never inlined: the compiler, which sees the static empty block in a list that moves its members, would warn that it is
// freed, not knowing its count.
[[gnu::noinline]] void XCStringStorage::Free(DataDef* data) noexcept
{
    ::operator delete(data);
}

// The terminator counts as the string's own: a text may begin there. Pointers into different blocks are compared by
// std::less, since < would not be defined for them.
bool XCString::Owns(wchar_t const* text) const noexcept
{
    std::less_equal<> const notAfter;
    return notAfter(m_data->Text(), text) && notAfter(text, m_data->Text() + m_data->length);
}

void XCString::SetLength(std::size_t n) noexcept
{
    assert(m_data->capacity != 0 && n <= m_data->capacity);
    m_data->length = static_cast<std::uint32_t>(n);
    m_data->Text()[n] = L'\0';
}

// Makes the block unique and large enough for n units. Growth is by half; unsharing keeps the size.
void XCString::ResizeCapacity(std::size_t n)
{
    // One unit more than the longest text: callers ask for the terminator's place with it.
    if (n > kMaxLength + 1) throw std::length_error("XCString: text too long");
    std::size_t const capacity = m_data->capacity;
    if (n <= capacity && !IsShared()) return;
    std::size_t wanted = capacity;
    if (capacity < n) wanted = std::min(std::max(n, capacity + capacity / 2), kMaxLength + 1);
    DataDef* const fresh = Alloc(wanted);
    CopyUnits(fresh->Text(), m_data->Text(), m_data->length);
    fresh->length = m_data->length;
    fresh->Text()[fresh->length] = L'\0';
    Unshare(std::exchange(m_data, fresh));
}

// Construction, assignment --------------------------------------------------------------------------------------

XCString::XCString(wchar_t const* text) : XCString(std::wstring_view(text ? text : L"")) {}

XCString::XCString(std::wstring const& text) : XCString(std::wstring_view(text)) {}

XCString::XCString(std::wstring_view text) : XCString()
{
    Assign(text.data(), text.size(), text.empty() ? 0 : SumOfLengths(text.size(), 1));
}

XCString::XCString(wchar_t unit) : XCString(unit, 1, 2) {}

XCString::XCString(wchar_t unit, std::size_t count, std::size_t reserve) : XCString()
{
    std::size_t const capacity = std::max(SumOfLengths(count, 0), reserve);
    if (capacity == 0) return;
    ResizeCapacity(capacity);
    std::fill_n(m_data->Text(), count, unit);
    SetLength(count);
}

XCString& XCString::operator=(wchar_t const* text)
{
    std::size_t const length = TextLength(text);
    return Assign(text, length, length == 0 ? 0 : SumOfLengths(length, 1));
}

XCString& XCString::operator=(wchar_t unit)
{
    return Assign(&unit, 1, 2);
}

XCString& XCString::Assign(wchar_t const* text, std::size_t count, std::size_t reserve)
{
    if (!text) count = 0;
    std::size_t const capacity = std::max(SumOfLengths(count, 0), reserve);
    // An empty text gives the memory back, as Clear does: assigning one never allocates.
    if (capacity == 0) {
        Clear();
        return *this;
    }
    if (capacity <= m_data->capacity && !IsShared()) { // in place; the text may lie in this very block
        if (count != 0) std::memmove(m_data->Text(), text, count * sizeof(wchar_t));
        SetLength(count);
        return *this;
    }
    // The old block stays until the new one is filled: the text may lie in it, and out of memory must change nothing.
    XCString fresh;
    fresh.ResizeCapacity(capacity);
    CopyUnits(fresh.m_data->Text(), text, count);
    fresh.SetLength(count);
    Swap(fresh);
    return *this;
}

void XCString::Reserve(std::size_t n)
{
    ResizeCapacity(n == 0 && m_data->capacity == 0 ? 1 : n);
}

// Changing ------------------------------------------------------------------------------------------------------

void XCString::Set(std::size_t pos, wchar_t unit)
{
    if (pos >= m_data->length) return;
    ResizeCapacity(m_data->length);
    m_data->Text()[pos] = unit;
}

XCString& XCString::Append(wchar_t const* text, std::size_t count)
{
    return text ? AppendUnits(text, count == 0 ? TextLength(text) : count) : *this;
}

XCString& XCString::Append(XCString const& text)
{
    return AppendUnits(text.AsWChar(), text.Length());
}

XCString& XCString::Append(std::wstring_view text)
{
    return AppendUnits(text.data(), text.size());
}

// The path of nearly all calls is kept to one comparison of room and one of the share count; all else is in
// AppendInNewBlock, out of the way of the instruction cache.
inline XCString& XCString::AppendUnits(wchar_t const* text, std::size_t count)
{
    DataDef* const data = m_data;
    std::size_t const length = data->length;
    if (count == 0) return *this;
    // A text of our own lies before the place, so the two never overlap; unless it takes the terminator with it.
    bool const takesOwnTerminator = text + count == data->Text() + length + 1;
    if (count >= data->capacity - length || takesOwnTerminator || IsShared()) {
        AppendInNewBlock(text, count);
        return *this;
    }
    CopyUnits(data->Text() + length, text, count);
    data->length = static_cast<std::uint32_t>(length + count);
    data->Text()[length + count] = L'\0';
    return *this;
}

void XCString::AppendInNewBlock(wchar_t const* text, std::size_t count)
{
    std::size_t const length = m_data->length;
    std::size_t const sum = SumOfLengths(length, count);
    XCString const hold = Owns(text) ? *this : XCString(); // the text survives the move to another block
    ResizeCapacity(sum + 1);
    CopyUnits(m_data->Text() + length, text, count);
    SetLength(sum);
}

XCString& XCString::AppendUnit(wchar_t unit)
{
    std::size_t const length = m_data->length;
    ResizeCapacity(SumOfLengths(length, 1) + 1);
    m_data->Text()[length] = unit;
    SetLength(length + 1);
    return *this;
}

XCString& XCString::Insert(std::size_t pos, wchar_t const* text)
{
    return InsertUnits(pos, text, TextLength(text));
}

XCString& XCString::Insert(std::size_t pos, XCString const& text)
{
    return InsertUnits(pos, text.AsWChar(), text.Length());
}

XCString& XCString::Insert(std::size_t pos, wchar_t unit)
{
    return InsertUnits(pos, &unit, 1);
}

XCString& XCString::InsertUnits(std::size_t pos, wchar_t const* text, std::size_t count)
{
    if (count == 0) return *this;
    std::size_t const length = m_data->length;
    pos = std::min(pos, length);
    std::size_t const sum = SumOfLengths(length, count);
    XCString const hold = Owns(text) ? *this : XCString(); // also forces a fresh block, so that `text` stays as it is
    ResizeCapacity(sum + 1);
    wchar_t* const place = m_data->Text() + pos;
    std::memmove(place + count, place, (length - pos) * sizeof(wchar_t));
    CopyUnits(place, text, count);
    SetLength(sum);
    return *this;
}

XCString& XCString::Remove(std::size_t pos, std::size_t count)
{
    std::size_t const length = m_data->length;
    if (pos >= length || count == 0) return *this;
    count = std::min(count, length - pos);
    if (count == length) {
        Clear();
        return *this;
    }
    ResizeCapacity(length);
    wchar_t* const place = m_data->Text() + pos;
    std::memmove(place, place + count, (length - pos - count) * sizeof(wchar_t));
    SetLength(length - count);
    return *this;
}

XCString XCString::SubStr(std::size_t pos, std::size_t count) const
{
    std::size_t const length = m_data->length;
    if (pos >= length || count == 0) return {};
    count = std::min(count, length - pos);
    // The whole text is shared rather than copied.
    if (count == length) return *this;
    return XCString(std::wstring_view(m_data->Text() + pos, count));
}

XCString& XCString::Replace(wchar_t const* oldText, wchar_t const* newText)
{
    return ReplaceUnits({oldText ? oldText : L"", TextLength(oldText)}, {newText ? newText : L"", TextLength(newText)});
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
    Swap(result);
    return *this;
}

XCString& XCString::Upper()
{
    // Unit by unit and in place: a mapping never changes the length of a text.
    if (IsNull()) return *this;
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

// Memory is kept on purpose in the calls that shorten: they are often followed by others that lengthen.
XCString& XCString::RemoveFront(std::size_t count)
{
    std::size_t const left = m_data->length - count;
    ResizeCapacity(m_data->length);
    std::memmove(m_data->Text(), m_data->Text() + count, left * sizeof(wchar_t));
    SetLength(left);
    return *this;
}

XCString& XCString::CutTo(std::size_t length)
{
    if (length == 0)
        Clear();
    else if (length < m_data->length) {
        ResizeCapacity(m_data->length);
        SetLength(length);
    }
    return *this;
}

XCString& XCString::LTrim(wchar_t unit, std::size_t pos)
{
    std::size_t const length = m_data->length;
    if (length == 0) return *this;
    std::size_t reached = std::min(pos, length - 1);
    while (reached < length && m_data->Text()[reached] == unit) ++reached;
    return reached == 0 ? *this : RemoveFront(reached);
}

XCString& XCString::LTrim(wchar_t const* set, std::size_t pos)
{
    if (!set || *set == L'\0') return *this;
    std::size_t const first = FindFirstNotOf(set, pos);
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

XCString& XCString::RTrim(wchar_t const* set, std::size_t pos)
{
    if (IsNull() || !set || *set == L'\0') return *this;
    std::size_t const last = FindLastNotOf(set, pos);
    return CutTo(last == npos ? 0 : last + 1);
}

// Searching -----------------------------------------------------------------------------------------------------

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
    std::size_t const end = std::min(start, length - wanted) + wanted; // of the last place that counts
    std::size_t const at = xc::text::FindLastText(m_data->Text(), end, text, wanted);
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

// Concatenation -------------------------------------------------------------------------------------------------

namespace {

XCString Join(std::wstring_view a, std::wstring_view b)
{
    XCString sum;
    std::size_t const length = SumOfLengths(a.size(), b.size());
    // One allocation for both parts; two empty ones share the empty block.
    if (length != 0) sum.Reserve(length + 1);
    sum.Append(a).Append(b);
    return sum;
}

std::wstring_view ViewOf(wchar_t const* text) noexcept
{
    return {text ? text : L"", TextLength(text)};
}

} // namespace

XCString operator+(XCString const& a, XCString const& b)
{
    return Join(a, b);
}
XCString operator+(XCString const& a, wchar_t const* b)
{
    return Join(a, ViewOf(b));
}
XCString operator+(wchar_t const* a, XCString const& b)
{
    return Join(ViewOf(a), b);
}
XCString operator+(XCString const& a, wchar_t b)
{
    return Join(a, {&b, 1});
}
// A sum of several parts grows the first temporary and copies none of what is already joined.
XCString operator+(XCString&& a, XCString const& b)
{
    return std::move(a.Append(b));
}
XCString operator+(XCString&& a, wchar_t const* b)
{
    return std::move(a.Append(b));
}
XCString operator+(XCString&& a, wchar_t b)
{
    return std::move(a += b);
}

std::wostream& operator<<(std::wostream& out, XCString const& text)
{
    return out << text.View();
}

// Formatting ----------------------------------------------------------------------------------------------------

XCString& XCString::FormatArguments(wchar_t const* format, va_list arguments)
{
    xc::text::ArgumentListSource source(arguments);
    xc::text::FormatInto(*this, format, source);
    return *this;
}

XCString& XCString::FormatArguments(wchar_t const* format, XCFormatArgs const& arguments)
{
    xc::text::TypedSource source(arguments);
    xc::text::FormatInto(*this, format, source);
    return *this;
}
