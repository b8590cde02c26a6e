// Text streams: values that are written read back as they were, in every base and locale; any text can be read by any
// reader, and a failure changes neither the value nor the place.
#include "input.h"

XCLocale TakeLocale(Input& input)
{
    static wchar_t const* const kNames[] = {L"", L"en-US", L"de-DE", L"de-CH", L"fr-FR", L"hi-IN"};
    XCLocale locale;
    (void)XCLocale::Find(kNames[input.Take<std::uint8_t>() % std::size(kNames)], locale);
    return locale;
}

/// Writes one integer and reads it back.
template <class Number>
void PassInteger(Input& input, XCLocale const& locale)
{
    Number const value = input.Take<Number>();
    int const base =
        std::is_signed_v<Number> || input.Take<std::uint8_t>() % 2 != 0 ? 10 : 2 + input.Take<std::uint8_t>() % 35;
    XCStringStream stream(L"x", locale);
    stream << XCFormattedNumber<Number>{value, {.base = base, .width = input.Take<std::uint8_t>()}} << L"\nend";
    Number read{};
    XCString word;
    stream.SetPosition(1);
    Require(stream.ReadInteger(read, base) && read == value);
    Require(stream >> word && word == L"end" && stream.AtEnd());
}

void PassDouble(Input& input, XCLocale const& locale)
{
    double const value = input.Take<double>();
    XCStringStream stream(XCString(), locale);
    stream << value << L'\n' << XCFixed(value, input.Take<std::uint8_t>());
    double exact = 1, close = 1;
    Require(static_cast<bool>(stream >> exact >> close) && stream.AtEnd());
    Require(std::isnan(value)
                ? std::isnan(exact) && std::isnan(close)
                : std::memcmp(&value, &exact, sizeof value) == 0 && (close == value || std::abs(close - value) <= .5));
}

template <class Value>
void ReadOne(XCStringStream& stream, int base)
{
    std::size_t const before = stream.GetPosition();
    Value value{};
    if constexpr (std::is_integral_v<Value>)
        stream.ReadInteger(value, base);
    else
        stream >> value;
    Require(stream ? stream.GetPosition() > before : value == Value{});
    Require(stream.GetPosition() >= before && stream.GetPosition() <= stream.AsString().Length());
}

void ReadAnyText(Input& input, XCLocale const& locale)
{
    auto const kinds = input.Take<std::array<std::uint8_t, 8>>();
    XCString text;
    while (input.Left() > 0)
        text += input.Left() % 3 == 0 ? input.Take<wchar_t>() : static_cast<wchar_t>(input.Take<char>() & 0x7F);
    XCStringStream stream(text, locale);
    for (std::uint8_t const kind : kinds) {
        if (!stream) stream.SetPosition(stream.GetPosition() + 1);
        switch (kind % 5) {
        case 0: ReadOne<std::int8_t>(stream, 2 + kind % 35); break;
        case 1: ReadOne<std::uint64_t>(stream, 10); break;
        case 2: ReadOne<double>(stream, 10); break;
        case 3: ReadOne<XCString>(stream, 10); break;
        default: stream.ReadLine(text); break;
        }
    }
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    XCLocale const locale = TakeLocale(input);
    switch (input.Take<std::uint8_t>() % 4) {
    case 0: PassInteger<std::int64_t>(input, locale); break;
    case 1: PassInteger<std::uint16_t>(input, locale); break;
    case 2: PassDouble(input, locale); break;
    default: ReadAnyText(input, locale); break;
    }
}
