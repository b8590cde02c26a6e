// XCFormatArg.h - the arguments of printf-style formats, carried with their types.
//
// WHAT     XCString::Format, XCLogFile::LogArgs and XCTrace::Msg take any number of arguments. Each is carried with its
//          type, so that a conversion of the format never reads anything else than what was given.
// TYPES    Texts: XCString, std::wstring, std::string, their views, wchar_t and char pointers and arrays. Integers of
//          every width, enumerations, float and double, characters, bool, pointers. Everything whose AsString() gives an
//          XCString: errors, dates, durations, identifiers. Anything else does not compile.
// MISFITS  A value that does not fit its conversion prints its own text: a number for %s its digits, a text for %d
//          itself, a bool for %s "true", a character for %s itself. A conversion without a value is printed as it
//          stands. Values without a conversion are not printed.
// LIFETIME Arguments are referred to, not copied: they live as long as the call, as function arguments do.
// COST     A word or two for each argument; AsString() where that makes the text.
// THREADS  None of its own.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

class XCString;

/// One argument (see the head of this file). Made by the functions that format.
struct XCFormatArg {
    /// How it is kept.
    enum class Kind : std::uint8_t {
        Signed,     ///< an integer
        Unsigned,   ///< an integer without sign
        Double,     ///< a floating-point number
        Unit,       ///< a character, in `asUnsigned`
        Bool,       ///< true or false, in `asUnsigned`
        Pointer,    ///< an address, in `pointer`
        WideEnd,    ///< wide text up to its terminator, which is looked for when the format asks
        NarrowEnd,  ///< the same, UTF-8
        WideCount,  ///< wide text of `length` units
        NarrowCount ///< UTF-8 of `length` bytes
    };

    Kind kind; ///< which member of the union holds
    union {
        std::int64_t asSigned;    ///< Signed
        std::uint64_t asUnsigned; ///< Unsigned, Unit, Bool
        double asDouble;          ///< Double
        void const* pointer;      ///< Pointer and the texts; null is allowed
    };
    std::size_t length; ///< of the counted texts
};

/// The arguments of one call, in order.
struct XCFormatArgs {
    XCFormatArg const* begin; ///< the first one
    std::size_t count;        ///< how many
};

namespace xc::text {

/// A value whose text is made for the call.
template <class Text>
struct OwnedArg {
    Text text;
    operator XCFormatArg() const noexcept
    {
        return {XCFormatArg::Kind::WideCount, {.pointer = text.View().data()}, text.View().size()};
    }
};

template <class T>
concept HasOwnText = requires(T const& value)
{
    value.AsString().View();
};
template <class T>
concept HasView = requires(T const& value)
{
    {
        value.View()
        } -> std::convertible_to<std::wstring_view>;
};
template <class T>
inline constexpr bool kNothing = false;

/// A number, and no character.
template <class T>
concept PlainInteger = std::integral<T> && !std::same_as<T, wchar_t> && !std::same_as<T, char> &&
                       !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

constexpr XCFormatArg Counted(XCFormatArg::Kind kind, void const* text, std::size_t length) noexcept
{
    return {kind, {.pointer = text}, length};
}

template <class T>
constexpr XCFormatArg CarryNumber(T value) noexcept
{
    using Kind = XCFormatArg::Kind;
    if constexpr (std::is_enum_v<T>)
        return CarryNumber(static_cast<std::underlying_type_t<T>>(value));
    else if constexpr (std::same_as<T, bool>)
        return {Kind::Bool, {.asUnsigned = value ? 1u : 0u}, 0};
    else if constexpr (std::same_as<T, wchar_t> || std::same_as<T, char16_t>)
        return {Kind::Unit, {.asUnsigned = static_cast<std::uint16_t>(value)}, 0};
    else if constexpr (std::same_as<T, char> || std::same_as<T, char8_t>)
        return {Kind::Unit, {.asUnsigned = static_cast<unsigned char>(value)}, 0};
    else if constexpr (std::floating_point<T>)
        return {Kind::Double, {.asDouble = static_cast<double>(value)}, 0};
    else if constexpr (std::is_signed_v<T>)
        return {Kind::Signed, {.asSigned = value}, 0};
    else
        return {Kind::Unsigned, {.asUnsigned = value}, 0};
}

template <class T>
constexpr XCFormatArg CarryPointer(T const* pointer) noexcept
{
    using Kind = XCFormatArg::Kind;
    if constexpr (std::same_as<T, wchar_t>)
        return {Kind::WideEnd, {.pointer = pointer}, 0};
    else if constexpr (std::same_as<T, char> || std::same_as<T, char8_t>)
        return {Kind::NarrowEnd, {.pointer = pointer}, 0};
    else if constexpr (std::is_function_v<T>)
        return {Kind::Pointer, {.pointer = reinterpret_cast<void const*>(pointer)}, 0};
    else
        return {Kind::Pointer, {.pointer = const_cast<void const*>(static_cast<void const volatile*>(pointer))}, 0};
}

/// The argument of a value, or an object that makes it.
template <class T>
constexpr auto Carry(T const& value)
{
    using Plain = std::decay_t<T>;
    using Kind = XCFormatArg::Kind;
    if constexpr (std::is_arithmetic_v<Plain> || std::is_enum_v<Plain>) {
        return CarryNumber(value);
    } else if constexpr (std::same_as<Plain, std::nullptr_t>) {
        return XCFormatArg{Kind::WideEnd, {.pointer = nullptr}, 0};
    } else if constexpr (std::is_pointer_v<Plain>) {
        return CarryPointer(static_cast<std::remove_pointer_t<Plain> const*>(value));
    } else if constexpr (HasView<T>) {
        return Counted(Kind::WideCount, value.View().data(), value.View().size());
    } else if constexpr (std::convertible_to<T const&, std::wstring_view>) {
        std::wstring_view const text = value;
        return Counted(Kind::WideCount, text.data(), text.size());
    } else if constexpr (std::convertible_to<T const&, std::string_view>) {
        std::string_view const text = value;
        return Counted(Kind::NarrowCount, text.data(), text.size());
    } else if constexpr (HasOwnText<T>) {
        return OwnedArg<std::decay_t<decltype(value.AsString())>>{value.AsString()};
    } else {
        static_assert(kNothing<T>,
                      "a format carries texts, numbers, characters, bool, pointers and what has AsString(); "
                      "this argument is none of them");
    }
}

/// Calls `take` with the arguments; they last as long as the call.
template <class Take, class... Carried>
decltype(auto) WithFormatArgs(Take&& take, Carried const&... carried)
{
    if constexpr (sizeof...(Carried) == 0) {
        return take(XCFormatArgs{nullptr, 0});
    } else {
        XCFormatArg const list[] = {carried...};
        return take(XCFormatArgs{list, sizeof...(Carried)});
    }
}

} // namespace xc::text
