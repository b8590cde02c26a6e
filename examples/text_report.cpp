// text_report FILE: what a UTF-8 text file holds - lines, words, the longest line and its most frequent words.
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCString.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace {

struct Report {
    std::size_t lines = 0;
    std::size_t words = 0;
    XCString longestLine;
    std::map<XCString, unsigned int> counts; // ordered by code unit; keys share the text they were first read as
};

void AddLine(Report& report, XCString line)
{
    line.RTrim(L" \t\r");
    ++report.lines;
    if (line.Length() > report.longestLine.Length()) report.longestLine = line; // shares, copies nothing
    XCTokenizer words(line.Lower(), XCString(L" \t,;()[]{}<>\"'`|=*#"));
    for (XCString word; words.GetNext(word); ++report.words) ++report.counts[word.RTrim(L".:!?")];
}

std::vector<std::pair<XCString, unsigned int>> MostFrequent(Report const& report, std::size_t most)
{
    std::vector<std::pair<XCString, unsigned int>> rows(report.counts.begin(), report.counts.end());
    auto const byCountThenName = [](auto const& a, auto const& b) {
        return a.second != b.second ? a.second > b.second : XCStringNatCompare{}(a.first, b.first) < 0;
    };
    std::stable_sort(rows.begin(), rows.end(), byCountThenName);
    rows.resize(std::min(rows.size(), most));
    return rows;
}

void Print(XCString const& text)
{
    std::fputs((text + L"\n").AsUTF8().c_str(), stdout);
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count != 2) {
        Print(XCString(L"usage: text_report FILE"));
        return 2;
    }
    std::ifstream file(std::filesystem::path(arguments[1]), std::ios::binary);
    std::string const bytes(std::istreambuf_iterator<char>(file), {});
    XCString text;
    if (XCErrorID const read = text.SetFromUTF8(bytes); !file || read.Bad()) {
        Print(XCString(arguments[1]) + L": " + (file ? read.AsString() : XCString(L"cannot be read")));
        return 1;
    }
    Report report;
    XCTokenizer lines(text, XCString(L"\n"), XCTokenizer::EmptyTokens::Keep);
    for (XCString line; lines.GetNext(line);) AddLine(report, line);
    if (text.View().ends_with(L'\n') || text.IsNull()) --report.lines; // what follows the last line end is no line

    std::pair<wchar_t const*, std::size_t> const totals[] = {{L"units", text.Length()},
                                                             {L"lines", report.lines},
                                                             {L"words", report.words},
                                                             {L"distinct", report.counts.size()}};
    for (auto const& [name, total] : totals) Print(XCString().Format(L"%-14s%8I64u", name, total));
    Print(XCString().Format(L"%-14s  %.60s", L"longest line", report.longestLine));
    Print(XCString(L"\n   count   share  word\n") + XCString(L'-', 40));
    for (auto const& [word, times] : MostFrequent(report, 12)) {
        double const share = 100.0 * times / static_cast<double>(report.words);
        Print(XCString().Format(L"%8u %6.2f%%  %.60s", times, share, word));
    }
    return 0;
}
