// Modules that hang, in every call that a host makes: who did it is told, the others finish, the host ends in time.
#include "host/hostile_host.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSignals.h>
#include <XelbrinCore/XCThread.h>

namespace {

using namespace xc_test;

constexpr unsigned int kDeadlineMs = 500;
constexpr unsigned int kLoadingMs = 2000, kProbingMs = 12000; // after which a host is asked to end while it loads
constexpr char kRefused[] = " is refused by its probe: ";

/// Modules that are refused by their probe are never seen by the host; all others pass it.
void ExpectRefused(Ended const& ended, char const* module, char const* why)
{
    EXPECT_EQ(ended.code, 0u);
    std::string const line = std::string(module) + ".osx" + kRefused + why;
    EXPECT_NE(ended.log.find(line), std::string::npos) << line << " in\n" << ended.log;
    EXPECT_EQ(ended.log.find("CALL> LoadLibrary of " + std::string(module)), std::string::npos);
    EXPECT_NE(ended.log.find(">>>> Unloading <Report>..."), std::string::npos) << ended.log;
}

/// The host of the tests below: it works for a moment, is asked to end, and its exit code is the process's.
TEST(DISABLED_HostileChild, Runs)
{
    ::SetErrorMode(SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS); // no debugger, which would need what is broken
    std::wstring const folder = EnvironmentValue(L"XC_HOST_CHILD");
    XCSmartPtr<XCLogSubscriberI> const log(new XCFileLogSubscriber(XCString(folder) + L"\\host.log"));
    log->SetDesiredLevel(2);
    int code = 0;
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole " + XCString(EnvironmentValue(L"XC_HOST_OPTIONS")), log,
                                      false);
        XCException::SetErrorLogPath(XCString(folder) + L"\\error.log");
        XCSignalOptions options;
        options.minidump = false;
        options.logLevel = 2;
        ASSERT_TRUE(XCSignals::Install(options).Good());
        HANDLE const begun = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        HANDLE const loaded = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        DWORD const patience = host.GetCmdLine().ArgPresent(L"probe") ? kProbingMs : kLoadingMs;
        XCSmartPtr<XCThread> const quitter(new XCThread(XCMakeCallback([=] {
            ::SetEvent(begun);
            ::WaitForSingleObject(loaded, patience); // it may never be
            XCThread::Sleep(400);
            XCApplication::PostExitRequest();
        })));
        ASSERT_TRUE(quitter->Start().Good()); // before the modules: one that hangs in its loading keeps threads out
        ::WaitForSingleObject(begun, INFINITE);
        (void)host.LoadPlugInsFromDirectory(XCString(folder));
        ::SetEvent(loaded);
        code = host.Run();
    }
    std::_Exit(code);
}

TEST(Hostile, AModuleThatHangsIsNamedAndTheHostEndsWithoutIt)
{
    struct HangCase {
        char const* module;
        char const* named;
        bool othersUnload = true;
        char const* probed = nullptr; ///< null: passes
    };
    constexpr HangCase kCases[] = {
        {"hostile_hang_main", "\\hostile_hang_main.osx has not answered: in LoadLibrary (", false,
         "does not return within 6000 ms, in LoadLibrary\n"},
        {"hostile_hang_entry", "\\hostile_hang_entry.osx has not answered: in GetPlugInObject (", false,
         "does not return within 6000 ms, in GetPlugInObject\n"},
        {"hostile_hang_init", "<Hostile> has not answered: in Init ("},
        {"hostile_hang_run", "<Hostile> has not answered: in Run ("},
        {"hostile_hang_thread", "<Hostile> has not answered: in Run ("},
        {"hostile_hang_exit", "<Hostile> has not answered: in RequestExit ("},
        {"hostile_hang_unload", "<Hostile> has not answered: in Unload ("},
    };
    for (HangCase const& c : kCases)
        for (bool const probes : {false, true}) {
            SCOPED_TRACE(c.module + std::string(probes ? ", probed" : ""));
            ModuleFolder const folder({"a_report", "filter", "reader", c.module});
            ULONGLONG const start = ::GetTickCount64();
            Ended const ended = RunHostile(folder, probes ? L"/stopDeadline:500 /probe:6000" : L"/stopDeadline:500");
            if (probes && c.probed) {
                ExpectRefused(ended, c.module, c.probed);
                continue;
            }
            EXPECT_LT(::GetTickCount64() - start, (probes ? kProbingMs : kLoadingMs) + 400 + 3 * kDeadlineMs + 10000);
            EXPECT_EQ(ended.code, 124u);
            for (std::string const& told : {ended.log, ended.errors}) {
                std::size_t const at = told.find(c.named);
                EXPECT_NE(at, std::string::npos) << told;
                std::size_t const stack = told.find("\n    ", at);
                EXPECT_NE(told.find(c.module + std::string(".osx"), stack), std::string::npos) << told;
            }
            EXPECT_EQ(ended.log.find(">>>> Unloading <Report>...") != std::string::npos, c.othersUnload) << ended.log;
            EXPECT_EQ(ended.log.find("<Report> is still running"), std::string::npos) << ended.log;
        }
}

TEST(Hostile, AModuleThatEndsTheProcessIsNamedInItsRecord)
{
    enum Record { Whole, Bare, None };
    struct EndCase {
        char const* module;
        char const* named; ///< in the error log, or as the last words of the log
        Record record = Whole;
        char const* probed = nullptr; ///< null: passes
    };
    constexpr EndCase kCases[] = {
        {"hostile_crash_entry", "    in GetPlugInObject (", Whole,
         "ends the process by the fault 0xC0000005, in GetPlugInObject\n"},
        {"hostile_crash_init", "    in Init of <Hostile> ("},
        {"hostile_crash_run", "    in Run of <Hostile> ("},
        {"hostile_crash_thread", "    in Run of <Hostile> ("},
        {"hostile_crash_exit", "    in RequestExit of <Hostile> ("},
        {"hostile_crash_unload", "    in Unload of <Hostile> ("},
        {"hostile_abort_run", "    in Run of <Hostile> ("},
        {"hostile_held_run", "    in Run of <Hostile> (", Bare},
        {"hostile_exit_run", "CALL> Run of <Hostile> (", None},
    };
    for (EndCase const& c : kCases)
        for (bool const probes : {false, true}) {
            SCOPED_TRACE(c.module + std::string(probes ? ", probed" : ""));
            Ended const ended =
                RunHostile(ModuleFolder({"a_report", "filter", "reader", c.module}), probes ? L"/probe:6000" : L"");
            if (probes && c.probed) {
                ExpectRefused(ended, c.module, c.probed);
                continue;
            }
            EXPECT_NE(ended.code, 0u);
            std::string const told = c.record == None ? ended.log.substr(ended.log.rfind("CALL>")) : ended.errors;
            EXPECT_NE(told.find(c.named), std::string::npos) << told;
            EXPECT_EQ(told.find("CALL> ") == std::string::npos, c.record == Bare) << "the last log records\n" << told;
        }
}

/// A stack overflow ends its thread alone on Wine, and damage of the heap ends the process with no handler on Windows.
TEST(Hostile, WhereSystemsDifferAModuleIsNamedAllTheSame)
{
    for (char const* const module : {"hostile_overflow_run", "hostile_damage_run"})
        for (bool const probes : {false, true}) {
            SCOPED_TRACE(module + std::string(probes ? ", probed" : ""));
            Ended const ended = RunHostile(ModuleFolder({"a_report", "filter", "reader", module}),
                                           probes ? L"/stopDeadline:500 /probe:6000" : L"/stopDeadline:500");
            EXPECT_NE(ended.code, 0u);
            EXPECT_NE(ended.code, ChildProcess::kHangs);
            bool const hasRecord = ended.errors != "-";
            std::string const told = hasRecord ? ended.errors : ended.log.substr(ended.log.rfind("CALL>"));
            bool const isLate = told.find("<Hostile> has not answered: in Run (") != std::string::npos;
            EXPECT_TRUE(isLate || told.find("Run of <Hostile> (") != std::string::npos) << told;
        }
}

TEST(Hostile, AModuleThatAHostSurvivesIsNamedAndTheOthersFinish)
{
    struct SurvivedCase {
        char const* module;
        char const* named;
        unsigned int code;
        char const* probed = nullptr; ///< null: passes
    };
    constexpr SurvivedCase kCases[] = {
        {"hostile_crash_main", "LoadLibrary fails on ", 0, ", in LoadLibrary\n"},
        {"hostile_throw_run", "ERR> ***<Hostile>: planned fault\n", 2},
        {"hostile_throw_init", "ERR> ***<Hostile>: planned fault\n", 0},
        {"hostile_left_init", "hostile_left_init.osx has left a thread behind and stays loaded\n", 0},
        {"hostile_memory_run", "RUN> Running <Hostile>", 0},
    };
    for (SurvivedCase const& c : kCases)
        for (bool const probes : {false, true}) {
            SCOPED_TRACE(c.module + std::string(probes ? ", probed" : ""));
            Ended const ended =
                RunHostile(ModuleFolder({"a_report", "filter", "reader", c.module}), probes ? L"/probe:6000" : L"");
            if (probes && c.probed) {
                EXPECT_NE(ended.log.find(c.probed, ended.log.find(kRefused)), std::string::npos) << ended.log;
                continue;
            }
            EXPECT_EQ(ended.code, c.code);
            EXPECT_NE(ended.log.find(c.named), std::string::npos) << ended.log;
            EXPECT_NE(ended.log.find(">>>> Unloading <Report>..."), std::string::npos) << ended.log;
        }
}

TEST(Hostile, AHostReportsOnRequestWhileItRuns)
{
    ModuleFolder const folder({"a_report", "filter", "reader", "hostile_hang_thread"});
    ::SetEnvironmentVariableW(L"XC_HOST_CHILD", folder.Path().AsWChar());
    ::SetEnvironmentVariableW(L"XC_HOST_OPTIONS", L"/stopDeadline:2000");
    ChildProcess child(ChildProcess::OfTest(L"DISABLED_HostileChild.Runs"));
    std::string told;
    for (int i = 0; i < 2000 && told.find("HangsHere") == std::string::npos; ++i, ::Sleep(5)) {
        (void)XCApplicationWithPlugIns::AskForReport(child.Id()); // Bad until its host is there
        told = ReadFile(folder.path / "error.log");
    }
    std::size_t const report = told.find("] report on process ");
    EXPECT_LT(report, told.find("in Run of <Hostile>", report)) << told;
    EXPECT_EQ(child.Wait(), 124u);
    EXPECT_EQ(static_cast<long>(XCApplicationWithPlugIns::AskForReport(child.Id())), XCErrNoReport);
}

TEST(Hostile, ADeadlineLeavesAHostThatEndsInTimeAlone)
{
    ModuleFolder const folder({"a_report", "filter", "reader"});
    Ended const ended = RunHostile(folder, L"/stopDeadline:20000");
    EXPECT_EQ(ended.code, 0u);
    EXPECT_EQ(ended.errors, "-");
    EXPECT_NE(ended.log.find(">>>> Unloading <Reader>..."), std::string::npos) << ended.log;
    XCApplicationWithPlugIns host(L"host /noconsole /stopDeadline:soon", ListenerPtr(new Listener), false);
    EXPECT_EQ(host.GetStopDeadline(), XCInfinite);
    host.SetStopDeadline(700);
    EXPECT_EQ(host.GetStopDeadline(), 700u);
}

} // namespace
