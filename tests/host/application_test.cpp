#include "host/host_tools.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>

#include <io.h>

namespace {

using namespace xc_test;

TEST(Application, TheLastOneIsFoundInWhateverOrderTheyEnd)
{
    auto first = std::make_unique<XCApplication>(XCString(L"a"), ListenerPtr(), false);
    auto second = std::make_unique<XCApplication>(XCString(L"b"), ListenerPtr(), false);
    auto third = std::make_unique<XCApplication>(XCString(L"c"), ListenerPtr(), false);
    second.reset();
    EXPECT_EQ(XCApplication::GetApp(), third.get());
    third.reset();
    EXPECT_EQ(XCApplication::GetApp(), first.get());
    first.reset();
    EXPECT_EQ(XCApplication::GetApp(), nullptr);
}

TEST(Application, NamesWithAndWithoutFolderAndExtension)
{
    for (auto const& [commandLine, plain, full] : Table<wchar_t const*, char const*, char const*>{
             {L"\"c:\\two words\\my.tool.exe\" /x", "my.tool", "c:\\two words\\my.tool.exe"},
             {L"tool", "tool", "tool"},
             {L"c:\\dir.d\\tool -x", "tool", "c:\\dir.d\\tool"},
             {L"c:/dir/tool.exe", "tool", "c:/dir/tool.exe"},
         })
    {
        XCApplication const application(commandLine, ListenerPtr(new Listener), false);
        EXPECT_EQ(application.GetAppName().AsUTF8(), plain);
        EXPECT_EQ(application.GetAppName(true, true).AsUTF8(), full);
    }
    // Without a name in the command line the file's is taken.
    XCApplication const nameless(XCString(L"-x"), ListenerPtr(new Listener), false);
    EXPECT_EQ(nameless.GetAppName().AsUTF8(), "test_host");
    EXPECT_EQ(nameless.GetAppName(true, true), nameless.GetAppPath() + L"\\test_host.exe");
    EXPECT_EQ(nameless.GetMainThreadId(), ::GetCurrentThreadId());
    // A module that hosts stands for the program.
    XCApplicationWithPlugIns const inModule(XCString(L"-x"), ListenerPtr(new Listener), false,
                                            ::GetModuleHandleW(L"XelbrinCore-x64.dll"));
    EXPECT_EQ(inModule.GetAppName().AsUTF8(), "XelbrinCore-x64");
    EXPECT_TRUE(XCException::GetErrorLogPath().View().ends_with(L"\\XelbrinCore-x64-ERROR.LOG"));
}

XCString TmpDirectoryNow()
{
    XCApplication const application(XCString(L"x"), ListenerPtr(new Listener), false);
    EXPECT_EQ(XCException::GetErrorLogPath(), application.GetTmpDirectory() + L"\\test_host-ERROR.LOG");
    return application.GetTmpDirectory();
}

TEST(Application, TheTemporaryDirectoryComesFromTheRegistryOrTheEnvironment)
{
    std::optional<XCString> const tmp = XCGetEnv(L"TMP");
    std::wstring const present = std::filesystem::temp_directory_path().wstring();
    for (auto const& [tmpNow, tmpDir, expected] :
         Table<wchar_t const*, wchar_t const*, std::wstring>{{present.c_str(), nullptr, present},
                                                             {L"c:\\absent", present.c_str(), present},
                                                             {L"c:\\absent", L"c:\\absent", L"."},
                                                             {nullptr, nullptr, L"."}})
    {
        ::SetEnvironmentVariableW(L"TMP", tmpNow);
        ::SetEnvironmentVariableW(L"TMPDIR", tmpDir);
        EXPECT_EQ(TmpDirectoryNow(), XCString(expected));
    }
    ::SetEnvironmentVariableW(L"TMPDIR", nullptr);
    ::SetEnvironmentVariableW(L"TMP", tmp ? tmp->AsWChar() : nullptr);

    constexpr wchar_t kKey[] = L"Software\\Harvel\\Corvane\\XelbrinCore";
    constexpr wchar_t kBelow[] = L"Software\\Harvel\\Corvane\\XelbrinCore\\XCORE";
    auto const set = [](wchar_t const* key, wchar_t const* name, std::wstring const& value) {
        auto const bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, value.c_str(), bytes), ERROR_SUCCESS);
    };
    set(kKey, L"Customer", L"North");
    set(kKey, L"Code", L"17");
    EXPECT_EQ(TmpDirectoryNow().AsUTF8(), "."); // the key alone takes the environment's place
    set(kBelow, L"DebugPath", L"c:\\anything at all");
    EXPECT_EQ(TmpDirectoryNow().AsUTF8(), "c:\\anything at all");
    EXPECT_FALSE(XCException(L"lost", true).LogInErrorFile()); // no such folder: told, and nothing more
    XCApplication const application(XCString(L"x"), ListenerPtr(new Listener), false);
    EXPECT_EQ(application.GetCustomer().AsUTF8(), "North");
    EXPECT_EQ(application.GetCustomerCode().AsUTF8(), "17");
    for (wchar_t const* const key : {kBelow, kKey}) ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
}

TEST(Application, ASubscriberOfTwoIsServedOnceUntilTheLastEnds)
{
    ListenerPtr const listener(new Listener);
    auto first = std::make_unique<XCApplication>(XCString(L"a /trace:2"), listener, false);
    auto second = std::make_unique<XCApplication>(XCString(L"b"), listener, false);
    first->GetCout() << L"1" << std::flush;
    second.reset();
    first->GetCout() << L"2" << std::flush;
    EXPECT_TRUE(first->RemoveLogSubscriber(listener));
    EXPECT_FALSE(first->RemoveLogSubscriber(listener));
    first->GetCout() << L"3" << std::flush;
    EXPECT_EQ(listener->heard.AsUTF8(), "12");
}

/// Notes the level of each block.
class LevelListener final : public XCLogSubscriberI {
public:
    LevelListener() { SetDesiredLevel(9); }
    void OnFlush(int level, XCString const& text) override
    {
        if (!text.View().ends_with(std::to_wstring(level) + L"\n")) ++wrong;
        ++count;
    }
    std::atomic<int> wrong = 0;
    std::atomic<int> count = 0;
};

TEST(Application, ThreadsWriteAtTheirOwnLevels)
{
    XCSmartPtr<LevelListener> const listener(new LevelListener);
    XCApplication const application(XCString(L"a"), listener, false);
    std::vector<XCSmartPtr<XCThread>> threads;
    for (int level = 1; level <= 4; ++level)
        threads.push_back(new XCThread(XCMakeCallback([level] {
            for (int i = 0; i < 500; ++i) XCApplication::GetAppCout(level) << L"written at " << level << std::endl;
        })));
    for (auto const& thread : threads) ASSERT_TRUE(thread->Start().Good());
    for (auto const& thread : threads) thread->Join();
    EXPECT_EQ(listener->wrong, 0);
    EXPECT_EQ(listener->count, 2000);
    // Without a flush between them the texts of one thread keep their order.
    application.GetCout() << L"1\n";
    XCApplication::GetAppCout(3) << L"3\n";
    XCApplication::GetAppCout(2) << L"2\n" << std::flush;
    EXPECT_EQ(listener->count, 2003);
    EXPECT_EQ(listener->wrong, 0);
}

// The console of these tests is a file of theirs, so that what reaches it can be read.
TEST(Console, GoesToTheFileAndBack)
{
    ModuleFolder const folder({});
    auto const show = [](char const* text) { std::fputs(text, stdout), std::fflush(stdout); };
    XCConsoleInfo console;
    ASSERT_TRUE(console.Open(folder.Path() + L"\\console").Good());
    for (bool const keep : {true, false}) {
        XCString const option = L"x /consoletofile:" + folder.Path() + L"\\log" + (keep ? L"" : L" /noconsole");
        XCApplication application(option, {}, false);
        XCApplication::GetAppCout(1) << (keep ? L"kept \u20AC\n" : L"file alone\n") << std::flush;
        application.GetCout() << L"more\n" << std::flush;
        show("plain\n");
    }
    show("back\n");
    {
        XCApplication application(XCString(L"x"), {}, false);
        EXPECT_TRUE(application.StartLoggingToFile(folder.Path() + L"\\first", true).Good());
        EXPECT_TRUE(application.StartLoggingToFile(folder.Path() + L"\\second", true).Good());
        application.GetCout() << L"once\n" << std::flush;
        EXPECT_TRUE(application.StartLoggingToFile(folder.Path() + L"\\third", false).Good());
        application.GetCout() << L"unseen\n" << std::flush;
        application.SetTraceLevel(0);
        application.GetCout() << L"silent\n" << std::flush;
    }
    console.Close();
    EXPECT_EQ(folder.Bytes("console"), "kept \xE2\x82\xAC\nmore\nback\nonce\n");
    EXPECT_EQ(folder.Bytes("log"), "kept \xE2\x82\xAC\nmore\nplain\nfile alone\nmore\nplain\n");
    EXPECT_EQ(folder.Bytes("first"), "");
    EXPECT_EQ(folder.Bytes("second"), "once\n");
    EXPECT_EQ(folder.Bytes("third"), "unseen\n");
}

// Writes by the runtime after each step; what was before comes back to the letter.
TEST(Console, WhatTheProgramHadDoneToItsOutputComesBack)
{
    ModuleFolder const folder({});
    HANDLE const handle = ::GetStdHandle(STD_OUTPUT_HANDLE);
    int const descriptor = ::_dup(1);
    HANDLE const own = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (bool const closed : {false, true}) {
        if (closed) ::_close(1);
        ::SetStdHandle(STD_OUTPUT_HANDLE, own);
        XCConsoleInfo console;
        EXPECT_TRUE(console.Open(folder.Path() + L"\\log").Good());
        EXPECT_EQ(::_write(1, "in", 2), 2);
        console.Close();
        EXPECT_EQ(::GetStdHandle(STD_OUTPUT_HANDLE), own);
        EXPECT_EQ(::_write(1, "", 0), closed ? -1 : 0);
    }
    ::_dup2(descriptor, 1);
    ::_close(descriptor);
    ::SetStdHandle(STD_OUTPUT_HANDLE, handle);
    ::CloseHandle(own);
    EXPECT_EQ(folder.Bytes("log"), "inin");
}

TEST(Console, DefaultNameAndAFileThatCannotBeOpened)
{
    ModuleFolder const folder({});
    std::filesystem::path const before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path);
    ListenerPtr const listener(new Listener);
    {
        XCApplication const application(XCString(L"c:\\bin\\my.tool.exe /consoletofile"), listener, false);
        std::fputs("text\n", stdout);
    }
    HANDLE const held = ::CreateFileW(L"held.log", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    {
        XCApplication const application(XCString(L"x /consoletofile:held.log"), listener, false);
    }
    ::CloseHandle(held);
    std::filesystem::current_path(before);
    EXPECT_EQ(folder.Bytes("my.tool.log"), "text\n");
    EXPECT_NE(listener->heard.Find(L"ERR> ***The console cannot be sent to the file held.log (system error 32: "),
              XCString::npos);
}

} // namespace
