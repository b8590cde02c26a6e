// XCStdFormat.h - texts and values of this library in std::format, where the standard library has it.
//
// WHAT     XCString takes the format of a wide text ({:>20}); dates, times, durations, errors, identifiers and everything
//          else with AsString() are formatted as that text. Nothing is declared where the compiler has no <format>.
//
//              std::format(L"{} at {:>12}", order.name, order.day);
//
// COST     A view for a text, one AsString() for a value.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCString.h>

#if __has_include(<format>)
#include <format>
#endif

#if defined(__cpp_lib_format)
/// A text.
template <>
struct std::formatter<XCString, wchar_t> : std::formatter<std::wstring_view, wchar_t> {
    template <class Context>
    auto format(XCString const& text, Context& context) const
    {
        return std::formatter<std::wstring_view, wchar_t>::format(text.View(), context);
    }
};

/// A value with a text of its own.
template <class T>
requires(xc::text::HasOwnText<T> && !std::is_same_v<T, XCString>) struct std::formatter<T, wchar_t>
    : std::formatter<std::wstring_view, wchar_t> {
    template <class Context>
    auto format(T const& value, Context& context) const
    {
        XCString const text = value.AsString();
        return std::formatter<std::wstring_view, wchar_t>::format(text.View(), context);
    }
};
#endif
