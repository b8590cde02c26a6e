// Durations: units, conversions, arithmetic, texts; and the positional template that prints them.

#include "prelude.h"

namespace {

using D = XCDurationEx;

// fault, count, from, to, truncate, good, result
Rows<long, D::Unit, D::Unit, bool, bool, long> const kConvertCases = {
    {"same unit", 5, D::Day, D::Day, true, true, 5},
    {"a year is 52 weeks", 2, D::Year, D::Week, true, true, 104},
    {"a month is 30 days", 2, D::Month, D::Day, true, true, 60},
    {"cut toward zero", 90, D::Minute, D::Hour, true, true, 1},
    {"not gone up", 90, D::Minute, D::Hour, false, true, 2},
    {"a negative count gone up", -90, D::Minute, D::Hour, false, true, -1},
    {"year to milliseconds converted", 1, D::Year, D::Millisecond, true, false, 1},
    {"milliseconds to month divided by 0", 7, D::Millisecond, D::Month, true, false, 7},
    {"count 0 refused", 0, D::Year, D::Millisecond, true, true, 0},
    {"no target keeps the count", 5, D::Day, D::InvalidUnit, true, true, 0},
    {"no source read past the table", 5, D::InvalidUnit, D::Day, true, false, 5},
};

TEST(Duration, ConvertTo)
{
    for (auto const& [fault, count, from, to, truncate, good, result] : kConvertCases) {
        SCOPED_TRACE(fault);
        D value(count, from);
        EXPECT_EQ(value.ConvertTo(to, truncate), good);
        EXPECT_TRUE(value == D(result, to));
        if (!truncate || to == D::InvalidUnit || count == 0) continue;
        EXPECT_TRUE(D(count, from).As(to) == (good ? D(result, to) : D::invalid_));
    }
    EXPECT_TRUE(D(0, D::Year).As(D::Millisecond) == D::invalid_) << "a count of 0 makes the pair convertible";
    D value(30, D::Day);
    EXPECT_THROW(value.ConvertTo(D::Millisecond), XCDurationExceptionEx);
    EXPECT_TRUE(value == D(30, D::Day)) << "a throw leaves a half-done change";
    value.SetUnit(static_cast<D::Unit>(77));
    EXPECT_EQ(value.GetUnit(), D::InvalidUnit);
}

// count, from, result, to
Table<long, D::Unit, long, D::Unit> const kNormalizeCases = {
    {90, D::Minute, 90, D::Minute},
    {120, D::Minute, 2, D::Hour},
    {365, D::Day, 365, D::Day},
    {604800000, D::Millisecond, 1, D::Week},
    {-86400000, D::Millisecond, -1, D::Day},
    {0, D::Minute, 0, D::Minute},
    {60, D::InvalidUnit, 60, D::InvalidUnit},
    {12, D::Year, 12, D::Year},
};

TEST(Duration, Normalize)
{
    for (auto const& [count, from, result, to] : kNormalizeCases)
        EXPECT_TRUE(D(count, from).Normalize() == D(result, to)) << count;
}

TEST(Duration, ArithmeticAndOrder)
{
    EXPECT_TRUE(D(1, D::Hour) / 2 == D(30, D::Minute) && D(1, D::Millisecond) / 2 == D(0, D::Millisecond));
    EXPECT_TRUE(D(1, D::Year) / 5 == D(2, D::Month) && D(7, D::Day) / 2 == D(3, D::Day));
    EXPECT_TRUE(D(0, D::Day) / 2 == D(0, D::Day) && D(-1, D::Day) / 2147483647 == D(0, D::Millisecond));
    EXPECT_THROW(D(1) / 0, XCDurationExceptionEx);
    EXPECT_TRUE(D(1, D::Hour) + D(30, D::Minute) == D(90, D::Minute));
    EXPECT_TRUE(D(1, D::Year) - D(2, D::Month) == D(10, D::Month));
    EXPECT_THROW(D(1, D::Year) + D(5, D::Millisecond), XCDurationExceptionEx);
    EXPECT_TRUE(D(1, D::Second) + D(0, D::Year) == D(1, D::Second) &&
                D(0, D::Year) + D(5, D::Millisecond) == D(5, D::Millisecond));
    EXPECT_TRUE(D(3) * -2 == D(-6) && -D(6) == -2 * D(3));
    EXPECT_THROW(D(2147483647) * 2, XCDurationExceptionEx);
    EXPECT_THROW(D(-2147483647) - 1, XCDurationExceptionEx);
    D top(2147483647);
    EXPECT_THROW(++top, XCDurationExceptionEx);
    EXPECT_TRUE(top-- == D(2147483647) && top == D(2147483646));

    EXPECT_TRUE(D(60, D::Minute).IsEquivalent(D(1, D::Hour)) && D(60, D::Minute) != D(1, D::Hour));
    EXPECT_TRUE(D(61, D::Minute) > D(1, D::Hour) && D(-1, D::Year) < D(1, D::Millisecond) &&
                D(2147483647, D::Year) > D(2147483647, D::Millisecond));
    EXPECT_TRUE(D::invalid_ < D(-5) && !(D(1, D::Hour) < D(60, D::Minute)));
    EXPECT_EQ(
        All(D(2, D::Week).AsMilliSeconds(), D(2, D::Year).AsMilliSeconds(), D(-2147483647, D::Year).AsMilliSeconds()),
        All(1209600000, 63072000000, INT64_MIN));
    EXPECT_EQ(D(90, D::Minute).AsXCDuration() + D(1500, D::Millisecond).AsXCDuration(), 5401);
    EXPECT_EQ(D(-3, D::Day).AsInt64(), -3 * (1LL << 32) + 3);
    D copy;
    copy.FromInt64(D(-3, D::Day).AsInt64());
    EXPECT_TRUE(copy == D(-3, D::Day));
}

TEST(Duration, LowestCountIsNeverStored)
{
    D value(5, D::Day);
    auto const lowest = static_cast<long>(INT32_MIN);
    EXPECT_THROW(value.SetDuration(lowest), XCDurationExceptionEx);
    EXPECT_THROW(D(lowest, D::Day), XCDurationExceptionEx);
    EXPECT_THROW(D(lowest, L"day"), XCDurationExceptionEx);
    EXPECT_THROW(value.FromString(L"-2147483648 days"), XCDurationExceptionEx);
    EXPECT_THROW(value.FromString(L"99999999999999999999"), XCDurationExceptionEx);
    EXPECT_THROW(value.FromInt64(static_cast<std::int64_t>(0x8000000000000003)), XCDurationExceptionEx);
    EXPECT_TRUE(value == D(5, D::Day) && value.FromString(L"-2147483647 days") && value == D(D::minimum_, D::Day));
    try {
        value.SetDuration(lowest);
    } catch (XCDurationExceptionEx const& e) {
        EXPECT_TRUE(e.HasValue());
        EXPECT_EQ(e.GetValue().GetDuration(), lowest) << "the exception lost the duration";
        EXPECT_EQ(e.GetValue().GetUnit(), D::Day);
    }
}

// fault, text, good, count, unit, longForm, shortForm
Rows<wchar_t const*, bool, long, D::Unit, wchar_t const*, wchar_t const*> const kTextCases = {
    {"plural", L"3 days", true, 3, D::Day, L"3 days", L"3d"},
    {"short name with s", L"10ms", true, 10, D::Millisecond, L"10 milliseconds", L"10ms"},
    {"one is no plural", L"1 day", true, 1, D::Day, L"1 day", L"1d"},
    {"minus two is plural", L"-2hour", true, -2, D::Hour, L"-2 hours", L"-2h"},
    {"m is minutes", L"2m", true, 2, D::Minute, L"2 minutes", L"2m"},
    {"blanks inside", L" +4 se conds ", true, 4, D::Second, L"4 seconds", L"4s"},
    {"unknown unit", L"5 fortnights", false, 5, D::InvalidUnit, L"", L""},
    {"a longer name cut", L"5 millisecondsandmore", false, 5, D::InvalidUnit, L"", L""},
    {"capitals", L"5 Days", false, 5, D::InvalidUnit, L"", L""},
    {"zero", L"0 days", true, 0, D::Day, L"0", L"0"},
    {"no number", L"days", false, 0, D::Day, L"0", L"0"},
    {"empty", L"", false, 0, D::Week, L"0", L"0"},
};

TEST(Duration, Texts)
{
    for (auto const& [fault, text, good, count, unit, longForm, shortForm] : kTextCases) {
        SCOPED_TRACE(fault);
        D value(99, D::Year);
        EXPECT_EQ(value.FromString(text, D::Week), good);
        EXPECT_TRUE(value == D(count, unit) && value.AsString() == longForm && value.AsString(false) == shortForm);
    }
    EXPECT_TRUE(D(4, L"weeks") == D(4, D::Week) && !D(4, L"").IsValid() && D(7) == D(7, D::Second));
}

// seconds, text
Table<double, wchar_t const*> const kSecondsCases = {
    {0, L"0:00:00"},
    {5, L"0:00:05"},
    {-61, L"-0:01:01"},
    {86400, L"1 days, 0:00:00"},
    {183845, L"2 days, 3:04:05"},
    {1.5, L"0:00:01.5"},
    {59.9999999, L"0:01:00"},
    {-0.25, L"-0:00:00.25"},
};

TEST(PrintDuration, Seconds)
{
    for (auto const& [seconds, text] : kSecondsCases) {
        EXPECT_TRUE(XCPrintDuration(seconds) == text) << seconds;
        long const whole = static_cast<long>(seconds);
        EXPECT_EQ(std::wstring(XCPrintDuration(whole)) == text, static_cast<double>(whole) == seconds) << whole;
    }
    EXPECT_TRUE(XCPrintDuration(static_cast<long>(INT32_MIN)) == L"-24855 days, 3:14:08");
    EXPECT_TRUE(XCPrintDuration(std::numeric_limits<double>::quiet_NaN()) == L"0:00:00");
    EXPECT_TRUE(XCPrintDuration(-1e300) == L"-106481481481481 days, 11:33:20");
}

constexpr Case<wchar_t const*, wchar_t const*> kPrintfCases[] = {
    {"order and percent", L"%1:s and %0:s, 100%%", L"y and 7.455, 100%"},
    {"amount", L"[%0:m]", L"[  7.46]"},
    {"amount of a text", L"[%1:m]", L"[  0.00]"},
    {"long amount", L"[%5:m]", L"[-1234567.50]"},
    {"duration", L"%2:u", L"1 days, 0:00:01"},
    {"dates", L"%3:a|%3:la|%3:t|%3:lt", L"07/04/09|July 04, 2009|03:05:09|03:05:09"},
    {"no date", L"[%1:a%1:lt]", L"[]"},
    {"any text up to a letter", L"% of x", L"7.455 x"},
    {"no letter after", L"a%xyz 100%", L"a%xyz 100%"},
    {"empty", L"", L""},
    {"index with junk reads its number", L"%x1:s %4:s", L"7.455 %s"},
};

TEST(XCPrintfText, Places)
{
    std::vector<XCString> const arguments{L"7.455", L"y", L"86401", L"2009/07/04 03:05:09", L"%s", L"-1234567.5"};
    for (auto const& c : kPrintfCases) {
        SCOPED_TRACE(c.fault);
        EXPECT_EQ(std::wstring(XCPrintf(c.given, arguments)), c.expected);
    }
    EXPECT_THROW(XCPrintf(L"%6:s", arguments), std::out_of_range);
    EXPECT_THROW(XCPrintf(L"%s", {}), std::out_of_range);
    EXPECT_THROW(XCPrintf(L"%99999999999:s", arguments), std::out_of_range);
}

} // namespace
