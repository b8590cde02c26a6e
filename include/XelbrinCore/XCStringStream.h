// XCStringStream.h - typed values to text and back, without locales of the runtime and without state that formats.
//
// WHAT     << appends values to a text, >> reads them from where the last one ended. How one number is written is said
//          where it is written (XCHex, XCFixed, XCPadded, or an XCNumberFormat), never by a flag that the next one
//          inherits. Numbers are written and read in the invariant way; a stream made with an XCLocale uses its decimal
//          mark and groups.
// READING  White space before a value is skipped. A number ends at the first unit that cannot continue it. A thousands
//          separator is taken between digits, and then every group must have its size; the two no-break spaces stand for
//          each other, as do U+2019 and the apostrophe.
// ERRORS   The status of reading is sticky: after a failure nothing is read, values stay as they are, and GetError tells
//          the position. XCErrNoNumber: no number there. XCErrNumberRange: too large (or too small) for its type.
//          XCErrTextEnds: nothing is left.
// COST     A number: some 15 ns in a text that has room, a floating-point one 50 ns more. New storage costs several times
//          as much: Clear keeps it.
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLocale.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

/// How one number is written.
struct XCNumberFormat {
    /// The form of floating-point numbers.
    enum class Form {
        Shortest,  ///< the fewest digits that read back as the same number
        Fixed,     ///< `decimals` digits after the mark
        Scientific ///< the same with an exponent
    };
    Form form = Form::Shortest; ///< of floating-point numbers
    int decimals = 6;           ///< 0 to 50
    int base = 10;              ///< of integers: 2 to 36, digits above 9 in lower case
    std::size_t width = 0;      ///< the least number of units
    wchar_t fill = L' ';        ///< before the number; '0' goes between sign and digits
};

/// A number with its format: what XCHex, XCFixed and XCPadded give.
template <class Number>
struct XCFormattedNumber {
    Number value;          ///< The number.
    XCNumberFormat format; ///< How it is written.
};

/// An integer in hexadecimal digits, zeros in front up to the width. A negative one shows the bits of its type.
template <std::integral Number>
constexpr XCFormattedNumber<std::make_unsigned_t<Number>> XCHex(Number value, std::size_t width = 0) noexcept
{
    return {static_cast<std::make_unsigned_t<Number>>(value), {.base = 16, .width = width, .fill = L'0'}};
}
/// A number with exactly so many decimals.
constexpr XCFormattedNumber<double> XCFixed(double value, int decimals) noexcept
{
    return {value, {.form = XCNumberFormat::Form::Fixed, .decimals = decimals}};
}
/// A number of at least `width` units.
template <class Number>
requires std::is_arithmetic_v<Number>
constexpr XCFormattedNumber<Number> XCPadded(Number value, std::size_t width, wchar_t fill = L' ') noexcept
{
    return {value, {.width = width, .fill = fill}};
}

/// A type that the stream takes for an integer: neither bool nor a character.
template <class T>
concept XCStreamInteger =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// A text that values are appended to and read from (see the head of this file).
class XC_API XCStringStream {
public:
    /// Empty, in the invariant way.
    XCStringStream() noexcept = default;
    /// Reads from the start of the text and appends to its end.
    explicit XCStringStream(XCString text, XCLocale const& locale = XCLocale::Invariant());

    // Writing -----------------------------------------------------------------------------------------------------

    /// Appends the text as it is.
    XCStringStream& operator<<(std::wstring_view text);
    /// The same; null appends nothing.
    XCStringStream& operator<<(wchar_t const* text) { return *this << std::wstring_view(text ? text : L""); }
    /// The same.
    XCStringStream& operator<<(XCString const& text) { return *this << text.View(); }
    /// Appends one unit.
    XCStringStream& operator<<(wchar_t unit);
    /// "true" or "false".
    XCStringStream& operator<<(bool value) { return *this << (value ? L"true" : L"false"); }
    XCStringStream& operator<<(double value) { return Write(value, {}); }
    template <XCStreamInteger Number>
    XCStringStream& operator<<(Number value)
    {
        return *this << XCFormattedNumber<Number>{value, {}};
    }
    template <class Number>
    XCStringStream& operator<<(XCFormattedNumber<Number> const& number)
    {
        if constexpr (std::is_floating_point_v<Number>)
            return Write(static_cast<double>(number.value), number.format);
        else if constexpr (std::is_signed_v<Number>)
            return Write(static_cast<std::int64_t>(number.value), number.format);
        else
            return Write(static_cast<std::uint64_t>(number.value), number.format);
    }
    /// A number in its own format.
    XCStringStream& Write(std::int64_t value, XCNumberFormat const& format);
    XCStringStream& Write(std::uint64_t value, XCNumberFormat const& format);
    XCStringStream& Write(double value, XCNumberFormat const& format);

    /// All that stands in the stream.
    [[nodiscard]] XCString const& AsString() const noexcept { return m_text; }
    /// Gives the text away and begins anew.
    XCString Take();
    /// Begins anew in the storage of the text, unless somebody shares it: for one text after the other.
    void Clear() noexcept;

    // Reading -----------------------------------------------------------------------------------------------------

    /// An integer in base 10. @see ReadInteger
    template <XCStreamInteger Number>
    XCStringStream& operator>>(Number& value)
    {
        return ReadInteger(value, 10);
    }
    XCStringStream& operator>>(double& value);
    /// The units up to the next white space.
    XCStringStream& operator>>(XCString& word);
    /// An integer of a base from 2 to 36; no groups but in base 10, no prefix.
    template <XCStreamInteger Number>
    XCStringStream& ReadInteger(Number& value, int base)
    {
        if constexpr (std::is_signed_v<Number>) {
            std::int64_t wide = 0;
            if (ReadSigned(wide, base, sizeof(Number))) value = static_cast<Number>(wide);
        } else {
            std::uint64_t wide = 0;
            if (ReadUnsigned(wide, base, sizeof(Number))) value = static_cast<Number>(wide);
        }
        return *this;
    }
    /// The rest of the line, without its end (a line feed, with or without a carriage return before it).
    XCStringStream& ReadLine(XCString& line);

    /// Whether all reading has succeeded.
    [[nodiscard]] bool Good() const noexcept { return m_error.Good(); }
    explicit operator bool() const noexcept { return Good(); }
    /// The first failure.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }
    /// Where the next value is read, in units; after a failure where the value began.
    [[nodiscard]] std::size_t GetPosition() const noexcept { return m_position; }
    /// Reads on at this position, at most the end, and forgets the failure.
    void SetPosition(std::size_t position) noexcept;
    /// Whether nothing but white space is left.
    [[nodiscard]] bool AtEnd() const noexcept;

private:
    bool ReadSigned(std::int64_t& value, int base, std::size_t bytes);
    bool ReadUnsigned(std::uint64_t& value, int base, std::size_t bytes);
    template <class Number>
    bool ReadNumber(Number& value, int base);
    template <class Number>
    bool ReadWithin(Number& value, int base, std::size_t bytes);
    bool Begin();
    void Fail(long code, std::size_t position);
    bool AppendPlain(std::uint64_t magnitude, bool isNegative, XCNumberFormat const& format);
    void AppendNumber(std::string_view digits, XCNumberFormat const& format, bool isLocal);

    XCString m_text;
    std::optional<XCLocale> m_locale; ///< none: the invariant one
    std::size_t m_position = 0;
    XCErrorID m_error;
};
