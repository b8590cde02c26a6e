// XCStringSearch.h - a string searched and compared.
//
// WHAT     The members of XCString that look for units and texts in it, and that compare it. Each takes a literal, an
//          XCString, a std::wstring or a std::wstring_view; a text that is looked for, a set and the other text of a
//          comparison end at their first U+0000, whatever their length says.
// COST     Searching: linear in the lengths, also for periodic texts. Comparing: one pass. Nothing allocates, but a
//          comparison by mode or collator with a view, which copies the view.
// ERRORS   A position past the end is no error: searches answer npos.
// THREADS  Any threads may read one object.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCStringStorage.h>

#include <concepts>
#include <string>
#include <string_view>

class XCCollator;

namespace xc::text {

/// A text of the standard library.
template <class T>
concept StandardText = std::same_as<T, std::wstring_view> || std::same_as<T, std::wstring>;

/// The text up to its first U+0000.
constexpr std::wstring_view UpToZero(std::wstring_view text) noexcept
{
    return text.substr(0, text.find(L'\0'));
}
/// Null counts as empty.
constexpr std::wstring_view UpToZero(wchar_t const* text) noexcept
{
    return text ? std::wstring_view(text) : std::wstring_view();
}

} // namespace xc::text

/// The part of a string that is searched and compared (see the head of this file).
class XC_API XCStringSearch : public XCStringStorage {
public:
    // Searching: a position or npos -----------------------------------------------------------------------------

    /// The first place at or after start. An empty text is found at start, when that is not past the end.
    [[nodiscard]] std::size_t Find(wchar_t const* text, std::size_t start = 0) const;
    [[nodiscard]] std::size_t Find(wchar_t unit, std::size_t start = 0) const noexcept;
    [[nodiscard]] std::size_t Find(XCStringStorage const& text, std::size_t start = 0) const
    {
        return Find(text.AsWChar(), start);
    }
    template <xc::text::StandardText T>
    [[nodiscard]] std::size_t Find(T const& text, std::size_t start = 0) const
    {
        return FindUnits(xc::text::UpToZero(text), start);
    }
    /// The last place that begins at or before start.
    [[nodiscard]] std::size_t RFind(wchar_t const* text, std::size_t start = npos) const;
    [[nodiscard]] std::size_t RFind(wchar_t unit, std::size_t start = npos) const noexcept;
    [[nodiscard]] std::size_t RFind(XCStringStorage const& text, std::size_t start = npos) const
    {
        return RFind(text.AsWChar(), start);
    }
    template <xc::text::StandardText T>
    [[nodiscard]] std::size_t RFind(T const& text, std::size_t start = npos) const
    {
        return FindUnitsBackwards(xc::text::UpToZero(text), start);
    }
    /// The first unit at or after start that is in a list of units.
    [[nodiscard]] std::size_t FindFirstOf(wchar_t const* set, std::size_t start = 0) const
    {
        return FindInSet(xc::text::UpToZero(set), start, true);
    }
    [[nodiscard]] std::size_t FindFirstOf(std::wstring_view set, std::size_t start = 0) const
    {
        return FindInSet(xc::text::UpToZero(set), start, true);
    }
    /// The first unit at or after start that is not in the list.
    [[nodiscard]] std::size_t FindFirstNotOf(wchar_t const* set, std::size_t start = 0) const
    {
        return FindInSet(xc::text::UpToZero(set), start, false);
    }
    [[nodiscard]] std::size_t FindFirstNotOf(std::wstring_view set, std::size_t start = 0) const
    {
        return FindInSet(xc::text::UpToZero(set), start, false);
    }
    /// The last unit at or before start that is in the list.
    [[nodiscard]] std::size_t FindLastOf(wchar_t const* set, std::size_t start = npos) const
    {
        return FindLastInSet(xc::text::UpToZero(set), start, true);
    }
    [[nodiscard]] std::size_t FindLastOf(std::wstring_view set, std::size_t start = npos) const
    {
        return FindLastInSet(xc::text::UpToZero(set), start, true);
    }
    /// The last unit at or before start that is not in the list.
    [[nodiscard]] std::size_t FindLastNotOf(wchar_t const* set, std::size_t start = npos) const
    {
        return FindLastInSet(xc::text::UpToZero(set), start, false);
    }
    [[nodiscard]] std::size_t FindLastNotOf(std::wstring_view set, std::size_t start = npos) const
    {
        return FindLastInSet(xc::text::UpToZero(set), start, false);
    }

    // Comparing -------------------------------------------------------------------------------------------------

    /// -1, 0 or 1. Mode 0: code units as unsigned numbers up to the first terminator (a U+0000 inside ends the
    /// comparison). Mode bit 1 ignores case, bit 2 accents, both bits both (other bits are ignored).
    /// Null: 0 when this string is empty, otherwise -1 (a non-empty string sorts before a null text).
    [[nodiscard]] int Compare(wchar_t const* other, long mode = 0) const;
    [[nodiscard]] int Compare(XCStringStorage const& other, long mode = 0) const;
    template <xc::text::StandardText T>
    [[nodiscard]] int Compare(T const& other, long mode = 0) const
    {
        return CompareUnits(xc::text::UpToZero(other), mode);
    }
    /// By the collator; a null collator compares as mode 0.
    [[nodiscard]] int Compare(wchar_t const* other, XCSmartPtrToConst<XCCollator> const& collator) const;
    [[nodiscard]] int Compare(XCStringStorage const& other, XCSmartPtrToConst<XCCollator> const& collator) const
    {
        return Compare(other.AsWChar(), collator);
    }
    template <xc::text::StandardText T>
    [[nodiscard]] int Compare(T const& other, XCSmartPtrToConst<XCCollator> const& collator) const
    {
        return Compare(std::wstring(other).c_str(), collator);
    }
    /// Whether Compare with the same mode gives 0.
    [[nodiscard]] bool IsEqual(wchar_t const* other, long mode = 0) const { return Compare(other, mode) == 0; }
    [[nodiscard]] bool IsEqual(XCStringStorage const& other, long mode = 0) const { return Compare(other, mode) == 0; }
    template <xc::text::StandardText T>
    [[nodiscard]] bool IsEqual(T const& other, long mode = 0) const
    {
        return Compare(other, mode) == 0;
    }

protected:
    /// @cond
    using XCStringStorage::XCStringStorage;
    XCStringSearch() noexcept = default;
    XCStringSearch(XCStringSearch const&) noexcept = default;
    XCStringSearch(XCStringSearch&&) noexcept = default;
    ~XCStringSearch() = default;
    XCStringSearch& operator=(XCStringSearch const&) noexcept = default;
    XCStringSearch& operator=(XCStringSearch&&) noexcept = default;
    /// @endcond

private:
    [[nodiscard]] std::size_t FindUnits(std::wstring_view text, std::size_t start) const;
    [[nodiscard]] std::size_t FindUnitsBackwards(std::wstring_view text, std::size_t start) const;
    [[nodiscard]] std::size_t FindInSet(std::wstring_view set, std::size_t start, bool member) const;
    [[nodiscard]] std::size_t FindLastInSet(std::wstring_view set, std::size_t start, bool member) const;
    [[nodiscard]] int CompareUnits(std::wstring_view other, long mode) const;
};
