// What only several processes show: this program starts itself for single tests, with an environment of their own.
#include "child_process.h"
#include "log_files.h"

#include <windows.h>

namespace {

/// Runs one of the tests named DISABLED_ in a process of its own, and waits for its end.
struct Child {
    Child(wchar_t const* test, std::map<std::wstring, std::wstring> const& variables)
    {
        for (auto const& [name, value] : variables) ::SetEnvironmentVariableW(name.c_str(), value.c_str());
        m_process.emplace(ChildProcess::OfTest(std::wstring(L"Child.DISABLED_") + test));
        for (auto const& [name, value] : variables) ::SetEnvironmentVariableW(name.c_str(), nullptr);
    }
    ~Child() { EXPECT_EQ(m_process->Wait(), 0u); }
    [[nodiscard]] unsigned long Id() const { return m_process->Id(); }

private:
    std::optional<ChildProcess> m_process;
};

/// What a child prints to one of its streams.
std::string PrintedBy(wchar_t const* test, DWORD stream)
{
    log_test::ScratchFile const file("printed.txt");
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE const output = ::CreateFileW(L"printed.txt", GENERIC_WRITE, 7, &inherited, CREATE_ALWAYS, 0, nullptr);
    HANDLE const before = ::GetStdHandle(stream);
    ::SetStdHandle(stream, output);
    Child(test, {});
    ::SetStdHandle(stream, before);
    ::CloseHandle(output);
    return file.Bytes();
}

constexpr int kRecords = 400;

int ChildNumber()
{
    wchar_t text[16] = {};
    ::GetEnvironmentVariableW(L"XC_TEST_WRITER", text, 16);
    return XCString(text).AsInt();
}

TEST(Child, DISABLED_AppendsWithLogFile)
{
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    ASSERT_TRUE(log->Open(L"processes.log").Good());
    for (int i = 0; i < kRecords; ++i) log->PutString(log_test::WholeRecord(ChildNumber(), i));
}

TEST(Child, DISABLED_AppendsWithSubscriber)
{
    XCSmartPtr<XCFileLogSubscriber> const log(new XCFileLogSubscriber(L"processes.log", XCLogOpen::Append));
    for (int i = 0; i < kRecords; ++i) log->OnFlush(1, log_test::WholeRecord(ChildNumber(), i));
}

TEST(Processes, AppendToOneFileWithoutInterleaving)
{
    log_test::ScratchFile const file("processes.log");
    {
        Child const a(L"AppendsWithLogFile", {{L"XC_TEST_WRITER", L"0"}});
        Child const b(L"AppendsWithLogFile", {{L"XC_TEST_WRITER", L"1"}});
        Child const c(L"AppendsWithSubscriber", {{L"XC_TEST_WRITER", L"2"}});
    }
    std::string bytes = file.Bytes();
    std::erase(bytes, '\r');
    EXPECT_TRUE(log_test::AllWhole(bytes, 3, kRecords));
}

struct LogsInItsDestructor {
    ~LogsInItsDestructor()
    {
        XCLogManager::Get().GetOrAddChannel(L"exit").Write(1, L"from a static destructor\n");
        XCTrace::Msg(1, 1, L"exit", L"traced");
    }
};

TEST(Child, DISABLED_EndsWithBufferedRecords)
{
    static LogsInItsDestructor const last;
    XCLogManager& manager = XCLogManager::Get();
    manager.AddSubscriber(new XCFileLogSubscriber(L"exit.log", XCLogOpen::Truncate, false));
    manager.GetOrAddChannel(L"exit").GetStream() << L"pending";
}

TEST(Processes, NothingIsLostAtTheEndOfAProgram)
{
    log_test::ScratchFile const file("exit.log");
    Child(L"EndsWithBufferedRecords", {});
    EXPECT_EQ(file.Bytes(), "pendingfrom a static destructor\n");
}

TEST(Child, DISABLED_EndsWithLateRecords)
{
    static LogsInItsDestructor const last;
    XCLogManager& manager = XCLogManager::Get();
    XCSmartPtr<XCFileLogSubscriber> const file(new XCFileLogSubscriber(L"exit.log"));
    ASSERT_TRUE(file->SetAsync().Good());
    manager.AddSubscriber(file);
    manager.GetOrAddChannel(L"exit").Write(1, L"late\n");
    manager.GetOrAddChannel(L"exit").GetStream() << L"pending ";
}

TEST(Processes, LateRecordsArriveAtTheEndOfAProgram)
{
    log_test::ScratchFile const file("exit.log");
    Child(L"EndsWithLateRecords", {});
    EXPECT_EQ(file.Bytes(), "late\npending from a static destructor\n");
}

TEST(Child, DISABLED_TracesByTheEnvironment)
{
    XCTrace::Msg(1, XCTrace::TraceConfig, L"o", L"error");
    XCTrace::Msg(2, XCTrace::TraceConfig, L"o", L"warning");
    XCTrace::Msg(4, XCTrace::TraceConfig, L"o", L"info");
    XCTrace::Msg(1, XCTrace::TraceXml, L"o", L"other");
}

TEST(Child, DISABLED_CallsWinOverTheEnvironment)
{
    ::SetEnvironmentVariableW(L"TMP", L"trace_environment\\temp");
    EXPECT_TRUE(XCTrace::SetTraceFolderName(L"trace_environment\\deep"));
    EXPECT_FALSE(std::filesystem::exists("trace_environment/temp")) << "opened elsewhere before";
    EXPECT_TRUE(XCTrace::SetTraceDelim('|') && XCTrace::SetTraceSubjects(L"XML"));
    XCTrace::Msg(1, XCTrace::TraceConfig, L"o", L"error");
    XCTrace::Msg(1, XCTrace::TraceXml, L"o", L"other");
    ::SetEnvironmentVariableW(L"XC_TRACE_LEVEL", L"4");
    XCTrace::InitTracing(true); // the level was not set by a call
    XCTrace::Msg(4, XCTrace::TraceXml, L"o", L"forced");
}

TEST(Processes, TraceEnvironment)
{
    // fault, test, delimiter, ends
    Rows<wchar_t const*, wchar_t const*, std::vector<std::string>> const rows = {
        {"level 2 is not mask 3", L"TracesByTheEnvironment", L"59", {";o;1;CONFIG;error", ";o;2;CONFIG;warning"}},
        {"not reset", L"TracesByTheEnvironment", L"300", {"\to\t1\tCONFIG\terror", "\to\t2\tCONFIG\twarning"}},
        {"the environment wins", L"CallsWinOverTheEnvironment", L"59", {"|o|1|XML|other", "|o|4|XML|forced"}},
    };
    for (auto const& [fault, test, delimiter, ends] : rows) {
        SCOPED_TRACE(fault);
        log_test::ScratchFile const folder("trace_environment");
        unsigned long id = 0;
        {
            Child const child(test, {{L"XC_TRACE", L"Config"},
                                     {L"XC_TRACE_LEVEL", L"2"},
                                     {L"XC_TRACE_DELIM", delimiter},
                                     {L"XC_TRACE_FOLDER", L"trace_environment\\deep"}});
            id = child.Id();
        }
        std::vector<std::string> const lines =
            log_test::Lines(log_test::ReadFile("trace_environment/deep/test_log__" + std::to_string(id) + ".log"));
        ASSERT_EQ(lines.size(), ends.size());
        for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_TRUE(lines[i].ends_with(ends[i])) << lines[i];
    }
}

TEST(Child, DISABLED_WritesToTheConsole)
{
    XCTrace::SetTraceDelim(0);
    XCSmartPtr<XCConsoleLogSubscriber> const console(new XCConsoleLogSubscriber);
    console->OnFlush(1, L"\u20AC\xD83D\xDE00\n");
    console->OnFlush(2, L"too detailed\n");
    EXPECT_EQ(console->GetFailureCount(), 0u);
}

TEST(Processes, RedirectedConsoleIsUtf8)
{
    std::string const bytes = PrintedBy(L"WritesToTheConsole", STD_OUTPUT_HANDLE);
    EXPECT_NE(bytes.find("Illegal trace delimiter specified; trace delimiter has been reset to default\n"
                         "\xE2\x82\xAC\xF0\x9F\x98\x80\n"),
              std::string::npos)
        << bytes;
    EXPECT_EQ(bytes.find("detailed"), std::string::npos);
}

TEST(Child, DISABLED_EndsWithRecordsItCannotWrite)
{
    XCLogManager& manager = XCLogManager::Get();
    manager.AddSubscriber(new XCFileLogSubscriber(L"no_such_folder\\x.log"));
    for (int i = 0; i < 3; ++i) manager.GetOrAddChannel(L"exit").Write(1, L"x\n");
}

TEST(Processes, LostRecordsAreToldOnceAtTheEnd)
{
    std::string const bytes = PrintedBy(L"EndsWithRecordsItCannotWrite", STD_ERROR_HANDLE);
    EXPECT_EQ(bytes.find("Gave up 3 records for "), bytes.rfind("Gave up")) << bytes;
    EXPECT_NE(bytes.find("x.log\": system error 3"), std::string::npos) << bytes;
}

} // namespace
