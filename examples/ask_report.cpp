// ask_report <process number>: a host that runs writes the call stacks of all its threads to its log and its error log.
//
// Without a number the program asks itself, as a host with a deadline, and shows that the record has come.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>

#include <cstdio>
#include <cstdlib>

namespace {

int Fail(XCErrorID const& failure)
{
    std::fprintf(stderr, "ask_report: %s\n", std::string(failure.AsString().AsUTF8()).c_str());
    return 1;
}

/// Waits until the host's error log has grown.
bool HasReported(XCString const& log)
{
    for (int tenths = 0; tenths < 300; ++tenths, XCThread::Sleep(100))
        if (std::FILE* const file = _wfopen(log.AsWChar(), L"rb")) {
            bool const hasText = std::fgetc(file) != EOF;
            std::fclose(file);
            if (hasText) return true;
        }
    return false;
}

int AskMyself(wchar_t const* const* arguments)
{
    XCApplicationWithPlugIns host(1, arguments);
    XCString const log = L"ask_report.log";
    _wremove(log.AsWChar());
    XCException::SetErrorLogPath(log);
    host.SetStopDeadline(XCInfinite); // reports, and no deadline
    if (XCErrorID const asked = XCApplicationWithPlugIns::AskForReport(0); asked.Bad()) return Fail(asked);
    return HasReported(log) ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count < 2) return AskMyself(arguments);
    XCErrorID const asked = XCApplicationWithPlugIns::AskForReport(std::wcstoul(arguments[1], nullptr, 10));
    return asked.Good() ? 0 : Fail(asked);
}
