// log_to_files [folder]: one channel, four ways to receive it, and a log file of its own.
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCTrace.h>

#include <cstdio>
#include <thread>
#include <vector>

int wmain(int count, wchar_t** arguments)
{
    XCString const folder(count > 1 ? arguments[1] : L".");

    // The manager of the process: every channel's blocks go to its subscribers, in this order.
    XCLogManager& manager = XCLogManager::Get();
    manager.AddSubscriber(new XCConsoleLogSubscriber(1));
    manager.AddSubscriber(new XCFileLogSubscriber(folder + L"\\example_all.log"));
    manager.AddSubscriber(new XCJsonLogSubscriber(folder + L"\\example.json", XCLogOpen::Truncate));
    XCSmartPtr<XCFileLogSubscriber> const details(
        new XCRotatingFileLogSubscriber(folder + L"\\example_details.log", {.maxBytes = 100000, .keepFiles = 3}));
    details->SetDesiredLevel(2);
    manager.AddSubscriber(details);

    // A stream for one thread ...
    XCLogChannel& channel = manager.GetOrAddChannel(L"example");
    channel.GetStream() << L"Workers start\n" << std::flush;

    // ... and records for many: each is delivered whole. Nobody but the details wants level 2.
    std::vector<std::thread> workers;
    for (int id = 1; id <= 3; ++id)
        workers.emplace_back([&channel, id] {
            for (int step = 0; step < 100; ++step)
                XCLogRecord(channel, 2) << L"worker " << id << L" step " << step << L'\n';
            XCLogRecord(channel, 1) << L"worker " << id << L" done\n";
        });
    for (std::thread& worker : workers) worker.join();

    // A log file of time-stamped lines, apart from the channels.
    XCSmartPtr<XCLogFile> const audit(new XCLogFile);
    if (audit->Open(folder + L"\\example_audit.log").Bad()) return 1;
    audit->LogArgs(L"%d workers came home\n", 3);

    // Nothing of this may stop a program; what went wrong can be asked for.
    XCTrace::Msg(XCTrace::TraceInfo, XCTrace::TraceUser, L"example", L"%s",
                 L"seen with XC_TRACE=USER, XC_TRACE_LEVEL=4");
    std::printf("failures: %u\n", static_cast<unsigned>(manager.GetFailureCount() + details->GetFailureCount()));
    return details->IsValid() ? 0 : 1;
}
