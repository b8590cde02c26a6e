// child_process.h - runs one test of this very program in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <windows.h>

namespace sync_test {

class ChildProcess {
public:
    /// @param test a test that is disabled, so that only this call runs it.
    explicit ChildProcess(std::wstring const& test)
    {
        wchar_t program[1024];
        ::GetModuleFileNameW(nullptr, program, 1024);
        std::wstring command = L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_brief=1 " +
                               L"--gtest_filter=" + test;
        STARTUPINFOW start{};
        start.cb = sizeof start;
        EXPECT_TRUE(
            ::CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &m_child));
    }
    ~ChildProcess()
    {
        Kill();
        ::CloseHandle(m_child.hThread);
        ::CloseHandle(m_child.hProcess);
    }
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    /// The exit code.
    DWORD Wait()
    {
        ::WaitForSingleObject(m_child.hProcess, 60000);
        DWORD code = 0;
        ::GetExitCodeProcess(m_child.hProcess, &code);
        return code;
    }
    void Kill()
    {
        ::TerminateProcess(m_child.hProcess, 1);
        ::WaitForSingleObject(m_child.hProcess, 60000);
    }

private:
    PROCESS_INFORMATION m_child{};
};

} // namespace sync_test
