#include "report_text.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr wchar_t const* kWeekDays[] = {L"Sun", L"Mon", L"Tue", L"Wed", L"Thu", L"Fri", L"Sat"};

struct Row {
    XCString label;
    std::uint64_t count;
};
using Rows = std::vector<Row>;

/// A bar in proportion to the count; the smallest count still shows.
XCString Bar(std::uint64_t count, std::uint64_t greatest, int width)
{
    auto const room = static_cast<std::uint64_t>(width);
    return XCString(L'#', std::max<std::uint64_t>((count * room + greatest / 2) / greatest, 1));
}

XCString DayText(XCDateEx const& day)
{
    return day.AsString(L"%Y-%m-%d ") + kWeekDays[day.GetWeekDay()];
}

/// The last days; those before them are one row.
Rows DayRows(Totals::Days const& days, std::size_t most)
{
    std::size_t const earlier = days.size() > most ? days.size() - most : 0;
    auto const firstShown = std::next(days.begin(), static_cast<std::ptrdiff_t>(earlier));
    Rows rows;
    if (earlier != 0) {
        rows.push_back({XCString().Format(L"earlier (%I64u)", std::uint64_t{earlier}), 0});
        for (auto day = days.begin(); day != firstShown; ++day) rows.back().count += day->second.records;
    }
    for (auto day = firstShown; day != days.end(); ++day) rows.push_back({DayText(day->first), day->second.records});
    return rows;
}

/// The most frequent kinds; the rest is one row.
Rows KindRows(Totals::Kinds const& kinds, std::size_t most)
{
    Rows rows;
    for (auto const& [kind, count] : kinds) rows.push_back({kind, count});
    std::stable_sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) { return a.count > b.count; });
    if (rows.size() <= most) return rows;
    Row others{XCString().Format(L"others (%I64u)", std::uint64_t{rows.size() - most}), 0};
    for (std::size_t i = most; i < rows.size(); ++i) others.count += rows[i].count;
    rows.resize(most);
    rows.push_back(others);
    return rows;
}

XCString Table(wchar_t const* heading, Rows const& rows, std::uint64_t all, int width)
{
    std::uint64_t greatest = 1;
    for (Row const& row : rows) greatest = std::max(greatest, row.count);
    XCString text = XCString().Format(L"\n%-16.16ls %8ls %7ls\n", heading, L"records", L"share");
    for (Row const& row : rows) {
        XCDouble const percent(100.0 * static_cast<double>(row.count) / static_cast<double>(all), 1);
        text += XCString().Format(L"%-16.16ls %8I64u %6ls%%  %ls\n", row.label.AsWChar(), row.count,
                                  percent.AsString().AsWChar(), Bar(row.count, greatest, width).AsWChar());
    }
    return text;
}

XCString Fact(wchar_t const* label, XCString const& text)
{
    return XCString().Format(L"%-16ls %ls\n", label, text.AsWChar());
}

XCString BusiestDay(Totals::Days const& days)
{
    auto const fewer = [](auto const& a, auto const& b) { return a.second.records < b.second.records; };
    auto const& [day, total] = *std::max_element(days.begin(), days.end(), fewer);
    return XCString().Format(L"%ls, %I64u records from %ls to %ls", DayText(day).AsWChar(), total.records,
                             total.first.AsString(L"%H:%M:%S").AsWChar(), total.last.AsString(L"%H:%M:%S").AsWChar());
}

XCString BusiestHour(std::array<std::uint64_t, 24> const& hours)
{
    auto const busiest = std::max_element(hours.begin(), hours.end());
    auto const hour = static_cast<int>(busiest - hours.begin());
    return XCString().Format(L"%02d:00 to %02d:00, %I64u records", hour, hour + 1, *busiest);
}

XCString LongestPause(Pause const& pause)
{
    return XCPrintDuration(pause.seconds) + L" after " + pause.day.AsString(L"%Y-%m-%d ") +
           pause.time.AsString(L"%H:%M:%S");
}

} // namespace

XCString ReportText(Totals const& totals, ReportStyle const& style)
{
    XCString text = style.title + L"\n";
    text += XCString().Format(L"%ls: %I64u lines, %I64u malformed, %I64u records kept\n", totals.source.AsWChar(),
                              totals.lines, totals.malformedLines, totals.records);
    if (totals.records == 0) return text;
    text += Table(L"day", DayRows(totals.days, static_cast<std::size_t>(style.days)), totals.records, style.width);
    text += Table(L"kind", KindRows(totals.kinds, static_cast<std::size_t>(style.kinds)), totals.records, style.width);
    text += L"\n";
    text += Fact(L"busiest day", BusiestDay(totals.days));
    text += Fact(L"busiest hour", BusiestHour(totals.hours));
    if (totals.longestPause.seconds > 0) text += Fact(L"longest pause", LongestPause(totals.longestPause));
    text += Fact(L"last record", totals.lastRecord);
    return text;
}
