// The ends of a process: none hangs or crashes, each has the exit code asked for, and what was logged before is in the
// file, line by line.
#include "exit/endings.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

namespace {

constexpr DWORD kTimeLimitMs = 20000;
constexpr DWORD kHangs = 0xDEAD;

std::filesystem::path Folder()
{
    wchar_t program[1024];
    ::GetModuleFileNameW(nullptr, program, 1024);
    return std::filesystem::path(program).parent_path();
}

DWORD ExitCodeOf(std::wstring command)
{
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION child{};
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &child))
        return ::GetLastError();
    DWORD code = kHangs;
    if (::WaitForSingleObject(child.hProcess, kTimeLimitMs) == WAIT_OBJECT_0)
        ::GetExitCodeProcess(child.hProcess, &code);
    else
        ::TerminateProcess(child.hProcess, kHangs);
    ::CloseHandle(child.hThread);
    ::CloseHandle(child.hProcess);
    return code;
}

/// The log without the repeated lines of threads; a line that is no whole record as it is.
std::string LogOf(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text;
    for (std::string line; std::getline(file, line);)
        if (line != "from a thread" && line != "from the plug-in") text += line + "|";
    return text;
}

struct Ending {
    std::wstring_view how;
    char const* log;
};

constexpr Ending kEndings[] = {
    {kReturn, "before the end|"},
    {kExit, "before the end|"},
    {kExitProcess, "before the end|"},
    {kHeldBack, "before the end|"},
    {kPending, "before the end|pending|"},
    {kStatic, "before the end|last words|"},
    {kModule, "before the end|from the module|after the module|pending|"},
    {kApplication, "before the end|"},
    {kStaticApplication, "before the end|"},
    {kThreadsReturn, "before the end|"},
    {kThreadsExit, "before the end|"},
    {kThreadsExitProcess, "before the end|"},
    {kThreadsQuick, "before the end|"},
    {kPlugInRuns, nullptr}, // the host's own messages follow
    {kExitInRun, nullptr},
    {kExitProcessInRun, nullptr},
};

TEST(Exit, EveryEnding)
{
    std::filesystem::path const log = std::filesystem::absolute("xc_exit.log");
    for (Ending const& ending : kEndings) {
        SCOPED_TRACE(std::string(ending.how.begin(), ending.how.end()));
        std::wstring const program = (Folder() / "exit_child.exe").wstring();
        EXPECT_EQ(ExitCodeOf(L"\"" + program + L"\" " + std::wstring(ending.how) + L" \"" + log.wstring() + L"\" \"" +
                             (Folder() / "exit").wstring() + L"\""),
                  7u);
        std::string const text = LogOf(log);
        bool const asExpected = ending.log ? text == ending.log : text.starts_with("before the end|");
        EXPECT_TRUE(asExpected) << text;
    }
    std::filesystem::remove(log);
}

// XC_EXIT_ROUNDS repeats the matrix.
TEST(Exit, PoolsServersAndTimers)
{
    std::filesystem::path const log = std::filesystem::absolute("xc_exit_work.log");
    std::wstring const program = (Folder() / "exit_child.exe").wstring();
    char const* const wish = std::getenv("XC_EXIT_ROUNDS");
    int const rounds = wish ? std::atoi(wish) : 1;
    int failed = 0;
    for (int round = 0; round < rounds; ++round)
        for (std::wstring_view const what : kWorkers)
            for (std::wstring_view const state : kWorkStates)
                for (std::wstring_view const end : kWorkEnds) {
                    std::wstring const how = std::wstring(kWork) + std::wstring(what) + L"," + std::wstring(state) +
                                             L"," + std::wstring(end);
                    DWORD const code = ExitCodeOf(L"\"" + program + L"\" " + how + L" \"" + log.wstring() + L"\" \"" +
                                                  (Folder() / "exit").wstring() + L"\"");
                    failed += code != 7;
                    EXPECT_EQ(code, 7u) << std::string(how.begin(), how.end()) << ", round " << round;
                }
    EXPECT_EQ(failed, 0);
    std::filesystem::remove(log);
}

} // namespace
