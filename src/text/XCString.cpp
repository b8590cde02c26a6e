// The string itself: blocks, growth, and the changes that put units in or take them out by place.
//
// Every change begins with ResizeCapacity, which gives the string a block of its own that is large enough. Capacity grows
// by half: appending n units one by one copies O(n) units in total and wastes at most a third of the block. Lengths are
// computed first, and what no string can hold is refused before anything is written, so a call that throws changes
// nothing. An argument may point into the string: such a change keeps the old text until its result is built.
//
// A block has BlockSize(capacity) bytes, by which the thread's reserve knows it: who changes the one keeps the other true.
//
// Invariant: the unit at the length is 0; the empty block is never counted, written or freed.
#include <XelbrinCore/XCString.h>

#include "text/Kernels.h"
#include "text/PrintFormat.h"
#include "text/StringAccess.h"
#include "win32/BlockReserve.h"
#include "win32/GrowBlock.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

using xc::text::CopyUnits;
using xc::text::StringAccess;
using xc::text::TextLength;
using xc::win32::BlockReserve;

// Switches of former releases. Modules that were built with them still set them; nothing reads them.
constinit bool XCUseFactory_ = false;
constinit bool XCUseMemoryPool_ = false;
constinit bool XCInitVar_ = false;

// Share count 1: any write through the empty block unshares first.
constinit XCStringStorage::EmptyDataDef XCStringStorage::glbEmptyData = {{0, 1, 0}, L'\0'};

static_assert(sizeof(XCString) == sizeof(void*));
static_assert(offsetof(XCString::EmptyDataDef, terminator) == sizeof(XCString::DataDef));

namespace {

/// From here on copying a block costs more than asking the heap in vain whether it can grow where it stands.
constexpr std::size_t kWorthGrowing = 512;

/// The bytes that a block is made of. Heaps hand out steps of 16 bytes and keep 8 for themselves: to ask for the whole step
/// costs nothing, and a short text that grows finds its next capacity in the block that it has.
constexpr std::size_t BlockSize(std::size_t capacity) noexcept
{
    constexpr std::size_t kStep = BlockReserve::kStep;
    constexpr std::size_t kKept = 8;
    std::size_t const used = sizeof(XCString::DataDef) + (capacity + 1) * sizeof(wchar_t);
    return (used + kKept - 1) / kStep * kStep + kKept;
}
static_assert(BlockSize(1) == BlockReserve::kLeast && BlockSize(5) == 24 && BlockSize(6) == 40);

/// The sum of lengths; too much for one string throws before anything has changed.
std::size_t SumOfLengths(std::size_t a, std::size_t b)
{
    if (a > XCString::kMaxLength || b > XCString::kMaxLength - a) throw std::length_error("XCString: text too long");
    return a + b;
}

} // namespace

// Storage -------------------------------------------------------------------------------------------------------

XCStringStorage::DataDef* XCStringStorage::Alloc(std::size_t n)
{
    std::size_t const capacity = std::max<std::size_t>(n, 1);
    std::size_t const size = BlockSize(capacity);
    void* memory = nullptr;
    if (BlockReserve::IsFor(size))
        if (BlockReserve* const reserve = xc::win32::OwnReserve()) memory = reserve->Take(size);
    if (!memory) memory = ::operator new(size);
    auto* const data = ::new (memory) DataDef{static_cast<std::uint32_t>(capacity), 0, 0};
    // A block is a valid empty text from its first moment.
    data->Text()[0] = L'\0';
    return data;
}

// Never inlined: the compiler, which sees the static empty block in a list that moves its members, would warn that it is
// freed, not knowing its count.
[[gnu::noinline]] void XCStringStorage::Free(DataDef* data) noexcept
{
    std::size_t const size = BlockSize(data->capacity);
    if (BlockReserve::IsFor(size)) {
        BlockReserve* const reserve = xc::win32::OwnReserve();
        if (reserve && reserve->Keep(data, size)) return;
    }
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
    // The empty block counts as shared, so it always takes a way below.
    if (n <= capacity) {
        if (IsShared()) CopyOwn(0, m_data->length);
        return;
    }
    std::size_t const wanted = std::min(std::max(n, capacity + capacity / 2), kMaxLength + 1);
    if (!IsShared() && (BlockSize(wanted) == BlockSize(capacity) ||
                        (capacity >= kWorthGrowing && xc::win32::GrowInPlace(m_data, BlockSize(wanted)))))
    {
        m_data->capacity = static_cast<std::uint32_t>(wanted);
        return;
    }
    // A shared block stays as it is for its other owners. This string gives up its share at the end, when nothing can
    // fail.
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
    if (text.empty()) return;
    (void)SumOfLengths(text.size(), 1); // a copied text has room for one unit more
    CopyUnits(StringAccess::Start(*this, text.size()), text.data(), text.size());
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
        CopyUnits(m_data->Text(), text, count);
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

/// Even for nothing the string gets a block of its own: callers write into it next, and the empty block is everybody's.
void XCString::Reserve(std::size_t n)
{
    ResizeCapacity(n == 0 && m_data->capacity == 0 ? 1 : n);
}

// Changing ------------------------------------------------------------------------------------------------------

void XCString::Set(std::size_t pos, wchar_t unit)
{
    // A position past the end is no error anywhere in this class; here there is nothing to change.
    if (pos >= m_data->length) return;
    ResizeCapacity(m_data->length);
    m_data->Text()[pos] = unit;
}

// Nearly all calls append a few units where there is room: they are answered here, with one comparison of room and one of
// the share count. What calls on stands apart, so that this way keeps no register for it.
XCString& XCString::AppendAny(wchar_t const* text, std::size_t count)
{
    DataDef* const data = m_data;
    std::size_t const length = data->length;
    if (count - 1 >= xc::text::kFewUnits || !HasRoomFor(text, count)) [[unlikely]]
        return text ? AppendUnits(text, count == 0 ? TextLength(text) : count) : *this;
    xc::text::CopyFewUnits(data->Text() + length, text, count);
    data->length = static_cast<std::uint32_t>(length + count);
    data->Text()[length + count] = L'\0';
    return *this;
}

XCString& XCString::Append(XCString const& text)
{
    return text.IsNull() ? *this : Append(text.AsWChar(), text.Length());
}

XCString& XCString::Append(std::wstring_view text)
{
    return text.empty() ? *this : Append(text.data(), text.size());
}

[[gnu::noinline]] XCString& XCString::AppendUnits(wchar_t const* text, std::size_t count)
{
    if (count == 0) return *this;
    if (!HasRoomFor(text, count)) {
        AppendInNewBlock(text, count);
        return *this;
    }
    std::size_t const length = m_data->length;
    CopyUnits(m_data->Text() + length, text, count);
    SetLength(length + count);
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
    // Nothing is left: the block goes back, or to its other owners, instead of being copied.
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

// Concatenation -------------------------------------------------------------------------------------------------

namespace {

XCString Join(std::wstring_view a, std::wstring_view b)
{
    XCString sum;
    std::size_t const length = SumOfLengths(a.size(), b.size());
    // One allocation for both parts; two empty ones share the empty block.
    if (length == 0) return sum;
    wchar_t* const units = StringAccess::Start(sum, length);
    CopyUnits(units, a.data(), a.size());
    CopyUnits(units + a.size(), b.data(), b.size());
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
    if (xc::text::FormatSimply(*this, format, arguments)) return *this;
    xc::text::TypedSource source(arguments);
    xc::text::FormatInto(*this, format, source);
    return *this;
}
