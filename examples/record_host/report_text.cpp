#include "report_text.h"

#include "module_tools.h"

#include <algorithm>
#include <iterator>

namespace {

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

/// Writes the rows and facts of one report in its language.
class Writer {
public:
    explicit Writer(ReportStyle const& style) : m_style(style), m_weekDays(Words(Message::ReportWeekDays)) {}

    [[nodiscard]] XCString Words(Message message, std::vector<XCString> const& parameters = {}) const
    {
        return Text(m_style.context, message, parameters);
    }
    [[nodiscard]] XCString Table(Message heading, Rows const& rows, std::uint64_t all) const;
    [[nodiscard]] Rows DayRows(Totals::Days const& days) const;
    [[nodiscard]] Rows KindRows(Totals::Kinds const& kinds) const;
    [[nodiscard]] XCString Facts(Totals const& totals) const;

private:
    [[nodiscard]] XCString DayText(XCDateEx const& day) const
    {
        return day.AsString(L"%Y-%m-%d ") + XCString(m_weekDays.View().substr(day.GetWeekDay() * 4, 3));
    }
    [[nodiscard]] XCString Fact(Message label, XCString const& text) const
    {
        return XCString().Format(L"%-16ls %ls\n", Words(label), text);
    }
    [[nodiscard]] XCString BusiestDay(Totals::Days const& days) const;
    [[nodiscard]] XCString BusiestHour(std::array<std::uint64_t, 24> const& hours) const;
    [[nodiscard]] XCString LongestPause(Pause const& pause) const;

    ReportStyle const& m_style;
    XCString m_weekDays; // three units each, with a blank between
};

/// The last days; those before them are one row.
Rows Writer::DayRows(Totals::Days const& days) const
{
    auto const most = static_cast<std::size_t>(m_style.days);
    std::size_t const earlier = days.size() > most ? days.size() - most : 0;
    auto const firstShown = std::next(days.begin(), static_cast<std::ptrdiff_t>(earlier));
    Rows rows;
    if (earlier != 0) {
        rows.push_back({Words(Message::ReportEarlier, {Text(earlier)}), 0});
        for (auto day = days.begin(); day != firstShown; ++day) rows.back().count += day->second.records;
    }
    for (auto day = firstShown; day != days.end(); ++day) rows.push_back({DayText(day->first), day->second.records});
    return rows;
}

/// The most frequent kinds; the rest is one row.
Rows Writer::KindRows(Totals::Kinds const& kinds) const
{
    auto const most = static_cast<std::size_t>(m_style.kinds);
    Rows rows;
    for (auto const& [kind, count] : kinds) rows.push_back({kind, count});
    std::stable_sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) { return a.count > b.count; });
    if (rows.size() <= most) return rows;
    Row others{Words(Message::ReportOthers, {Text(rows.size() - most)}), 0};
    for (std::size_t i = most; i < rows.size(); ++i) others.count += rows[i].count;
    rows.resize(most);
    rows.push_back(others);
    return rows;
}

XCString Writer::Table(Message heading, Rows const& rows, std::uint64_t all) const
{
    std::uint64_t greatest = 1;
    for (Row const& row : rows) greatest = std::max(greatest, row.count);
    XCString text = XCString().Format(L"\n%-16.16ls %8ls %7ls\n", Words(heading), Words(Message::ReportRecords),
                                      Words(Message::ReportShare));
    for (Row const& row : rows) {
        XCDouble const percent(100.0 * static_cast<double>(row.count) / static_cast<double>(all), 1);
        text += XCString().Format(L"%-16.16ls %8I64u %6ls%%  %ls\n", row.label, row.count, percent.AsString(),
                                  Bar(row.count, greatest, m_style.width));
    }
    return text;
}

XCString Writer::BusiestDay(Totals::Days const& days) const
{
    auto const fewer = [](auto const& a, auto const& b) { return a.second.records < b.second.records; };
    auto const& [day, total] = *std::max_element(days.begin(), days.end(), fewer);
    return Words(Message::ReportDaySpan, {DayText(day), Text(total.records), total.first.AsString(L"%H:%M:%S"),
                                          total.last.AsString(L"%H:%M:%S")});
}

XCString Writer::BusiestHour(std::array<std::uint64_t, 24> const& hours) const
{
    auto const busiest = std::max_element(hours.begin(), hours.end());
    auto const hour = static_cast<int>(busiest - hours.begin());
    return Words(Message::ReportHourSpan,
                 {XCString().Format(L"%02d:00", hour), XCString().Format(L"%02d:00", hour + 1), Text(*busiest)});
}

XCString Writer::LongestPause(Pause const& pause) const
{
    return Words(Message::ReportPauseSpan,
                 {XCPrintDuration(pause.seconds), pause.day.AsString(L"%Y-%m-%d ") + pause.time.AsString(L"%H:%M:%S")});
}

XCString Writer::Facts(Totals const& totals) const
{
    XCString text = Fact(Message::ReportBusiestDay, BusiestDay(totals.days));
    text += Fact(Message::ReportBusiestHour, BusiestHour(totals.hours));
    if (totals.longestPause.seconds > 0) text += Fact(Message::ReportLongestPause, LongestPause(totals.longestPause));
    return text + Fact(Message::ReportLastRecord, totals.lastRecord);
}

} // namespace

XCString ReportText(Totals const& totals, ReportStyle const& style)
{
    Writer const writer(style);
    XCString text = style.title + L"\n";
    text += writer.Words(Message::ReportCounts,
                         {totals.source, Text(totals.lines), Text(totals.malformedLines), Text(totals.records)}) +
            L"\n";
    if (totals.records == 0) return text;
    text += writer.Table(Message::ReportDay, writer.DayRows(totals.days), totals.records);
    text += writer.Table(Message::ReportKind, writer.KindRows(totals.kinds), totals.records);
    return text + L"\n" + writer.Facts(totals);
}
