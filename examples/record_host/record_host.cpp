// record_host [options]: a program made of plug-in modules that reports what a log holds.
//
//     record_host /osxpath:<folder of the modules> /input:<log file>
//
// The host knows nothing of logs: it owns the command line, the configuration file (record_host.ini beside the program),
// the log and the trace, and loads the modules that osx.lst in their folder names. /help shows the options of all.
#include "diagnostics.h"
#include "module_tools.h"
#include "records.h"

#include <XelbrinCore/XCException.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kExitFault = 2;

class RecordHost final : public XCApplicationWithPlugIns {
public:
    RecordHost(int count, wchar_t const* const* arguments);
    /// @return the exit code of the program: 0 good, 1 no module was found, 2 anything else went wrong.
    int Main();
    int Run() override;

protected:
    XCErrorID AddPlugIn(XCSmartPtr<XCPlugIn> plugIn, bool quiet) override;

private:
    int ShowHelp();

    bool const m_showsHelp;
    Diagnostics m_diagnostics;
};

XCUsageInfo HostUsage()
{
    XCUsageInfo usage;
    usage.SetGeneralInfo(L"Options of this program:");
    usage.AddCmdLineArgDesc(L"log:{file}", L"Write a log file. A bare name is put into the temporary folder.", false);
    usage.AddCmdLineArgDesc(L"language:{code}", L"The language of error messages, enu or fra.", false);
    return usage;
}

RecordHost::RecordHost(int count, wchar_t const* const* arguments)
    : XCApplicationWithPlugIns(count, arguments),
      m_showsHelp(GetCmdLine().ArgPresent(L"help") || GetCmdLine().ArgPresent(L"?"))
{
    AddCustomUsageInfo(HostUsage());
}

int RecordHost::Main()
{
    if (m_showsHelp) return ShowHelp();
    if (!GetConfigFailure().IsNull()) return kExitFault; // the library has told what is wrong with the file
    if (XCErrorID const started = m_diagnostics.Start(*this); started.Bad())
        Print(L"ERR> ***" + started.AsString() + L"\n"); // a program without its log still works
    return LoadAndRun();
}

/// Modules tell their options when they are loaded; that nothing more than that happens is seen to in Run.
int RecordHost::ShowHelp()
{
    SetTraceLevel(0);
    LoadAndRun();
    SetTraceLevel(1);
    DisplayUsage();
    SetTraceLevel(0);
    return 0;
}

/// Asks before the plug-in is initialised: the options of one that refuses to work are wanted most.
XCErrorID RecordHost::AddPlugIn(XCSmartPtr<XCPlugIn> plugIn, bool quiet)
{
    if (!plugIn.IsNull()) AddCustomUsageInfo(plugIn->GetUsageInfo());
    return XCApplicationWithPlugIns::AddPlugIn(plugIn, quiet);
}

int RecordHost::Run()
{
    if (m_showsHelp) return 0;
    // The reader depends on all others: where it is missing nothing would ever reach them.
    if (FindPlugIn(kReaderId).IsNull()) {
        Print(L"ERR> ***" + MakeError(*this, Message::Incomplete, {}).AsString() + L"\n");
        return kExitFault;
    }
    return XCApplicationWithPlugIns::Run();
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    try {
        return RecordHost(count, arguments).Main();
    } catch (std::exception const& fault) { // XCException is one: its text is UTF-8
        std::fprintf(stderr, "record_host: %s\n", fault.what());
        return kExitFault;
    }
}
