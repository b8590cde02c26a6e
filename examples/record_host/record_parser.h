// record_parser.h - lines of a log into records.
#pragma once

#include "records.h"

#include <XelbrinCore/XCRegEx.h>

#include <functional>
#include <string>

/// Splits lines such as "2026-11-21 16:37:02 install gcc:amd64 <none> 12.2.0" into day, time, kind and text.
class RecordParser {
public:
    /// @param onMalformed called with the number of each line (from 1) that has no such form.
    explicit RecordParser(std::function<void(std::size_t)> onMalformed);

    /// Parses whole lines of UTF-8; the end of the last one may be missing. Blank lines are passed over.
    RecordBatch Parse(std::string const& bytes);

private:
    bool ParseLine(XCString& text, TextPlace line, Record& record);
    bool ParseDay(std::wstring_view text, XCDateEx& day);

    std::function<void(std::size_t)> m_onMalformed;
    XCRegExFields m_line;
    std::size_t m_lines = 0;
    XCString m_lastDayText; // most lines have the day of the line before
    XCDateEx m_lastDay;
};
