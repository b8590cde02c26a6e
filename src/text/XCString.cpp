#include <XelbrinCore/XCString.h>

#include "text/Kernels.h"
#include "text/PrintFormat.h"
#include "text/Units.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

using xc::text::FindLastUnit;
using xc::text::FindText;
using xc::text::FindUnit;
using xc::text::ToUint;

constinit bool XCUseFactory_ = false;
constinit bool XCUseMemoryPool_ = false;
constinit bool XCInitVar_ = false;

// Share count 1: any write through the empty block unshares first.
constinit XCString::EmptyDataDef XCString::glbEmptyData = {{0, 1, 0}, L'\0'};

static_assert(sizeof(XCString) == sizeof(void*));
static_assert(offsetof(XCString::EmptyDataDef, terminator) == sizeof(XCString::DataDef));

namespace {

std::size_t TextLength(wchar_t const* text) noexcept
{
    return text ? std::char_traits<wchar_t>::length(text) : 0;
}

void CopyUnits(wchar_t* to, wchar_t const* from, std::size_t count) noexcept
{
    if (count != 0) std::memcpy(to, from, count * sizeof(wchar_t));
}

/// The sum of lengths; too much for one string throws before anything has changed.
std::size_t SumOfLengths(std::size_t a, std::size_t b)
{
    if (a > XCString::kMaxLength || b > XCString::kMaxLength - a) throw std::length_error("XCString: text too long");
    return a + b;
}

/// A NUL-terminated list of units as a set; short lists are searched, longer ones looked up in a bitmap.
class UnitSet {
public:
    explicit UnitSet(wchar_t const* list) noexcept : m_list(list), m_count(TextLength(list)) {}
    [[nodiscard]] bool IsEmpty() const noexcept { return m_count == 0; }
    [[nodiscard]] bool Has(wchar_t unit) const noexcept { return FindUnit(m_list, m_count, unit) != m_count; }

private:
    wchar_t const* m_list;
    std::size_t m_count;
};

} // namespace

// Storage -------------------------------------------------------------------------------------------------------

XCString::DataDef* XCString::Alloc(std::size_t n)
{
    std::size_t const capacity = std::max<std::size_t>(n, 1);
    void* const memory = ::operator new(sizeof(DataDef) + (capacity + 1) * sizeof(wchar_t));
    auto* const data = ::new (memory) DataDef{static_cast<std::uint32_t>(capacity), 0, 0};
    data->Text()[0] = L'\0';
    return data;
}

void XCString::Free(DataDef* data) noexcept
{
    ::operator delete(data);
}

bool XCString::IsShared() const noexcept
{
    return std::atomic_ref<std::int32_t>(m_data->shares).load(std::memory_order_acquire) > 0;
}

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
    if (capacity == 0) {
        Clear();
        return *this;
    }
    if (capacity <= m_data->capacity && !IsShared()) { // in place; the text may lie in this very block
        if (count != 0) std::memmove(m_data->Text(), text, count * sizeof(wchar_t));
        SetLength(count);
        return *this;
    }
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
    if (!text) return *this;
    return Append(std::wstring_view(text, count == 0 ? TextLength(text) : count));
}

XCString& XCString::Append(XCString const& text)
{
    return Append(text.View());
}

XCString& XCString::Append(std::wstring_view text)
{
    if (text.empty()) return *this;
    std::size_t const length = m_data->length;
    std::size_t const sum = SumOfLengths(length, text.size());
    XCString const hold = Owns(text.data()) ? *this : XCString(); // the text survives a move of the block
    ResizeCapacity(sum + 1);
    CopyUnits(m_data->Text() + length, text.data(), text.size());
    SetLength(sum);
    return *this;
}

XCString& XCString::operator+=(wchar_t unit)
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
    XCString const source = *this; // keeps the text, and arguments inside it, while the new one is built
    std::wstring_view const text = source.View();
    std::size_t const end = FindUnit(text.data(), text.size(), L'\0');
    auto const next = [&](std::size_t from) {
        return from + FindText(text.data() + from, end - from, oldText.data(), oldText.size());
    };
    std::size_t hits = 0;
    for (std::size_t at = next(0); at < end; at = next(at + oldText.size())) ++hits;
    if (hits == 0) return *this;
    std::size_t const kept = text.size() - hits * oldText.size();
    if (!newText.empty() && hits > (kMaxLength - kept) / newText.size())
        throw std::length_error("XCString: text too long");
    std::size_t const length = kept + hits * newText.size();
    if (length == 0) {
        Clear();
        return *this;
    }
    XCString result;
    result.ResizeCapacity(length + 1);
    wchar_t* out = result.m_data->Text();
    std::size_t from = 0;
    for (std::size_t at = next(0); at < end; at = next(from)) {
        CopyUnits(out, text.data() + from, at - from);
        out += at - from;
        CopyUnits(out, newText.data(), newText.size());
        out += newText.size();
        from = at + oldText.size();
    }
    CopyUnits(out, text.data() + from, text.size() - from);
    result.SetLength(length);
    Swap(result);
    return *this;
}

XCString& XCString::Upper()
{
    if (IsNull()) return *this;
    ResizeCapacity(m_data->length);
    for (std::size_t i = 0; i < m_data->length; ++i) m_data->Text()[i] = XCtowupper(m_data->Text()[i]);
    return *this;
}

XCString& XCString::Lower()
{
    if (IsNull()) return *this;
    ResizeCapacity(m_data->length);
    for (std::size_t i = 0; i < m_data->length; ++i) m_data->Text()[i] = XCtowlower(m_data->Text()[i]);
    return *this;
}

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
    UnitSet const units(set);
    if (units.IsEmpty()) return *this;
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
    if (IsNull() || UnitSet(set).IsEmpty()) return *this;
    std::size_t const last = FindLastNotOf(set, pos);
    return CutTo(last == npos ? 0 : last + 1);
}

// Searching -----------------------------------------------------------------------------------------------------

std::size_t XCString::Find(wchar_t const* text, std::size_t start) const
{
    std::size_t const length = m_data->length;
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
    return text ? View().rfind(std::wstring_view(text), start) : npos;
}

std::size_t XCString::RFind(wchar_t unit, std::size_t start) const noexcept
{
    std::size_t const length = m_data->length;
    if (length == 0) return npos;
    std::size_t const count = std::min(start, length - 1) + 1;
    std::size_t const at = FindLastUnit(m_data->Text(), count, unit);
    return at < count ? at : npos;
}

std::size_t XCString::FindFirstOf(wchar_t const* set, std::size_t start) const
{
    UnitSet const units(set);
    for (std::size_t i = start; i < m_data->length; ++i)
        if (units.Has(m_data->Text()[i])) return i;
    return npos;
}

std::size_t XCString::FindFirstNotOf(wchar_t const* set, std::size_t start) const
{
    UnitSet const units(set);
    for (std::size_t i = start; i < m_data->length; ++i)
        if (!units.Has(m_data->Text()[i])) return i;
    return npos;
}

std::size_t XCString::FindLastOf(wchar_t const* set, std::size_t start) const
{
    UnitSet const units(set);
    for (std::size_t i = IsNull() ? 0 : std::min(start, Length() - 1) + 1; i-- > 0;)
        if (units.Has(m_data->Text()[i])) return i;
    return npos;
}

std::size_t XCString::FindLastNotOf(wchar_t const* set, std::size_t start) const
{
    UnitSet const units(set);
    for (std::size_t i = IsNull() ? 0 : std::min(start, Length() - 1) + 1; i-- > 0;)
        if (!units.Has(m_data->Text()[i])) return i;
    return npos;
}

// Concatenation -------------------------------------------------------------------------------------------------

namespace {

XCString Join(std::wstring_view a, std::wstring_view b)
{
    XCString sum;
    std::size_t const length = SumOfLengths(a.size(), b.size());
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

XCString& XCString::Format(wchar_t const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    // Reading a format may throw (no memory, too long); va_end has no effect on this platform, but is owed.
    struct End {
        va_list& list;
        ~End() { va_end(list); }
    } const end{arguments};
    return FormatArguments(format, arguments);
}
