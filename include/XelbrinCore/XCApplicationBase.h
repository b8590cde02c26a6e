// XCApplicationBase.h - the object that a program builds first.
//
// WHAT     XCApplication owns the parsed command line, the trace level, the log channel "XCApplicationChannel", the
//          configuration file, the temporary directory and the redirection of the console.
// ORDER    Construction: command line, trace level, log channel and subscriber, registration as the last application,
//          configuration file, registry values, directories, redirection. Destruction: log subscribers, redirection;
//          the application registered before is the last one again, in whatever order applications end.
// OPTIONS  Begin with "/" or "-", have their value after ":", and are matched without regard to case:
//          config, trace, consoletofile, noconsole, help, ?.
// MESSAGES Go to the application channel at level 1; trace level 0 silences the console. Errors begin "ERR> ***", stand
//          on one line, and have control characters written out: no text from a file or a module can forge a line.
// FAILURES A file or directory that is missing or broken is printed and the program goes on: construction throws only
//          when memory or objects of the system run out, and leaves nothing behind.
// EXIT     A console signal (Ctrl-C, Ctrl-Break, close), log-off, shutdown or PostExitRequest sets the process's quit
//          flag. Where the system kills the process after it, the logs are written out before, and the exit code is 124.
// THREADS  Build, use and destroy applications on one thread; RequestExit, PostExitRequest, GetApp, the streams and the
//          readers may be called from any while the application lives.
// COST     Construction and end: a few hundred microseconds, most of it for the system's answers (files, registry).
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCConsoleInfo.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

class XCApplication;

/// The value of an environment variable; nothing when it is not defined.
XC_API std::optional<XCString> XCGetEnv(XCString const& name);

/// The application built last, and the section that guards the registration.
extern XC_API XCApplication* glbLastAppP_;
extern XC_API XCCriticalSection glbLastAppPCS_;

/// A program (see the head of this file).
class XC_API XCApplication {
public:
    /// @param arguments     stays the caller's and must live as long as the application; entry 0 is the program name.
    /// @param subscriber    receives the application channel; null: a console subscriber, unless "noconsole" is given.
    /// @param handleSignals whether console signals and the end of the session set the quit flag of the process.
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
    /// The options of the command line that nobody describes, in their order, as they were typed: neither GetUsageInfo
    /// nor AddCustomUsageInfo, which a host calls for each plug-in; "?" and "help" are known. A program asks when its
    /// plug-ins are loaded, and refuses what would otherwise count for nothing.
    [[nodiscard]] std::vector<XCString> GetUnknownOptions() const;
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

    /// Prints a line of the fixed messages to the application console (level 1), as it stands.
    static void Print(std::wstring_view text);
    /// Prints an error on one line: the mark of errors, the text with control characters written out, a line end.
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
