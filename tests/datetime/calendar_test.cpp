// Calendar arithmetic against an independent calendar, and the rules that are deliberate.

#include "prelude.h"

namespace {

namespace chr = std::chrono;

XCDurationEx Days(long count)
{
    return XCDurationEx(count, XCDurationEx::Day);
}

/// Each step and what it answers, across the end of a leap day or of a day.
template <class T>
void ExpectSteps(T const& before, T const& after)
{
    T value = before;
    EXPECT_EQ(value++, before);
    EXPECT_EQ(value--, after);
    EXPECT_EQ(++value, after);
    EXPECT_EQ(--value, before);
}

TEST(Calendar, StepsAnswerTheValueBeforeOrAfter)
{
    XCDateEx const leapDay(2024, 2, 29), march(2024, 3, 1);
    XCTimeEx const last(23, 59, 59), midnight(0, 0, 0);
    ExpectSteps(leapDay, march);
    ExpectSteps(last, midnight);
    ExpectSteps(XCDateTimeEx(leapDay, last), XCDateTimeEx(march, midnight));
    bool known = false;
    XCTimeZone const tokyo = XCTimeZone::FromName(L"Tokyo Standard Time", &known); // nine hours ahead
    ASSERT_TRUE(known);                                                            // an unknown zone is UTC
    XCDateTimeEx const evening(leapDay, XCTimeEx(20, 0, 0));
    EXPECT_EQ(All(evening.GetWeekDay(tokyo), evening.GetYearDay(tokyo), evening.GetYearWeek(tokyo)),
              All(march.GetWeekDay(), 61u, march.GetYearWeek()));
}

TEST(Calendar, EveryDayOfNineCenturies)
{
    XCDateEx const start(1600, 1, 1);
    XCDateEx date = start;
    long count = 0;
    for (chr::sys_days day = chr::year(1600) / 1 / 1; date.GetYear() < 2500; day += chr::days(1), ++date, ++count) {
        chr::year_month_day const wanted(day);
        auto const year = static_cast<int>(wanted.year());
        unsigned const month = static_cast<unsigned>(wanted.month()), ofMonth = static_cast<unsigned>(wanted.day());
        unsigned const length = static_cast<unsigned>((wanted.year() / wanted.month() / chr::last).day());
        auto const k = static_cast<unsigned>((day - chr::sys_days(wanted.year() / 1 / 1)).count());
        unsigned const weekDay = year < 1970 ? 0 : chr::weekday(day).c_encoding();
        unsigned const sinceMonday = (weekDay + 6) % 7;
        unsigned const week = k < sinceMonday ? 0 : k / 7 + (k % 7 >= sinceMonday ? 1 : 0);
        bool const good = date.IsValid() && date == XCDateEx(year, month, ofMonth) && date == start + count &&
                          start == date - count && (date - start) == Days(count) && date.GetYear() == year &&
                          date.GetMonth() == month && date.GetDay() == ofMonth && date.GetWeekDay() == weekDay &&
                          date.GetYearDay() == k + 1 && date.GetYearWeek() == week &&
                          XCDateEx::GetDaysInMonth(year, month) == length;
        ASSERT_TRUE(good) << year << '-' << month << '-' << ofMonth;
        if (year < 1899) continue;
        XCDate const old(ofMonth, month, static_cast<unsigned>(year));
        ASSERT_TRUE(old.year() == static_cast<unsigned>(year) && old.month() == month && old.day() == ofMonth &&
                    old.weekday() == chr::weekday(day).c_encoding() && old.days_in_month() == length);
    }
    EXPECT_EQ(count, 328719);
}

// 400 years have 146,097 days, so that whole periods and what the walk above has shown give any long jump.
TEST(Calendar, LongJumpsAreWholePeriodsAndARest)
{
    constexpr long kPeriodDays = 146097;
    XCDateEx const from(2008, 1, 31);
    for (int const periods : {-5, -1, 1, 3, 205, 14600})
        for (int const rest : {0, 1, 29, 30, 366, 146096}) {
            XCDateEx const base = from + rest;
            XCDateEx const jumped(base.GetYear() + 400 * periods, base.GetMonth(), base.GetDay());
            EXPECT_TRUE(from + (periods * kPeriodDays + rest) == jumped) << periods << " periods and " << rest;
        }
    EXPECT_EQ((XCDateEx(2008, 1, 31) + 2147483647L).GetYear(), -((1 << 23) - 5881618))
        << "a signed shift reads the year";
    EXPECT_EQ((XCDateEx(2008, 1, 31) + 1500000000L).GetYear(), 4108868);
    EXPECT_TRUE(XCDateEx(2008, 1, 31) - 2147483647L == XCDateEx(2008, 1, 31)) << "a result that cannot be stored";
}

// fault, year, month, day, count, unit, toYear, toMonth, toDay
Rows<int, unsigned, unsigned, long, XCDurationEx::Unit, int, unsigned, unsigned> const kAddCases = {
    {"leap February", 2008, 1, 31, 1, XCDurationEx::Month, 2008, 2, 29},
    {"31 kept into a month of 30", 2009, 3, 31, -4, XCDurationEx::Month, 2008, 11, 30},
    {"year carried wrongly at December", 2009, 12, 15, 1, XCDurationEx::Month, 2010, 1, 15},
    {"month 0", 2009, 1, 15, -1, XCDurationEx::Month, 2008, 12, 15},
    {"leap day plus a year", 2008, 2, 29, 1, XCDurationEx::Year, 2009, 2, 28},
    {"day not borrowed over February", 2008, 3, 1, -1, XCDurationEx::Day, 2008, 2, 29},
    {"week into the year before", 2009, 1, 3, -1, XCDurationEx::Week, 2008, 12, 27},
    {"hours move a date", 2009, 1, 3, 36, XCDurationEx::Hour, 2009, 1, 3},
    {"no unit moves a date", 2009, 1, 3, 5, XCDurationEx::InvalidUnit, 2009, 1, 3},
    {"an invalid date moves", 2009, 2, 30, 1, XCDurationEx::Day, 2009, 2, 30},
    {"a month 0 moves", 2009, 0, 3, 1, XCDurationEx::Month, 2009, 0, 3},
    {"a year below 0 is stored", 2009, 1, 3, -2010, XCDurationEx::Year, 2009, 1, 3},
    {"weeks overflow 32 bits", 2009, 1, 3, 2147483647, XCDurationEx::Week, 2009, 1, 3},
    {"years overflow 32 bits", 2009, 1, 3, 2147483647, XCDurationEx::Year, 2009, 1, 3},
    {"the last year is refused", 2009, 1, 3, 8386598, XCDurationEx::Year, 8388607, 1, 3},
};

TEST(Calendar, AddingDurations)
{
    for (auto const& [fault, year, month, day, count, unit, toYear, toMonth, toDay] : kAddCases) {
        SCOPED_TRACE(fault);
        XCDateEx const from(year, month, day), to(toYear, toMonth, toDay);
        EXPECT_TRUE(from + XCDurationEx(count, unit) == to && from - XCDurationEx(-count, unit) == to);
        XCDateTimeEx const fromTime(from, XCTimeEx(12, 0, 0), XCTimeZone());
        if (unit >= XCDurationEx::Hour) continue;
        EXPECT_TRUE(fromTime + XCDurationEx(count, unit) == XCDateTimeEx(to, XCTimeEx(12, 0, 0), XCTimeZone()));
    }
}

TEST(Calendar, FixedPointsAndCutOffs)
{
    EXPECT_TRUE(XCIsLeapYear(2000) && !XCIsLeapYear(1900) && XCIsLeapYear(0));
    EXPECT_EQ(XCDateEx::null.GetWeekDay() + XCDateEx::null.GetYearDay() + XCDateEx::null.GetYearWeek(), 0u);
    EXPECT_EQ(XCDateEx(2009, 2, 29).GetYearDay() + XCDateEx(2009, 2, 29).GetYearWeek(), 0u);
    EXPECT_EQ(XCDateEx::GetDaysInMonth(2009, 0) + XCDateEx::GetDaysInMonth(2009, 13), 0u);
    EXPECT_EQ(XCDateEx(2009, 7, 4).AsInt(), (2009u << 9) | (7u << 5) | 4u);
    EXPECT_TRUE(XCDateEx(8388608, 1, 1).IsNull() && XCDateEx(-1, 1, 1).IsNull() && XCDateEx(1, 13, 1).IsNull());
    EXPECT_FALSE(XCDateEx(2009, 2, 30).IsValid());
    EXPECT_EQ(XCDateEx(4194304, 1, 1).GetYear(), -4194304);
    EXPECT_TRUE(XCDateEx(2009, 12, 31) < XCDateEx(2010, 1, 1) && XCDateEx::null < XCDateEx::minimum);
    EXPECT_THROW((void)(XCDateEx(4194303, 1, 1) - XCDateEx(4194304, 1, 1)), XCDurationExceptionEx);
    EXPECT_FALSE((XCDateEx(2009, 1, 1) - XCDateEx::null).IsValid());
    XCDate day(31, 12, 1899);
    EXPECT_EQ(All(day.AsInt(), XCDate().weekday()), All(364u, 0u));
    EXPECT_TRUE((day++).year() == 1899 && day.year() == 1900 && (day -= 366).year() > 11000000u)
        << "days before the first wrap";
    EXPECT_EQ(XCDate::days_in_month(2, 1900) + XCDate::days_in_month(14, 1900), 28u + 31u);
}

TEST(TimeOfDay, WrapsAndKeepsNull)
{
    EXPECT_EQ(XCTimeEx(23, 59, 59, 999).AsInt(), 86399999);
    EXPECT_TRUE(XCTimeEx(24, 0, 0).IsNull() && XCTimeEx(-5).IsNull() && XCTimeEx(86400000u).IsNull());
    EXPECT_TRUE(XCTimeEx(0, 0xFFFFFFFFu, 0).IsNull()) << "minutes overflow 32 bits";
    EXPECT_TRUE(XCTimeEx(23, 0, 0) + XCDurationEx(2, XCDurationEx::Hour) == XCTimeEx(1, 0, 0));
    EXPECT_TRUE(XCTimeEx(1, 0, 0) - XCDurationEx(26, XCDurationEx::Hour) == XCTimeEx(23, 0, 0));
    EXPECT_TRUE(XCTimeEx(1, 0, 0) + XCDurationEx(5, XCDurationEx::Month) == XCTimeEx(1, 0, 0));
    EXPECT_TRUE(XCTimeEx(1, 0, 0) + XCDurationEx(-2147483647, XCDurationEx::Hour) == XCTimeEx(18, 0, 0));
    EXPECT_TRUE((XCTimeEx::null + XCDurationEx(5)).IsNull() && (++XCTimeEx(XCTimeEx::null)).IsNull());
    XCTimeEx raw;
    raw.FromInt(2147483647);
    EXPECT_FALSE(raw.IsValid());
    EXPECT_TRUE((++raw).IsValid()) << "arithmetic brings any count into the day";
    EXPECT_EQ(XCTimeEx::null.AsMilliseconds() + XCTimeEx::null.AsSeconds() + XCTimeEx::null.GetHour(), 0u);
    EXPECT_TRUE(XCTimeEx(1, 0, 0) - XCTimeEx(3, 0, 0) == XCDurationEx(-7200000, XCDurationEx::Millisecond));
    EXPECT_TRUE((XCTimeEx(1, 0, 0) - XCTimeEx::null) == XCDurationEx::invalid_);
}

TEST(DateTime, PartsAndArithmetic)
{
    XCTimeZone const utc;
    XCDateTimeEx const date(2009, 1, 2), time(12u, 30u, 0u, 0u);
    XCDateTimeEx const both(2008, 12, 31, 23, 59, 59, 999, utc);
    EXPECT_TRUE(date.IsOnlyDate() && time.IsOnlyTime() && both.IsDateAndTime() && XCDateTimeEx().IsNull());
    EXPECT_TRUE(date.IsValid() && time.IsValid() && !XCDateTimeEx().IsValid() && !XCDateTimeEx(2009, 2, 30).IsValid());
    EXPECT_EQ(XCDateTimeEx().AsInt64(), 0xFFFFFFFFLL);
    EXPECT_EQ(both.AsInt64() >> 32, static_cast<std::int64_t>(XCDateEx(2008, 12, 31).AsInt()));
    EXPECT_TRUE(XCDateTimeEx(both.AsInt64()) == both);
    EXPECT_TRUE(both + XCDurationEx(1, XCDurationEx::Millisecond) == XCDateTimeEx(2009, 1, 1, 0, 0, 0, 0, utc));
    EXPECT_TRUE(both + XCDurationEx(-2147483647) == XCDateTimeEx(1940, 12, 13, 20, 45, 52, 999, utc));
    EXPECT_TRUE(date + XCDurationEx(36, XCDurationEx::Hour) == date) << "hours move a date without a time";
    EXPECT_TRUE(time + XCDurationEx(12, XCDurationEx::Hour) == XCDateTimeEx(0u, 30u, 0u, 0u));
    EXPECT_TRUE(time + XCDurationEx(1, XCDurationEx::Month) == time && (XCDateTimeEx() + XCDurationEx(1)).IsNull());
    XCDateTimeEx const first(0, 1, 1, 0, 0, 0, 0, utc);
    EXPECT_TRUE(--XCDateTimeEx(first) == first) << "the second before the first storable one";
    EXPECT_TRUE(both - XCDateTimeEx(2008, 12, 31, 0, 0, 0, 0, utc) ==
                XCDurationEx(86399999, XCDurationEx::Millisecond));
    EXPECT_TRUE(both - XCDateTimeEx(2008, 1, 1, 0, 0, 0, 0, utc) == XCDurationEx(366 * 86400 - 1));
    EXPECT_TRUE(time - date == XCDurationEx::invalid_);
    EXPECT_THROW((void)(both - XCDateTimeEx(1900, 1, 1)), XCDurationExceptionEx);
    EXPECT_TRUE(date < XCDateTimeEx(2009, 1, 2, 0, 0, 0, 0, utc)) << "a missing time (-1) comes first";
    EXPECT_TRUE(both < date && both <= both && time < both);
    XCDateTimeEx const now = XCDateTimeEx::GetCurrentDateTime();
    EXPECT_TRUE(now.IsDateAndTime() && now > XCDateTimeEx(2020, 1, 1) && now < XCDateTimeEx(2200, 1, 1));
}

} // namespace
