// Runs that modules bring down, and what the next runs make of it.
#include "host/hostile_host.h"

namespace {

using namespace xc_test;

struct QuarantineRun : testing::Test {
    Ended Run(ModuleFolder const& folder, std::wstring const& more = {}) const
    {
        std::filesystem::remove(folder.path / "host.log");
        return RunHostile(folder, L"/quarantine:" + file.Path() + L"\\q.txt " + more);
    }
    ScratchFolder const file{std::filesystem::temp_directory_path() / "xc_quarantine"};
};

bool Says(Ended const& ended, std::string const& text)
{
    return ended.log.find(text) != std::string::npos;
}

TEST_F(QuarantineRun, AModuleThatEndsRunsIsSkippedAfterOneProofOrThreeSuspicions)
{
    for (auto const& [module, runs, fault] : Table<std::string, int, std::string>{
             {"hostile_crash_entry", 1, "unhandled fault 0xC0000005 in GetPlugInObject"},
             {"hostile_crash_init", 1, "unhandled fault 0xC0000005 in Init"},
             {"hostile_crash_thread", 1, "unhandled fault 0xC0000005 in Run"},
             {"hostile_crash_unload", 1, "unhandled fault 0xC0000005 in Unload"},
             {"hostile_abort_run", 1, "abort in Run"},
             {"hostile_stray_init", 3, "unhandled fault 0xC0000005"},
             {"hostile_exit_run", 3, "end of the process in Run"},
         })
    {
        SCOPED_TRACE(module);
        ModuleFolder const folder({"a_report", "filter", "reader", module.c_str()});
        for (int run = 1; run <= runs; ++run) {
            Ended const ended = Run(folder);
            EXPECT_NE(ended.code, 0u);
            EXPECT_EQ(Says(ended, "is suspected (" + std::to_string(run - 1) + " of 3)"), run > 1) << ended.log;
            EXPECT_FALSE(Says(ended, "is in quarantine")) << ended.log;
        }
        Ended const ended = Run(folder);
        EXPECT_EQ(ended.code, 0u);
        std::size_t const at = ended.log.find(module + ".osx is in quarantine: ");
        EXPECT_NE(ended.log.find(": " + fault + "\n", at), std::string::npos) << ended.log;
        EXPECT_TRUE(Says(ended, ">>>> Unloading <Report>...")) << ended.log;
        EXPECT_EQ(Says(Run(folder, L"/quarantineClear:" + std::wstring(module.begin(), module.end()) + L".osx"),
                       "is in quarantine"),
                  false);
    }
}

TEST_F(QuarantineRun, AChangedModuleIsTriedAgain)
{
    ModuleFolder const folder({"reader", "hostile_crash_run"});
    EXPECT_NE(Run(folder).code, 0u);
    EXPECT_EQ(Run(folder).code, 0u);
    std::ofstream(folder.path / "hostile_crash_run.osx", std::ios::app) << "newer";
    Ended const ended = Run(folder);
    EXPECT_TRUE(Says(ended, "has changed since it was put into quarantine")) << ended.log;
    EXPECT_NE(ended.code, 0u);
}

TEST_F(QuarantineRun, AKillCountsNothingAndOthersMeanwhileDoNotJudgeIt)
{
    ModuleFolder const folder({"reader", "hostile_hang_thread"});
    for (int run = 0; run < 4; ++run) {
        std::filesystem::remove(folder.path / "host.log");
        ChildProcess child = StartHostile(folder, L"/quarantine:" + file.Path() + L"\\q.txt");
        for (int i = 0;
             i < 3000 && ReadFile(folder.path / "host.log").find("CALL> RequestExit of <Hostile>") == std::string::npos;
             ++i)
            ::Sleep(10);
        Ended const other = Run(ModuleFolder({"reader", "filter"}));
        EXPECT_EQ(other.code, 0u);
        EXPECT_FALSE(Says(other, "An earlier run")) << other.log;
        child.Kill();
        std::string const log = ReadFile(folder.path / "host.log");
        EXPECT_EQ(log.find("was stopped in Run,RequestExit of ") != std::string::npos, run > 0) << log;
        EXPECT_EQ(log.find("suspected"), std::string::npos) << log;
    }
    Ended const after = Run(ModuleFolder({"reader"}));
    EXPECT_TRUE(Says(after, "hostile_hang_thread.osx; nothing is held against it\n")) << after.log;
    EXPECT_EQ(file.Count(), 1) << "the lock file alone";
}

TEST_F(QuarantineRun, AGoodRunTakesSuspicionsBackAndNothingWrittenIsNoHindrance)
{
    ModuleFolder const folder({"reader"});
    std::string const path = (folder.path / "reader.osx").string();
    file.Write("q.txt",
               "XelbrinCore quarantine 1\nsuspected\ta,b\t1\t1\t2026-11-22 04:12:09\tabort\t" + path + "\nrubbish\n");
    ListenerPtr const listener(new Listener);
    {
        XCApplicationWithPlugIns asked(L"host.exe /noconsole /quarantineList", listener, false);
        EXPECT_TRUE(asked.SetQuarantine(file.Path("q.txt")).Good());
        EXPECT_EQ(asked.LoadAndRun(), 0);
    }
    EXPECT_NE(listener->heard.Find(L"reader.osx: suspected (2), loaded; 2026-11-22 04:12:09 abort\n"), XCString::npos);
    Session const good(folder, {}, [&](auto& host) {
        EXPECT_TRUE(host.SetQuarantine(file.Path("q.txt")).Good());
        ASSERT_EQ(host.GetQuarantine().size(), 1u);
        EXPECT_EQ(All(host.GetQuarantine()[0].suspicions, host.GetQuarantine()[0].skipped), All(2u, false));
    });
    ExpectSaid(good, file.Path("q.txt") + L": 1 damaged lines are left out\n");
    EXPECT_EQ(file.Bytes("q.txt"), "XelbrinCore quarantine 1\n");
    Session const deaf(folder, {}, [&](auto& host) {
        EXPECT_TRUE(host.SetQuarantine(file.Path("no_folder") + L"\\q.txt").Bad());
        EXPECT_TRUE(host.ClearQuarantine(L"nobody.osx").Bad());
    });
    ExpectSaid(deaf, L">>>> Unloading <Reader>...\n");
    EXPECT_EQ(deaf.exitCode, 0);
}

} // namespace
