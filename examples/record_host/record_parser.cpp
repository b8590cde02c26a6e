#include "record_parser.h"

#include <algorithm>

namespace {

// "2026-11-21 16:37:02 kind the rest"; the rest may be missing.
constexpr wchar_t const* kLine = L"([0-9]{4}-[0-9]{2}-[0-9]{2}) ([0-9]{2}:[0-9]{2}:[0-9]{2}) ([^ ]+) ?(.*)";

/// Where a part of the text stands.
TextPlace PlaceOf(XCString const& text, std::wstring_view part)
{
    return {static_cast<std::size_t>(part.data() - text.View().data()), part.size()};
}

/// The text of some lines. One line that is no UTF-8 shall not spoil the others: it becomes a U+FFFD, which is no record.
XCString Decode(std::string const& bytes)
{
    XCString text;
    if (text.SetFromUTF8(bytes).Good()) return text;
    for (std::size_t begin = 0; begin < bytes.size();) {
        std::size_t const end = std::min(bytes.find('\n', begin), bytes.size());
        XCString line;
        text += line.SetFromUTF8(bytes.substr(begin, end - begin)).Good() ? line : XCString(L'\xFFFD');
        if (end < bytes.size()) text += L'\n';
        begin = end + 1;
    }
    return text;
}

} // namespace

RecordParser::RecordParser(std::function<void(std::size_t)> onMalformed)
    : m_onMalformed(std::move(onMalformed)), m_line(kLine, {L"day", L"time", L"kind", L"text"})
{
}

RecordBatch RecordParser::Parse(std::string const& bytes)
{
    RecordBatch batch;
    batch.text = Decode(bytes);
    for (std::size_t begin = 0; begin < batch.text.Length();) {
        std::size_t const end = std::min(batch.text.Find(L'\n', begin), batch.text.Length());
        std::size_t const length = end - begin - (end > begin && batch.text[end - 1] == L'\r' ? 1 : 0);
        ++batch.lines;
        ++m_lines;
        Record record;
        if (ParseLine(batch.text, {begin, length}, record))
            batch.records.push_back(record);
        else if (length != 0) {
            ++batch.malformedLines;
            m_onMalformed(m_lines);
        }
        begin = end + 1;
    }
    return batch;
}

bool RecordParser::ParseLine(XCString& text, TextPlace place, Record& record)
{
    std::wstring_view const line = text.View().substr(place.begin, place.length);
    std::wstring_view day, time, kind, rest;
    if (!m_line.Read(line, XCField(L"day", day), XCField(L"time", time), XCField(L"kind", kind),
                     XCField(L"text", rest)))
        return false;
    if (!ParseDay(day, record.day) || !record.time.FromString(XCString(time), L"%H:%M:%S")) return false;

    record.kind = PlaceOf(text, kind);
    record.text = PlaceOf(text, rest);
    text.Set(record.kind.begin + record.kind.length, L'\0'); // the views are over
    text.Set(place.begin + place.length, L'\0');
    return true;
}

bool RecordParser::ParseDay(std::wstring_view text, XCDateEx& day)
{
    if (text != m_lastDayText.View()) {
        if (!day.FromString(XCString(text), L"%Y-%m-%d")) return false;
        m_lastDay = day;
        m_lastDayText.Assign(text);
    }
    day = m_lastDay;
    return true;
}
