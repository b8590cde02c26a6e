// The structures of the system, the stream operators, and the process's own zone as the system has it.

#include "datetime/zone_names.h"
#include "prelude.h"
#include "sync/import_patch.h"

#include <windows.h>

#include <oleauto.h>

namespace {

SYSTEMTIME SystemTime(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0, WORD second = 0, WORD ms = 0)
{
    return {year, month, 0, day, hour, minute, second, ms};
}

TEST(SystemTimes, PackedAsTheyStand)
{
    XCDateEx date;
    EXPECT_TRUE(date.FromSystemTime(SystemTime(2009, 7, 4)) && date == XCDateEx(2009, 7, 4));
    EXPECT_FALSE(date.FromSystemTime(SystemTime(2009, 2, 30)));
    EXPECT_EQ(date.AsInt(), (2009u << 9) | (2u << 5) | 30u);
    EXPECT_FALSE(date.FromSystemTime(SystemTime(65535, 65535, 65535)));
    EXPECT_TRUE(XCDateEx(SystemTime(0, 0, 0)).IsNull());
    EXPECT_EQ(XCTimeEx(SystemTime(1, 1, 1, 23, 59, 59, 999)).AsInt(), 86399999);
    EXPECT_TRUE(XCTimeEx(SystemTime(1, 1, 1, 24)).IsNull() &&
                XCTimeEx(SystemTime(1, 1, 1, 65535, 65535, 65535, 65535)).IsNull());
    XCDateTimeEx const both(SystemTime(2009, 7, 4, 3, 5, 9, 7), XCTimeZone());
    EXPECT_TRUE(both == XCDateTimeEx(2009, 7, 4, 3, 5, 9, 7, XCTimeZone()));

    SYSTEMTIME out{};
    EXPECT_TRUE(both.AsSystemTime(out, XCTimeZone()));
    EXPECT_TRUE(out.wYear == 2009 && out.wMonth == 7 && out.wDay == 4 && out.wDayOfWeek == 6 && out.wHour == 3 &&
                out.wMilliseconds == 7);
    EXPECT_TRUE(XCDateEx(1601, 1, 1).AsSystemTime(out) && out.wDayOfWeek == 1) << "a cut-off meant for GetWeekDay";
    EXPECT_FALSE(XCDateEx(1600, 12, 31).AsSystemTime(out) || XCDateEx(10000, 1, 1).AsSystemTime(out) ||
                 XCDateEx(2009, 2, 30).AsSystemTime(out));
    EXPECT_FALSE(XCTimeEx::null.AsSystemTime(out) || XCDateTimeEx().AsSystemTime(out));
    EXPECT_EQ(XCSystemTimeDifference(SystemTime(2009, 7, 4, 3), SystemTime(2009, 7, 4, 1, 59, 59, 999)), 3600001);
    EXPECT_EQ(XCSystemTimeDifference(SystemTime(2009, 1, 1), SystemTime(2010, 1, 1)), INT_MIN);
    EXPECT_EQ(XCSystemTimeDifference(SystemTime(1970, 1, 1, 0, 0, 1), SystemTime(0, 0, 0)), 1000);
}

// FILETIMEs of the system on one side, ours on the other, over its whole range.
TEST(SystemTimes, FileTimesAgreeWithTheSystem)
{
    for (int year = 1601; year <= 9999; year += 13) {
        SYSTEMTIME const parts =
            SystemTime(static_cast<WORD>(year), static_cast<WORD>(year % 12 + 1), 28, 23, 59, 58, 997);
        FILETIME wanted, got;
        ASSERT_TRUE(::SystemTimeToFileTime(&parts, &wanted));
        XCDateTimeEx const value(parts, XCTimeZone());
        ASSERT_TRUE(value.AsFileTime(got));
        ASSERT_EQ(::CompareFileTime(&wanted, &got), 0) << year;
        ASSERT_TRUE(XCDateTimeEx(wanted) == value && XCDateEx(wanted) == XCDateEx(parts) &&
                    XCTimeEx(wanted) == XCTimeEx(parts));
        double ole = 0;
        SYSTEMTIME whole = parts;
        whole.wMilliseconds = 0;
        ASSERT_TRUE(::SystemTimeToVariantTime(&whole, &ole));
        ASSERT_TRUE(XCDateTimeEx(ole, XCTimeZone()) == XCDateTimeEx(whole, XCTimeZone())) << year;
    }
    FILETIME const tooLarge = {0, 0x80000000};
    EXPECT_TRUE(XCDateTimeEx(tooLarge).IsNull() && XCDateEx(tooLarge).IsNull() && XCTimeEx(tooLarge).IsNull());
    FILETIME out;
    EXPECT_FALSE(XCDateEx(2009, 2, 29).AsFileTime(out)) << "the system's own call takes February 29 of any year";
    EXPECT_TRUE(XCTimeEx(0, 0, 1).AsFileTime(out) && out.dwLowDateTime == 10000000);
}

TEST(SystemTimes, Variants)
{
    VARIANT value{};
    XCDateTimeEx const both(2009, 7, 4, 3, 5, 9, 7, XCTimeZone());
    EXPECT_TRUE(both.AsVariant(value, XCTimeZone()) && value.vt == VT_DATE);
    EXPECT_TRUE(XCDateTimeEx(value, XCTimeZone()) == both && XCDateEx(value) == XCDateEx(2009, 7, 4) &&
                XCTimeEx(value) == XCTimeEx(3, 5, 9, 7));
    DATE place = value.date;
    value.vt = VT_DATE | VT_BYREF;
    value.pdate = &place;
    EXPECT_TRUE(XCDateTimeEx(value, XCTimeZone()) == both && XCDateTimeEx().AsVariant(value) && value.vt == VT_NULL);
    XCDateTimeEx read = both;
    EXPECT_TRUE(read.FromVariant(value) && read.IsNull());
    value.vt = VT_I4;
    EXPECT_FALSE(read.FromVariant(value) || XCDateEx().FromVariant(value) || XCTimeEx().FromVariant(value));
    EXPECT_FALSE(XCDateEx(2009, 2, 30).AsVariant(value) || XCDateEx(99, 1, 1).AsVariant(value));
    EXPECT_TRUE(XCTimeEx(6, 0, 0).AsVariant(value) && value.date == 0.25);
    EXPECT_TRUE(XCDateTimeEx(1899, 12, 29, 6, 0, 0, 0, XCTimeZone()).AsVariant(value, XCTimeZone()) &&
                value.date == -1.25);
}

TEST(SystemTimes, Zones)
{
    XCTimeZone const eastern = XCTimeZone::FromName(kEastern);
    SYSTEMTIME time = SystemTime(2010, 7, 15, 12);
    EXPECT_TRUE(eastern.FromUTC(time, time) && time.wHour == 8 && time.wDayOfWeek == 4);
    EXPECT_TRUE(eastern.ToUTC(time, time) && time.wHour == 12);
    EXPECT_FALSE(eastern.FromUTC(SystemTime(2010, 2, 30), time) || eastern.FromUTC(SystemTime(1601, 1, 1), time));
    EXPECT_EQ(time.wHour, 12);
    EXPECT_GT(XCTimeZone::GetNames().size(), 50u);
    for (XCString const& name : XCTimeZone::GetNames()) {
        bool found = false;
        XCTimeZone const zone = XCTimeZone::FromName(name, &found);
        EXPECT_TRUE(found && zone.GetName() == name);
    }
}

DWORD WINAPI AnswerNothing(DYNAMIC_TIME_ZONE_INFORMATION*)
{
    return TIME_ZONE_ID_INVALID;
}

/// One that the system does not list, with clocks that an administrator does not let go forward.
DWORD WINAPI AnswerOwnZone(DYNAMIC_TIME_ZONE_INFORMATION* zone)
{
    *zone = {};
    zone->Bias = -90;
    std::wcscpy(zone->StandardName, L"Ship");
    zone->DynamicDaylightTimeDisabled = TRUE;
    return TIME_ZONE_ID_UNKNOWN;
}

TEST(LocalZone, ThatTheSystemDoesNotList)
{
    for (auto const& [answer, name, offset] : Table<DWORD(WINAPI*)(DYNAMIC_TIME_ZONE_INFORMATION*), XCString, int>{
             {AnswerNothing, L"", 0}, {AnswerOwnZone, L"Ship", 90}})
    {
        sync_test::ImportPatch const patch("GetDynamicTimeZoneInformation", answer);
        XCTimeZone::RefreshLocal();
        EXPECT_EQ(XCTimeZone::Local().GetStandardName(), name);
        EXPECT_EQ(XCTimeZone::Local().GetOffset(XCFromUnixTime(0)), offset);
        EXPECT_EQ(XCTimeZone::Local().IsUTC(), offset == 0);
    }
    XCTimeZone::RefreshLocal();
}

// What the system itself shows for this process's zone. (Its data start with 2000; for the years before them this
// library goes on with the first ones, while the system's call may answer with those of today.)
TEST(LocalZone, AgreesWithTheSystem)
{
    DYNAMIC_TIME_ZONE_INFORMATION zone{};
    ::GetDynamicTimeZoneInformation(&zone);
    XCTimeZone::RefreshLocal();
    EXPECT_STREQ(XCTimeZone::Local().GetName().AsWChar(), zone.TimeZoneKeyName);
    char const* const expected = std::getenv("XC_TEST_ZONE"); // set by the tests that run in another zone
    EXPECT_TRUE(!expected || XCTimeZone::Local().GetName().AsMbString() == expected);
    for (int year = 2000; year < 2040; ++year) {
        TIME_ZONE_INFORMATION rules;
        ASSERT_TRUE(::GetTimeZoneInformationForYear(static_cast<USHORT>(year), &zone, &rules));
        for (XCDateTimeEx value(year, 1, 2, 0, 0, 0, 0, XCTimeZone());
             value.GetDate(XCTimeZone()) < XCDateEx(year, 12, 31); value += XCDurationEx(30, XCDurationEx::Minute))
        {
            SYSTEMTIME utc, wanted;
            ASSERT_TRUE(value.AsSystemTime(utc, XCTimeZone()) &&
                        ::SystemTimeToTzSpecificLocalTime(&rules, &utc, &wanted));
            SYSTEMTIME got;
            ASSERT_TRUE(value.AsSystemTime(got));
            ASSERT_EQ(std::memcmp(&got, &wanted, sizeof got), 0)
                << std::string(value.AsString(XCTimeZone()).AsMbString());
        }
    }
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    EXPECT_LT(XCSystemTimeDifference(SystemTime(now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute), now), 1);
    EXPECT_LE(std::abs((XCTimeEx::GetTheCurrentTime(true) - XCTimeEx(now)).GetDuration()), 60000);
    EXPECT_LE(std::abs((XCDateTimeEx::GetCurrentDateTime().GetTime() - XCTimeEx(now)).GetDuration()), 60000);
}

TEST(Streams, WriteAndRead)
{
    std::wstringstream stream;
    XCDateTimeEx const both(2009, 7, 4, 3, 5, 9, 7), dateOnly(2009, 7, 5);
    stream << XCDateEx(2009, 7, 4) << L' ' << XCTimeEx(3, 5, 9) << L' ' << XCDurationEx(-3, XCDurationEx::Day) << L'\n'
           << both << L'\n' << dateOnly << L"\n"
           << dateOnly;
    XCDateEx date;
    XCTimeEx time;
    XCDurationEx duration;
    XCDateTimeEx first, second, third;
    stream >> date >> time >> duration >> first >> second >> third;
    EXPECT_FALSE(stream.fail());
    EXPECT_TRUE(date == XCDateEx(2009, 7, 4) && time == XCTimeEx(3, 5, 9) &&
                duration == XCDurationEx(-3, XCDurationEx::Day));
    EXPECT_TRUE(first == both && second == dateOnly && third == dateOnly && (stream >> date).fail());
    for (wchar_t const* const text : {L"2009/02/30", L"x"}) EXPECT_TRUE((std::wistringstream(text) >> date).fail());
    EXPECT_TRUE((std::wistringstream(L"-99999999999d") >> duration).fail());
    EXPECT_TRUE((std::wistringstream(L"2009/02/30 10:00") >> first).fail());
}

} // namespace
