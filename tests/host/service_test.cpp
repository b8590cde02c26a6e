// Every way in which the system ends a program, and services: by fakes that answer as the system does, then by the real
// manager.
#include "child_process.h"
#include "host/host_tools.h"

#include <XelbrinCore/XCService.h>

#include "app/host/EndSignal.h"
#include "app/host/ServiceCommand.h"
#include "app/host/ServiceSession.h"
#include "win32/SystemFunction.h"

namespace {

using namespace xc_test;
using xc::host::EndCause;

struct RecordedEnd final : xc::host::EndSteps {
    bool IsService() const noexcept override { return isService; }
    void RequestQuit() noexcept override { said += "quit "; }
    unsigned int AllowedMs(EndCause) const noexcept override { return allowedMs; }
    void AwaitEnd(unsigned int ms) noexcept override { said += "wait " + std::to_string(ms) + " "; }
    void SayLate(EndCause, unsigned int) noexcept override { said += "late "; }
    void EndProcess() noexcept override { said += "end"; }

    bool isService = false;
    unsigned int allowedMs = 0;
    std::string said;
};

TEST(EndSignal, EveryCauseIsTheSameRequest)
{
    for (auto const& [fault, cause, isService, allowedMs, expected] : Rows<EndCause, bool, unsigned int, std::string>{
             {"waits where nobody ends the process", EndCause::CtrlC, false, 5000, "quit "},
             {"the same for the other key", EndCause::CtrlBreak, true, 5000, "quit "},
             {"killed with its logs unwritten", EndCause::Close, false, 5000, "quit wait 4500 late end"},
             {"no time for the last words", EndCause::LogOff, false, 1000, "quit wait 750 late end"},
             {"waits longer than it may", EndCause::Shutdown, false, 200, "quit wait 0 late end"},
             {"a service ends with some user's session", EndCause::LogOff, true, 5000, ""},
             {"the shutdown is told twice", EndCause::Shutdown, true, 5000, ""}})
    {
        RecordedEnd steps;
        steps.isService = isService;
        steps.allowedMs = allowedMs;
        xc::host::AnswerEndSignal(cause, steps);
        EXPECT_EQ(steps.said, expected) << fault;
    }
}

/// A program with windows whose session ends: it ends in time with 5, or never.
TEST(DISABLED_SessionChild, Ends)
{
    HMODULE const user = ::LoadLibraryW(L"user32.dll");
    XCApplication const application(XCString(L"child"), ListenerPtr(new Listener));
    XCException::SetErrorLogPath(XCString(EnvironmentValue(L"XC_SESSION_LOG")));
    using xc::win32::SystemFunction;
    auto const find = SystemFunction<HWND(WINAPI*)(LPCWSTR, LPCWSTR)>(user, "FindWindowW");
    auto const post = SystemFunction<BOOL(WINAPI*)(HWND, UINT, WPARAM, LPARAM)>(user, "PostMessageW");
    HWND window = nullptr; // made on a thread of its own
    for (int i = 0; i < 100 && !(window = find(L"XelbrinCoreSessionEnd", nullptr)); ++i) ::Sleep(20);
    if (!window) ::ExitProcess(7);
    post(window, 0x16 /* WM_ENDSESSION */, 0, 0); // called off
    ::Sleep(200);
    if (XCApplication::IsExitRequested()) ::ExitProcess(6);
    post(window, 0x16, 1, 0);
    while (!XCApplication::IsExitRequested()) ::Sleep(10);
    if (std::getenv("XC_SESSION_HANGS")) ::Sleep(INFINITE);
    ::ExitProcess(5);
}

TEST(EndSignal, TheEndOfTheSessionReachesProgramsWithWindows)
{
    for (auto const& [fault, hangs, exitCode, told] : Rows<char const*, DWORD, char const*>{
             {"killed while it ends", nullptr, 5, ""},
             {"killed without a word", "1", 124, "the machine goes down, and the program has not ended within "}})
    {
        ScratchFolder const folder("xc_session");
        ::SetEnvironmentVariableW(L"XC_SESSION_LOG", folder.Path("error.log").AsWChar());
        ::SetEnvironmentVariableA("XC_SESSION_HANGS", hangs);
        EXPECT_EQ(ChildProcess(ChildProcess::OfTest(L"DISABLED_SessionChild.Ends")).Wait(), exitCode) << fault;
        EXPECT_NE(folder.Bytes("error.log").find(told), std::string::npos) << fault;
    }
}

/// Refuses what the manager of Windows refuses, or would take for a service that hangs.
struct FakeManager final : xc::host::ServiceSteps {
    void Report(xc::win32::ServiceReport const& report) noexcept override
    {
        bool const isPending = report.state == 2 || report.state == 3;
        EXPECT_FALSE(hasStopped) << "a report after the last one";
        EXPECT_EQ(report.hintMs != 0 && report.checkPoint != 0, isPending);
        if (isPending && report.state == last.state && !isAsking) {
            EXPECT_GT(report.checkPoint, last.checkPoint);
        }
        EXPECT_EQ(report.accepted, report.state == 4 ? 0x105u : 0u);
        said += std::to_string(report.state);
        if (isPending) said += "." + std::to_string(report.checkPoint);
        if (report.state == 1)
            said += ":" + std::to_string(report.exitCode) + "/" + std::to_string(report.specificCode);
        said += " ";
        hasStopped = report.state == 1;
        last = report;
    }
    void RequestQuit() noexcept override { said += "quit "; }

    xc::win32::ServiceReport last;
    bool hasStopped = false;
    bool isAsking = false; ///< the manager asks for the state that it was told
    std::string said;
};

/// b begin, r running, t a second later, s stop, h shutdown, p before shutdown, i asked, u unknown, a digit the end.
std::string Play(std::string const& script)
{
    FakeManager manager;
    xc::host::ServiceSession session(manager, {3000, 4000, 2000});
    std::uint64_t now = 1000;
    auto const control = [&](unsigned long number) {
        if (unsigned long const answer = session.Control(number, now)) manager.said += std::to_string(answer) + " ";
    };
    for (char const step : script) {
        manager.isAsking = step == 'i';
        if (step == 'b') session.Begin(now);
        if (step == 'r') session.SetRunning();
        if (step == 't' && session.Tick(now += 1000)) manager.said += "late ";
        if (step == 's') control(1);
        if (step == 'i') control(4);
        if (step == 'h') control(5);
        if (step == 'p') control(15);
        if (step == 'u') control(6);
        if (step >= '0' && step <= '9') session.End(static_cast<unsigned int>(step - '0'));
    }
    return manager.said;
}

TEST(ServiceSession, TellsTheManagerItsStates)
{
    for (auto const& [fault, script, expected] : Rows<std::string, std::string>{
             {"a whole life", "brstt0", "2.1 4 3.1 quit 3.2 3.3 1:0/0 "},
             {"told at work, as if it were starting", "brtit0", "2.1 4 4 1:0/0 "},
             {"a failure passes for an orderly end", "br7", "2.1 4 1:1066/7 "},
             {"a start that hangs looks alive", "btttt", "2.1 2.2 2.3 "},
             {"a stop that hangs looks alive", "brstttt", "2.1 4 3.1 quit 3.2 3.3 3.4 late "},
             {"the shutdown's limit is shorter", "brhtt", "2.1 4 3.1 quit 3.2 late "},
             {"before the shutdown there is time", "brpttt", "2.1 4 3.1 quit 3.2 3.3 3.4 "},
             {"the second stop begins anew", "brstsh", "2.1 4 3.1 quit 3.2 quit quit "},
             {"running after the stop", "bsr0", "2.1 3.1 quit 1:0/0 "},
             {"told after the end", "br0sitr1", "2.1 4 1:0/0 "},
             {"an unknown control is taken", "bru", "2.1 4 120 "}})
        EXPECT_EQ(Play(script), expected) << fault;
}

TEST(ServiceCommand, IsTakenOutOfTheArguments)
{
    using Kind = xc::host::ServiceCommand::Kind;
    for (auto const& [fault, arguments, kind, rest] :
         Rows<std::vector<wchar_t const*>, Kind, std::vector<std::wstring>>{
             {"the program's name is an option", {L"/service", L"/x"}, Kind::None, {L"/service", L"/x"}},
             {"case", {L"a", L"-InstallSERVICE", L"/x:1"}, Kind::Install, {L"a", L"/x:1"}},
             {"the first counts", {L"a", L"/removeservice", L"/service"}, Kind::Remove, {L"a"}},
             {"a longer option is this one", {L"a", L"/services"}, Kind::None, {L"a", L"/services"}},
             {"started by the manager", {L"a", L"/service", L"b"}, Kind::Run, {L"a", L"b"}}})
    {
        auto const command = xc::host::ReadServiceCommand(static_cast<int>(arguments.size()), arguments.data());
        EXPECT_EQ(All(command.kind, command.rest), All(kind, rest)) << fault;
    }
    for (auto const& [fault, argument, quoted] :
         Rows<std::wstring, std::wstring>{{"an empty one is lost", L"", L"\"\""},
                                          {"cut at its blank", L"c:\\a b", L"\"c:\\a b\""},
                                          {"the closing quote is a letter", L"c:\\a b\\", L"\"c:\\a b\\\\\""},
                                          {"quotes inside", L"say \\\"hi\"", L"\"say \\\\\\\"hi\\\"\""}})
        EXPECT_EQ(xc::host::QuotedArgument(argument), quoted) << fault;
}

// Under the manager of the system ---------------------------------------------------------------------------------

XCServiceSettings TestService()
{
    XCServiceSettings settings{.name = L"XelbrinCoreTest"};
    settings.displayName = L"A test";
    settings.start = XCServiceSettings::Start::OnDemand;
    settings.stopMs = 2000;
    return settings;
}

/// The process that the manager starts. Its arguments: none, it ends with 0; one, with 7; more, never.
TEST(DISABLED_ServiceChild, Lives)
{
    wchar_t const* const arguments[] = {L"test", L"/service"};
    XCService::Main(TestService(), 2, arguments, [](int count, wchar_t const* const*) {
        while (count > 2 || !XCApplication::IsExitRequested()) ::Sleep(10);
        return count > 1 ? 7 : 0;
    });
}

/// Waits until a service is in this state.
SERVICE_STATUS Await(SC_HANDLE service, DWORD state)
{
    SERVICE_STATUS status{};
    for (int i = 0; i < 3000 && ::QueryServiceStatus(service, &status) && status.dwCurrentState != state; ++i)
        ::Sleep(10);
    EXPECT_EQ(status.dwCurrentState, state);
    return status;
}

TEST(Service, IsInstalledStartedStoppedAndRemoved)
{
    XCServiceSettings const settings = TestService();
    (void)XCService::Remove(settings.name); // of a run that was killed
    EXPECT_EQ(XCService::Remove(settings.name), XCErrServiceMissing);
    EXPECT_EQ(XCService::Install({.name = L"a/b"}), XCErrServiceName);
    std::vector<XCString> const options = {L"--gtest_also_run_disabled_tests",
                                           L"--gtest_filter=DISABLED_ServiceChild.Lives"};
    XCErrorID const installed = XCService::Install(settings, options);
    if (installed == XCErrServiceRights) GTEST_SKIP() << installed.AsString().AsUTF8();
    ASSERT_EQ(installed.AsString().AsUTF8(), "SUCCESS");
    EXPECT_EQ(XCService::Install(settings), XCErrServiceExists);
    SC_HANDLE const manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    SC_HANDLE const service = ::OpenServiceW(manager, settings.name.AsWChar(), SERVICE_ALL_ACCESS);
    LPCWSTR given[] = {L"one", L"more"};
    for (auto const& [fault, count, code, specific] :
         Rows<DWORD, DWORD, DWORD>{{"an orderly end is a failure", 0, 0, 0},
                                   {"the exit code is lost", 1, 1066, 7},
                                   {"a stop that hangs holds the machine", 2, 1066, 124}})
    {
        ASSERT_TRUE(::StartServiceW(service, count, given)) << fault;
        EXPECT_EQ(Await(service, SERVICE_RUNNING).dwControlsAccepted, 0x105u);
        SERVICE_STATUS status{};
        EXPECT_TRUE(::ControlService(service, SERVICE_CONTROL_STOP, &status)) << fault;
        status = Await(service, SERVICE_STOPPED);
        EXPECT_EQ(All(status.dwWin32ExitCode, status.dwServiceSpecificExitCode), All(code, specific)) << fault;
    }
    ASSERT_TRUE(::StartServiceW(service, 0, nullptr));
    Await(service, SERVICE_RUNNING);
    ::CloseServiceHandle(service);
    ::CloseServiceHandle(manager);
    EXPECT_EQ(XCService::Remove(settings.name).AsString().AsUTF8(), "SUCCESS"); // stopped first
    EXPECT_EQ(XCService::Remove(settings.name), XCErrServiceMissing);
    EXPECT_FALSE(XCService::IsService());
}

TEST(Service, ItsOptionsAreNoWork)
{
    for (auto const& [fault, name, option, exitCode] : Rows<wchar_t const*, wchar_t const*, int>{
             {"work that nobody has started as a service", L"XelbrinCoreTest", L"/service", 1},
             {"a name that the manager refuses", L"a/b", L"/installService", 1},
             {"the removal of what is not there", L"XelbrinCoreTest", L"/removeService", 1},
             {"no service, no work", L"XelbrinCoreTest", L"option", 5}})
    {
        wchar_t const* const arguments[] = {L"test", option};
        auto const work = [](int count, wchar_t const* const*) { return count + 3; };
        EXPECT_EQ(XCService::Main({.name = name}, 2, arguments, work), exitCode) << fault;
    }
}

} // namespace
