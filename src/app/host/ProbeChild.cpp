// A child process in a job.
//
// The job ends the child and its children with the handle of the job, however this process ends; it refuses memory above
// the limit, and tells so through a port, since a module may take the refusal for its own. Where the system has no jobs,
// or ignores their limits, the caller's looks at time and memory are what is left. The child begins suspended: nothing of
// it runs outside the job.
#include "app/host/Probe.h"

#include "win32/LastError.h"
#include "win32/UniqueHandle.h"

#include <psapi.h>

namespace xc::host {

namespace {

using win32::UniqueKernelObject;

/// The environment of this process and one variable more, as the system takes it.
std::wstring EnvironmentWith(std::wstring const& variable)
{
    std::wstring block = variable;
    block += L'\0';
    // A copy of its own: setting the variable here would show it to children of other threads.
    wchar_t* const own = ::GetEnvironmentStringsW();
    for (wchar_t const* at = own; at && *at != L'\0'; at += std::wcslen(at) + 1) block.append(at, std::wcslen(at) + 1);
    if (own) ::FreeEnvironmentStringsW(own);
    return block += L'\0';
}

class SystemProbe final : public ProbeSteps {
public:
    ~SystemProbe() override { Kill(); }

    unsigned long Start(std::wstring const& command, std::wstring const& variable, std::uint64_t memoryBytes) override
    {
        MakeJob(memoryBytes);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        PROCESS_INFORMATION child{};
        std::wstring line = command; // the system writes into it
        std::wstring environment = EnvironmentWith(variable);
        constexpr DWORD kFlags = CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT | CREATE_NO_WINDOW;
        if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, kFlags, environment.data(), nullptr,
                              &start, &child))
            return win32::LastError();
        m_process.Reset(child.hProcess);
        UniqueKernelObject const thread(child.hThread);
        // A failure leaves the child outside the job, with the caller's limits alone.
        if (m_job) ::AssignProcessToJobObject(m_job.Get(), child.hProcess);
        ::ResumeThread(child.hThread);
        return 0;
    }

    bool WaitForEnd(unsigned int milliseconds) override
    {
        return ::WaitForSingleObject(m_process.Get(), milliseconds) == WAIT_OBJECT_0;
    }

    std::uint64_t MemoryBytes() override
    {
        PROCESS_MEMORY_COUNTERS counters{};
        if (!::K32GetProcessMemoryInfo(m_process.Get(), &counters, sizeof counters)) return 0;
        return counters.PagefileUsage;
    }

    bool HasHitLimit() override
    {
        DWORD message = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* data = nullptr;
        while (m_port && ::GetQueuedCompletionStatus(m_port.Get(), &message, &key, &data, 0))
            if (message == JOB_OBJECT_MSG_PROCESS_MEMORY_LIMIT || message == JOB_OBJECT_MSG_JOB_MEMORY_LIMIT)
                return true;
        return false;
    }

    unsigned long ExitCode() override
    {
        DWORD code = 0;
        ::GetExitCodeProcess(m_process.Get(), &code);
        return code;
    }

    void Kill() override
    {
        if (!m_process) return;
        if (m_job) ::TerminateJobObject(m_job.Get(), 1);
        ::TerminateProcess(m_process.Get(), 1); // one that could not be put into the job
        ::WaitForSingleObject(m_process.Get(), INFINITE);
        m_process.Reset();
    }

private:
    void MakeJob(std::uint64_t memoryBytes)
    {
        m_job.Reset(::CreateJobObjectW(nullptr, nullptr));
        m_port.Reset(::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1));
        if (!m_job) return;
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        // A fault ends the child at once; the report of the system would keep it, and show a box, for its own time.
        limits.BasicLimitInformation.LimitFlags =
            JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
        if (memoryBytes != 0) limits.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_PROCESS_MEMORY;
        limits.ProcessMemoryLimit = memoryBytes;
        ::SetInformationJobObject(m_job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
        JOBOBJECT_ASSOCIATE_COMPLETION_PORT port{nullptr, m_port.Get()};
        ::SetInformationJobObject(m_job.Get(), JobObjectAssociateCompletionPortInformation, &port, sizeof port);
    }

    UniqueKernelObject m_job, m_port, m_process;
};

} // namespace

std::unique_ptr<ProbeSteps> SystemProbeSteps()
{
    return std::make_unique<SystemProbe>();
}

} // namespace xc::host
