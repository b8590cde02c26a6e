// Texts of records and settings of the trace: whatever they hold, a record stays one line and settings read back.
#include "input.h"

#include "log/Pattern.h"
#include "log/RecordText.h"
#include "log/TraceSettings.h"

void CheckOneLine(std::wstring_view text)
{
    std::string bytes;
    xc::log::AppendOnOneLine(bytes, text);
    bool const ends = !text.empty() && text.back() == L'\n';
    Require(std::count(bytes.begin(), bytes.end(), '\n') == (ends ? 1 : 0));
    Require(bytes.ends_with("\r\n") || !ends);
}

void CheckEscaped(std::wstring_view text)
{
    XCString const escaped = xc::log::EscapeControls(text);
    for (wchar_t const unit : escaped) Require(unit >= 0x20 && unit != 0x7F && unit != 0x85 && unit != 0x2028);
    Require(escaped.Length() >= text.size());
}

/// Walks over the string: what follows each backslash is an escape, no quote stands bare inside, and the last byte
/// closes it.
void CheckJson(std::wstring_view text)
{
    std::string bytes;
    xc::log::AppendJsonString(bytes, text);
    Require(bytes.size() >= 2 && bytes.front() == '"' && bytes.back() == '"');
    std::size_t i = 1;
    for (; i + 1 < bytes.size(); ++i) {
        Require(static_cast<unsigned char>(bytes[i]) >= 0x20 && bytes[i] != '"');
        if (bytes[i] != '\\') continue;
        ++i;
        Require(std::strchr("\"\\nrtu", bytes[i]) != nullptr);
        if (bytes[i] == 'u') i += 4;
    }
    Require(i + 1 == bytes.size());
}

void CheckSubjects(std::wstring_view list)
{
    int const mask = xc::log::ParseTraceSubjects(list).mask;
    XCString names = xc::log::DescribeTraceSubjects(mask);
    xc::log::TraceSubjects const again = xc::log::ParseTraceSubjects(names.Replace(L"+", L",").View());
    Require(again.allKnown && again.mask == mask);
    Require(xc::log::BuildFileName(list, 1).Length() >= 7);
}

/// Any text as a pattern, and as everything that a pattern shows: a fault has a place, a line is one line.
void CheckPattern(std::wstring_view text)
{
    xc::log::Pattern pattern;
    std::size_t const fault = pattern.Compile(text);
    Require(fault <= text.size());
    std::wstring fields;
    XCLogField const field(text, text);
    xc::log::AppendFields(fields, {&field, 1});
    std::string bytes;
    if (fault == 0) pattern.Append(bytes, text, 1, {text, fields, L"\n", {}});
    Require(fault != 0 || bytes.ends_with('\n'));

    xc::log::Pattern usual;
    Require(usual.Compile(L"%T %-7L %c %m%n") == 0);
    bytes.clear();
    usual.Append(bytes, text, 1, {text, fields, L"\n", {}});
    Require(std::count(bytes.begin(), bytes.end(), '\n') == 1);
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    std::wstring const text = Units(bytes, size);
    CheckOneLine(text);
    CheckEscaped(text);
    CheckJson(text);
    CheckSubjects(text);
    CheckPattern(text);
}
