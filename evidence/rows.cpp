// Each row runs until a round takes 40 ms, then five such rounds are timed. The middle one counts, the others show how
// quiet the machine is.
#include "rows.h"

#include <XelbrinCore/XelbrinCore.h>
#include <algorithm>
#include <chrono>
#include <iterator>

namespace xc::evidence {

namespace {

std::size_t volatile g_sink; // what the operations yield, so that they are not left out

template <class Operation>
double NanosecondsOf(Operation operation, std::size_t times)
{
    auto const start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < times; ++i) g_sink = operation();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

template <class Operation>
Row Measure(wchar_t const* name, Operation operation)
{
    std::size_t times = 1;
    while (NanosecondsOf(operation, times) < 4e7) times *= 2;
    double rounds[5];
    for (double& round : rounds) round = NanosecondsOf(operation, times) / static_cast<double>(times);
    std::sort(std::begin(rounds), std::end(rounds));
    return {name, rounds[0], rounds[2], rounds[4]};
}

std::vector<Row> TextRows()
{
    XCString const text(std::wstring(1000, L'a') + L"needle");
    XCRegEx const pattern(XCStringRegExParser(L"[a-z]*needle").Parse(), false);
    return {
        Measure(L"copy a text", [&text] { return XCString(text).Length(); }),
        Measure(L"find a word after 1000 units", [&text] { return text.Find(L"needle"); }),
        Measure(L"format a number and a text", [] { return XCString().Format(L"%d of %ls", 17, L"forty").Length(); }),
        Measure(L"match a pattern over 1006 units", [&] { return std::size_t(pattern.Match(text.AsWChar())); }),
    };
}

std::vector<Row> OtherRows(XCString const& folder)
{
    XCCriticalSection section;
    XCCondition condition;
    condition.FromString(L"Status >= 500 OR Seconds > 1.5");
    XCConditionParams request;
    request.Set(L"Status", 200).Set(L"Seconds", 2.25);
    XCDateTimeEx const now = XCDateTimeEx::GetCurrentDateTime();
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    if (log->Open(folder + L"\\rows.log").Bad()) return {};
    return {
        Measure(L"lock and unlock",
                [&section] {
                    XCLockGuard const guard(section);
                    return g_sink + 1;
                }),
        Measure(L"evaluate a condition", [&] { return std::size_t(condition.Evaluate(request)); }),
        Measure(L"write a date", [&now] { return now.AsString().Length(); }),
        Measure(L"write a line to a log file",
                [&log] {
                    log->LogArgs(L"order %d accepted\n", 17);
                    return std::size_t(1);
                }),
        Measure(L"throw and catch an exception",
                [] {
                    try {
                        throw XCException(L"measured");
                    } catch (XCException const& e) {
                        return e.What().Length();
                    }
                }),
        Measure(L"start and join a thread",
                [] {
                    XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback([] { g_sink = 1; })));
                    if (thread->Start().Bad()) return std::size_t(0);
                    thread->Join();
                    return std::size_t(1);
                }),
    };
}

} // namespace

std::vector<Row> MeasureRows(XCString const& folder)
{
    std::vector<Row> rows = TextRows();
    for (Row& row : OtherRows(folder)) rows.push_back(std::move(row));
    return rows;
}

} // namespace xc::evidence
