#include "programs.h"

#include "answers.h"

#include <windows.h>

namespace xc::evidence {

namespace {

/// Everything that is started in it ends with it.
class Job {
public:
    Job() : m_handle(::CreateJobObjectW(nullptr, nullptr))
    {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        ::SetInformationJobObject(m_handle, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    ~Job()
    {
        ::TerminateJobObject(m_handle, 1);
        ::CloseHandle(m_handle);
    }
    Job(Job const&) = delete;
    Job& operator=(Job const&) = delete;
    void Add(HANDLE process) const { ::AssignProcessToJobObject(m_handle, process); }

private:
    HANDLE m_handle;
};

HANDLE OpenForChild(wchar_t const* path, DWORD access, DWORD creation)
{
    SECURITY_ATTRIBUTES inherited = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return ::CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, creation, 0, nullptr);
}

void WaitFor(HANDLE process, unsigned int timeoutMs, Outcome& outcome)
{
    ULONGLONG const start = ::GetTickCount64();
    outcome.ended = ::WaitForSingleObject(process, timeoutMs) == WAIT_OBJECT_0;
    if (!outcome.ended) ::TerminateProcess(process, 1);
    ::GetExitCodeProcess(process, &outcome.exitCode);
    outcome.seconds = static_cast<double>(::GetTickCount64() - start) / 1000;
}

} // namespace

Outcome RunProgram(XCString const& commandLine, XCString const& folder, XCString const& output, unsigned int timeoutMs)
{
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = OpenForChild(L"NUL", GENERIC_READ, OPEN_EXISTING);
    start.hStdOutput = OpenForChild(output.AsWChar(), GENERIC_WRITE, CREATE_ALWAYS);
    start.hStdError = start.hStdOutput;
    Job const job;
    PROCESS_INFORMATION process = {};
    std::wstring line = commandLine;
    Outcome outcome;
    outcome.started = ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr,
                                       folder.AsWChar(), &start, &process);
    if (outcome.started) {
        job.Add(process.hProcess);
        ::ResumeThread(process.hThread);
        WaitFor(process.hProcess, timeoutMs, outcome);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    } else {
        outcome.exitCode = ::GetLastError();
    }
    ::CloseHandle(start.hStdInput);
    ::CloseHandle(start.hStdOutput);
    return outcome;
}

XCString Ending(Outcome const& outcome)
{
    if (!outcome.started) return Text(L"could not be started: error %lu", outcome.exitCode);
    if (!outcome.ended) return Text(L"was ended after %.0f seconds", outcome.seconds);
    if (outcome.exitCode >= 0xC0000000UL) return Text(L"crashed (0x%08lX)", outcome.exitCode);
    return Text(L"ended with %lu", outcome.exitCode);
}

} // namespace xc::evidence
