
#include "text/order_laws.h"

namespace {

TEST(XCStringCompare, Modes)
{
    struct Row {
        char const* fault;
        wchar_t const *a, *b;
        int expected[4]; // by mode
    };
    Row const rows[] = {
        {"prefix", L"abc", L"abcd", {-1, -1, -1, -1}},
        {"code unit order", L"B", L"a", {-1, 1, -1, 1}},
        {"case", L"STRASSE\u00C9", L"strasse\u00E9", {-1, 0, -1, 0}},
        {"accent", L"\u00E9t\u00E9", L"ete", {1, 1, 0, 0}},
        {"both", L"\u00C9T\u00C9", L"ete", {1, 1, -1, 0}},
        {"marks of their own", L"e\u0301t", L"\u00E9t", {-1, -1, 0, 0}},
        {"marks at the end", L"e\u0301", L"e", {1, 1, 0, 0}},
    };
    for (Row const& row : rows) {
        for (long mode = 0; mode < 4; ++mode) {
            XCString const a(row.a);
            XCString const b(row.b);
            EXPECT_EQ(a.Compare(b, mode), row.expected[mode]) << row.fault << ", mode " << mode;
            EXPECT_EQ(b.Compare(row.a, mode | 0x70), -row.expected[mode]) << row.fault << ", mode " << mode;
            EXPECT_EQ(a.IsEqual(row.b, mode), row.expected[mode] == 0);
            EXPECT_EQ(::XCStringCompare(mode)(a, b), row.expected[mode] < 0);
        }
    }
    wchar_t const* const null = nullptr;
    EXPECT_EQ(XCString(L"a").Compare(null, 3), -1);
    XCSmartPtrToConst<XCCollator> const ignoreCase(new XCTableIgnoreCaseCollator);
    EXPECT_EQ(XCString(L"A").Compare(L"a", ignoreCase), 0);
    EXPECT_EQ(XCString(L"A").Compare(XCString(L"a"), XCSmartPtrToConst<XCCollator>()), -1);
    EXPECT_EQ(XCString(L"A").Compare(null, ignoreCase), -1);
}

TEST(XCStringCompare, OrdinalAtEveryLengthAndPlace)
{
    for (std::size_t length = 0; length < 150; ++length) {
        XCString const text(L'x', length);
        ASSERT_EQ(text.Compare(XCString(L'x', length)), 0);
        ASSERT_EQ(text.Compare(XCString(L'x', length + 1)), -1);
        for (std::size_t at = 0; at < length; at += 1 + length / 16) {
            XCString other(text);
            other.Set(at, L'y');
            ASSERT_EQ(text.Compare(other), -1);
            ASSERT_EQ(other.Compare(text.AsWChar()), 1);
            XCString cut(text);
            cut.Set(at, L'\0'); // comparison stops at the first terminator
            ASSERT_EQ(text.Compare(cut), 1);
            other.Set(at, L'\0');
            ASSERT_EQ(cut.Compare(other), 0);
        }
    }
}

TEST(XCStringHash, EqualsItsDefinition)
{
    EXPECT_EQ(All(XCStringHash{}(XCString()), XCStringHash{}(XCString(L"a"))), All(0u, 710u));
    std::mt19937 random(1);
    for (std::size_t length = 0; length < 700; length += 1 + length / 40) {
        XCString text;
        for (std::size_t i = 0; i < length; ++i) text += static_cast<wchar_t>(1 + random() % 0xFFFF);
        auto h = static_cast<std::uint32_t>(length);
        for (wchar_t const unit : text) h = h * 613 + static_cast<std::uint16_t>(unit);
        auto const asSigned = static_cast<std::int32_t>(h);
        std::int64_t const positive = asSigned < 0 ? -std::int64_t{asSigned} : asSigned;
        ASSERT_EQ(XCStringHash{}(text), static_cast<std::size_t>(positive % 1073741827)) << length;
        ASSERT_EQ(std::hash<XCString>{}(text), XCStringHash{}(text));
    }
    EXPECT_TRUE(XCStringHash{}(XCString(L"a"), XCString(L"b")));
    // The one value whose negation stays negative: the last two units were found by solving h = 2^31.
    EXPECT_EQ(XCStringHash{}(XCString(L"\x0025\x007A\x0046\xFE83")), static_cast<std::size_t>(-1073741821LL));
}

TEST(XCStringNatCompare, NaturalOrder)
{
    // fault, a, b, expected
    Rows<wchar_t const*, wchar_t const*, int> const rows = {
        {"numbers as texts", L"file10", L"file9", 1},
        {"leading zeros", L"a007", L"a7", 0},
        {"leading blanks", L" \t x", L"x", 0},
        {"inner blanks count", L"a b", L"ab", -1},
        {"digit before letter", L"1a", L"aa", -1},
        {"case", L"x", L"X", 0},
        {"units after equal numbers", L"a1b", L"a1c", -1},
        {"accents count", L"\u00E9", L"\u00C9", 0},
        {"wrapped numbers", L"4294967297", L"1", 0},
        {"difference of 32 bits read as signed", L"3000000000", L"1", -1},
        {"empty", L"", L" ", 0},
    };
    for (auto const& [fault, a, b, expected] : rows) {
        XCStringNatCompare const compare;
        EXPECT_EQ(SignOf(compare(XCString(a), XCString(b))), expected) << fault;
    }
    EXPECT_EQ(XCStringNatCompare{}(XCString(L"ab"), XCString(L"a")), 'b');
}

template <class Value>
struct NumberRow {
    char const* fault;
    wchar_t const* text;
    Value value;
    bool ok;
};

template <class Value, class Read>
void ExpectNumbers(std::vector<NumberRow<Value>> const& rows, Read read)
{
    for (NumberRow<Value> const& row : rows) {
        bool ok = !row.ok;
        EXPECT_EQ(read(XCString(row.text), &ok), row.value) << row.fault;
        EXPECT_EQ(All(ok, read(XCString(row.text), nullptr)), All(row.ok, row.value)) << row.fault;
        if constexpr (std::is_floating_point_v<Value>) {
            EXPECT_EQ(std::signbit(read(XCString(row.text), nullptr)), std::signbit(row.value)) << row.fault;
        }
    }
}

TEST(XCStringNumbers, Integers)
{
    ExpectNumbers<int>({{"leading blanks", L" \t42", 42, true},
                        {"nothing", L"", 0, false},
                        {"sign alone", L"-", 0, false},
                        {"two signs", L"+-1", 0, false},
                        {"plus", L"+17", 17, true},
                        {"stops at a letter", L"12x", 12, false},
                        {"largest", L"2147483647", 2147483647, true},
                        {"smallest", L"-2147483648", INT32_MIN, true},
                        {"too large", L"2147483648", 2147483647, false},
                        {"too small", L"-2147483649", INT32_MIN, false},
                        {"leading zeros", L"0000000000000000000000000000012", 12, true}},
                       [](XCString const& s, bool* ok) { return s.AsInt(ok); });
    ExpectNumbers<unsigned int>({{"largest", L"4294967295", 4294967295u, true},
                                 {"too large", L"4294967296", 4294967295u, false},
                                 {"negative wraps", L"-1", 4294967295u, true}},
                                [](XCString const& s, bool* ok) { return s.AsUint(ok); });
    ExpectNumbers<std::int64_t>({{"smallest", L"-9223372036854775808", INT64_MIN, true},
                                 {"too small", L"-9223372036854775809", INT64_MIN, false},
                                 {"largest", L"9223372036854775807", INT64_MAX, true}},
                                [](XCString const& s, bool* ok) { return s.AsInt64(ok); });
    ExpectNumbers<std::uint64_t>({{"largest", L"18446744073709551615", UINT64_MAX, true},
                                  {"too large by one", L"18446744073709551616", UINT64_MAX, false},
                                  {"too large by a digit", L"184467440737095516150", UINT64_MAX, false}},
                                 [](XCString const& s, bool* ok) { return s.AsUInt64(ok); });
    EXPECT_EQ(XCString(L"90").AsXCDuration(), 90);
}

TEST(XCStringNumbers, Doubles)
{
    double const infinity = std::numeric_limits<double>::infinity();
    std::wstring const tiny = L"0." + std::wstring(400, L'0') + L"1";
    std::wstring const tinyStill = tiny + L"e20";
    std::wstring const huge = std::wstring(400, L'9');
    std::wstring const hugeStill = huge + L"e-5";
    ExpectNumbers<double>({{"plain", L"2.5", 2.5, true},
                           {"no digit before the point", L"-.5", -0.5, true},
                           {"no digit after the point", L"5.", 5.0, true},
                           {"exponent", L" 1e3", 1000.0, true},
                           {"signed exponent", L"1E-2", 0.01, true},
                           {"exponent without digits", L"1e", 1.0, false},
                           {"two points", L"1.2.3", 1.2, false},
                           {"two signs", L"+-5", 0.0, false},
                           {"blank after the sign", L"- 42", 0.0, false},
                           {"negative zero", L"-0", -0.0, true},
                           {"point alone", L".", 0.0, false},
                           {"too large", L"1e999", infinity, false},
                           {"many digits", huge.c_str(), infinity, false},
                           {"too small", L"1e-999", 0.0, false},
                           {"many zeros", tiny.c_str(), 0.0, false},
                           {"many digits, exponent down", hugeStill.c_str(), infinity, false},
                           {"many zeros, exponent up", tinyStill.c_str(), 0.0, false},
                           {"largest", L"1.7976931348623157e308", std::numeric_limits<double>::max(), true},
                           {"smallest", L"5e-324", std::numeric_limits<double>::denorm_min(), true}},
                          [](XCString const& s, bool* ok) { return s.AsDouble(ok); });
}

} // namespace
