// The same work at the console and as a service.
//
// The manager calls on threads of its own: the work runs on one of them, controls come on another. A third thread, ours,
// tells once a second that a start or stop goes on, and ends the process when a stop takes longer than it may; before
// that it names the calls into modules that are under way, and writes the logs out. That thread ends before the last
// report, since the manager may end the process after it. A service begins in the system's folder, where a host would
// look for modules: it goes to the folder of its program first.
#include <XelbrinCore/XCService.h>

#include "app/host/HangReport.h"
#include "app/host/QuitSignal.h"
#include "app/host/ServiceCommand.h"
#include "app/host/ServiceSession.h"
#include "errors/CoreError.h"
#include "errors/ErrorLog.h"
#include "errors/Sealed.h"
#include "errors/SystemWords.h"
#include "log/AtExit.h"
#include "win32/Clock.h"
#include "win32/Console.h"
#include "win32/FileSystem.h"
#include "win32/HelperThread.h"
#include "win32/LastError.h"
#include "win32/Process.h"
#include "win32/SessionEnd.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

namespace xc::host {

namespace {

constexpr unsigned int kRestMs = 500; // of the manager's patience, for the last words

std::vector<wchar_t const*> PointersTo(std::vector<std::wstring> const& arguments)
{
    std::vector<wchar_t const*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::wstring const& argument : arguments) pointers.push_back(argument.c_str());
    pointers.push_back(nullptr); // as main gets them
    return pointers;
}

int CallWork(XCService::Work const& work, std::vector<std::wstring> const& arguments)
{
    return work(static_cast<int>(arguments.size()), PointersTo(arguments).data());
}

void Show(win32::StandardStream stream, XCString const& line)
{
    (void)win32::WriteToConsole(stream, (line + L"\n").AsWChar(), line.Length() + 1);
}

int ShowOutcome(XCErrorID const& outcome, XCString const& done)
{
    Show(outcome.Good() ? win32::StandardStream::Output : win32::StandardStream::Error,
         outcome.Good() ? done : outcome.AsString());
    return outcome.Good() ? 0 : 1;
}

/// The service that the process is.
class RunningService final : public win32::ServiceBody, private ServiceSteps {
public:
    RunningService(XCServiceSettings const& settings, std::vector<std::wstring> arguments, XCService::Work const& work)
        : m_settings(settings), m_arguments(std::move(arguments)), m_work(work), m_session(*this, LimitsOf(settings))
    {
    }
    void Live(void* handle, std::vector<std::wstring> const& arguments) noexcept override;
    unsigned long Control(unsigned long control) noexcept override
    {
        return m_session.Control(control, win32::TickMs());
    }
    void SetRunning() noexcept { m_session.SetRunning(); }
    [[nodiscard]] int ExitCode() const noexcept { return m_exitCode; }

    static inline std::atomic<RunningService*> current{nullptr};

private:
    static ServiceLimits LimitsOf(XCServiceSettings const& settings) noexcept
    {
        unsigned int const shutdownMs = win32::ServiceShutdownMs();
        return {settings.startMs, settings.stopMs, shutdownMs - std::min(kRestMs, shutdownMs / 2)};
    }
    static unsigned int __stdcall Watch(void* self);
    void Report(win32::ServiceReport const& report) noexcept override { (void)win32::ReportService(m_handle, report); }
    void RequestQuit() noexcept override { xc::host::RequestQuit(); }
    void DoWork(std::vector<std::wstring> const& started) noexcept;
    void EndLate() noexcept;

    XCServiceSettings const& m_settings;
    std::vector<std::wstring> m_arguments;
    XCService::Work const& m_work;
    ServiceSession m_session;
    void* m_handle = nullptr;
    win32::UniqueKernelObject m_ended{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<int> m_exitCode{XCService::kExitException};
};

void RunningService::Live(void* handle, std::vector<std::wstring> const& arguments) noexcept
{
    m_handle = handle;
    current = this;
    m_session.Begin(win32::TickMs()); // first: the manager counts from the start of the process
    // Without the thread a long start or stop looks hung to the manager, and the service works all the same.
    win32::UniqueKernelObject const watch = win32::StartHelperThread(Watch, this);
    if (!m_settings.tellsRunning) m_session.SetRunning();
    DoWork(arguments);
    // The watch must not report after the end.
    ::SetEvent(m_ended.Get());
    if (watch) ::WaitForSingleObject(watch.Get(), INFINITE);
    current = nullptr;
    m_session.End(static_cast<unsigned int>(m_exitCode.load()));
}

void RunningService::DoWork(std::vector<std::wstring> const& started) noexcept
{
    XCErrorID const done = errors::Sealed([&] {
        // The manager's first argument is the name of the service, as the program's is of a process.
        if (!started.empty()) m_arguments.insert(m_arguments.end(), started.begin() + 1, started.end());
        m_exitCode = CallWork(m_work, m_arguments);
    });
    if (done.Bad()) errors::SayIfPossible([&] { errors::AppendToErrorLog(done.AsString(), {}); });
}

unsigned int __stdcall RunningService::Watch(void* self)
{
    auto& service = *static_cast<RunningService*>(self);
    while (::WaitForSingleObject(service.m_ended.Get(), ServiceSession::kTickMs) == WAIT_TIMEOUT)
        if (service.m_session.Tick(win32::TickMs())) service.EndLate();
    return 0;
}

void RunningService::EndLate() noexcept
{
    NameLate(L"the service is to stop", m_settings.stopMs);
    log::AtExit::WriteOut();
    m_session.End(XCService::kExitLate); // told: a process that vanishes would be an unknown failure
    win32::EndProcessNow(XCService::kExitLate);
}

int RunAsService(XCServiceSettings const& settings, std::vector<std::wstring> arguments, XCService::Work const& work)
{
    (void)win32::EnterFolder(win32::SystemPath(win32::ModulePath()).Folder());
    RunningService service(settings, std::move(arguments), work);
    unsigned long const error = win32::RunService(settings.name.AsWChar(), service);
    if (error == 0) return service.ExitCode();
    return ShowOutcome(errors::MakeCoreError(XCErrServiceNoManager, settings.name, static_cast<long>(error),
                                             errors::SystemWords(error, {})),
                       {});
}

XCErrorID ServiceFailure(XCCoreError code, XCString const& name, unsigned long error)
{
    if (error == win32::kErrorServiceExists) return errors::MakeCoreError(XCErrServiceExists, name);
    if (error == win32::kErrorServiceMissing) return errors::MakeCoreError(XCErrServiceMissing, name);
    // The most frequent reason has a text that says what to do.
    if (error == ERROR_ACCESS_DENIED) code = XCErrServiceRights;
    return errors::MakeCoreError(code, name, static_cast<long>(error), errors::SystemWords(error, name.View()));
}

win32::ServiceEntry EntryOf(XCServiceSettings const& settings)
{
    using Start = XCServiceSettings::Start;
    auto const text = [](XCString const& value) { return std::wstring(value.View()); };
    win32::ServiceEntry entry;
    entry.name = text(settings.name);
    entry.displayName = text(settings.displayName);
    entry.description = text(settings.description);
    entry.account = text(settings.account);
    entry.password = text(settings.password);
    for (XCString const& each : settings.dependencies) entry.dependencies.push_back(text(each));
    bool const isWithMachine = settings.start == Start::WithMachine || settings.start == Start::WithMachineDelayed;
    entry.start = isWithMachine                    ? SERVICE_AUTO_START
                  : settings.start == Start::Never ? SERVICE_DISABLED
                                                   : SERVICE_DEMAND_START;
    entry.isDelayed = settings.start == Start::WithMachineDelayed;
    entry.restartAfterMs = settings.restartAfterMs;
    entry.shutdownMs = settings.stopMs + kRestMs; // so that the process ends itself before it is killed
    return entry;
}

int InstallAsAsked(XCServiceSettings const& settings, std::vector<std::wstring> const& arguments)
{
    std::vector<XCString> options;
    for (std::size_t i = 1; i < arguments.size(); ++i) options.emplace_back(arguments[i]);
    return ShowOutcome(XCService::Install(settings, options), L"Service " + settings.name + L" installed.");
}

} // namespace

} // namespace xc::host

int XCService::Main(XCServiceSettings const& settings, int argumentCount, wchar_t const* const* arguments,
                    Work const& work)
{
    using Kind = xc::host::ServiceCommand::Kind;
    xc::host::ServiceCommand command = xc::host::ReadServiceCommand(argumentCount, arguments);
    switch (command.kind) {
    case Kind::Install: return xc::host::InstallAsAsked(settings, command.rest);
    case Kind::Remove: {
        XCErrorID const removed = Remove(settings.name, settings.stopMs);
        return xc::host::ShowOutcome(removed, L"Service " + settings.name + L" removed.");
    }
    case Kind::Run: return xc::host::RunAsService(settings, std::move(command.rest), work);
    default: return xc::host::CallWork(work, command.rest);
    }
}

XCErrorID XCService::Install(XCServiceSettings const& settings, std::vector<XCString> const& options)
{
    if (!xc::host::IsServiceName(settings.name.View()))
        return xc::errors::MakeCoreError(XCErrServiceName, settings.name);
    xc::win32::ServiceEntry entry = xc::host::EntryOf(settings);
    entry.command = xc::host::QuotedArgument(xc::win32::ModulePath()) + L" /service";
    for (XCString const& option : options) entry.command += L" " + xc::host::QuotedArgument(option.View());
    unsigned long const error = xc::win32::InstallService(entry);
    return error == 0 ? XCErrorID() : xc::host::ServiceFailure(XCErrServiceNotInstalled, settings.name, error);
}

XCErrorID XCService::Remove(XCString const& name, unsigned int patienceMs)
{
    if (!xc::host::IsServiceName(name.View())) return xc::errors::MakeCoreError(XCErrServiceName, name);
    unsigned long const error = xc::win32::RemoveService(name.AsWChar(), patienceMs);
    if (error == 0) return XCErrorID::Success;
    if (error != WAIT_TIMEOUT) return xc::host::ServiceFailure(XCErrServiceNotRemoved, name, error);
    return xc::errors::MakeCoreError(XCErrServiceNotStopped, name, static_cast<long>(patienceMs / 1000));
}

void XCService::SetRunning() noexcept
{
    if (auto* const service = xc::host::RunningService::current.load()) service->SetRunning();
}

bool XCService::IsService() noexcept
{
    return xc::win32::IsService();
}

XCUsageInfo XCService::GetUsageInfo()
{
    XCUsageInfo usage;
    usage.AddCmdLineArgDesc(L"installService",
                            L"Install the program as a service. The other options of this command line are those that "
                            L"the service will be started with.",
                            false);
    usage.AddCmdLineArgDesc(L"removeService", L"Stop the service and remove it.", false);
    return usage;
}
