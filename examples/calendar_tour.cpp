// calendar_tour [date]: what the date classes say about a day, and what a meeting time is elsewhere.
#include <XelbrinCore/XCDateTime.h>

#include <cstdio>

namespace {

void Print(char const* label, XCString const& text)
{
    std::printf("%-28s %s\n", label, text.AsUTF8().c_str());
}

void ShowDay(XCDateEx const& date)
{
    Print("day", date.AsString(L"%Y-%m-%d, week %W"));
    std::printf("%-28s %u\n", "day of the year", date.GetYearDay());
    Print("a month later", (date + XCDurationEx(1, XCDurationEx::Month)).AsString());
    Print("90 days earlier", (date - 90L).AsString());
    Print("since the year began", (date - XCDateEx(date.GetYear(), 1, 1)).Normalize().AsString());
}

void ShowMeeting(XCDateEx const& date)
{
    XCTimeZone const eastern = XCTimeZone::FromName(L"Eastern Standard Time");
    XCDateTimeEx const meeting(date, XCTimeEx(9, 30, 0), eastern);
    XCDateTimeEx const end = meeting + XCDurationEx(90, XCDurationEx::Minute);
    wchar_t const* const places[] = {L"Eastern Standard Time", L"UTC", L"India Standard Time",
                                     L"AUS Eastern Standard Time"};
    for (wchar_t const* const place : places) {
        XCString from, to;
        XCTimeZone const zone = XCTimeZone::FromName(place);
        (void)meeting.AsString(from, L"%d.%m. %H:%M", zone);
        (void)end.AsString(to, L"%H:%M (%Z)", zone);
        Print(XCString(place).AsUTF8().c_str(), from + L" - " + to);
    }
    Print("lasts", XCPrintDuration((end - meeting).AsXCDuration()));
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    bool ok = true;
    XCDateEx const date = count > 1 ? XCString(arguments[1]).AsXCDateEx(&ok) : XCDateEx(2009, 1, 31);
    if (!ok) {
        std::fprintf(stderr, "not a date; use year/month/day\n");
        return 1;
    }
    ShowDay(date);
    ShowMeeting(date);
    return 0;
}
