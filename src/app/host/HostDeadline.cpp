// The host's side of its deadline: what is given up, who goes on, and how a program sets it.
//
// The deadline's threads come here while the thread that was in a module is held (StopDeadline.h). So nothing here waits
// for that thread, and what it was about to do is done in its place: asking the plug-ins that are left, or unloading. A
// plug-in whose call was given up is marked, and stays loaded with all it depends on. The exit code is shared with the
// threads of plug-ins and set last: a late end is told whatever the plug-ins have set.
#include "app/host/Host.h"
#include "app/host/HostLines.h"
#include "errors/CoreError.h"
#include "errors/SystemWords.h"
#include "win32/Process.h"

#include <algorithm>

void XCApplicationWithPlugIns::Host::SayLate() noexcept
{
    application.SetExitCode(kExitLate);
}

void XCApplicationWithPlugIns::Host::KeepLoaded(xc::errors::CallNote const& call) noexcept
{
    list.Hold(call);
}

void XCApplicationWithPlugIns::Host::AskRest() noexcept
{
    Ask(lastAsked, false);
}

void XCApplicationWithPlugIns::Host::EndInstead() noexcept
{
    application.EndPlugIns();
}

unsigned int XCApplicationWithPlugIns::Host::AskPatienceMs() const noexcept
{
    return deadline ? std::min(exitPatienceMs.load(), deadline->Milliseconds() / 2) : exitPatienceMs.load();
}

void XCApplicationWithPlugIns::SetStopDeadline(unsigned int milliseconds)
{
    m_host->deadline.reset(); // first: both would answer requests for reports
    m_host->deadline = std::make_unique<xc::host::StopDeadline>(std::max(milliseconds, 1u), *m_host);
}

unsigned int XCApplicationWithPlugIns::GetStopDeadline() const noexcept
{
    return m_host->deadline ? m_host->deadline->Milliseconds() : XCInfinite;
}

void XCApplicationWithPlugIns::SetStopDeadlineAsAsked()
{
    if (!GetCmdLine().ArgPresent(L"stopDeadline")) return;
    int const milliseconds = GetCmdLine().GetArg(L"stopDeadline", 0);
    if (milliseconds > 0) return SetStopDeadline(static_cast<unsigned int>(milliseconds));
    PrintError(L"/stopDeadline names no number of milliseconds");
}

XCErrorID XCApplicationWithPlugIns::AskForReport(unsigned long process)
{
    if (process == 0) process = xc::win32::ProcessId();
    unsigned long const error = xc::host::StopDeadline::AskForReport(process);
    if (error == 0) return XCErrorID::Success;
    return xc::errors::MakeCoreError(XCErrNoReport, static_cast<long>(process), static_cast<long>(error),
                                     xc::errors::SystemWords(error, {}));
}
