// What hosts do with modules of every sort: messages, order, containers, menu.
#include "host/host_tools.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCUnitTest.h>

#include <iostream>

namespace {

using namespace xc_test;

TEST(Host, AModuleWithEachFaultIsReportedAndTheRestRuns)
{
    XCMutex door(L"xc_host_test_raw_door", true);
    for (auto const& [module, reported, exitCode] : Table<char const*, wchar_t const*, int>{
             {"no_entry", L"LoadPlugIn failed on @\\no_entry.osx: Cannot locate \"GetPlugInObject\" entry point\n", 0},
             {"null_entry",
              L"ERR> ***@\\null_entry.osx: GetPlugInObject has returned no plug-in\n"
              L"LoaPlugIn failed on @\\null_entry.osx: AddPlugIn failed\n",
              0},
             {"forger", L"ERR> ***<Forger>...\\n>>>> Faked\\x1B[2J\\x9B\\u202E>: no licence to run\n", 0},
             {"ends_thread", L"ERR> ***<EndsThread>: Run has ended its thread instead of returning\n", 2},
             {"left_raw_thread", L"ERR> ***@\\left_raw_thread.osx has left a thread behind and stays loaded\n", 0},
             {"throws_name", L"ERR> ***planned fault\nLoaPlugIn failed on @\\throws_name.osx: AddPlugIn failed\n", 0},
             {"throws_init", L">>>> Initializing <ThrowsInit>...Failed.\nERR> ***<ThrowsInit>: planned fault\n", 0},
             {"throws_what", L">>>> Initializing <ThrowsWhat>...Failed.\nERR> ***<ThrowsWhat>: ", 0},
             {"throws_run", L"ERR> ***<ThrowsRun>: planned fault\n", 2},
             {"throws_thread", L"ERR> ***<ThrowsThread>: planned fault\n", 2},
             {"throws_unload", L"ERR> ***<ThrowsUnload>: planned fault\n", 0},
             {"orphan", L"ERR> ***<Orphan> depends on {00000063-0001-0002-0102-030405060708}, which is not loaded\n",
              0},
             {"twin", L"ERR> ***<Twin> is already loaded\n", 0},
             {"container_throws", L"ERR> ***<ContainerThrows>: planned fault\n", 0},
             {"left_subscriber", L"ERR> ***@\\left_subscriber.osx has left a log subscriber behind and stays loaded\n",
              0},
             {"left_thread", L"ERR> ***@\\left_thread.osx has left a thread behind and stays loaded\n", 0},
         })
    {
        SCOPED_TRACE(module);
        Session const session(ModuleFolder({"reader", "filter", module}));
        ExpectSaid(session, reported);
        ExpectSaid(session, L"Filter at work\n");
        EXPECT_EQ(session.exitCode, exitCode);
    }
    // What was left behind still has its code.
    door.unlock();
    EXPECT_EQ(XCThread::GetAllThreadsInfo().size(), 1u);
    for (XCThreadInfo const& left : XCThread::GetAllThreadsInfo())
        XCThread::WaitForThread(XCThread_t(left.GetThreadId(), nullptr), -1);
    for (auto const& left : XCApplication::GetLogManager().GetSubscribers())
        XCApplication::GetLogManager().RemoveSubscriber(left);
    EXPECT_EQ(XCApplication::GetLogManager().GetSubscriberCount(), 0u);
    EXPECT_EQ(::GetModuleHandleW(L"throws_init.osx"), nullptr);
}

TEST(Host, ACycleIsNamedOnceWithItsMembers)
{
    Session const session(ModuleFolder({"cycle_a", "cycle_b", "reader"}));
    EXPECT_EQ(session.Count(L"ERR> ***cycle of dependencies: <CycleA>, <CycleB>\n"), 1);
    EXPECT_EQ(session.Count(L"ERR> ***"), 1);
    EXPECT_EQ(session.Count(L"LoaPlugIn failed on"), 2);
}

TEST(Host, TheCallThatIsUnderWayIsToldBeforeItAndNotedInTheErrorLog)
{
    ModuleFolder const folder({"logs_error"});
    XCString const before = XCException::GetErrorLogPath();
    ListenerPtr const listener(new Listener);
    listener->SetDesiredLevel(2);
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole /trace:2", listener, false);
        XCException::SetErrorLogPath(folder.Path() + L"\\error.log");
        EXPECT_TRUE(host.LoadPlugInsFromDirectory(folder.Path()).Good());
    }
    XCException::SetErrorLogPath(before);
    listener->heard.Replace(folder.Path(), XCString(L"@"));
    std::string const said(listener->heard.AsUTF8());
    std::size_t at = 0;
    for (char const* const line :
         {"CALL> LoadLibrary of @\\logs_error.osx\n", "CALL> GetPlugInObject of @\\logs_error.osx\n",
          "CALL> GetPlugInName of @\\logs_error.osx\n", "CALL> Init of <LogsError> (@\\logs_error.osx)\n",
          ">>>> Initializing <LogsError>... Done.\n", "CALL> Unload of <LogsError> (@\\logs_error.osx)\n",
          "CALL> FreeLibrary of @\\logs_error.osx\n"})
    {
        at = said.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << said;
    }
    std::string const noted = folder.Bytes("error.log");
    EXPECT_NE(noted.find("    in Init of <LogsError> ("), std::string::npos) << noted;
}

TEST(Host, AContainerBringsItsChildrenAndTakesThemAlongWhenItFails)
{
    Session const good(ModuleFolder({"container"}));
    EXPECT_EQ(good.Text(), "Retrieving plug-ins from @\n"
                           ">>>> Initializing <Child1>... Done.\n"
                           ">>>> Initializing <Child2>... Done.\n"
                           "ERR> ***<Child3> depends on Nobody, which is not loaded\n"
                           "ERR> ***<Container> is already loaded\n"
                           ">>>> Initializing <Container>... Done.\n"
                           "RUN> Running <Child1>...\n"
                           "Child1 at work\n"
                           "RUN> Running <Child2>...\n"
                           "Child2 at work\n"
                           "Exiting application...\n"
                           ">>>> Unloading <Container>...\n"
                           ">>>> Unloading <Child2>...\n"
                           ">>>> Unloading <Child1>...\n");
    ModuleFolder const folder({"container_refuses", "reader"});
    Session const bad(folder);
    ExpectSaid(bad, L"ERR> ***<ContainerRefuses>: no licence to run\n"
                    L">>>> Unloading <Child2>...\n"
                    L">>>> Unloading <Child1>...\n"
                    L"LoaPlugIn failed on @\\container_refuses.osx: AddPlugIn failed\n");
    EXPECT_EQ(bad.Count(L"stays loaded"), 0);
    EXPECT_EQ(bad.Count(L" at work"), 0);
    EXPECT_EQ(::GetModuleHandleW(L"container_refuses.osx"), nullptr);
}

TEST(Host, TheMenuRunsAtTheEndWithoutTheCasesOfThoseThatFailed)
{
    std::wistringstream typed(L"a\n0\n");
    std::wstreambuf* const before = std::wcin.rdbuf(typed.rdbuf());
    Session const session(ModuleFolder({"reader", "throws_init"}), {}, [](XCApplicationWithPlugIns& host) {
        host.SetIsRunWithMenu(true);
        auto* const refused = new OwnPlugIn<XCPlugIn>(60);
        refused->onInit = [&host] {
            host.GetMainMenu().AddTestCase(L"gone with its plug-in", [](XCTestScope&) {});
            return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"refused", 1)));
        };
        EXPECT_EQ(static_cast<int>(host.LoadPlugIn(refused)), 1);
    });
    std::wcin.rdbuf(before);
    ExpectSaid(session, L"host\n  1  Reader\n  a  all\n  0  end\n> [ ok ] Reader (1 checks)\n");
}

TEST(UnitTestMenu, RunsWhatIsChosen)
{
    XCUnitTest menu(L"Menu");
    menu.AddTestCase(L"good", [](XCTestScope& scope) { scope.Check(true, L"holds"); });
    menu.AddTestCase(L"bad", [](XCTestScope& scope) { scope.Check(false, L"does not hold"); });
    menu.AddTestCase(L"throws", [](XCTestScope&) { throw XCException(L"planned"); });
    std::wistringstream in(L"1\n 2 \n7\n00\nx\na\nq\n1\n");
    std::wostringstream out;
    EXPECT_EQ(menu.RunMenu(in, out), 3u);
    EXPECT_NE(out.str().find(L"[FAIL] bad (1 checks)\n       does not hold\n"), std::wstring::npos);
    EXPECT_NE(out.str().find(L"[FAIL] throws (0 checks)\n       threw: planned\n"), std::wstring::npos);
}

} // namespace
