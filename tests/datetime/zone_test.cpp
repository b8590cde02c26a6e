// Time zones: offsets by the rules of each year, wall times that come twice or never, the local zone of the process.

#include "datetime/zone_names.h"
#include "prelude.h"

namespace {

XCTimeZone Zone(wchar_t const* name)
{
    bool found = false;
    XCTimeZone const zone = XCTimeZone::FromName(name, &found);
    EXPECT_TRUE(found) << "no such zone";
    return zone;
}

std::wstring Shown(XCDateTimeEx const& value, XCTimeZone const& zone)
{
    XCString text;
    EXPECT_TRUE(value.AsString(text, L"%Y/%m/%d %H:%M:%S %Z", zone).Good());
    return text;
}

// fault, zone, utc, shown, daylight
Rows<wchar_t const*, wchar_t const*, wchar_t const*, bool> const kInstants = {
    {"last second of standard time", kEastern, L"2010/03/14 06:59:59", L"2010/03/14 01:59:59 -05:00", false},
    {"first second of daylight time", kEastern, L"2010/03/14 07:00:00", L"2010/03/14 03:00:00 -04:00", true},
    {"last second of daylight time", kEastern, L"2010/11/07 05:59:59", L"2010/11/07 01:59:59 -04:00", true},
    {"first second of standard time", kEastern, L"2010/11/07 06:00:00", L"2010/11/07 01:00:00 -05:00", false},
    {"rules of 2006 asked for by those of 2007", kEastern, L"2006/03/20 12:00:00", L"2006/03/20 07:00:00 -05:00",
     false},
    {"rules of 2006 not in April", kEastern, L"2006/04/02 07:00:00", L"2006/04/02 03:00:00 -04:00", true},
    {"far past", kEastern, L"1800/07/15 12:00:00", L"1800/07/15 08:00:00 -04:00", true},
    {"new year", kEastern, L"2010/01/01 04:59:59", L"2009/12/31 23:59:59 -05:00", false},
    {"southern summer", kSydney, L"2010/01/15 12:00:00", L"2010/01/15 23:00:00 +11:00", true},
    {"southern end of daylight time", kSydney, L"2010/04/03 16:00:00", L"2010/04/04 02:00:00 +10:00", false},
    {"half an hour", kIndia, L"2010/07/15 18:30:00", L"2010/07/16 00:00:00 +05:30", false},
    {"UTC", L"utc", L"2010/07/15 18:30:00", L"2010/07/15 18:30:00 Z", false},
};

TEST(TimeZone, InstantsAndBack)
{
    for (auto const& [fault, rowZone, utc, shown, daylight] : kInstants) {
        SCOPED_TRACE(fault);
        XCTimeZone const zone = Zone(rowZone);
        XCDateTimeEx const value(XCString{utc}, XCTimeZone{});
        EXPECT_EQ(All(Shown(value, zone), zone.IsDaylight(value)), All(shown, daylight));
        // The text carries its offset, so that it comes back whatever zone it is read in.
        XCDateTimeEx back;
        EXPECT_TRUE(back.FromString(XCString(shown), L"%Y/%m/%d %H:%M:%S %Z", Zone(kSydney)).Good() && back == value);
        XCDateTimeEx moved = value;
        moved.ConvertFromUTCTo(zone);
        EXPECT_EQ(moved.GetTime(XCTimeZone()).AsInt(), value.GetTime(zone).AsInt());
    }
}

// fault, zone, wall, utc, kind
Rows<wchar_t const*, wchar_t const*, wchar_t const*, XCTimeZone::LocalKind> const kWalls = {
    {"skipped", kEastern, L"2010/03/14 02:30:00", L"2010/03/14 07:30:00", XCTimeZone::LocalKind::Skipped},
    {"first instant after the gap", kEastern, L"2010/03/14 03:00:00", L"2010/03/14 07:00:00",
     XCTimeZone::LocalKind::Unique},
    {"ambiguous", kEastern, L"2010/11/07 01:30:00", L"2010/11/07 05:30:00", XCTimeZone::LocalKind::Ambiguous},
    {"southern ambiguous", kSydney, L"2010/04/04 02:30:00", L"2010/04/03 15:30:00", XCTimeZone::LocalKind::Ambiguous},
    {"southern skipped", kSydney, L"2010/10/03 02:30:00", L"2010/10/02 16:30:00", XCTimeZone::LocalKind::Skipped},
    {"no daylight time", kIndia, L"2010/07/16 00:00:00", L"2010/07/15 18:30:00", XCTimeZone::LocalKind::Unique},
};

TEST(TimeZone, WallTimes)
{
    for (auto const& [fault, rowZone, rowWall, rowUtc, kind] : kWalls) {
        SCOPED_TRACE(fault);
        XCTimeZone const zone = Zone(rowZone);
        XCDateTimeEx const utc(XCString{rowUtc}, XCTimeZone{}), wall(XCString{rowWall}, zone);
        EXPECT_EQ(Shown(wall, XCTimeZone()), std::wstring(rowUtc) + L" Z");
        XCDateTimeEx const plain(XCString{rowWall}, XCTimeZone{});
        EXPECT_EQ(zone.GetLocalKind(plain.GetDate(XCTimeZone()), plain.GetTime(XCTimeZone())), kind);
        std::tm time{};
        EXPECT_TRUE(plain.AsStructTM(time, XCTimeZone()));
        EXPECT_EQ(XCMkTime(time, zone), utc.AsXCDateTime().AsTime());
    }
}

TEST(TimeZone, PartsAloneAreNotMoved)
{
    XCTimeZone const zone = Zone(kSydney);
    XCDateTimeEx const date(2010, 1, 15), time(23u, 0u, 0u, 0u);
    EXPECT_TRUE(date.GetDate(zone) == XCDateEx(2010, 1, 15) && time.GetTime(zone) == XCTimeEx(23, 0, 0));
    EXPECT_EQ(date.GetOffset(zone) + time.GetOffset(zone) + XCDateTimeEx().GetOffset(zone), 0);
    EXPECT_EQ(Shown(date, zone), L"2010/01/15 00:00:00 Z");
    // At the ends of what can be stored nothing leaves the range.
    XCDateTimeEx const first(0, 1, 1, 0, 0, 0, 0, XCTimeZone());
    EXPECT_EQ(Shown(first, Zone(kEastern)), L"0/01/01 00:00:00 Z");
    EXPECT_EQ(XCDateTimeEx(2010, 2, 30, 1, 0, 0, 0, zone).GetTime(XCTimeZone()).AsInt(), 3600000);
    EXPECT_TRUE(date.AsXCDateTime(zone).AsTime() == 1263474000 &&
                date.AsXCDateTime(XCTimeZone()).AsTime() == 1263513600);
}

TEST(TimeZone, NamesAndEquality)
{
    bool found = true;
    EXPECT_TRUE(XCTimeZone::FromName(L"Middle of Nowhere", &found).IsUTC() && !found);
    EXPECT_TRUE(XCTimeZone::FromName(L"", &found).IsUTC() && !found);
    EXPECT_TRUE(XCTimeZone::FromName(L"..\\Time Zones", &found).IsUTC() && !found);
    EXPECT_TRUE(Zone(L"eastern standard time") == Zone(kEastern) && !(Zone(kEastern) == Zone(kSydney)));
    EXPECT_TRUE(Zone(kEastern).GetName() == kEastern && XCTimeZone().GetName() == L"UTC");
    EXPECT_TRUE(Zone(kEastern).GetDaylightName().Length() > 0);
    std::vector<XCString> const names = XCTimeZone::GetNames();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    EXPECT_EQ(std::count(names.begin(), names.end(), XCString(kIndia)), 1);
}

TEST(LocalZone, SwitchingTheProcess)
{
    XCDateTimeEx const value(2010, 1, 15, 12, 0, 0, 0, XCTimeZone());
    // name, shown
    Table<wchar_t const*, wchar_t const*> const cases = {
        {kSydney, L"2010/01/15 23:00:00.000"},
        {kIndia, L"2010/01/15 17:30:00.000"},
        {kEastern, L"2010/01/15 07:00:00.000"},
        {L"UTC", L"2010/01/15 12:00:00.000"},
    };
    for (auto const& [name, shown] : cases) {
        XCTimeZone::SetLocal(Zone(name));
        EXPECT_TRUE(value.AsString() == shown);
        EXPECT_TRUE(XCTimeZone::Local() == Zone(name) && XCTimeZone::Local().IsUTC() == (name == std::wstring(L"UTC")));
        XCDateTimeEx back;
        EXPECT_TRUE(back.FromString(shown).Good() && back == value);
        // The local clock follows, and the older class.
        XCDateTimeEx const now = XCDateTimeEx::GetCurrentDateTime();
        EXPECT_LE((XCDateEx::GetCurrentDate() - now.GetDate()).GetDuration(), 1);
        EXPECT_TRUE(XCString(shown).AsXCDateTime().AsTime() == 1263556800);
    }
    XCTimeZone::SetLocal(XCTimeZone::Local()); // changes nothing
    EXPECT_TRUE(XCTimeZone::Local().IsUTC());
    XCTimeZone::RefreshLocal();
}

TEST(LocalZone, FirstUseAndSwitchingFromManyThreads)
{
    std::atomic<int> wrong{0};
    OnThreads(4, [&wrong](int i) {
        XCDateTimeEx const value(2010, 1, 15, 12, 0, 0, 0, XCTimeZone());
        for (int round = 0; round < 2000; ++round) {
            if (i == 0 && round % 100 == 0) XCTimeZone::SetLocal(Zone(round % 200 == 0 ? kSydney : kIndia));
            if (i == 1 && round % 500 == 0) XCTimeZone::RefreshLocal();
            int const offset = value.GetOffset();
            if (i == 2 && XCTimeZone::FromName(kEastern).GetOffset(value) != -300) ++wrong;
            if (offset < -720 || offset > 840) ++wrong;
        }
    });
    EXPECT_EQ(wrong, 0);
    XCTimeZone::RefreshLocal();
}

} // namespace
