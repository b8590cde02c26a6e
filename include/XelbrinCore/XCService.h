// XCService.h - a program that also runs as a Windows service.
//
// WHAT     XCService::Main takes the place of the body of main: the same work runs at the console, and under the service
//          manager when the program was started by it. Two options enter the service and take it out:
//
//              int Work(int argc, wchar_t const* const* argv)
//              {
//                  XCApplicationWithPlugIns host(argc, argv);
//                  return host.DisplayUsageIfNecessary() ? 0 : host.LoadAndRun();
//              }
//              int wmain(int argc, wchar_t** argv)
//              {
//                  return XCService::Main({.name = L"recordhost"}, argc, argv, Work);
//              }
//
// OPTIONS  installService enters it, with the other options of that command line for its starts; removeService stops it
//          and takes it out; service is what the manager starts it with. The work sees none of the three.
// STATES   Starting until the work begins (or until SetRunning, see tellsRunning), running, stopping from the manager's
//          stop, shutdown or pre-shutdown on, which set the quit flag of the process; stopped when the work has returned.
//          Its result is the exit code: one other than 0 is a failure for the manager.
// FOLDER   A service begins in the folder of its program, where a path without a folder is looked for.
// COST     Nothing at the console. As a service one thread more, and a report a second while it starts or stops.
// ERRORS   Install and Remove: XCErrServiceRights, XCErrServiceExists, XCErrServiceMissing and others. An exception that
//          leaves the work is written to the error log; the exit code is then kExitException.
// THREADS  Main on the first thread; as a service the work runs on another one. SetRunning and IsService on any.
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <functional>
#include <vector>

/// What the manager keeps of a service, and how long the service may take.
struct XCServiceSettings {
    /// When it is started.
    enum class Start {
        WithMachine,        ///< when the machine starts
        WithMachineDelayed, ///< some minutes after it
        OnDemand,           ///< when somebody asks for it
        Never               ///< it cannot be started
    };

    XCString name;                           ///< 1 to 256 characters, without slash and backslash
    XCString displayName = {};               ///< empty: the name
    XCString description = {};               ///< a sentence for administrators
    Start start = Start::WithMachine;        ///< when it is started
    XCString account = {};                   ///< such as L"NT AUTHORITY\\LocalService"; empty: the system's own
    XCString password = {};                  ///< of the account, where it has one
    std::vector<XCString> dependencies = {}; ///< names of services that run before it
    unsigned int startMs = 60000;            ///< after this time a start counts as hanging
    unsigned int stopMs = 30000;     ///< after this time a service that does not stop is ended, as is its process
    unsigned int restartAfterMs = 0; ///< started again this long after a failure; 0: not
    bool tellsRunning = false;       ///< the work calls SetRunning when it is ready, as a host does in Run
};

/// A program as a service (see the head of this file).
class XC_API XCService {
public:
    XCService() = delete;

    /// What the program does, with the arguments of main. As a service those of its entry, then those of its start.
    using Work = std::function<int(int argumentCount, wchar_t const* const* arguments)>;

    /// The exit code after an exception.
    static constexpr int kExitException = 3;
    /// The exit code of a service that has not stopped in time.
    static constexpr int kExitLate = 124;

    /// Does what the options ask for. @return the result of the work; 0 after an installation or removal that went
    /// well, else 1, as when the service was not started by its manager. What went wrong is on the standard error.
    static int Main(XCServiceSettings const& settings, int argumentCount, wchar_t const* const* arguments,
                    Work const& work);

    /// Enters this program. @param options of its starts, each one argument.
    static XCErrorID Install(XCServiceSettings const& settings, std::vector<XCString> const& options = {});
    /// Stops a service, waits until its process has ended, and takes it out: the file of the program can be replaced
    /// then, and the service installed again. @param patienceMs for its end; one that goes on stays. Where somebody else
    /// has the service open, its name stays taken until he closes it.
    static XCErrorID Remove(XCString const& name, unsigned int patienceMs = 30000);
    /// The service is ready. Without effect in a program that is none.
    static void SetRunning() noexcept;
    /// Whether the process is a service.
    [[nodiscard]] static bool IsService() noexcept;
    /// The options, for XCApplication::AddCustomUsageInfo.
    [[nodiscard]] static XCUsageInfo GetUsageInfo();
};
