
#include "prelude.h"

namespace {

XCLocale Named(wchar_t const* name)
{
    XCLocale locale;
    EXPECT_TRUE(XCLocale::Find(name, locale).Good()) << "locale";
    return locale;
}

TEST(XCLocale, ConventionsOfNamedOnes)
{
    EXPECT_EQ(All(Named(L"de-DE").GetDateOrder(), Named(L"en-US").GetDateOrder(), Named(L"ja-JP").GetDateOrder()),
              All(XCDateOrder::DayMonthYear, XCDateOrder::MonthDayYear, XCDateOrder::YearMonthDay));
    XCLocale locale = Named(L"de-DE");
    EXPECT_EQ(static_cast<int>(XCLocale::Find(L"xx-NOWHERE", locale)), XCErrUnknownLocale);
    EXPECT_EQ(locale.GetName(), L"de-DE") << "left alone";
}

TEST(XCStringStream, Writing)
{
    // fault, locale, write, expected
    Rows<wchar_t const*, void (*)(XCStringStream & to), wchar_t const*> const rows = {
        {"limits", L"", [](XCStringStream& to) { to << INT64_MIN << L' ' << UINT64_MAX; },
         L"-9223372036854775808 18446744073709551615"},
        {"bits of a negative one", L"", [](XCStringStream& to) { to << XCHex(short{-1}) << XCHex(10, 4); },
         L"ffff000a"},
        {"no format stays", L"", [](XCStringStream& to) { to << XCHex(255) << L' ' << 255; }, L"ff 255"},
        {"zeros after the sign", L"", [](XCStringStream& to) { to << XCPadded(-5, 4, L'0'); }, L"-005"},
        {"blanks before it", L"", [](XCStringStream& to) { to << XCPadded(-5, 4) << XCPadded(12345, 2); },
         L"  -512345"},
        {"shortest", L"", [](XCStringStream& to) { to << 0.1 << L' ' << 1e300; }, L"0.1 1e+300"},
        {"half up or even is the conversion's", L"", [](XCStringStream& to) { to << XCFixed(2.675, 2); }, L"2.67"},
        {"group of the mark", L"de-DE", [](XCStringStream& to) { to << XCFixed(-1234567.5, 2) << L' ' << 999; },
         L"-1.234.567,50 999"},
        {"separator above ASCII", L"de-CH", [](XCStringStream& to) { to << 1000; }, L"1\u2019000"},
        {"groups of two", L"hi-IN", [](XCStringStream& to) { to << 123456789; }, L"12,34,56,789"},
        {"no groups in other bases", L"de-DE", [](XCStringStream& to) { to << XCHex(0x12345678); }, L"12345678"},
        {"no groups in words and exponents", L"de-DE",
         [](XCStringStream& to) { to << 1.5e300 << L' ' << -std::numeric_limits<double>::infinity(); },
         L"1,5e+300 -inf"},
        {"null text", L"", [](XCStringStream& to) { to << static_cast<wchar_t const*>(nullptr) << true; }, L"true"},
    };
    for (auto const& [fault, locale, write, expected] : rows) {
        XCStringStream stream(XCString(), Named(locale));
        write(stream);
        EXPECT_EQ(stream.AsString(), XCString(expected)) << fault;
    }
    XCStringStream again(L"kept");
    XCString const kept = again.AsString();
    again.Clear();
    again << 10 << 0 << 105;
    EXPECT_TRUE(kept == L"kept" && again.AsString() == L"100105") << "storage that is shared";
    EXPECT_TRUE(again.Take() == L"100105" && again.AsString().IsNull());
    XCStringStream longest;
    longest << XCFixed(-std::numeric_limits<double>::max(), 99);
    EXPECT_EQ(longest.AsString().Length(), 361u) << "sign, 309 digits, mark, 50 decimals";
}

TEST(XCStringStream, ReadingNumbers)
{
    // fault, locale, text, expected, position
    Rows<wchar_t const*, wchar_t const*, double, std::size_t> const rows = {
        {"exponent without digits", L"", L"1e+", 1, 1},
        {"number in a word", L"", L"\u00A0-2.5px", -2.5, 5},
        {"mark alone at the end", L"", L"5.", 5, 2},
        {"without whole digits", L"", L".5", .5, 2},
        {"no groups", L"", L"1,234", 1, 1},
        {"infinite", L"", L"-inf", -std::numeric_limits<double>::infinity(), 4},
        {"groups", L"de-DE", L"1.234.567,5", 1234567.5, 11},
        {"none is needed", L"de-DE", L"1234567,5", 1234567.5, 9},
        {"separator before no digit", L"de-DE", L"1.", 1, 1},
        {"apostrophe for the mark above ASCII", L"de-CH", L"1'234.5", 1234.5, 7},
        {"groups of two", L"hi-IN", L"12,34,567", 1234567, 9},
    };
    for (auto const& [fault, locale, text, expected, position] : rows) {
        XCStringStream stream(text, Named(locale));
        double value = 0;
        EXPECT_TRUE(stream >> value) << fault;
        EXPECT_EQ(All(value, stream.GetPosition()), All(expected, position)) << fault;
    }
}

template <class Value>
void Read(XCStringStream& from)
{
    Value value{};
    from >> value;
    EXPECT_EQ(value, Value{}) << "changed by a failure";
}

TEST(XCStringStream, RefusedWithItsPosition)
{
    // fault, locale, text, read, code, position
    Rows<wchar_t const*, wchar_t const*, void (*)(XCStringStream & from), int, long> const rows = {
        {"nothing left", L"", L"  ", Read<int>, XCErrTextEnds, 2},
        {"no digit", L"", L" x", Read<int>, XCErrNoNumber, 1},
        {"sign alone", L"", L"-", Read<double>, XCErrNoNumber, 1},
        {"mark alone", L"", L"-.", Read<double>, XCErrNoNumber, 1},
        {"above its type", L"", L" 128", Read<signed char>, XCErrNumberRange, 1},
        {"below its type", L"", L"-129", Read<signed char>, XCErrNumberRange, 0},
        {"above 64 bits", L"", L"18446744073709551616", Read<std::uint64_t>, XCErrNumberRange, 0},
        {"minus without sign", L"", L"-1", Read<unsigned>, XCErrNumberRange, 0},
        {"too large for a double", L"", L"1e999", Read<double>, XCErrNumberRange, 0},
        {"group too short", L"de-DE", L"1.23", Read<int>, XCErrNoNumber, 1},
        {"first group too long", L"de-DE", L"1234.567", Read<int>, XCErrNoNumber, 4},
        {"second group wrong", L"de-DE", L"1.2345.678", Read<int>, XCErrNoNumber, 1},
    };
    for (auto const& [fault, locale, text, read, code, position] : rows) {
        XCStringStream stream(text, Named(locale));
        read(stream);
        ASSERT_EQ(static_cast<int>(stream.GetError()), code) << fault;
        EXPECT_EQ(*static_cast<long const*>(stream.GetError()->GetParameterValue(0)), position) << fault;
    }
}

TEST(XCStringStream, MixedReading)
{
    XCStringStream stream(L"7 word\r\nnext line\n\nff 9");
    int seven = 0, after = 1;
    XCString word, rest, line, empty;
    unsigned hex = 0;
    stream >> seven >> word;
    stream.ReadLine(rest).ReadLine(line).ReadLine(empty).ReadInteger(hex, 16);
    EXPECT_TRUE(stream && seven == 7 && word == L"word" && rest == L"" && line == L"next line" && empty == L"" &&
                hex == 255);
    EXPECT_FALSE(stream >> after >> after) << "past the end";
    EXPECT_EQ(after, 9) << "the last one before it";
    stream.SetPosition(0);
    EXPECT_TRUE(stream >> after) << "forgotten";
}

} // namespace
