// The records of exceptions in the process's error log.
#include <XelbrinCore/XCException.h>

#include "errors/Plain.h"
#include "prelude.h"
#include "scratch_files.h"

#include <regex>
#include <windows.h>

namespace {

/// A log file of its own; the path that was set before comes back.
class ErrorLogFile : public testing::Test {
protected:
    ErrorLogFile() { XCException::SetErrorLogPath(m_file.Path()); }
    ~ErrorLogFile() override { XCException::SetErrorLogPath(m_previous); }

    // Several runs of the program may go on at once.
    xc_test::ScratchFile m_file{"error_log_test." + std::to_string(::GetCurrentProcessId()) + ".log"};
    XCString m_previous = XCException::GetErrorLogPath();
};

TEST_F(ErrorLogFile, RecordHoldsTimeThreadMessageAndStack)
{
    if (SymbolsTakeTooLong()) GTEST_SKIP() << "names of frames";
    EXPECT_TRUE(XCException(L"first\ncaf\u00E9").LogInErrorFile());
    EXPECT_TRUE(XCException(L"second").LogInErrorFile(XCException::LogWithoutStack));
    std::string const content = m_file.Bytes();
    std::regex const record("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[process \\d+, thread " +
                            std::to_string(::GetCurrentThreadId()) +
                            "\\] first\r\n    caf\xC3\xA9\r\n    test_errors\\.exe![^]*\r\n"
                            "\\d{4}-[^\r]*\\] second\r\n");
    EXPECT_TRUE(std::regex_match(content, record)) << content;
}

TEST_F(ErrorLogFile, RecordsOfManyThreadsStayWhole)
{
    // The runtime's own std::thread now and then trips the checked heap when threads end, without any code of ours.
    if (std::getenv("XC_HEAP_CHECK")) GTEST_SKIP() << "threads of the runtime on a checked heap";
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 50; ++i)
                XCException(XCString(L'x', 3000), true).LogInErrorFile(XCException::LogWithoutStack);
        });
    for (std::thread& thread : threads) thread.join();
    std::string const content = m_file.Bytes();
    EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 200);
    std::string const ending = "] " + std::string(3000, 'x') + "\r\n";
    std::size_t whole = 0;
    for (std::size_t at = content.find(ending); at != std::string::npos; at = content.find(ending, at + 1)) ++whole;
    EXPECT_EQ(whole, 200u);
}

TEST(ErrorLog, DefaultNameIsTheProgramsInTheTemporaryFolder)
{
    std::string const path = Plain(XCException::GetErrorLogPath());
    EXPECT_TRUE(path.ends_with("\\test_errors-ERROR.LOG")) << path;
}

} // namespace
