// Formats: what is written, what is read, and what hostile input does.

#include "prelude.h"

namespace {

XCDateTimeEx Utc(int year, unsigned month, unsigned day, unsigned hour = 0, unsigned minute = 0, unsigned second = 0,
                 unsigned millisecond = 0)
{
    return XCDateTimeEx(year, month, day, hour, minute, second, millisecond, XCTimeZone());
}

std::wstring Text(XCDateTimeEx const& value, wchar_t const* format)
{
    XCString text;
    EXPECT_TRUE(value.AsString(text, format, XCTimeZone()).Good());
    return text;
}

// fault, format (the texts of each class), date, time, both
Rows<wchar_t const*, wchar_t const*, wchar_t const*, wchar_t const*> const kFormatCases = {
    {"all fields", L"%Y/%m/%d %H:%M:%S.%L", L"2009/07/04 H:M:S.L", L"Y/m/d 03:05:09.007", L"2009/07/04 03:05:09.007"},
    {"week, short year", L"%W-%y", L"26-09", L"W-y", L"26-09"},
    {"percent and unknown letters", L"%%|%q|%h|100%", L"%|q|h|100", L"%|q|h|100", L"%|q|h|100"},
    {"zone letters known to dates", L"%Z%z", L"Zz", L"Zz", L"ZZ"},
    {"empty format", L"", L"", L"", L""},
    {"a lone percent", L"%", L"", L"", L""},
};

TEST(DateText, Formats)
{
    XCDateEx const date(2009, 7, 4);
    XCTimeEx const time(3, 5, 9, 7);
    XCDateTimeEx const both(date, time, XCTimeZone());
    for (auto const& [fault, format, rowDate, rowTime, rowBoth] : kFormatCases) {
        SCOPED_TRACE(fault);
        EXPECT_TRUE(date.AsString(format) == rowDate && time.AsString(format) == rowTime);
        EXPECT_EQ(Text(both, format), rowBoth);
    }
    EXPECT_TRUE(date.AsString(XCString(L"%d.%m")) == L"04.07" && time.AsString() == L"03:05:09.007");
    EXPECT_TRUE(XCDateEx(5, 1, 2).AsString() == L"5/01/02") << "the year is not filled";
    EXPECT_TRUE(XCDateEx(4194304, 1, 2).AsString(L"%Y %y") == L"-4194304 92");
    EXPECT_TRUE(XCDateEx::null.AsString(L"%Y x").IsNull() && XCTimeEx::null.AsString(L"%H x").IsNull());
    EXPECT_EQ(Text(XCDateTimeEx(), L"%Y x"), L"");
    std::wstring const longFormat(1000, L'Y');
    EXPECT_EQ(std::wstring(date.AsString(longFormat.c_str())).size(), 1000u);
}

TEST(DateText, DefaultFormats)
{
    XCDateTimeEx const both = Utc(2009, 7, 4, 3), date(2009, 7, 4), time(3u, 0u, 0u, 5u);
    EXPECT_TRUE(both.AsString(XCTimeZone()) == L"2009/07/04 03:00:00.000");
    EXPECT_TRUE(date.AsString() == L"2009/07/04" && time.AsString() == L"03:00:00.005");
    EXPECT_STREQ(both.GetDefaultFormat(false, false), L"%Y/%m/%d %H:%M:%S");
    EXPECT_STREQ(date.GetDefaultFormat(true, true), L"%Y/%m/%d %H:%M:%S");
    EXPECT_STREQ(time.GetDefaultFormat(false, false), L"%H:%M:%S");
    EXPECT_STREQ(XCDateTimeEx().GetDefaultFormat(false, true), L"");
    EXPECT_EQ(All(Text(date, L"%d %H:%M %Z"), Text(time, L"%Y-%m-%d %L")), All(L"04 00:00 Z", L"0-00-00 005"));
    XCString text(L"old");
    EXPECT_TRUE(XCDateTimeEx(2009, 2, 30).AsString(text, nullptr).Bad());
    EXPECT_TRUE(text.IsNull()) << "an invalid date leaves the old text";
    EXPECT_EQ(static_cast<int>(XCDateTimeEx(2009, 2, 30).AsString(text, nullptr)), XCErrInvalidDateTime);
}

// Every capacity, between two guards.
TEST(DateText, BuffersStopFiveUnitsEarly)
{
    XCDateTimeEx const value = Utc(2009, 7, 4, 3, 5, 9, 7);
    std::wstring const whole = L"2009/07/04 03:05:09.007";
    for (std::size_t capacity = 0; capacity < 40; ++capacity) {
        SCOPED_TRACE(capacity);
        std::wstring buffer(capacity + 2, L'#');
        ASSERT_TRUE(value.AsString(buffer.data() + 1, capacity, nullptr, XCTimeZone()).Good());
        EXPECT_TRUE(buffer.front() == L'#' && buffer.back() == L'#');
        if (capacity == 0) continue;
        std::wstring const written(buffer.c_str() + 1);
        EXPECT_EQ(written, whole.substr(0, written.size()));
        // The last piece starts before capacity - 5; "2009" and "007" are the longest ones.
        EXPECT_TRUE(capacity <= 5 ? written.empty() : written.size() >= std::min(capacity - 5, whole.size()));
        XCDateEx(4194304, 1, 1).AsString(buffer.data() + 1, capacity, L"%Y%Y%Y");
        XCDurationEx(-2147483647, XCDurationEx::Millisecond).AsString(buffer.data() + 1, capacity);
        EXPECT_TRUE(buffer.front() == L'#' && buffer.back() == L'#') << "a long piece runs over the end";
    }
    EXPECT_EQ(XCDateEx(2009, 7, 4).AsString(nullptr, 10, L"%Y"), 0u);
    wchar_t small[9];
    EXPECT_EQ(XCDateEx(2009, 7, 4).AsString(small, 9, L"%Y/%m/%d"), 4u) << "4 units are capacity - 5: it stops";
}

// fault, text, format, good, year, month (all 0: null), day
Rows<wchar_t const*, wchar_t const*, bool, int, unsigned, unsigned> const kDateCases = {
    {"two digits below 70", L"05/07/31", L"%y/%m/%d", true, 2005, 7, 31},
    {"two digits from 70", L"75/01/02", L"%y/%m/%d", true, 1975, 1, 2},
    {"four digits of %y changed", L"1875/01/02", L"%y/%m/%d", true, 1875, 1, 2},
    {"%Y below 100 changed", L"75/01/02", L"%Y/%m/%d", true, 75, 1, 2},
    {"other literals in the text", L"2009-12-31", nullptr, false, 0, 0, 0},
    {"month and day start at 1", L"2009", L"%Y", true, 2009, 1, 1},
    {"a missing number is read as 0", L"2009/12", nullptr, false, 2009, 12, 0},
    {"digits without separators", L"20091231", L"%Y%m%d", false, 0, 0, 0},
    {"not stepping back to the number", L"31x", L"%d/%y", true, 2031, 1, 31},
    {"minus after a separator", L"2009--7-04", L"%Y-%m-%d", false, 0, 0, 0},
    {"a skipped minus", L"2009-07-04", L"%Y-%m-%d", true, 2009, 7, 4},
    {"February 30 kept but refused", L"2009/02/30", nullptr, false, 2009, 2, 30},
    {"day 32 not stored", L"2009/01/32", nullptr, false, 0, 0, 0},
    {"month 13 not stored", L"2009/13/01", nullptr, false, 0, 0, 0},
    {"digits without end", L"99999999999999999999999999/01/01", nullptr, false, 0, 0, 0},
    {"week letter read and dropped", L"27 2009/07/04", L"%W %Y/%m/%d", true, 2009, 7, 4},
    {"letters of times are literals", L"2009/07/04", L"%H%Y/%m/%d", true, 2009, 7, 4},
    {"blank text", L"   ", nullptr, true, 0, 0, 0},
    {"no number at all", L"never", nullptr, false, 0, 0, 0},
    {"keyword in small letters", L"sysdate", nullptr, false, 0, 0, 0},
    {"percent at the end of the format", L"2009/07/04", L"%Y/%m/%d%", true, 2009, 7, 4},
};

TEST(DateText, ReadingDates)
{
    for (auto const& [fault, text, format, good, year, month, day] : kDateCases) {
        SCOPED_TRACE(fault);
        XCDateEx date(1, 1, 1);
        EXPECT_EQ(date.FromString(text, format), good);
        EXPECT_TRUE(date == XCDateEx(year, month, day))
            << date.GetYear() << '/' << date.GetMonth() << '/' << date.GetDay();
    }
    XCDateEx const before = XCDateEx::GetCurrentDate(true);
    XCDateEx today;
    EXPECT_TRUE(today.FromString(L"SYSDATE", L"nothing"));
    EXPECT_TRUE(before <= today && today <= XCDateEx::GetCurrentDate(true));
}

// fault, text, format, good, count (-1: null)
Rows<wchar_t const*, wchar_t const*, bool, int> const kTimeCases = {
    {"whole", L"23:59:59.999", nullptr, true, 86399999},
    {"end missing", L"12:30", nullptr, true, 45000000},
    {"milliseconds are a number, not a fraction", L"0:0:1.5", nullptr, true, 1005},
    {"hour 24", L"24:00:00", nullptr, false, -1},
    {"negative", L"-1:00", nullptr, false, -1},
    {"no number", L"noon", nullptr, false, -1},
    {"blank text", L" ", nullptr, true, -1},
    {"only minutes", L"5", L"%M", true, 300000},
};

TEST(DateText, ReadingTimes)
{
    for (auto const& [fault, text, format, good, count] : kTimeCases) {
        SCOPED_TRACE(fault);
        XCTimeEx time(1);
        EXPECT_EQ(time.FromString(text, format), good);
        EXPECT_EQ(time.AsInt(), count);
    }
    XCTimeEx now;
    EXPECT_TRUE(now.FromString(L"SYSTIME") && now.IsValid());
}

// fault, text (null: refused), format, shown
Rows<wchar_t const*, wchar_t const*, wchar_t const*> const kBothCases = {
    {"whole", L"2009/07/04 03:05:09.007", nullptr, L"2009/07/04 03:05:09.007"},
    {"date alone gets a time", L"2009/07/04", nullptr, L"2009/07/04"},
    {"time alone read as date", L"03:05:09", nullptr, L"03:05:09.000"},
    {"blank", L"  ", nullptr, L""},
    {"February 30", L"2009/02/30 03:05:09", nullptr, nullptr},
    {"words", L"tomorrow", nullptr, nullptr},
    {"a format without fields", L"2009", L"text", nullptr},
    {"own order", L"03h 4.7.09", L"%Hh %d.%m.%y", L"2009/07/04 03:00:00.000"},
    {"offset passed over", L"2009/07/04 03:05:09+02:00", L"%Y/%m/%d %H:%M:%S%Z", L"2009/07/04 01:05:09.000"},
    {"offset after a blank", L"2009/07/04 03:05:09 -0330", L"%Y/%m/%d %H:%M:%S %Z", L"2009/07/04 06:35:09.000"},
    {"offset across the year's end", L"2009/12/31 23:00:00-01:30", L"%Y/%m/%d %H:%M:%S%Z", L"2010/01/01 00:30:00.000"},
    {"offset before the date", L"03:05+02:00 2009/07/04", L"%H:%M%Z %Y/%m/%d", L"2009/07/04 01:05:00.000"},
    {"offset out of range", L"2009/07/04 03:05:09+25:00", L"%Y/%m/%d %H:%M:%S%Z", L"2009/07/04 03:05:09.000"},
};

TEST(DateText, ReadingDateTimes)
{
    for (auto const& [fault, text, format, shown] : kBothCases) {
        SCOPED_TRACE(fault);
        XCDateTimeEx value(1, 1, 1);
        XCErrorID const error = value.FromString(XCString(text), format, XCTimeZone());
        EXPECT_EQ(error.Good(), shown != nullptr);
        EXPECT_TRUE(value.AsString(XCTimeZone()) == (shown ? shown : L""));
        EXPECT_EQ(static_cast<int>(error), shown ? 0 : int{XCErrNoDateTime});
    }
    XCDateTimeEx value;
    EXPECT_TRUE(value.FromString(L"SYSDATE").Good() && value.IsOnlyDate());
    EXPECT_TRUE(value.FromString(L"SYSTIME", L"%H").Good() && value.IsOnlyTime());
}

TEST(DateText, StringMembers)
{
    bool ok = false;
    EXPECT_TRUE(XCString(L"2009/07/04").AsXCDateEx(&ok) == XCDateEx(2009, 7, 4) && ok);
    EXPECT_TRUE(XCString(L"2009/07/99").AsXCDateEx(&ok).IsNull() && !ok);
    EXPECT_TRUE(XCString(L"12:00:01").AsXCTimeEx(&ok) == XCTimeEx(12, 0, 1) && ok);
    EXPECT_TRUE(XCString(L"2009/07/04").AsXCDateTimeEx(&ok).IsOnlyDate() && ok);
    EXPECT_TRUE(XCString(L"3 days").AsXCDurationEx(&ok) == XCDurationEx(3, XCDurationEx::Day) && ok);
    EXPECT_TRUE(XCString(L"-99999999999").AsXCDurationEx(&ok) == XCDurationEx::invalid_ && !ok);
    XCDateTime const old = XCString(L"2009/07/04 03:05:09").AsXCDateTime(&ok);
    EXPECT_TRUE(ok && old.AsString(L"%Y/%m/%d %H:%M:%S") == L"2009/07/04 03:05:09");
    EXPECT_TRUE(XCString(L"?").AsXCDateTime(&ok).IsNull() && !ok);
    EXPECT_EQ(XCString(L"42").AsXCDuration(&ok), 42);
}

TEST(OldDates, TextAndSeconds)
{
    XCDate const date(4, 7, 2009);
    EXPECT_TRUE(date.AsString(L"%Y %m %d %y %% %q|%") == L"2009 07 04 09 % |");
    XCDateTime const value(1246676709);
    EXPECT_TRUE(value.AsString(L"%B %d, %Y|%x|%X|%q%", XCTimeZone()) == L"July 04, 2009|07/04/09|03:05:09|q");
    EXPECT_TRUE(XCDateTime().AsString().IsNull() && XCDateTime(INT64_MAX).AsString().IsNull());
    XCDateTime moved(INT64_MAX - 1);
    EXPECT_TRUE((moved += 5).AsTime() == INT64_MAX && (XCDateTime(-5) + INT64_MIN).AsTime() == INT64_MIN + 1);
    EXPECT_TRUE((XCDateTime() + 5).IsNull());

    // From and to the current classes; the runtime's limits hold.
    XCDateTimeEx both;
    EXPECT_TRUE(both.FromXCDateTime(value, true) && both == Utc(2009, 7, 4, 3, 5, 9));
    EXPECT_TRUE(both.AsXCDateTime() == value && XCDateTimeEx(2009, 2, 30).AsXCDateTime().IsNull());
    EXPECT_TRUE(XCDateEx(value, false) == XCDateEx(2009, 7, 4) && XCTimeEx(value, false) == XCTimeEx(3, 5, 9));
    XCDateEx day(1, 1, 1);
    EXPECT_TRUE(day.FromXCDateTime(XCDateTime(), false) && day.IsNull());
    EXPECT_FALSE(day.FromXCDateTime(XCDateTime(-1), false));
    EXPECT_TRUE(day.FromXCDateTime(XCDateTime(32535244799), false) && day == XCDateEx(3001, 1, 1));
    EXPECT_FALSE(day.FromXCDateTime(XCDateTime(32535244800), false));
    EXPECT_EQ(XCDateEx(2009, 7, 4).AsXCDateTime(false).AsTime() + XCTimeEx(3, 5, 9).AsXCDateTime().AsTime(),
              value.AsTime());
}

TEST(BrokenDown, StructTmAndAggregate)
{
    std::tm time{};
    EXPECT_TRUE(XCLocalTime(time, 1246676709, XCTimeZone()));
    EXPECT_TRUE(time.tm_year == 109 && time.tm_mon == 6 && time.tm_mday == 4 && time.tm_wday == 6 &&
                time.tm_yday == 184 && time.tm_isdst == 0);
    EXPECT_TRUE(XCDateTimeEx(time, XCTimeZone()) == Utc(2009, 7, 4, 3, 5, 9));
    time.tm_mon = 18, time.tm_mday = -26, time.tm_year = 108, time.tm_sec = 69, time.tm_min = 4;
    EXPECT_EQ(XCMkTime(time, XCTimeZone()), 1246676709 - 30 * 86400) << "month 18, day -26, second 69";
    EXPECT_TRUE(time.tm_mon == 5 && time.tm_mday == 4 && time.tm_sec == 9);
    EXPECT_FALSE(XCLocalTime(time, -1, XCTimeZone()) || XCLocalTime(time, 32535244800, XCTimeZone()));
    time = {};
    time.tm_year = time.tm_mon = time.tm_mday = time.tm_hour = time.tm_min = time.tm_sec = INT32_MAX;
    EXPECT_EQ(XCMkTime(time, XCTimeZone()), -1);
    EXPECT_TRUE(XCDateEx(time).IsNull() && XCTimeEx(time).IsNull());
    std::tm date{};
    EXPECT_TRUE(XCDateEx(1969, 12, 31).AsStructTM(date) && date.tm_wday == 3) << "a cut-off meant for GetWeekDay";
    EXPECT_FALSE(XCDateEx(2009, 2, 30).AsStructTM(date));
    XCCopyStructTM(date, time);
    EXPECT_TRUE(time.tm_yday == 364 && time.tm_sec == 0);

    XCDateAndTime fields;
    XCDateTimeEx const value = Utc(2009, 7, 4, 3, 5, 9, 7);
    value.GetDateAndTime(fields, XCTimeZone());
    EXPECT_TRUE(XCDateTimeEx(fields) == value && fields.weekDay == 6);
    XCDateTimeEx(3u, 5u, 9u, 7u).GetDateAndTime(fields);
    EXPECT_TRUE(XCDateTimeEx(fields).IsOnlyTime());
    // OLE dates: the fraction counts away from zero.
    EXPECT_TRUE(XCDateTimeEx(-1.25, XCTimeZone()) == Utc(1899, 12, 29, 6) && XCTimeEx(39998.5) == XCTimeEx(12, 0, 0));
    EXPECT_TRUE(XCDateEx(2958466.0).IsNull() && XCDateEx(-657435.0).IsNull() &&
                XCDateEx(std::numeric_limits<double>::quiet_NaN()).IsNull());
    EXPECT_TRUE(XCDateEx(2958465.99) == XCDateEx::maximum && XCDateTimeEx(2958465.9999999999, XCTimeZone()).IsNull());
}

} // namespace
