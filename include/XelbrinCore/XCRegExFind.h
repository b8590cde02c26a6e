// XCRegExFind.h - a place in a text, and the reading of named fields of a line.
//
// WHAT     XCRegExPlace is what XCRegEx::Find answers with. XCRegExFields takes a line apart by one pattern and reads
//          its groups, by name, into texts, numbers, dates and everything else that has FromString.
//
//              XCRegExFields const line(L"([0-9/]+ [0-9:.]+) ([A-Z]+) .* in ([0-9]+) ms", {L"time", L"level", L"ms"});
//              XCDateTimeEx time;
//              long ms = 0;
//              if (line.Read(text, XCField(L"time", time), XCField(L"ms", ms))) ...
//
// COST     Linear in the line for every pattern; see docs/finding.md.
// ERRORS   A line that does not match, and a field that cannot be read, are told by the result. An invalid pattern
//          matches no line. Out of memory: std::bad_alloc.
// THREADS  Any number of threads may read with one object.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

class XCRegEx;

/// A stretch of a text: the units from begin up to, not including, end.
struct XCRegExPlace {
    static constexpr std::size_t npos = static_cast<std::size_t>(-1); ///< no position

    std::size_t begin = npos; ///< The first unit.
    std::size_t end = npos;   ///< The unit after the last one.

    /// Whether there is a place; an empty one is a place, too.
    [[nodiscard]] bool IsFound() const noexcept { return begin != npos && end != npos; }
    /// The number of units; 0 where there is no place.
    [[nodiscard]] std::size_t Length() const noexcept { return IsFound() ? end - begin : 0; }
    /// The units of the place; empty where there is none. @param text the text that was searched.
    [[nodiscard]] std::wstring_view In(std::wstring_view text) const noexcept
    {
        return IsFound() ? text.substr(begin, end - begin) : std::wstring_view();
    }
    friend bool operator==(XCRegExPlace const&, XCRegExPlace const&) = default;
};

/// A field of a line and the variable that takes its value.
template <class T>
struct XCField {
    wchar_t const* name; ///< One of the names of the fields.
    T& value;            ///< Changed when the field can be read.

    /// The variable must live until the line is read.
    XCField(wchar_t const* fieldName, T& variable) noexcept : name(fieldName), value(variable) {}
};

/// How the reading of a line went.
struct XCFieldsResult {
    bool matched = false; ///< The whole line matches the pattern.
    XCString failed;      ///< The first field that could not be read; empty when all were.

    /// Whether everything was read.
    explicit operator bool() const noexcept { return matched && failed.IsNull(); }
};

/// A pattern whose groups have names.
class XC_API XCRegExFields {
public:
    /// @param names of the groups, in the order of their opening parentheses; an empty name is never asked for.
    XCRegExFields(XCString const& pattern, std::initializer_list<wchar_t const*> names);
    XCRegExFields(XCRegExFields const& other);
    XCRegExFields& operator=(XCRegExFields const& other);
    ~XCRegExFields();

    /// Whether the pattern is valid and has a group for each name.
    [[nodiscard]] bool IsValid() const noexcept { return m_valid; }
    /// Reads the fields, in the order given, and stops at the first one that cannot be read. A view of a field lives as
    /// long as the line. A number must fill its
    /// field and fit its variable; a group that took no part in the match, and an unknown name, cannot be read.
    template <class... T>
    XCFieldsResult Read(std::wstring_view line, XCField<T>... fields) const
    {
        std::vector<XCRegExPlace> groups;
        XCFieldsResult result;
        result.matched = TakeApart(line, groups);
        auto const read = [&](auto const& field) {
            XCRegExPlace const place = PlaceOf(groups, field.name);
            if (place.IsFound() && ReadValue(place.In(line), field.value)) return true;
            result.failed = field.name;
            return false;
        };
        if (result.matched) (void)(read(fields) && ...);
        return result;
    }

private:
    [[nodiscard]] bool TakeApart(std::wstring_view line, std::vector<XCRegExPlace>& groups) const;
    [[nodiscard]] XCRegExPlace PlaceOf(std::vector<XCRegExPlace> const& groups, wchar_t const* name) const noexcept;

    static bool ReadValue(std::wstring_view text, XCString& value)
    {
        value = XCString(text);
        return true;
    }
    static bool ReadValue(std::wstring_view text, std::wstring_view& value)
    {
        value = text;
        return true;
    }
    static bool ReadValue(std::wstring_view text, double& value);
    static bool ReadInteger(std::wstring_view text, std::int64_t& value);
    template <std::integral T>
    static bool ReadValue(std::wstring_view text, T& value)
    {
        std::int64_t wide = 0;
        if (!ReadInteger(text, wide) || !std::in_range<T>(wide)) return false;
        value = static_cast<T>(wide);
        return true;
    }
    /// Dates, durations and their like; FromString answers with bool or an XCErrorID.
    template <class T>
    requires requires(T& value, XCString const& text) { value.FromString(text); }
    static bool ReadValue(std::wstring_view text, T& value)
    {
        auto const answer = value.FromString(XCString(text));
        if constexpr (requires { answer.Good(); })
            return answer.Good();
        else
            return static_cast<bool>(answer);
    }

    std::shared_ptr<XCRegEx const> m_pattern;
    std::vector<XCString> m_names;
    bool m_valid = false;
};
