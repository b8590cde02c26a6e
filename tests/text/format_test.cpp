#include "prelude.h"
#include "text/PrintFormat.h"

namespace {

using xc::text::FormatValue;

XCString FormattedList(wchar_t const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    XCString text;
    text.Format(format, arguments);
    va_end(arguments);
    return text;
}

/// By the typed arguments; a list of untyped ones must not give anything else.
template <class... Arguments>
XCString Formatted(wchar_t const* format, Arguments... arguments)
{
    XCString text;
    text.Format(format, arguments...);
    EXPECT_EQ(FormattedList(format, arguments...), text) << text.AsUTF8();
    return text;
}

TEST(XCStringFormat, Conversions)
{
    wchar_t const* const nullWide = nullptr;
    char const* const nullNarrow = nullptr;
    Case<XCString, wchar_t const*> const rows[] = {
        {"percent sign", Formatted(L"%%a%%%%b%%"), L"%a%%b%"},
        {"lone percent sign at the end", Formatted(L"100%"), L"100%"},
        {"unknown letter eats an argument", Formatted(L"%y %d", 7), L"%y 7"},
        {"%s is wide", Formatted(L"[%s|%ls|%ws]", L"a", L"b", L"c"), L"[a|b|c]"},
        {"%S is narrow", Formatted(L"[%S|%hs|%hS]", "a", "b", "c"), L"[a|b|c]"},
        {"%lS is wide", Formatted(L"%lS", L"w"), L"w"},
        {"narrow text is UTF-8, else bytes", Formatted(L"%S %S", "\xC3\xA9", "\xE9x"), L"\u00E9 \u00E9x"},
        {"null text", Formatted(L"%s %S %.3s", nullWide, nullNarrow, nullWide), L"(null) (null) (nu"},
        {"units", Formatted(L"%c%C%hc%lc", L'\u20AC', 'b', 'c', L'd'), L"\u20ACbcd"},
        {"width and side of text", Formatted(L"[%5s][%-5s][%5S][%-5S]", L"ab", L"ab", "cd", "cd"),
         L"[   ab][ab   ][   cd][cd   ]"},
        {"precision cuts a UTF-8 sequence", Formatted(L"%.4S|", "ab\xE2\x82\xAC"), L"ab|"},
        {"precision ends with a sequence", Formatted(L"%.5S|", "ab\xE2\x82\xAC"), L"ab\u20AC|"},
        {"precision ends with what is no UTF-8", Formatted(L"%.3S|%.2S|", "ab\xFF", "\xF5\x80\x80"),
         L"ab\u00FF|\u00F5\u0080|"},
        {"signs", Formatted(L"%d %+d % d %+d", -5, 5, 5, 0), L"-5 +5  5 +0"},
        {"zero padding", Formatted(L"%05d %-05d| %05.2d %+05d", -42, 42, 7, 3), L"-0042 42   |    07 +0003"},
        {"limits of 32 bits", Formatted(L"%d %u %i", INT32_MIN, UINT32_MAX, INT32_MAX),
         L"-2147483648 4294967295 2147483647"},
        {"limits of 64 bits", Formatted(L"%I64d %llu %I64x", INT64_MIN, UINT64_MAX, UINT64_MAX),
         L"-9223372036854775808 18446744073709551615 ffffffffffffffff"},
        {"short and byte sizes", Formatted(L"%hd %hu %hhd %hhx", 65537, -1, 257, -1), L"1 65535 1 ff"},
        {"hexadecimal", Formatted(L"%x %X %#x %#X %#x %08X", 255, 255, 255, 255, 0, 0xBEEF),
         L"ff FF 0xff 0XFF 0 0000BEEF"},
        {"octal", Formatted(L"%o %#o %#o %#.0o", 8, 8, 0, 0), L"10 010 0 0"},
        {"zero with precision zero", Formatted(L"[%.0d][%5.0d][%+.0d]", 0, 0, 0), L"[][     ][+]"},
        {"precision of integers", Formatted(L"%.5d %8.5d %-8.5x|", 42, -42, 42), L"00042   -00042 0002a   |"},
        {"stars", Formatted(L"[%*d][%-*d][%*d][%.*f][%.*d]", 5, 1, 5, 2, -5, 3, 2, 1.0, -1, 4),
         L"[    1][2    ][3    ][1.00][4]"},
        {"fixed", Formatted(L"%f %.0f %#.0f %.3f %8.2f|%-8.2f|%08.2f", 1.5, 2.5, 3.0, -0.0005, 3.14159, 2.5, -2.5),
         L"1.500000 2 3. -0.001     3.14|2.50    |-0002.50"},
        {"scientific", Formatted(L"%e %.2E %.0e %#.0e", 12345.678, 0.00012, 5.0, 5.0),
         L"1.234568e+04 1.20E-04 5e+00 5.e+00"},
        {"general", Formatted(L"%g %g %g %.3g %G %#g %#.3g %#g", 100000.0, 1e6, 1e-5, 1234.5, 1e-10, 1.0, 1e10, 1e-5),
         L"100000 1e+06 1e-05 1.23e+03 1E-10 1.00000 1.00e+10 1.00000e-05"},
        {"general rounds up to the next power", Formatted(L"%#.3g %.3g", 999.96, 999.96), L"1.00e+03 1e+03"},
        {"hexadecimal double", Formatted(L"%a %.1A %a", 1.0, -1.5, 0.0), L"0x1p+0 -0X1.8P+0 0x0p+0"},
        {"not finite", Formatted(L"%f %5.1e|%G %05f %+f", HUGE_VAL, -HUGE_VAL, std::nan(""), HUGE_VAL, HUGE_VAL),
         L"inf  -inf|NAN   inf +inf"},
        {"ignored sizes", Formatted(L"%Lf %Nd", 1.0, 3), L"1.000000 3"},
        {"pointer", Formatted(L"%p", reinterpret_cast<void*>(0xAB12)), L"000000000000AB12"},
        {"%n writes or loses step", Formatted(L"a%nb%d", nullptr, 5), L"ab5"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.given, XCString(row.expected)) << row.fault << ": " << row.given.AsUTF8();
}

TEST(XCStringFormat, ArgumentsKeepTheirTypes)
{
    enum class Colour { Red = 3 };
    struct Named {
        XCString AsString() const { return L"named"; }
    };
    auto const format = [](wchar_t const* how, auto const&... arguments) {
        return XCString().Format(how, arguments...);
    };
    char const unended[] = {'a', 'b'};
    Case<XCString, wchar_t const*> const rows[] = {
        {"string printed as an address", format(L"%s|%5s|%S", XCString(L"x"), XCString(L"yz"), XCString(L"w")),
         L"x|   yz|w"},
        {"temporary gone before it is read", format(L"%s", XCString(L"a") + L"b"), L"ab"},
        {"text read as a number, number as a text", format(L"%d %s", L"oops", 5), L"oops 5"},
        {"view without terminator", format(L"%s %s", std::wstring_view(L"abc", 2), std::string_view("\xC3\xA9x", 2)),
         L"ab \u00E9"},
        {"standard strings", format(L"%s %s", std::wstring(L"w"), std::string("n")), L"w n"},
        {"empty view as null", format(L"[%s%s]", std::wstring_view(), XCString()), L"[]"},
        {"kinds of text confused", format(L"%s %S", "narrow", L"wide"), L"narrow wide"},
        {"text read past its precision", format(L"%.2s", &unended[0]), L"ab"},
        {"64 bits cut", format(L"%d %u %s", INT64_MAX, UINT64_MAX, INT64_MIN),
         L"9223372036854775807 18446744073709551615 -9223372036854775808"},
        {"character as number", format(L"%s %c %d %s", L'\u20AC', L'x', L'A', 'z'), L"\u20AC x 65 z"},
        {"truth as number", format(L"%s %d", true, false), L"true 0"},
        {"enumeration", format(L"%d", Colour::Red), L"3"},
        {"float, missing value, value too many", format(L"%.1f %d", 0.5f), L"0.5 %d"},
        {"value too many", format(L"-", 1, L"x"), L"-"},
        {"own text", format(L"[%s][%d]", Named(), Named()), L"[named][named]"},
        {"null", format(L"%s", nullptr), L"(null)"},
        {"double for integer", format(L"%d %s", 2.5, -1e300), L"2.5 -1e+300"},
        {"text for double", format(L"[%.1f]", XCString(L"abc")), L"[abc]"},
        {"text as width", format(L"[%*d][%5x]", L"x", 5, "xy"), L"[5][   xy]"},
        {"sign of a short", format(L"%u %hx %I64x", -1, -1, -1), L"4294967295 ffff ffffffffffffffff"},
        {"pointer for text", format(L"%s", reinterpret_cast<void*>(1)), L"0000000000000001"},
        {"address of an object", format(L"%p", reinterpret_cast<int const volatile*>(0xAB)), L"00000000000000AB"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.given, XCString(row.expected)) << row.fault << ": " << row.given.AsUTF8();
}

TEST(XCStringFormat, AnyWidthPrecisionAndValue)
{
    EXPECT_EQ(Formatted(L"%f", 1e308).Length(), 309u + 7u);
    EXPECT_EQ(Formatted(L"%.2000f", std::numeric_limits<double>::denorm_min()).Length(), 2002u);
    EXPECT_EQ(Formatted(L"%.2000f", -std::numeric_limits<double>::max()).Length(), 1u + 309u + 2001u);
    EXPECT_EQ(All(Formatted(L"%.3000e", 1.0 / 3).Length(), Formatted(L"%#.1500g", 1e-4).Length(),
                  Formatted(L"%.50a", 1.0).Length()),
              All(3002u + 4u, 1505u, 4u + 50u + 3u));
    EXPECT_EQ(All(Formatted(L"%100000d", 1).Length(), Formatted(L"%.100000d", 1).Length(),
                  Formatted(L"%*s", -70000, L"x").Length()),
              All(100000u, 100000u, 70000u));
    EXPECT_THROW(Formatted(L"%2147483647d%2147483647d%2147483647d", 1, 2, 3), std::length_error);
    EXPECT_EQ(Formatted(L"%d%d%d%d%d%d%d%d%d%d%d%d%d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13),
              XCString(L"12345678910111213"));
}

TEST(XCStringFormat, ReplacesInPlaceAndReadsItself)
{
    XCString text(L"abc");
    text.Format(L"<%s|%s>", text.AsWChar(), text.AsWChar() + 1);
    EXPECT_EQ(text, XCString(L"<abc|bc>"));
    text.Reserve(500);
    text.Format(L"%s%s", text.AsWChar(), text.AsWChar());
    EXPECT_EQ(text, XCString(L"<abc|bc><abc|bc>"));
    XCString const twin = text;
    text.Format(text.AsWChar());
    EXPECT_EQ(text, twin);
    char narrow[] = "narrow";
    text.Format(L"%hs", narrow); // neither a char[] nor the literal 0 is taken for a list of arguments
    EXPECT_EQ(text, XCString(L"narrow"));
#if defined(_WIN32)
    text.Format(L"%d", 0);
    EXPECT_EQ(text, XCString(L"0"));
#endif
    EXPECT_EQ(twin, XCString(L"<abc|bc><abc|bc>"));
    text.Format(L"");
    EXPECT_TRUE(text.IsNull());
    EXPECT_EQ(text.Capacity(), 0u);
    text.Format(nullptr);
    EXPECT_TRUE(text.IsNull());
}

TEST(XCStringFormat, ShortWayAndLongWayAgree)
{
    // A flag that says nothing here leads the same values through the engine.
    XCString text, same;
    for (std::size_t length : {0u, 1u, 200u, 234u, 235u, 236u, 255u, 256u, 257u, 300u})
        for (std::int64_t number : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN, INT64_MAX}) {
            XCString const part(L'x', length);
            text.Format(L"%d|%s%%", number, part);
            same.Format(L"%-d|%-s%%", number, part);
            ASSERT_EQ(text, same) << length;
            ASSERT_EQ(XCString().Format(L"%s%u", part, std::uint64_t(number)).Capacity(),
                      XCString().Format(L"%-s%-u", part, std::uint64_t(number)).Capacity());
        }
    EXPECT_EQ(text.Format(L"%u %d %s", -1, L"text", 5), XCString(L"4294967295 text 5"));
    EXPECT_EQ(text.Format(L"%lld %lu %ls %l", 1, 2u, L"x"), XCString().Format(L"%-lld %-lu %-ls %l", 1, 2u, L"x"));
    EXPECT_EQ(text.Format(L"%s%d", static_cast<wchar_t const*>(nullptr), 1), XCString(L"(null)1"));
    EXPECT_EQ(text.Format(L"%s %d"), XCString(L"%s %d"));
}

TEST(PrintFormat, BuffersAreCutAndTerminated)
{
    FormatValue const values[] = {FormatValue::Wide(L"ab\xD83D\xDE00z"), FormatValue::Narrow("narrow"),
                                  FormatValue::Narrow("\xE2\x82\xAC\xE2\x82\xAC\xC2\xA2\xFF\xF0\x9F\x98\x80")};
    // format, capacity, expected
    Table<wchar_t const*, std::size_t, wchar_t const*> const rows = {
        {L"%s", 1, L""},
        {L"%s", 3, L"ab"},
        {L"%s", 4, L"ab"},
        {L"%9s", 4, L"   "},
        {L"<%s%10S>", 12, L"<ab\xD83D\xDE00z    n"},
        {L"%-99s", 5, L"ab\xD83D\xDE00"},
        {L"%.0s%.0S%S", 7, L"\x20AC\x20AC\xA2\xFF\xD83D\xDE00"},
        {L"%.0s%.0S%S", 6, L"\x20AC\x20AC\xA2\xFF"},
        {L"%.0s%.0S%S", 3, L"\x20AC\x20AC"},
        {L"%.0s%.0S%8S", 8, L"  \x20AC\x20AC\xA2\xFF"},
        {L"%.0s%.0S%-8S|", 9, L"\x20AC\x20AC\xA2\xFF\xD83D\xDE00  "},
        {L"%.0s%.0S%.11S|", 12, L"\x20AC\x20AC\xA2\xFF|"},
        {L"%.0s%.0S%.5S|", 12, L"\x20AC|"}};
    for (auto const& [format, capacity, expected] : rows) {
        xc::text::ValueListSource source(values);
        wchar_t buffer[16];
        std::fill(std::begin(buffer), std::end(buffer), L'!');
        std::size_t const length = xc::text::FormatInto(buffer, capacity, format, source);
        EXPECT_EQ(XCString(buffer), XCString(expected)) << XCString(format).AsUTF8();
        EXPECT_EQ(buffer[length], L'\0');
        for (std::size_t i = capacity; i < std::size(buffer); ++i) EXPECT_EQ(buffer[i], L'!');
    }
    xc::text::ValueListSource source(values);
    XCString text;
    xc::text::FormatInto(text, L"%999999999s", source, xc::text::kFormatLimitOfData);
    EXPECT_EQ(text.Length(), xc::text::kFormatLimitOfData);
}

} // namespace
