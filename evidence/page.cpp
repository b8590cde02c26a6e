#include "page.h"

#include <algorithm>
#include <initializer_list>

namespace xc::evidence {

namespace {

/// A text as content or quoted value of HTML and XML, in UTF-8.
std::string Escaped(XCString const& text)
{
    std::string out;
    for (char const c : text.AsUTF8()) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        }
    }
    return out;
}

std::string TableRow(std::initializer_list<XCString> cells, char const* style = "", char const* cell = "td")
{
    std::string row = std::string("<tr class=\"") + style + "\">";
    for (XCString const& text : cells) row += std::string("<") + cell + ">" + Escaped(text) + "</" + cell + ">";
    return row + "</tr>\n";
}

XCString WordFor(Verdict verdict)
{
    if (verdict == Verdict::NotAsked) return L"not asked";
    return verdict == Verdict::AsAssumed ? L"as assumed" : L"differs";
}

char const* StyleFor(Verdict verdict)
{
    if (verdict == Verdict::NotAsked) return "open";
    return verdict == Verdict::AsAssumed ? "good" : "bad";
}

std::size_t Count(Results const& results, Verdict verdict)
{
    return static_cast<std::size_t>(
        std::count_if(results.questions.begin(), results.questions.end(),
                      [verdict](AskedQuestion const& asked) { return asked.answer.verdict == verdict; }));
}

std::string Summary(Results const& results)
{
    auto const good =
        std::count_if(results.tests.begin(), results.tests.end(), [](TestRun const& t) { return t.Good(); });
    XCString const text =
        Text(L"%d of %d test programs passed. Of %d answers of the system %d are as assumed, %d differ, %d could not "
             L"be had.",
             static_cast<int>(good), static_cast<int>(results.tests.size()), static_cast<int>(results.questions.size()),
             static_cast<int>(Count(results, Verdict::AsAssumed)), static_cast<int>(Count(results, Verdict::Differs)),
             static_cast<int>(Count(results, Verdict::NotAsked)));
    std::string const wine = "<p><b>This ran under Wine: it shows nothing about Windows.</b></p>\n";
    return (WineVersion().IsNull() ? std::string() : wine) + "<p>" + Escaped(text) + "</p>\n";
}

std::string Table(char const* title, std::initializer_list<XCString> heads, std::string const& rows)
{
    return std::string("<h2>") + title + "</h2>\n<table>\n" + TableRow(heads, "", "th") + rows + "</table>\n";
}

std::string MachineTable(Results const& results)
{
    std::string rows;
    for (auto const& [subject, value] : results.machine) rows += TableRow({subject, value});
    return Table("The machine", {L"subject", L"value"}, rows);
}

std::string QuestionTable(Results const& results)
{
    std::string rows;
    for (auto const& [question, answer] : results.questions)
        rows += TableRow({question.subject, question.text, question.assumed, answer.text, WordFor(answer.verdict)},
                         StyleFor(answer.verdict));
    return Table("What the system answers", {L"subject", L"question", L"assumed", L"answer", L""}, rows);
}

XCString EndOf(TestRun const& test)
{
    return Ending(test.outcome) + (test.lastStarted.IsNull() ? XCString() : L" during " + test.lastStarted);
}

std::string TestTable(Results const& results)
{
    std::string rows;
    for (TestRun const& test : results.tests)
        rows += TableRow({test.name, Text(L"%d", test.tests), Text(L"%d", test.failures), Text(L"%d", test.skipped),
                          Text(L"%.1f", test.outcome.seconds), EndOf(test)},
                         test.Good() ? "good" : "bad");
    return Table("Test programs", {L"program", L"tests", L"failed", L"skipped", L"seconds", L"end"}, rows);
}

std::string RowTable(Results const& results)
{
    std::string rows;
    for (Row const& row : results.rows)
        rows += TableRow({row.name, Text(L"%.1f", row.middle), Text(L"%.1f", row.lowest), Text(L"%.1f", row.highest)});
    std::string const failed =
        results.rowsEnding.IsNull() ? "" : "<p>The program " + Escaped(results.rowsEnding) + ".</p>\n";
    return Table("Cost of operations, five measurements each", {L"operation", L"middle, ns", L"lowest", L"highest"},
                 rows) +
           failed;
}

std::string QuestionCase(AskedQuestion const& asked)
{
    std::string const name = Escaped(asked.question.text);
    std::string const start =
        "<testcase classname=\"questions." + Escaped(asked.question.subject) + "\" name=\"" + name + "\"";
    std::string const said =
        Escaped(L"assumed: " + XCString(asked.question.assumed) + L"; answer: " + asked.answer.text);
    if (asked.answer.verdict == Verdict::AsAssumed) return start + "/>\n";
    char const* const kind = asked.answer.verdict == Verdict::NotAsked ? "skipped" : "failure";
    return start + "><" + kind + " message=\"" + said + "\"/></testcase>\n";
}

/// A program that left no result of its own is one test that failed.
std::string SuitesOf(TestRun const& test)
{
    if (!test.suites.empty()) return test.suites;
    std::string const name = Escaped(test.name);
    return "<testsuite name=\"" + name + "\" tests=\"1\" failures=\"0\" errors=\"1\">\n<testcase classname=\"" + name +
           "\" name=\"program\"><error message=\"" + Escaped(EndOf(test)) + "\"/></testcase>\n</testsuite>\n";
}

} // namespace

bool AllGood(Results const& results)
{
    return Count(results, Verdict::Differs) == 0 && results.rowsEnding.IsNull() && !results.tests.empty() &&
           std::all_of(results.tests.begin(), results.tests.end(), [](TestRun const& test) { return test.Good(); });
}

std::string Page(Results const& results)
{
    return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>XelbrinCore on this "
           "machine</title>\n"
           "<style>body{font-family:sans-serif;margin:2em;max-width:75em}table{border-collapse:collapse}"
           "td,th{border:1px solid #ccc;padding:.2em .6em;text-align:left;vertical-align:top}"
           ".good td:last-child{background:#dfd}.bad td:last-child{background:#fcc}.open td:last-child{background:#eee}"
           "</style></head><body>\n<h1>XelbrinCore on this machine</h1>\n" +
           Summary(results) + MachineTable(results) + QuestionTable(results) + TestTable(results) + RowTable(results) +
           "</body></html>\n";
}

std::string JUnit(Results const& results)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"XelbrinCore\">\n";
    XCString const counts =
        Text(L"tests=\"%d\" failures=\"%d\" skipped=\"%d\"", static_cast<int>(results.questions.size()),
             static_cast<int>(Count(results, Verdict::Differs)), static_cast<int>(Count(results, Verdict::NotAsked)));
    out += "<testsuite name=\"questions\" " + counts.AsUTF8() + ">\n<properties>\n";
    for (auto const& [subject, value] : results.machine)
        out += "<property name=\"" + Escaped(subject) + "\" value=\"" + Escaped(value) + "\"/>\n";
    out += "</properties>\n";
    for (AskedQuestion const& asked : results.questions) out += QuestionCase(asked);
    out += "</testsuite>\n";
    for (TestRun const& test : results.tests) out += SuitesOf(test);
    return out + "</testsuites>\n";
}

} // namespace xc::evidence
