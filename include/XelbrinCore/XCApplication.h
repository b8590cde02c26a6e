// XCApplication.h - the object that a program builds first, and the host of its plug-in modules.
//
// WHAT     XCApplication owns the parsed command line, the trace level, the log channel "XCApplicationChannel", the
//          configuration file, the temporary directory and the redirection of the console.
//          XCApplicationWithPlugIns finds, loads, orders, runs and unloads plug-in modules (XCPlugIn.h).
// ORDER    Construction: command line, trace level, log channel and console subscriber, registration as the last
//          application, configuration file, directories, redirection. Destruction: plug-ins in reverse order of
//          loading, log subscribers, and the application registered before is the last one again, in whatever order
//          applications end.
// OPTIONS  Begin with "/" or "-", have their value after ":", and are matched without regard to case:
//          config, trace, consoletofile, noconsole, osxpath, help, ?.
// MESSAGES Go to the application channel at level 1; trace level 0 silences the console.
// EXIT     A console signal (Ctrl-C, Ctrl-Break, close) or PostExitRequest sets the process's quit flag; the running
//          host then calls RequestExit(false), once.
// THREADS  Build and destroy applications on one thread; RequestExit, PostExitRequest, GetApp and the readers may be
//          called from any.
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

/// Redirects the standard output and error of the process to a file and back.
class XC_API XCConsoleInfo {
public:
    XCConsoleInfo();
    /// Restores what was redirected.
    ~XCConsoleInfo();
    XCConsoleInfo(XCConsoleInfo const&) = delete;
    XCConsoleInfo& operator=(XCConsoleInfo const&) = delete;

    /// Sends standard output and error of the process to the end of a file, which is created when missing.
    /// Bad, and nothing changed, when it cannot be opened.
    XCErrorID Open(XCString const& fileName);
    /// Restores both; nothing when nothing is redirected.
    void Close();
    /// Whether output is redirected.
    [[nodiscard]] bool IsOpen() const noexcept { return m_state != nullptr; }
    /// Writes to what was the console before the redirection.
    void WriteToConsole(std::wstring_view text) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// A program (see the head of this file).
class XC_API XCApplication {
public:
    /// @param subscriber    receives the application channel; null: a console subscriber, unless "noconsole" is given.
    /// @param handleSignals whether console signals set the quit flag of the process.
    XCApplication(int argumentCount, wchar_t const* const* arguments,
                  XCSmartPtr<XCLogSubscriberI> const& subscriber = {}, bool handleSignals = true);
    /// From one command line, program name first.
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
    /// The program is to end. Sets the quit flag.
    virtual void RequestExit(bool immediately);
    /// Whether this program hosts plug-ins: false here.
    virtual bool IsAppWithPlugIn() const;

    /// The last registered application; null when there is none.
    static XCApplication* GetApp();

    /// The arguments of the process, parsed at construction. Lives as long as the application.
    [[nodiscard]] XCCommandLine const& GetCmdLine() const noexcept { return m_cmdLine; }
    /// Null when no file was found.
    [[nodiscard]] XCSmartPtr<XCConfigFile> GetConfigFile() const { return m_configFile; }
    /// Why the configuration file could not be read; empty when it could, or there is none.
    [[nodiscard]] XCString const& GetConfigFailure() const noexcept { return m_configFailure; }
    /// The folder for temporary files, chosen at construction.
    [[nodiscard]] XCString const& GetTmpDirectory() const noexcept { return m_tmpDirectory; }
    /// 0 silent, 1 normal, 2 maximum.
    [[nodiscard]] unsigned int GetTraceLevel() const noexcept { return m_traceLevel; }
    /// 0 silent, 1 normal, 2 maximum; the console then shows the application channel up to this level.
    void SetTraceLevel(unsigned int level);
    /// The program's name. @param withPath with its folder.   @param withExtension with its extension.
    [[nodiscard]] XCString GetAppName(bool withPath, bool withExtension) const;
    /// The folder of the program, without a separator at the end.
    [[nodiscard]] XCString GetAppPath() const;
    /// Appends a directory to the search path of the process. @return false when it is empty or the system refuses.
    static bool AddToPath(wchar_t const* directory);
    /// The log manager of the process.
    static XCLogManager& GetLogManager();
    /// The stream of the application channel.
    [[nodiscard]] std::wostream& GetCout() const;
    /// The same, for messages of the given trace level.
    static std::wostream& GetAppCout(int level);

    /// Sends the console to a file. @param keepConsole go on showing it as well.   Bad when it cannot be opened.
    XCErrorID StartLoggingToFile(XCString const& fileName, bool keepConsole);
    /// To the application's name with ".log", in the current directory.
    XCErrorID StartLoggingToFile(bool keepConsole);
    /// Adds a receiver of the application channel; it is taken off at the end of the application.
    void AddLogSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber);
    /// Adds descriptions that the usage screen shows after the own ones.
    void AddCustomUsageInfo(XCUsageInfo const& usage);
    /// Sets the quit flag; a running host sees it at its next look. Any thread, also a signal handler.
    static void PostExitRequest() noexcept;
    /// Whether the quit flag of the process is set.
    [[nodiscard]] static bool IsExitRequested() noexcept;
    /// Takes a request back, for a program that goes on.
    static void ClearExitRequest() noexcept;

protected:
    /// Prints a line of the fixed messages to the application console (level 1).
    static void Print(std::wstring_view text);

private:
    struct Members;

    void Construct(XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals);
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
    unsigned int m_traceLevel = 1;
    XCLogChannel* m_channel = nullptr;
    std::vector<XCUsageInfo> m_customUsage;
    XCApplication* m_previous = nullptr;
    std::unique_ptr<Members> m_members;
};

/// A program made of plug-in modules.
///
/// A failure of one module is printed with its name, and the others go on: calls into modules are sealed, and errors
/// that come from a module are handed on as texts, so that nothing of a module outlives its code.
class XC_API XCApplicationWithPlugIns : public XCApplication {
public:
    /// The function that a module exports.
    static constexpr wchar_t const* kEntryName = L"GetPlugInObject";
    /// The extension of modules.
    static constexpr wchar_t const* kExtension = L".osx";

    /// As XCApplication. @param module handle of the module that hosts; null is the program.
    XCApplicationWithPlugIns(int argumentCount, wchar_t const* const* arguments,
                             XCSmartPtr<XCLogSubscriberI> const& subscriber = {}, bool handleSignals = true,
                             void* module = nullptr);
    /// As XCApplication, from one command line.
    explicit XCApplicationWithPlugIns(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber = {},
                                      bool handleSignals = true, void* module = nullptr);
    /// Unloads in reverse order of loading.
    ~XCApplicationWithPlugIns() override;

    XCUsageInfo GetUsageInfo() const override;
    /// Prints ">>>> Quit signal received. ..." and asks every plug-in.
    void RequestExit(bool immediately) override;
    bool IsAppWithPlugIn() const override;

    // Virtual slots, in this order.
    /// Adds a plug-in that is part of the program.
    virtual XCErrorID LoadPlugIn(XCSmartPtr<XCPlugIn> plugIn);
    /// Loads a module and adds its plug-in. @param path relative paths start at the current directory.
    virtual XCErrorID LoadPlugIn(XCString const& path, XCString const& entryName);
    /// Runs all plug-ins that are ready and waits for the threaded ones.
    /// @return the exit code: what SetExitCode was given last, else 0, or 2 when a Run has failed.
    virtual int Run();

protected:
    /// Checks, initialises and keeps a plug-in. @param quiet do not print the lines of success.
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
    /// Loads every module of a directory, or of a list file (a path that ends in an existing file). A list file names
    /// one module a line, relative to its folder and never outside it; blank lines and lines that start with ";" are
    /// skipped. Modules found before what they depend on are tried again after the others.
    /// @return Bad when nothing could be loaded.
    XCErrorID LoadPlugInsFromDirectory(XCString const& directory, XCString const& extension = kExtension,
                                       XCString const& entryName = kEntryName, bool recursive = false);
    /// The loaded plug-ins, each after those it depends on; otherwise in the order of loading.
    void GetPlugInHier(XCSmartPtrVector<XCPlugIn>& list) const;
    /// Null when no plug-in of this identity is loaded.
    [[nodiscard]] XCSmartPtr<XCPlugIn> FindPlugIn(XCGuid const& guid) const;
    /// In the order of loading.
    [[nodiscard]] XCSmartPtrVector<XCPlugIn> GetLoadedPlugIns() const;

    /// Whether Run shows the main menu at its end.
    void SetIsRunWithMenu(bool runWithMenu) noexcept { m_runWithMenu = runWithMenu; }
    /// What SetIsRunWithMenu was given last; false at first.
    [[nodiscard]] bool IsRunWithMenu() const noexcept { return m_runWithMenu; }
    /// The menu that Run shows at the end when IsRunWithMenu.
    [[nodiscard]] XCUnitTest& GetMainMenu() noexcept { return *m_mainMenu; }
    /// Sets the exit code of Run. Any thread.
    void SetExitCode(int code) const noexcept { m_exitCode.store(code); }

private:
    struct Host;
    struct Loaded;

    XCErrorID LoadModule(std::wstring const& path, XCString const& entryName, Loaded& loaded);
    XCErrorID LoadModules(std::vector<std::wstring> const& paths, XCString const& entryName);
    XCErrorID AddLoaded(Loaded& loaded);
    void AddChildren(XCPlugIn& plugIn, bool quiet);
    void UnloadLast();
    void RunOne(XCPlugIn& plugIn);
    void RunHere(XCRunPlugIn& plugIn, XCString const& name);
    void StartThread(XCThreadedRunPlugIn& plugIn, XCString const& name);
    void RunInThread(XCThreadedRunPlugIn& plugIn, XCString const& name);
    void WaitForEnd(XCPlugIn& plugIn);

    std::unique_ptr<Host> m_host;
    std::unique_ptr<XCUnitTest> m_mainMenu;
    bool m_runWithMenu = false;
    mutable std::atomic<int> m_exitCode;
};
