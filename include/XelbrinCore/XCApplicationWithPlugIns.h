// XCApplicationWithPlugIns.h - the host of plug-in modules.
//
// WHAT     An application that finds, loads, orders, runs and unloads plug-in modules (XCPlugIn.h). A whole host:
//
//              int wmain(int argc, wchar_t** argv)
//              {
//                  XCApplicationWithPlugIns host(argc, argv);
//                  return host.DisplayUsageIfNecessary() ? 0 : host.LoadAndRun();
//              }
//
// ORDER    As XCApplication. Destruction begins with the plug-ins in reverse order of loading, then their modules.
// OPTIONS  Those of XCApplication, osxpath, stopDeadline, quarantine, quarantineList, quarantineClear, probe.
// FAILURES A module that is missing or broken is printed and the others go on. Loading returns an XCErrorID with a text.
//          Plug-ins that depend on one another in a cycle are refused, and named as a cycle, once.
// TOLD     At trace level 2 each call into a module is told before it begins: `CALL> Init of <Reader> (PATH)`. The calls
//          that are under way are part of each record of the error log.
// MEMORY   A plug-in whose adding runs out of memory is refused as any other ("out of memory"). LoadAndRun and Run may
//          throw std::bad_alloc before they start the first plug-in, or for the main menu when all have ended, never
//          while one runs: from the first start to the last end, and while a host ends, only messages are dropped. What
//          was loaded stays until the host ends.
// MODULES  A module is freed when all plug-ins have gone. One that something can still reach stays loaded until the
//          process ends, and is named: a plug-in that still runs or that somebody holds, what such a one depends on, a
//          log subscriber or a thread that a module has left behind, however that thread was started. Errors that the
//          host hands out are texts of its own and outlive every module.
// EXIT     When the process's quit flag is set the running host calls RequestExit(false), once. From then on no plug-in
//          is started. With a deadline (SetStopDeadline) the host ends whatever its modules do.
// THREADS  As XCApplication; FindPlugIn and GetLoadedPlugIns may be called from any.
// COST     A module costs its loading by the system, a threaded plug-in one thread; the host's own work grows with the
//          count of plug-ins and their dependencies.
#pragma once

#include <XelbrinCore/XCApplicationBase.h>
#include <XelbrinCore/XCGuid.h>
#include <XelbrinCore/XCModuleSafety.h>
#include <XelbrinCore/XCPlugIn.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

class XCThreadPool;
class XCUnitTest;

namespace xc::host {
struct PlugInRef;
}

/// A program made of plug-in modules.
///
/// A failure of one module is printed with its name, and the others go on: calls into modules are sealed, and errors
/// that come from a module are handed on as texts with their code, so that nothing of a module outlives its code. A fault
/// of the processor in a module (an access violation) is no exception of the language and ends the process; the trace
/// level 2 shows which call it was.
class XC_API XCApplicationWithPlugIns : public XCApplication {
public:
    /// The function that a module exports.
    static constexpr wchar_t const* kEntryName = L"GetPlugInObject";
    /// The extension of modules.
    static constexpr wchar_t const* kExtension = L".osx";

    /// As XCApplication. @param module handle (HMODULE) of the DLL that hosts, when that is not the program: its file
    /// stands for the program's, for the default configuration file, the error log's name and GetAppPath. Null: the
    /// program.
    XCApplicationWithPlugIns(int argumentCount, wchar_t const* const* arguments,
                             XCSmartPtr<XCLogSubscriberI> const& subscriber = {}, bool handleSignals = true,
                             void* module = nullptr);
    /// As XCApplication, from one command line.
    explicit XCApplicationWithPlugIns(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber = {},
                                      bool handleSignals = true, void* module = nullptr);
    /// Unloads in reverse order of loading. A plug-in that is still running stays, with all it depends on; it must not
    /// use the host any more.
    ~XCApplicationWithPlugIns() override;

    XCUsageInfo GetUsageInfo() const override;
    /// Prints ">>>> Quit signal received. ..." and asks every plug-in, in the order of loading. Unless `immediately`, the
    /// call waits for threaded plug-ins, for each no longer than GetExitPatience(). Any thread.
    void RequestExit(bool immediately) override;
    bool IsAppWithPlugIn() const override;

    // Virtual slots, in this order.
    /// Adds a plug-in that is part of the program: checks, children of a container, Init. The host holds a reference
    /// until it ends. Bad, and printed, when it is refused.
    virtual XCErrorID LoadPlugIn(XCSmartPtr<XCPlugIn> plugIn);
    /// Loads a module and adds its plug-in. What the module links to is looked for in its own folder first.
    /// @param path relative paths start at the current directory; of any length.
    /// Bad, and printed, when one of it fails; the module is free again then.
    virtual XCErrorID LoadPlugIn(XCString const& path, XCString const& entryName);
    /// Runs all plug-ins that are ready, those on the host's thread one after the other, waits for the threaded ones, and
    /// shows the main menu if it is to (IsRunWithMenu), also after a request to exit.
    /// @return the exit code: what SetExitCode was given last, else 0, or 2 when a Run has failed or its
    /// thread could not be started.
    virtual int Run();

protected:
    /// Checks, initialises and keeps a plug-in; its options join the usage screen. A container's children come first;
    /// they go again when it fails. @param quiet do not print the lines of success.
    virtual XCErrorID AddPlugIn(XCSmartPtr<XCPlugIn> plugIn, bool quiet);
    /// Whether everything that the plug-in depends on is loaded. @param quiet do not print what is missing.
    virtual XCErrorID CheckDependents(XCPlugIn const& plugIn, bool quiet);
    /// The modules of a directory: those of its list file, else every file with the extension.
    /// @param recursive look into sub-directories too.
    virtual XCErrorID GetDLLPlugInsFromDirectory(XCString const& directory, XCString const& extension,
                                                 XCString const& entryName, bool recursive);

public:
    /// The last registered application, when it hosts plug-ins; else null.
    static XCApplicationWithPlugIns* GetApp();

    /// The main job of a host: loads from "osxpath" (all occurrences, in order), else from ".", and runs.
    /// @return 1 when nothing could be loaded, otherwise what Run returns.
    int LoadAndRun();
    /// Loads every module of a directory, in the order of their names, or those of a list file: "osx.lst" of the
    /// directory, or the file that the path names. A list file names one module a line, relative to its folder and never
    /// outside it; blank lines and lines that start with ";" are skipped. Modules found before what they depend on are
    /// tried again after the others.
    /// @param extension matched without regard to case.   @param recursive look into sub-directories too.
    /// @return Bad when nothing could be loaded.
    XCErrorID LoadPlugInsFromDirectory(XCString const& directory, XCString const& extension = kExtension,
                                       XCString const& entryName = kEntryName, bool recursive = false);
    /// The loaded plug-ins, each after those it depends on; otherwise in the order of loading.
    void GetPlugInHier(XCSmartPtrVector<XCPlugIn>& list) const;
    /// Null when no plug-in of this identity is loaded. A pointer that is kept must be released before the host ends, or
    /// the plug-in's module stays loaded. Any thread.
    [[nodiscard]] XCSmartPtr<XCPlugIn> FindPlugIn(XCGuid const& guid) const;
    /// In the order of loading. Any thread.
    [[nodiscard]] XCSmartPtrVector<XCPlugIn> GetLoadedPlugIns() const;

    /// The host's pool, for short jobs of plug-ins: one thread a processor, made at the first call. Any thread.
    ///
    /// The host stops it before the first plug-in is unloaded: jobs that have not begun are cancelled, and those that run
    /// (XCTask::IsCancelAsked tells them) have GetExitPatience() to end. After that they are named, and every plug-in
    /// stays loaded, since the code may be anybody's.
    ///
    ///     XCApplicationWithPlugIns::GetApp()->GetJobPool().Submit([this] { Index(); });
    [[nodiscard]] XCThreadPool& GetJobPool() const;

    /// Whether Run shows the main menu at its end.
    void SetIsRunWithMenu(bool runWithMenu) noexcept { m_runWithMenu = runWithMenu; }
    /// What SetIsRunWithMenu was given last; false at first.
    [[nodiscard]] bool IsRunWithMenu() const noexcept { return m_runWithMenu; }
    /// The menu that Run shows at the end when IsRunWithMenu.
    [[nodiscard]] XCUnitTest& GetMainMenu() noexcept { return *m_mainMenu; }
    /// Sets the exit code of Run. A plug-in, which is given a host that it may not change, says
    /// `XCApplicationWithPlugIns::GetApp()->SetExitCode(3)`. Any thread.
    void SetExitCode(int code) noexcept { m_exitCode->store(code); }

    /// How long a threaded plug-in may go on after it was asked to exit, in milliseconds, before Run names it and no
    /// longer waits for it. XCInfinite waits without limit. For the plug-ins started after the call.
    void SetExitPatience(unsigned int milliseconds) noexcept;
    /// XCThreadedRunPlugIn::kExitPatienceMs, unless it was set.
    [[nodiscard]] unsigned int GetExitPatience() const noexcept;

    /// How long a call into a module may go on after the request to exit, and the end of the host after it began, in
    /// milliseconds. After that each late plug-in is named with its age and its call stack, in log and error log, and the
    /// host goes on without it; Run returns kExitLate. When the host's own thread never comes back from the plug-in,
    /// another one unloads the rest, the log is written out, and the process ends with kExitLate. In every case within
    /// three deadlines and 10 seconds. Starts three threads; while there is none of a deadline nothing is limited. Also by
    /// the option "stopDeadline". On the host's thread, before modules are loaded.
    /// @param milliseconds XCInfinite: no deadline, only reports on request (AskForReport).
    void SetStopDeadline(unsigned int milliseconds);
    /// XCInfinite when there is none.
    [[nodiscard]] unsigned int GetStopDeadline() const noexcept;
    /// The exit code of a host that has ended without somebody.
    static constexpr int kExitLate = 124;
    /// Asks the host of a process of this session for the call stacks of all its threads, in its log and error log.
    /// @param process 0: this one.   @return Bad when there is no such host: SetStopDeadline makes one.
    static XCErrorID AskForReport(unsigned long process);

    /// Keeps a journal of the calls into modules, and skips modules that have brought earlier runs down. After a run that
    /// ended by a fault the next start names the module that the fault was in (confirmed), or those that it may have been
    /// of (suspected). A module that was confirmed once, or suspected in three runs in a row, is not loaded until it is
    /// released (ClearQuarantine) or its file changes. A run that was killed, lost its power or was stopped in a debugger
    /// is told and counts nothing, and a run that ends well takes suspicions back. Off unless it is asked for, here or by
    /// the option "quarantine", since it decides which modules run. Several programs may share a file. One host of a
    /// process. Before modules are loaded, on the host's thread. Cost: two short writes to a file for each call.
    /// @param file of the verdicts; null: NAME-QUARANTINE.TXT in the temporary directory. Journals of runs stand beside it.
    /// @return Bad, and printed, when no journal can be kept: what the file holds against modules counts all the same.
    XCErrorID SetQuarantine(XCString const& file = {});
    /// What is held against modules, skipped or not; empty without a quarantine. On the host's thread.
    [[nodiscard]] std::vector<XCModuleVerdict> GetQuarantine() const;
    /// Releases a module, named by its path or its file name, or all of them. On the host's thread. Bad when there is no
    /// such one, or the file cannot be written.
    XCErrorID ClearQuarantine(XCString const& module = {});

    /// Has each module loaded in a child process before it is loaded here: LoadLibrary, the entry point, name, identity and
    /// dependencies of its plug-in, its release and FreeLibrary. One that crashes, hangs, ends the process, throws or takes
    /// too much memory there is refused in one line, and never comes into this process. Init and Run are not tried. The
    /// child is this program with its own command line: the code before the constructor of its first host runs once more,
    /// and the constructor does not return. It finds faults; malice it does not hold back. Off unless it is asked for, here
    /// or by the option "probe", since it costs the start of a process for each module. On the host's thread.
    void SetProbe(XCProbeOptions const& options = {});

    /// Has modules, and everything that they link to, come from given folders alone. A file is refused in one line when it
    /// stands elsewhere, when somebody other than this user, the system and its administrators may change it or exchange
    /// anything on the way to it, when it is reached through a link or another reparse point, or when it links to a library
    /// that is neither there, nor loaded, nor the system's own. None of its code has run by then. What is found by name
    /// later, as by modules themselves, is looked for in these folders and the system's, neither in the current directory,
    /// nor along PATH, nor beside the program: that holds for the whole process from here on, and cannot be taken back. Off
    /// unless the program asks for it. On the host's thread. Cost: some calls of the system for each part of a path and
    /// each library.
    /// @return Bad, and nothing is changed, when the system does not take a folder, as one that is missing.
    XCErrorID SetLoadPolicy(XCLoadPolicy const& policy);

private:
    struct Host;
    struct Waiting;
    class Adder;

    /// What LoadAndRun returns when nothing could be loaded.
    static constexpr int kExitNothingLoaded = 1;

    XCErrorID LoadModule(std::wstring const& path, XCString const& entryName, Waiting& loaded);
    XCErrorID LoadModules(std::vector<std::wstring> const& paths, XCString const& entryName);
    XCErrorID AddLoaded(Waiting& loaded) noexcept;
    void Refuse(Waiting& loaded) noexcept;
    bool LoadAsAsked();
    void SetStopDeadlineAsAsked();
    void SetQuarantineAsAsked();
    void SetProbeAsAsked();
    bool ShowQuarantineIfAsked() const;
    XCErrorID CheckAllowed(std::wstring const& path, XCString const& shown, XCString const& entryName);
    void EndPlugIns() noexcept;
    XCErrorID CheckPresent(xc::host::PlugInRef const& ref) const;
    void TakeUsage(xc::host::PlugInRef const& ref);
    XCErrorID Initialise(xc::host::PlugInRef const& ref, bool quiet);
    XCErrorID AddChildren(xc::host::PlugInRef const& ref, bool quiet);

    std::unique_ptr<Host> m_host;
    std::unique_ptr<XCUnitTest> m_mainMenu;
    bool m_runWithMenu = false;
    std::shared_ptr<std::atomic<int>> m_exitCode; ///< shared with the threads, of which some may outlive the host
};
