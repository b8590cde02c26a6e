#include "record_parser.h"

#include <algorithm>

namespace {

// Where the fields of a line stand: "2026-11-21 16:37:02 kind the rest".
constexpr TextPlace kDay{0, 10};
constexpr TextPlace kTime{11, 8};
constexpr std::size_t kKindBegin = 20;

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
    if (line.size() <= kKindBegin || line[kDay.length] != L' ' || line[kKindBegin - 1] != L' ') return false;
    if (!ParseDay(line.substr(kDay.begin, kDay.length), record.day)) return false;
    if (!record.time.FromString(XCString(line.substr(kTime.begin, kTime.length)), L"%H:%M:%S")) return false;

    std::size_t const kindEnd = std::min(line.find(L' ', kKindBegin), line.size());
    if (kindEnd == kKindBegin) return false;
    std::size_t const textBegin = std::min(kindEnd + 1, line.size());
    record.kind = {place.begin + kKindBegin, kindEnd - kKindBegin};
    record.text = {place.begin + textBegin, line.size() - textBegin};
    text.Set(place.begin + kindEnd, L'\0');
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
