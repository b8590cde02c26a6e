// The calls of the service manager.
//
// An entry is made in steps; when one after the first is refused, the service is taken out again, so that no half of it
// stays. What only some releases know (a delayed start, the time before a shutdown) is asked for and may be refused.
// Removal stops the service first, waits for the end of its process, and then until the name is free: an entry whose
// process runs on or that somebody holds open is only marked, and whoever installs the service anew would be refused.
#include "win32/ServiceManager.h"

#include "win32/Clock.h"
#include "win32/LastError.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <atomic>
#include <windows.h>

namespace xc::win32 {

namespace {

struct ManagerHandle {
    explicit ManagerHandle(SC_HANDLE value_) noexcept : value(value_) {}
    ~ManagerHandle()
    {
        KeepLastError const keep;
        if (value) ::CloseServiceHandle(value);
    }
    ManagerHandle(ManagerHandle const&) = delete;
    ManagerHandle& operator=(ManagerHandle const&) = delete;
    SC_HANDLE const value;
};

wchar_t const* OrNull(std::wstring const& text) noexcept
{
    return text.empty() ? nullptr : text.c_str();
}

/// Texts one after the other, each with its end, and one more end.
std::wstring ListOf(std::vector<std::wstring> const& texts)
{
    std::wstring list;
    for (std::wstring const& text : texts) list.append(text).push_back(L'\0');
    list.push_back(L'\0');
    return list;
}

bool SetDescription(SC_HANDLE service, std::wstring const& text) noexcept
{
    SERVICE_DESCRIPTIONW description{const_cast<wchar_t*>(text.c_str())};
    return text.empty() || ::ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &description);
}

/// Also when it ends with an exit code, and not only when its process is lost.
bool SetRestart(SC_HANDLE service, unsigned int afterMs) noexcept
{
    if (afterMs == 0) return true;
    SC_ACTION action{SC_ACTION_RESTART, afterMs};
    SERVICE_FAILURE_ACTIONSW actions{86400, nullptr, nullptr, 1, &action};
    SERVICE_FAILURE_ACTIONS_FLAG onCode{TRUE};
    return ::ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, &actions) &&
           ::ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &onCode);
}

/// What older releases refuse: the service is whole without it.
void SetExtras(SC_HANDLE service, ServiceEntry const& entry) noexcept
{
    SERVICE_DELAYED_AUTO_START_INFO delayed{TRUE};
    if (entry.isDelayed) ::ChangeServiceConfig2W(service, SERVICE_CONFIG_DELAYED_AUTO_START_INFO, &delayed);
    SERVICE_PRESHUTDOWN_INFO shutdown{entry.shutdownMs};
    if (entry.shutdownMs != 0) ::ChangeServiceConfig2W(service, SERVICE_CONFIG_PRESHUTDOWN_INFO, &shutdown);
}

/// The process of a service that has one for itself. Null where it does not run, or may not be looked at.
UniqueKernelObject ProcessOf(SC_HANDLE service) noexcept
{
    SERVICE_STATUS_PROCESS status{};
    DWORD size = 0;
    if (!::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                                &size))
        return {};
    bool const isOwn = (status.dwServiceType & SERVICE_WIN32_OWN_PROCESS) != 0;
    return UniqueKernelObject(isOwn && status.dwProcessId ? ::OpenProcess(SYNCHRONIZE, FALSE, status.dwProcessId)
                                                          : nullptr);
}

/// How long somebody is waited for, in all that is done for him.
class WaitBudget {
public:
    explicit WaitBudget(unsigned int forMs) noexcept : m_forMs(forMs) {}
    DWORD LeftMs() const noexcept
    {
        std::uint64_t const passed = TickMs() - m_began;
        return passed < m_forMs ? static_cast<DWORD>(m_forMs - passed) : 0;
    }

private:
    std::uint64_t const m_began = TickMs();
    unsigned int const m_forMs;
};

/// @return 0 when it is stopped.
unsigned long StopAndWait(SC_HANDLE service, WaitBudget const& budget) noexcept
{
    UniqueKernelObject const process = ProcessOf(service);
    SERVICE_STATUS status{};
    // Asked again and again: a service that starts takes no stop, and another one may have asked it already.
    for (;; ::Sleep(50)) {
        if (!::QueryServiceStatus(service, &status)) return ::GetLastError();
        if (status.dwCurrentState == SERVICE_STOPPED) break;
        if (budget.LeftMs() == 0) return WAIT_TIMEOUT;
        if (status.dwControlsAccepted & SERVICE_ACCEPT_STOP) ::ControlService(service, SERVICE_CONTROL_STOP, &status);
    }
    // Its process lives on for a while: it holds the file of the program, and with some managers the name.
    if (process) ::WaitForSingleObject(process.Get(), budget.LeftMs());
    return 0;
}

/// Waits until an entry that was taken out is gone: whoever has it open keeps its name taken.
void AwaitFreeName(SC_HANDLE manager, wchar_t const* name, WaitBudget const& budget) noexcept
{
    while (budget.LeftMs() != 0) {
        if (!ManagerHandle(::OpenServiceW(manager, name, SERVICE_QUERY_STATUS)).value) return;
        ::Sleep(20);
    }
}

unsigned long StopAndDelete(SC_HANDLE manager, wchar_t const* name, WaitBudget const& budget) noexcept
{
    ManagerHandle const service(::OpenServiceW(manager, name, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service.value) return ::GetLastError();
    if (unsigned long const running = StopAndWait(service.value, budget)) return running;
    return ::DeleteService(service.value) ? 0 : ::GetLastError();
}

std::atomic<bool> g_isService{false};
ServiceBody* g_body = nullptr; ///< set before the manager calls
wchar_t const* g_name = nullptr;

DWORD WINAPI OnControl(DWORD control, DWORD, void*, void*) noexcept
{
    return g_body->Control(control);
}

void WINAPI OnStart(DWORD count, wchar_t** arguments) noexcept
{
    // The first thing of all: without the handler nothing can be reported.
    SERVICE_STATUS_HANDLE const handle = ::RegisterServiceCtrlHandlerExW(g_name, OnControl, nullptr);
    if (!handle) return; // the manager sees that nobody reports
    std::vector<std::wstring> texts;
    try {
        for (DWORD i = 0; i < count; ++i) texts.emplace_back(arguments[i]);
    } catch (std::exception const&) { // no memory: without the arguments it would do something else
        ServiceReport report;
        report.exitCode = ERROR_OUTOFMEMORY;
        (void)ReportService(handle, report);
        return;
    }
    g_body->Live(handle, texts);
}

} // namespace

unsigned long InstallService(ServiceEntry const& entry)
{
    ManagerHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager.value) return ::GetLastError();
    std::wstring const dependencies = ListOf(entry.dependencies);
    ManagerHandle const service(::CreateServiceW(
        manager.value, entry.name.c_str(), OrNull(entry.displayName), SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
        entry.start, SERVICE_ERROR_NORMAL, entry.command.c_str(), nullptr, nullptr,
        entry.dependencies.empty() ? nullptr : dependencies.c_str(), OrNull(entry.account), OrNull(entry.password)));
    if (!service.value) return ::GetLastError();
    if (!SetDescription(service.value, entry.description) || !SetRestart(service.value, entry.restartAfterMs)) {
        unsigned long const error = ::GetLastError();
        ::DeleteService(service.value);
        return error;
    }
    SetExtras(service.value, entry);
    return 0;
}

unsigned long RemoveService(wchar_t const* name, unsigned int patienceMs)
{
    ManagerHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager.value) return ::GetLastError();
    WaitBudget const budget(patienceMs);
    unsigned long const error = StopAndDelete(manager.value, name, budget);
    // In vain it is at most a second: another's open handle may stay for hours.
    if (error == 0) AwaitFreeName(manager.value, name, WaitBudget(std::min<DWORD>(budget.LeftMs(), 1000)));
    return error;
}

unsigned long RunService(wchar_t const* name, ServiceBody& body)
{
    // Before the dispatcher, which calls on other threads at once.
    g_body = &body;
    g_name = name;
    g_isService = true;
    SERVICE_TABLE_ENTRYW const table[] = {{const_cast<wchar_t*>(name), OnStart}, {nullptr, nullptr}};
    if (::StartServiceCtrlDispatcherW(table)) return 0;
    g_isService = false;
    return ::GetLastError();
}

unsigned long ReportService(void* handle, ServiceReport const& report) noexcept
{
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = report.state;
    status.dwControlsAccepted = report.accepted;
    status.dwWin32ExitCode = report.exitCode;
    status.dwServiceSpecificExitCode = report.specificCode;
    status.dwCheckPoint = report.checkPoint;
    status.dwWaitHint = report.hintMs;
    return ::SetServiceStatus(static_cast<SERVICE_STATUS_HANDLE>(handle), &status) ? 0 : ::GetLastError();
}

bool IsService() noexcept
{
    return g_isService;
}

} // namespace xc::win32
