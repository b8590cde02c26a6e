// The ends of a process: none hangs or crashes, each has the exit code asked for, and what was logged before is in the
// file, line by line.
#include "child_process.h"
#include "exit/endings.h"

#include <windows.h>

namespace {

constexpr DWORD kTimeLimitMs = 20000;

std::filesystem::path Folder()
{
    wchar_t program[1024];
    ::GetModuleFileNameW(nullptr, program, 1024);
    return std::filesystem::path(program).parent_path();
}

std::wstring CommandOf(std::wstring_view how, std::filesystem::path const& log)
{
    auto const quoted = [](std::filesystem::path const& path) { return L"\"" + path.wstring() + L"\""; };
    return quoted(Folder() / "exit_child.exe") + L" " + std::wstring(how) + L" " + quoted(log) + L" " +
           quoted(Folder() / "exit");
}

/// How the child program ends that is told to end like this. On a machine where a plain program starts and ends as
/// slowly, one that is late does not hang: it gets as long again once such a program has ended.
DWORD ExitCodeOf(std::wstring_view how, std::filesystem::path const& log)
{
    ChildProcess child(CommandOf(how, log));
    if (DWORD const code = child.Wait(kTimeLimitMs); code != ChildProcess::kHangs) return code;
    std::filesystem::path const other = log.wstring() + L".plain";
    EXPECT_EQ(ChildProcess(CommandOf(kEndings[0].how, other)).Wait(10 * kTimeLimitMs), 7u);
    std::filesystem::remove(other);
    return child.Wait(kTimeLimitMs);
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

TEST(Exit, EveryEnding)
{
    std::filesystem::path const log = std::filesystem::absolute("xc_exit.log");
    for (Ending const& ending : kEndings) {
        SCOPED_TRACE(std::string(ending.how.begin(), ending.how.end()));
        EXPECT_EQ(ExitCodeOf(ending.how, log), 7u);
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
    char const* const wish = std::getenv("XC_EXIT_ROUNDS");
    int const rounds = wish ? std::atoi(wish) : 1;
    for (int round = 0; round < rounds; ++round)
        for (std::wstring_view const what : kWorkers)
            for (std::wstring_view const state : kWorkStates)
                for (std::wstring_view const end : kWorkEnds) {
                    std::wstring const how = std::wstring(kWork) + std::wstring(what) + L"," + std::wstring(state) +
                                             L"," + std::wstring(end);
                    EXPECT_EQ(ExitCodeOf(how, log), 7u) << std::string(how.begin(), how.end()) << ", round " << round;
                }
    std::filesystem::remove(log);
}

} // namespace
