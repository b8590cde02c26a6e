// XCApplication.h - the object that a program builds first, and the host of its plug-in modules.
//
// WHAT     XCApplication owns the parsed command line, the trace level, the log channel "XCApplicationChannel", the
//          configuration file, the temporary directory and the redirection of the console.
//          XCApplicationWithPlugIns finds, loads, orders, runs and unloads plug-in modules (XCPlugIn.h). A whole host:
//
//              int wmain(int argc, wchar_t** argv)
//              {
//                  XCApplicationWithPlugIns host(argc, argv);
//                  return host.DisplayUsageIfNecessary() ? 0 : host.LoadAndRun();
//              }
//
// ORDER    Construction: command line, trace level, log channel and subscriber, registration as the last application,
//          configuration file, registry values, directories, redirection. Destruction: plug-ins in reverse order of
//          loading, their modules, log subscribers, redirection; the application registered before is the last one
//          again, in whatever order applications end.
// OPTIONS  Begin with "/" or "-", have their value after ":", and are matched without regard to case:
//          config, trace, consoletofile, noconsole, osxpath, help, ?.
// MESSAGES Go to the application channel at level 1; trace level 0 silences the console. Errors begin "ERR> ***".
// FAILURES A file, module or directory that is missing or broken is printed and the program goes on: construction
//          throws only when memory or objects of the system run out, and leaves nothing behind. Loading returns an
//          XCErrorID with a text.
// MEMORY   A plug-in whose adding runs out of memory is refused as any other ("out of memory"). LoadAndRun and Run may
//          throw std::bad_alloc before they start the first plug-in, or for the main menu when all have ended, never
//          while one runs: from the first start to the last end, and while a host ends, what has no memory is done
//          without its message. What was loaded stays until the host ends.
// MODULES  A module is freed when all plug-ins have gone. One that something can still reach stays loaded until the
//          process ends, and is named: a plug-in that still runs or that somebody holds, what such a one depends on, a
//          log subscriber or a thread (XCThread) that a module has left behind. Errors that the host hands out are
//          texts of its own and outlive every module.
// EXIT     A console signal (Ctrl-C, Ctrl-Break, close, shutdown) or PostExitRequest sets the process's quit flag; the
//          running host then calls RequestExit(false), once. From then on no plug-in is started.
// THREADS  Build, use and destroy applications on one thread; RequestExit, PostExitRequest, GetApp, FindPlugIn, the
//          streams and the readers may be called from any while the application lives.
// COST     Construction and end of a plain application: a few hundred microseconds, most of it for the system's answers
//          (files, registry). A module costs its loading by the system, a threaded plug-in one thread.
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class XCApplication;
class XCUnitTest;

/// The value of an environment variable; nothing when it is not defined.
XC_API std::optional<XCString> XCGetEnv(XCString const& name);

/// The application built last, and the section that guards the registration.
extern XC_API XCApplication* glbLastAppP_;
extern XC_API XCCriticalSection glbLastAppPCS_;

/// Redirects the standard output and error of the process to a file and back: what the C and C++ streams write, and what
/// asks the system for the standard handles. One redirection of the process at a time, or several ended in reverse
/// order. Any thread.
class XC_API XCConsoleInfo {
public:
    XCConsoleInfo();
    /// Restores what was redirected.
    ~XCConsoleInfo();
    XCConsoleInfo(XCConsoleInfo const&) = delete;
    XCConsoleInfo& operator=(XCConsoleInfo const&) = delete;

    /// Sends standard output and error of the process to the end of a file, which is created when missing. Others may
    /// read, append to, rename and delete it meanwhile. When something is redirected already, the file takes the
    /// place of the one before.
    /// Bad (XCErrConsoleNotRedirected), and nothing changed, when it cannot be opened.
    XCErrorID Open(XCString const& fileName);
    /// Restores both; nothing when nothing is redirected.
    void Close();
    /// Whether output is redirected.
    [[nodiscard]] bool IsOpen() const;
    /// Writes to what was the standard output before the redirection: Unicode to a console, UTF-8 to anything else.
    /// Nothing when nothing is redirected; a failure is not told.
    void WriteToConsole(std::wstring_view text) const;

private:
    struct State;
    mutable XCCriticalSection m_section; ///< guards the state
    std::unique_ptr<State> m_state;
};

/// A program (see the head of this file).
class XC_API XCApplication {
public:
    /// @param arguments     stays the caller's and must live as long as the application; entry 0 is the program name.
    /// @param subscriber    receives the application channel; null: a console subscriber, unless "noconsole" is given.
    /// @param handleSignals whether console signals set the quit flag of the process.
    XCApplication(int argumentCount, wchar_t const* const* arguments,
                  XCSmartPtr<XCLogSubscriberI> const& subscriber = {}, bool handleSignals = true);
    /// From one command line, program name first: GetCommandLineW() of the system.
    explicit XCApplication(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber = {},
                           bool handleSignals = true);
    XCApplication(XCApplication const&) = delete;
    XCApplication& operator=(XCApplication const&) = delete;

    // Virtual slots, in this order.
    virtual ~XCApplication();
    /// The built-in options.
    virtual XCUsageInfo GetUsageInfo() const;
    /// Prints the usage screen. @param out null: the application console.
    virtual void DisplayUsage(std::wostream* out = nullptr) const;
    /// Prints it when "help" or "?" is given. @return whether it was.
    virtual bool DisplayUsageIfNecessary(std::wostream* out = nullptr) const;
    /// The program is to end. Sets the quit flag. An override calls it. Any thread.
    virtual void RequestExit(bool immediately);
    /// Whether this program hosts plug-ins: false here.
    virtual bool IsAppWithPlugIn() const;

    /// The last registered application; null when there is none. Valid as long as the program keeps it.
    static XCApplication* GetApp();

    /// The arguments of the process, parsed at construction. Lives as long as the application.
    [[nodiscard]] XCCommandLine const& GetCmdLine() const noexcept { return m_cmdLine; }
    /// From "config", else the program's file with the extension "ini" beside the program, else in the current
    /// directory. Null when no file was found or it could not be read.
    [[nodiscard]] XCSmartPtr<XCConfigFile> GetConfigFile() const { return m_configFile; }
    /// Why the configuration file could not be read, with file and line; empty when it could, or when there is none and
    /// "config" did not ask for one. It was printed, too.
    [[nodiscard]] XCString const& GetConfigFailure() const noexcept { return m_configFailure; }
    /// Where the error log goes ("NAME-ERROR.LOG" of the program's file). With the library's registry key the value
    /// "DebugPath" under its key "XCORE", else "."; without the key what TMP, then TMPDIR names, if that is a directory,
    /// else ".". Nobody checks that it can be written to: XCException::LogInErrorFile tells.
    [[nodiscard]] XCString const& GetTmpDirectory() const noexcept { return m_tmpDirectory; }
    /// 0 silent, 1 normal, 2 maximum.
    [[nodiscard]] unsigned int GetTraceLevel() const noexcept { return m_traceLevel.load(); }
    /// Also the level up to which the console shows messages. Any thread.
    void SetTraceLevel(unsigned int level);
    /// The program's name as the command line tells it, "c:\apps\tool.exe": by default "tool". Without one in the
    /// command line, the name of the file.
    /// @param withPath with its folder, if it was given.   @param withExtension with its extension.
    [[nodiscard]] XCString GetAppName(bool withPath = false, bool withExtension = false) const;
    /// The folder of the program's file, without a separator at the end.
    [[nodiscard]] XCString GetAppPath() const;
    /// The registry values "Customer" and "Code" under the library's key (HKEY_LOCAL_MACHINE,
    /// `Software\Harvel\Corvane\XelbrinCore`) as they were at construction; empty when they are not there. They are for
    /// programs that differ from customer to customer: the library itself does nothing by them.
    [[nodiscard]] XCString const& GetCustomer() const noexcept { return m_customer; }
    /// The registry value "Code"; see GetCustomer.
    [[nodiscard]] XCString const& GetCustomerCode() const noexcept { return m_customerCode; }
    /// The identifier of the thread that built the application.
    [[nodiscard]] unsigned long GetMainThreadId() const noexcept { return m_mainThreadId; }
    /// Appends a directory to the search path of the process (PATH), as it is given; one that is there already is not
    /// appended again. @return false when it is empty or the system refuses.
    static bool AddToPath(wchar_t const* directory);
    /// The log manager of the process.
    static XCLogManager& GetLogManager();
    /// The stream of the application channel; what it is given goes out at its flush (std::endl, std::flush).
    [[nodiscard]] std::wostream& GetCout() const;
    /// The same, for messages of the given trace level: they reach the subscribers that want it.
    /// One stream for each level, so that threads at different levels do not meet. Any thread.
    static std::wostream& GetAppCout(int level);

    /// Sends the standard output and error of the process to the end of a file, until the application ends or another
    /// file is given; what goes to the application channel is there, too, whatever subscriber the application has.
    /// @param keepConsole what goes to the application channel is shown on the console as well.
    /// Bad, and nothing changed, when the file cannot be opened.
    XCErrorID StartLoggingToFile(XCString const& fileName, bool keepConsole);
    /// To the application's name with ".log", in the current directory.
    XCErrorID StartLoggingToFile(bool keepConsole);
    /// Attaches a subscriber to the application channel until this application ends. One that an application has
    /// attached already is served once, and stays until the last of these applications ends.
    void AddLogSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber);
    /// Detaches one that AddLogSubscriber or the constructor has attached. @return false when there is no such one.
    bool RemoveLogSubscriber(XCLogSubscriberI const* subscriber);
    /// Adds descriptions that the usage screen shows after the own ones, in the order added. Copied.
    void AddCustomUsageInfo(XCUsageInfo const& usage);
    /// Sets the quit flag; a running host sees it at its next look. Any thread, also a signal handler.
    static void PostExitRequest() noexcept;
    /// Whether the quit flag of the process is set.
    [[nodiscard]] static bool IsExitRequested() noexcept;
    /// Takes a request back, for a program that goes on.
    static void ClearExitRequest() noexcept;

protected:
    /// @param module a loaded module whose file stands for the program's: for the default configuration file, the error
    ///               log's name, GetAppPath and, where the command line has none, GetAppName. Null: the program.
    XCApplication(int argumentCount, wchar_t const* const* arguments, XCSmartPtr<XCLogSubscriberI> const& subscriber,
                  bool handleSignals, void* module);
    /// The same from one command line.
    XCApplication(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals,
                  void* module);

    /// Prints a line of the fixed messages to the application console (level 1).
    static void Print(std::wstring_view text);
    /// The same with the mark of errors before and a line end behind.
    static void PrintError(XCString const& text);

private:
    struct Members;

    void Construct(XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals);
    void Detach() noexcept;
    [[nodiscard]] bool IsAttachedByAnother(XCLogSubscriberI const* subscriber) const noexcept;
    void AddConsoleSubscriber();
    void KeepConsole(bool keep);
    void SetUpLog(XCSmartPtr<XCLogSubscriberI> const& subscriber);
    void Register();
    void Unregister() noexcept;
    void FindConfigFile();
    void ChooseDirectories();
    void StartLoggingAsAsked();

    XCString m_tmpDirectory;
    XCCommandLine m_cmdLine;
    XCSmartPtr<XCConfigFile> m_configFile;
    XCString m_configFailure;
    std::atomic<unsigned int> m_traceLevel = 1;
    XCString m_customer;
    XCString m_customerCode;
    unsigned long m_mainThreadId = 0;
    XCLogChannel* m_channel = nullptr;
    std::vector<XCUsageInfo> m_customUsage;
    XCApplication* m_previous = nullptr;
    std::unique_ptr<Members> m_members;
};

/// A program made of plug-in modules.
///
/// A failure of one module is printed with its name, and the others go on: calls into modules are sealed, and errors
/// that come from a module are handed on as texts with their code, so that nothing of a module outlives its code. A fault
/// of the processor in a module (an access violation) is no exception of the language and ends the process.
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
    /// Null when no plug-in of this identity is loaded. Who keeps the pointer lets go of it before the host ends, or the
    /// plug-in's module stays loaded. Any thread.
    [[nodiscard]] XCSmartPtr<XCPlugIn> FindPlugIn(XCGuid const& guid) const;
    /// In the order of loading. Any thread.
    [[nodiscard]] XCSmartPtrVector<XCPlugIn> GetLoadedPlugIns() const;

    /// Whether Run shows the main menu at its end.
    void SetIsRunWithMenu(bool runWithMenu) noexcept { m_runWithMenu = runWithMenu; }
    /// What SetIsRunWithMenu was given last; false at first.
    [[nodiscard]] bool IsRunWithMenu() const noexcept { return m_runWithMenu; }
    /// The menu that Run shows at the end when IsRunWithMenu.
    [[nodiscard]] XCUnitTest& GetMainMenu() noexcept { return *m_mainMenu; }
    /// Sets the exit code of Run. Any thread.
    void SetExitCode(int code) const noexcept { m_exitCode->store(code); }

    /// How long a threaded plug-in may go on after it was asked to exit, in milliseconds, before Run names it and no
    /// longer waits for it. XCInfinite waits without limit. For the plug-ins started after the call.
    void SetExitPatience(unsigned int milliseconds) noexcept;
    /// XCThreadedRunPlugIn::kExitPatienceMs, unless it was set.
    [[nodiscard]] unsigned int GetExitPatience() const noexcept;

private:
    struct Host;
    struct Loaded;

    XCErrorID LoadModule(std::wstring const& path, XCString const& entryName, Loaded& loaded);
    XCErrorID LoadModules(std::vector<std::wstring> const& paths, XCString const& entryName);
    XCErrorID AddLoaded(Loaded& loaded) noexcept;
    static XCString DirectoryOfModules(XCString const& path);
    XCErrorID Initialise(XCPlugIn& plugIn, XCString const& name, XCGuid const& guid, bool quiet);
    XCErrorID AddChildren(XCPlugIn& plugIn, XCGuid const& guid, bool quiet);
    void ForgetExitRequest(XCSmartPtrVector<XCPlugIn> const& list);
    void RunOne(XCPlugIn& plugIn);
    static void RunHere(XCRunPlugIn& plugIn, XCString const& name, std::atomic<int>& exitCode) noexcept;
    static void NoteFailedRun(XCString const& name, XCErrorID const& failure, std::atomic<int>& exitCode) noexcept;
    void StartThread(XCThreadedRunPlugIn& plugIn, XCString const& name);
    void WaitForEnd(XCPlugIn& plugIn);

    std::unique_ptr<Host> m_host;
    std::unique_ptr<XCUnitTest> m_mainMenu;
    bool m_runWithMenu = false;
    std::shared_ptr<std::atomic<int>> m_exitCode; ///< shared with the threads, of which some may outlive the host
};
