#include "host/host_tools.h"

#include <XelbrinCore/XCThread.h>

#include <gtest/gtest.h>

namespace {

using xc_test::Listener;
using xc_test::ModuleFolder;
using xc_test::Session;

TEST(Host, AModuleWithEachFaultIsReportedAndTheRestRuns)
{
    struct Case {
        char const* module;
        wchar_t const* reported;
        int exitCode;
    };
    constexpr Case kCases[] = {
        {"no_entry", L"LoadPlugIn failed on @\\no_entry.osx: Cannot locate \"GetPlugInObject\" entry point\n", 0},
        {"null_entry", L"LoaPlugIn failed on @\\null_entry.osx: AddPlugIn failed\n", 0},
        {"throws_entry", L"ERR> ***@\\throws_entry.osx: planned fault\n", 0},
        {"throws_name", L"LoaPlugIn failed on @\\throws_name.osx: AddPlugIn failed\n", 0},
        {"throws_init", L">>>> Initializing <ThrowsInit>...Failed.\nERR> ***<ThrowsInit>: planned fault\n", 0},
        {"refuses", L">>>> Initializing <Refuses>...Failed.\nERR> ***<Refuses>: no licence to run\n", 0},
        {"throws_run", L"ERR> ***<ThrowsRun>: planned fault\n", 2},
        {"throws_thread", L"ERR> ***<ThrowsThread>: planned fault\n", 2},
        {"throws_unload", L">>>> Unloading <ThrowsUnload>...\nERR> ***<ThrowsUnload>: planned fault\n", 0},
        {"orphan", L"ERR> ***<Orphan> depends on {00000063-0001-0002-0102-030405060708}, which is not loaded\n", 0},
        {"twin", L"ERR> ***<Twin> is already loaded\n", 0},
    };
    for (Case const& c : kCases) {
        SCOPED_TRACE(c.module);
        Session const session(ModuleFolder({"reader", "filter", c.module}));
        EXPECT_NE(session.said.Find(c.reported), XCString::npos) << std::string(session.said.AsUTF8());
        EXPECT_NE(session.said.Find(L"Filter at work\n"), XCString::npos);
        EXPECT_EQ(session.exitCode, c.exitCode);
    }
}

TEST(Host, FilesThatAreNoModulesAndListsThatAreMissing)
{
    ModuleFolder const folder({"reader"});
    folder.Write("broken.osx", "no library at all");
    EXPECT_NE(Session(folder).said.Find(L"LoadLibrary fails on @\\broken.osx\n"), XCString::npos);

    ModuleFolder const empty({});
    empty.Write("osx.lst", "");
    Session const nothing(empty);
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_NE(nothing.said.Find(L"Couldn't find any OSX to load.\n"), XCString::npos);
    EXPECT_NE(Session(empty, L"\\my.lst").said.Find(L"The plug-ins list file @\\my.lst does not exist.\n"),
              XCString::npos);
}

TEST(Host, TheWholeStoryOfThreeModulesThatDependOnOneAnother)
{
    ModuleFolder const folder({"a_report", "filter", "reader"});
    XCApplication::PostExitRequest(); // for the threaded one, which waits for it
    XCApplication::ClearExitRequest();
    XCSmartPtr<Listener> const listener(new Listener);
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole /osxpath:" + folder.Path(), listener, false);
        ASSERT_TRUE(XCApplicationWithPlugIns::GetApp() == &host);
        XCSmartPtr<XCThread> const quitter(new XCThread(XCMakeCallback([] {
            XCThread::Sleep(300);
            XCApplication::PostExitRequest();
        })));
        ASSERT_TRUE(quitter->Start().Good());
        EXPECT_EQ(host.LoadAndRun(), 0);
        quitter->Join();
        for (XCSmartPtr<XCPlugIn> const& plugIn : host.GetLoadedPlugIns())
            EXPECT_EQ(plugIn->GetStatus(),
                      plugIn->IsRunningPlugIn() ? XCPlugIn::StatusFinished : XCPlugIn::StatusReady);
    }
    XCApplication::ClearExitRequest();
    XCString said = listener->heard;
    said.Replace(folder.Path(), XCString(L"@"));
    EXPECT_EQ(said.AsUTF8(), "Retrieving plug-ins from @\n"
                             ">>>> Initializing <Reader>... Done.\n"
                             ">>>> Initializing <Filter>... Done.\n"
                             ">>>> Initializing <Report>... Done.\n"
                             "RUN> Running <Filter>...\n"
                             "Filter at work\n"
                             "RUN> Running <Report>...(threaded)\n"
                             ">>>> Quit signal received. Requesting exit to all plug-ins...\n"
                             "Exiting application...\n"
                             ">>>> Unloading <Report>...\n"
                             ">>>> Unloading <Filter>...\n"
                             ">>>> Unloading <Reader>...\n");
}

TEST(Host, ListsAreFollowedInTheirOrderAndNeverOutOfTheirFolder)
{
    ModuleFolder const folder({"reader", "filter", "twin"});
    folder.Write("my.lst", "; comment\r\n\r\n  filter.osx \r\nreader.osx\n..\\outside.osx\nc:\\evil.osx\n");
    Session const session(folder, L"\\my.lst");
    EXPECT_NE(session.said.Find(L"my.lst: ..\\outside.osx is not inside the folder of the list\n"), XCString::npos);
    EXPECT_NE(session.said.Find(L"my.lst: c:\\evil.osx is not inside the folder of the list\n"), XCString::npos);
    EXPECT_NE(session.said.Find(L"<Reader>... Done.\n>>>> Initializing <Filter>... Done.\n"), XCString::npos);
    EXPECT_EQ(session.said.Find(L"Twin"), XCString::npos);
}

TEST(Host, ACycleIsReportedOnceForEachOfItsPlugIns)
{
    Session const session(ModuleFolder({"cycle_a", "cycle_b", "reader"}));
    for (wchar_t const* const line : {L"ERR> ***<CycleA> depends on", L"ERR> ***<CycleB> depends on"}) {
        std::size_t const first = session.said.Find(line);
        ASSERT_NE(first, XCString::npos);
        EXPECT_EQ(session.said.Find(line, first + 1), XCString::npos);
    }
}

TEST(Host, HostsStartAndEndManyTimes)
{
    ModuleFolder const folder({"a_report", "filter", "reader", "throws_exit"});
    XCApplication::PostExitRequest(); // every run is asked to end before it has begun
    for (int round = 0; round < 30; ++round) EXPECT_EQ(Session(folder).exitCode, 0);
    XCApplication::ClearExitRequest();
    EXPECT_EQ(::GetModuleHandleW(L"reader.osx"), nullptr);
}

} // namespace
