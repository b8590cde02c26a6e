// child_process.h - another program, or one test of this very program, in a process of its own.
#pragma once

#include "prelude.h"

#include <windows.h>

namespace xc_test {

/// Empty when there is no such variable.
inline std::wstring EnvironmentValue(wchar_t const* name)
{
    wchar_t text[2048] = L"";
    ::GetEnvironmentVariableW(name, text, 2048);
    return text;
}

struct ChildProcess {
    static constexpr DWORD kHangs = 0xDEAD;

    explicit ChildProcess(std::wstring command)
    {
        STARTUPINFOW start{};
        start.cb = sizeof start;
        EXPECT_TRUE(
            ::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &m_child));
    }
    ~ChildProcess()
    {
        Kill();
        ::CloseHandle(m_child.hThread);
        ::CloseHandle(m_child.hProcess);
    }
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    /// The command that runs a test which is disabled, so that only this command runs it.
    static std::wstring OfTest(std::wstring const& test)
    {
        wchar_t program[1024];
        ::GetModuleFileNameW(nullptr, program, 1024);
        return L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_brief=1 --gtest_filter=" +
               test;
    }

    /// The exit code; kHangs when the process does not end in time.
    DWORD Wait(DWORD milliseconds = 60000)
    {
        DWORD code = kHangs;
        if (::WaitForSingleObject(m_child.hProcess, milliseconds) == WAIT_OBJECT_0)
            ::GetExitCodeProcess(m_child.hProcess, &code);
        return code;
    }
    void Kill()
    {
        ::TerminateProcess(m_child.hProcess, 1);
        ::WaitForSingleObject(m_child.hProcess, 60000);
    }
    [[nodiscard]] unsigned long Id() const { return m_child.dwProcessId; }

private:
    PROCESS_INFORMATION m_child{};
};

} // namespace xc_test
