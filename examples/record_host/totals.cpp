#include "totals.h"

void Totals::Add(RecordBatch const& batch)
{
    source = batch.source;
    lines += batch.lines;
    malformedLines += batch.malformedLines;
    for (Record const& record : batch.records) AddRecord(batch, record);
    if (batch.records.empty()) return;
    Record const& last = batch.records.back();
    lastRecord = last.day.AsString(L"%Y-%m-%d ") + last.time.AsString(L"%H:%M:%S ");
    lastRecord.Append(batch.At(last.kind)).Append(L" ").Append(batch.At(last.text));
}

void Totals::AddRecord(RecordBatch const& batch, Record const& record)
{
    ++records;
    DayTotal& day = days[record.day];
    if (++day.records == 1) day.first = record.time;
    day.last = record.time;
    ++hours[record.time.GetHour()];

    std::wstring_view const kind = batch.At(record.kind);
    auto const found = kinds.find(kind.data()); // the place in the batch ends with U+0000: no string is made
    if (found != kinds.end())
        ++found->second;
    else
        kinds.emplace(kind, 1);
    MeasurePause(record);
}

void Totals::MeasurePause(Record const& record)
{
    // The times are those of the wall clock; a zone would put gaps into them where clocks are set.
    XCTimeZone const& zone = XCDateTimeEx::utcTimeZone_;
    if (!m_lastDay.IsNull()) {
        XCDurationEx const passed =
            XCDateTimeEx(record.day, record.time, zone) - XCDateTimeEx(m_lastDay, m_lastTime, zone);
        if (long const seconds = passed.AsXCDuration(); seconds > longestPause.seconds)
            longestPause = {seconds, m_lastDay, m_lastTime};
    }
    m_lastDay = record.day;
    m_lastTime = record.time;
}
