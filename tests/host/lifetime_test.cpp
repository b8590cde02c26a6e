// How hosts end: quit requests at any moment, plug-ins that do not obey, what still holds a module, a thousand cycles.
#include "heap_blocks.h"
#include "host/host_tools.h"
#include "repetitions.h"

#include <XelbrinCore/XCThreadPool.h>

#include <random>

namespace {

using namespace xc_test;

/// Posts the quit request after some milliseconds, from a thread of its own. It has begun before modules are loaded: one
/// that comes up among them keeps words of theirs on its stack, and counts as theirs.
struct QuitAfter {
    explicit QuitAfter(unsigned int ms)
        : thread(new XCThread(XCMakeCallback([this, ms] {
              begun = true;
              XCThread::Sleep(ms);
              XCApplication::PostExitRequest();
          })))
    {
        EXPECT_TRUE(thread->Start().Good());
        while (!begun) XCThread::Sleep(0);
    }
    ~QuitAfter()
    {
        thread->Join();
        XCApplication::ClearExitRequest();
    }
    std::atomic<bool> begun{false};
    XCSmartPtr<XCThread> thread;
};

/// Whether all threads of the registry have ended in time.
bool HaveThreadsEnded()
{
    for (int i = 0; i < 5000 && !XCThread::GetAllThreadsInfo().empty(); ++i) XCThread::Sleep(1);
    return XCThread::GetAllThreadsInfo().empty();
}

TEST(HostLife, AThousandHostsAreAskedToEndAtAnyMoment)
{
    ModuleFolder const folder({"quick", "reader"});
    std::mt19937 random(5);
    auto const cycle = [&] {
        QuitAfter const quit(random() % 6);
        Session const session(folder, {}, [](XCApplicationWithPlugIns& host) {
            (void)host.LoadPlugIn(new OwnRunner<XCThreadedRunPlugIn>(70, [](auto& self) {
                while (!self.WaitForExit(10000)) {
                }
            }));
        });
        EXPECT_EQ(session.exitCode, 0);
        EXPECT_EQ(session.Count(L"stays loaded"), 0);
        EXPECT_EQ(session.Count(L">>>> Unloading"), 3);
    };
    for (int round = 0; round < 10; ++round) cycle(); // what is made once is made
    std::size_t const blocks = xc_test::BlocksInUse();
    std::size_t const handle = NextHandle();
    int const rounds = std::getenv("XC_HEAP_CHECK") ? 20 : 1000;
    for (int round = 0; round < rounds; ++round) cycle();
    EXPECT_LT(xc_test::BlocksInUse(), blocks + 100);
    EXPECT_LT(NextHandle(), handle + 4 * 20);
    EXPECT_TRUE(XCThread::GetAllThreadsInfo().empty());
    EXPECT_EQ(::GetModuleHandleW(L"reader.osx"), nullptr);
    EXPECT_EQ(XCApplication::GetLogManager().GetSubscriberCount(), 0u);
}

TEST(HostLife, APlugInThatIgnoresTheRequestIsNamedAndKeepsWhatItNeeds)
{
    XCMutex door(L"xc_host_test_door", true);
    ModuleFolder const folder({"stubborn", "filter", "reader", "a_report"});
    Session const session(folder, {}, [](XCApplicationWithPlugIns& host) {
        EXPECT_EQ(host.GetExitPatience(), 10000u);
        host.SetExitPatience(300);
        (void)host.LoadPlugIn(NewQuitter(3)); // Report is the last that starts
    });
    EXPECT_EQ(session.exitCode, 0);
    XCApplication::ClearExitRequest();
    ExpectSaid(session, L"ERR> ***<Stubborn> ignores the request to exit\n"
                        L"Exiting application...\n"
                        L">>>> Unloading <Report>...\n"
                        L">>>> Unloading <Stubborn>...\n"
                        L"ERR> ***<Stubborn> is still running and stays loaded\n"
                        L">>>> Unloading <Filter>...\n"
                        L"ERR> ***<Filter> is needed by <Stubborn> and stays loaded\n"
                        L">>>> Unloading <Reader>...\n"
                        L"ERR> ***<Reader> is needed by <Filter> and stays loaded\n");
    EXPECT_EQ(::GetModuleHandleW(L"a_report.osx"), nullptr);
    door.unlock(); // it ends now, without its host, and fails
    EXPECT_TRUE(HaveThreadsEnded());
}

TEST(HostLife, ARequestIsHandedOnOnceAlsoFromAPlugInsOwnThread)
{
    for (bool const threaded : {true, false}) {
        ModuleFolder const folder({"a_report", "filter", "reader", "throws_exit"});
        Session const session(folder, {}, [&](XCApplicationWithPlugIns& host) {
            auto const ask = [&host](auto&) { host.RequestExit(false); };
            if (threaded)
                (void)host.LoadPlugIn(new OwnRunner<XCThreadedRunPlugIn>(71, ask));
            else
                (void)host.LoadPlugIn(new OwnRunner<XCRunPlugIn>(71, ask));
        });
        EXPECT_EQ(session.Count(L">>>> Quit signal received. Requesting exit to all plug-ins...\n"), 1);
        ExpectSaid(session, L"ERR> ***<ThrowsExit>: planned fault\n");
        XCApplication::ClearExitRequest();
    }
}

TEST(HostLife, APlugInThatSomebodyHoldsKeepsItsCode)
{
    ModuleFolder const folder({"reader", "filter"});
    XCSmartPtr<XCPlugIn> held;
    Session const session(folder, {}, [&](XCApplicationWithPlugIns& host) {
        (void)host.LoadPlugIn(new OwnRunner<XCRunPlugIn>(72, [&](auto&) {
            held = host.FindPlugIn(XCGuid(1, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}));
        }));
    });
    ExpectSaid(session, L"ERR> ***<Reader> is still in use and stays loaded\n");
    EXPECT_EQ(session.Count(L"<Filter> is still"), 0);
    EXPECT_EQ(held->GetPlugInName().AsUTF8(), "Reader");
    held.Clear();
}

TEST(HostLife, JobsEndBeforePlugInsLeaveOrKeepThemLoaded)
{
    for (bool const blocks : {false, true}) {
        ListenerPtr const listener(new Listener);
        std::atomic<bool> door{!blocks};
        std::atomic<int> begun{0}, ended{0};
        {
            XCApplicationWithPlugIns host(L"host /noconsole", listener, false);
            host.SetExitPatience(blocks ? 100 : XCInfinite);
            (void)host.LoadPlugIn(new OwnRunner<XCRunPlugIn>(75, [&](auto&) {
                for (int i = 0; i < 200; ++i)
                    host.GetJobPool().Submit([&] {
                        for (++begun; !door;) XCThread::yield();
                        ++ended;
                    });
                while (blocks ? begun == 0 : ended < 200) XCThread::yield();
            }));
            EXPECT_EQ(host.Run(), 0);
        }
        EXPECT_EQ(listener->heard.Find(L"stays loaded") != XCString::npos, blocks) << listener->heard.AsUTF8();
        EXPECT_TRUE(!blocks || !XCThread::GetAllThreadsInfo().empty());
        door = true;
        EXPECT_TRUE(HaveThreadsEnded());
        EXPECT_EQ(ended, begun); // the others were cancelled
    }
}

TEST(HostLife, APlugInMayHoldOneThatWasLoadedLater)
{
    Session const session(ModuleFolder({"quick", "reader"}), {}, [&](XCApplicationWithPlugIns& host) {
        auto* const early = new OwnRunner<XCRunPlugIn>(73, [&host](auto& self) {
            self.onInit = [held = host.FindPlugIn(XCGuid(1, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}))] { return XCErrorID(); };
            host.SetExitCode(5);
        });
        (void)host.LoadPlugIn(early);
    });
    EXPECT_EQ(session.Count(L"stays loaded"), 0);
    EXPECT_EQ(session.exitCode, 5) << "a plug-in sets it";
}

TEST(HostLife, AnErrorFromAModuleIsATextOfTheHost)
{
    ModuleFolder const folder({"refuses"});
    XCErrorID refused;
    {
        XCApplicationWithPlugIns host(L"host /noconsole", ListenerPtr(new Listener), false);
        refused = host.LoadPlugIn(folder.Path() + L"\\refuses.osx", XCApplicationWithPlugIns::kEntryName);
        XCErrorID const missing = host.LoadPlugIn(folder.Path() + L"\\refuses.osx", L"Elsewhere");
        EXPECT_NE(missing.AsString().Find(L"Elsewhere"), XCString::npos);
    }
    EXPECT_EQ(::GetModuleHandleW(L"refuses.osx"), nullptr);
    EXPECT_EQ(static_cast<int>(refused), 77);
    EXPECT_EQ(refused.AsString().AsUTF8(), "no licence to run");
}

} // namespace
