// XCStringParts.h - texts taken apart and put together, over views.
//
// WHAT     XCTrim, XCSplit and XCJoin; XCToText for numbers; reading of words and lines from streams.
//
//              for (std::wstring_view const part : XCSplitViews(L"a, b,c", L",")) Add(XCString(XCTrim(part)));
//              XCString const list = XCJoin(names, L"; ");
//
// VIEWS    Arguments are views: literals, XCString, std::wstring, parts of any of them; nothing is copied to look at them.
//          What is returned as a view lives as long as the text that was given.
// COST     One pass. XCJoin reserves once; XCToText is one allocation.
// ERRORS   No memory: std::bad_alloc. Streams as their own extractors do.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCStringValue.h>

#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

/// The text without white space (as XCUnicode has it) at both ends.
[[nodiscard]] XC_API std::wstring_view XCTrim(std::wstring_view text) noexcept;
/// Without the units of a set at both ends.
[[nodiscard]] XC_API std::wstring_view XCTrim(std::wstring_view text, std::wstring_view set) noexcept;

/// The parts between separators, empty ones included: n separators give n + 1 parts. An empty separator separates
/// nothing.
[[nodiscard]] XC_API std::vector<std::wstring_view> XCSplitViews(std::wstring_view text, std::wstring_view separator);
/// The same as texts of their own.
[[nodiscard]] XC_API std::vector<XCString> XCSplit(std::wstring_view text, std::wstring_view separator);

/// The texts of a range with a separator between each two.
template <class Range>
[[nodiscard]] XCString XCJoin(Range const& texts, std::wstring_view separator)
{
    XCString joined;
    std::size_t length = 0;
    for (auto const& text : texts) length += std::wstring_view(text).size() + separator.size();
    joined.Reserve(length + 1);
    bool first = true;
    for (auto const& text : texts) {
        if (!first) joined.Append(separator);
        joined.Append(std::wstring_view(text));
        first = false;
    }
    return joined;
}

/// The digits of a number in the invariant way; the shortest ones that read back to it.
[[nodiscard]] XC_API XCString XCToText(std::int64_t number);
[[nodiscard]] XC_API XCString XCToText(std::uint64_t number);
[[nodiscard]] XC_API XCString XCToText(double number);
/// The same for the other integers.
template <xc::text::PlainInteger N>
requires(!std::same_as<N, bool>) [[nodiscard]] XCString XCToText(N number)
{
    if constexpr (std::is_signed_v<N>)
        return XCToText(static_cast<std::int64_t>(number));
    else
        return XCToText(static_cast<std::uint64_t>(number));
}

/// Reads a word, as the extractor of std::wstring does.
XC_API std::wistream& operator>>(std::wistream& in, XCString& text);
/// Reads up to the end of a line, which is dropped, as std::getline does; a carriage return before it stays.
XC_API std::wistream& getline(std::wistream& in, XCString& text, wchar_t end = L'\n');
