#include "prelude.h"

namespace {

using namespace std::chrono_literals;

TEST(XCChrono, Instants)
{
    XCTimeZone const& utc = XCTimeZone::UTC();
    for (auto const& [value, ms, seconds] : Table<XCDateTimeEx, std::int64_t, std::int64_t>{
             {XCDateTimeEx(1970, 1, 1, 0, 0, 0, 0, utc), 0, 0},
             {XCDateTimeEx(1969, 12, 31, 23, 59, 59, 999, utc), -1, -1}, // towards the past
             {XCDateTimeEx(2024, 2, 29, 12, 0, 0, 7, utc), 1709208000007, 1709208000}})
    {
        EXPECT_EQ(All(XCToUnixMs(value), XCToUnixTime(value)), All(ms, seconds));
        EXPECT_TRUE(XCFromUnixMs(ms) == value && XCFromChrono(XCToChrono(value)) == value);
    }
    EXPECT_TRUE(XCFromChrono(std::chrono::sys_time<std::chrono::nanoseconds>(-1ns)) == XCFromUnixMs(-1));
    EXPECT_TRUE(XCFromUnixTime(3600).AsString(L"%Y %H", utc) == L"1970 01" && XCDateTimeEx().AsString(L"%Y").IsNull());
    EXPECT_TRUE(XCFromUnixTime(INT64_MAX).IsNull() && XCFromUnixMs(INT64_MIN).IsNull());
    EXPECT_THROW((void)XCToUnixMs(XCDateTimeEx()), XCDateExceptionEx);
    EXPECT_EQ(XCDateException(XCDateTime()).What(), L"No valid date");
    EXPECT_EQ(XCDateException(XCDateTime(951782399)).What(), L"No valid date: 2000/02/28 23:59:59");
    EXPECT_TRUE(XCFromChrono(XCToChrono(XCDateEx(2024, 2, 29))) == XCDateEx(2024, 2, 29));
    EXPECT_FALSE(XCToChrono(XCDateEx(2023, 2, 29)).ok());
    EXPECT_EQ(XCToChrono(XCTimeEx(1, 0, 0, 5)), 1h + 5ms);
}

TEST(XCChrono, SpansAndTimeouts)
{
    for (auto const& [span, text] :
         Table<XCDurationEx, wchar_t const*>{{XCFromChrono(5min), L"300000ms"},
                                             {XCFromChrono(-1500us), L"-1ms"},
                                             {XCFromChrono(1000h), L"3600000s"},
                                             {XCFromChrono(std::chrono::years(100)), L"36524d"}})
        EXPECT_TRUE(span.AsString(false) == text) << span.AsString(false).AsUTF8();
    EXPECT_THROW((void)XCFromChrono(std::chrono::seconds::max()), XCDurationExceptionEx);
    EXPECT_EQ(XCToChrono(XCDurationEx(2, XCDurationEx::Hour)), 2h);
    static_assert(XCTimeoutOf(1us) == 1 && XCTimeoutOf(0ms) == 0 && XCTimeoutOf(-5s) == 0 &&
                  XCTimeoutOf(2min) == 120000);
    static_assert(XCTimeoutOf(std::chrono::nanoseconds::max()) == 0xFFFFFFFF && XCTimeoutOf(1200h) == 0xFFFFFFFF);
    static_assert(XCTimeoutOf(std::chrono::duration<double>(1e300)) == 0xFFFFFFFF);
}

TEST(XCChrono, Hashes)
{
    std::unordered_set<XCDateTimeEx> const days{XCFromUnixMs(1), XCFromUnixMs(2), XCFromUnixMs(1)};
    EXPECT_EQ(days.size(), 2u);
    EXPECT_EQ((std::unordered_set<XCDateEx>{XCDateEx(2020, 1, 1), XCDateEx(2020, 1, 2)}.size()), 2u);
    EXPECT_EQ((std::unordered_set<XCDurationEx>{XCDurationEx(60), XCDurationEx(1, XCDurationEx::Minute)}.size()), 2u);
}

} // namespace
