// An application: command line, log, configuration and directories, in the order in which each needs the one before it.
//
// The trace level comes first, since it filters what the later steps tell. The log follows, so that the configuration
// file can be complained about; the configuration comes before the directories and the console file. A step that throws
// takes the application out of the process again, because the destructor of an unfinished object does not run.
//
// Applications form a chain from the last to the first, linked through the objects and guarded by glbLastAppPCS_:
// plug-ins may host applications of their own, and these may end in any order. Each application remembers the
// subscribers that it has attached. One that two applications share is attached once and stays until the last of the
// two has gone. Invariants: glbLastAppP_ is the application that was constructed last among those alive; no foreign
// code runs under the section.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCException.h>

#include "app/commandline/UsageText.h"
#include "app/host/HostLines.h"
#include "app/host/QuitSignal.h"
#include "errors/ErrorLog.h"
#include "log/ApplicationTraceLevel.h"
#include "win32/Process.h"
#include "win32/Registry.h"

#include <algorithm>
#include <ostream>

constinit XCApplication* glbLastAppP_ = nullptr;
XCCriticalSection glbLastAppPCS_;

namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\Harvel\\Corvane\\XelbrinCore";
constexpr wchar_t kDebugKey[] = L"Software\\Harvel\\Corvane\\XelbrinCore\\XCORE";

using SectionGuard = XCLockGuard<XCCriticalSection>;

std::size_t FileNameStart(std::wstring_view path) noexcept
{
    std::size_t const separator = path.find_last_of(L"\\/");
    return separator == std::wstring_view::npos ? 0 : separator + 1;
}

/// Where the extension begins, its point included; the end when there is none.
// Points in the names of folders do not count.
std::size_t ExtensionStart(std::wstring_view path) noexcept
{
    std::size_t const point = path.find_last_of(L'.');
    return point == std::wstring_view::npos || point < FileNameStart(path) ? path.size() : point;
}

/// Shows on the console what a redirection has taken away from it.
class KeptConsole final : public XCLogSubscriberI {
public:
    explicit KeptConsole(XCConsoleInfo const& console) noexcept : m_console(console) {}
    void OnFlush(int level, XCString const& text) override
    {
        if (IsInterested(level)) m_console.WriteToConsole(text);
    }

private:
    XCConsoleInfo const& m_console;
};

} // namespace

std::optional<XCString> XCGetEnv(XCString const& name)
{
    std::optional<std::wstring> const value = xc::win32::ReadEnvironment(name.AsWChar());
    if (!value) return std::nullopt;
    return XCString(*value);
}

struct XCApplication::Members {
    explicit Members(void* module_) : module(module_) {}
    /// The file that stands for the program's.
    [[nodiscard]] std::wstring ModulePath() const { return xc::win32::ModulePath(module); }

    void* module;
    std::optional<xc::host::QuitOnConsoleSignal> signals;
    XCConsoleInfo console;
    XCSmartPtr<XCLogSubscriberI> consoleSubscriber;        ///< null when there is none
    XCSmartPtr<XCLogSubscriberI> keptConsole;              ///< null unless a redirection keeps the console
    std::vector<XCSmartPtr<XCLogSubscriberI>> subscribers; ///< attached by this application; guarded by glbLastAppPCS_
};

// Construction --------------------------------------------------------------------------------------------------

XCApplication::XCApplication(int argumentCount, wchar_t const* const* arguments,
                             XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals)
    : XCApplication(argumentCount, arguments, subscriber, handleSignals, nullptr)
{
}

XCApplication::XCApplication(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber,
                             bool handleSignals)
    : XCApplication(commandLine, subscriber, handleSignals, nullptr)
{
}

XCApplication::XCApplication(int argumentCount, wchar_t const* const* arguments,
                             XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals, void* module)
    : m_cmdLine(argumentCount < 0 ? 0 : static_cast<std::size_t>(argumentCount), arguments),
      m_members(std::make_unique<Members>(module))
{
    Construct(subscriber, handleSignals);
}

XCApplication::XCApplication(XCString const& commandLine, XCSmartPtr<XCLogSubscriberI> const& subscriber,
                             bool handleSignals, void* module)
    : m_cmdLine(commandLine), m_members(std::make_unique<Members>(module))
{
    Construct(subscriber, handleSignals);
}

void XCApplication::Construct(XCSmartPtr<XCLogSubscriberI> const& subscriber, bool handleSignals)
{
    // The values of options come from outside: a negative level means none.
    m_traceLevel = static_cast<unsigned int>(std::max(m_cmdLine.GetArg(L"trace", 1), 0));
    xc::log::SetApplicationTraceLevel(m_traceLevel);
    try {
        SetUpLog(subscriber);
        Register();
        if (handleSignals) m_members->signals.emplace();
        FindConfigFile();
        m_customer = XCString(xc::win32::ReadMachineSetting(kSettingsKey, L"Customer").value_or(L""));
        m_customerCode = XCString(xc::win32::ReadMachineSetting(kSettingsKey, L"Code").value_or(L""));
        ChooseDirectories();
        StartLoggingAsAsked();
        m_mainThreadId = xc::win32::ThreadId();
    } catch (...) { // the destructor will not run
        Detach();
        throw;
    }
}

void XCApplication::SetUpLog(XCSmartPtr<XCLogSubscriberI> const& subscriber)
{
    GetLogManager().Init();
    m_channel = &xc::host::ApplicationChannel();
    // A host that brings its own subscriber gets no console: it would see every line twice.
    if (!subscriber.IsNull())
        AddLogSubscriber(subscriber);
    else if (!m_cmdLine.ArgPresent(L"noconsole"))
        AddConsoleSubscriber();
}

void XCApplication::AddConsoleSubscriber()
{
    XCSmartPtr<XCLogSubscriberI> const console(new XCConsoleLogSubscriber(static_cast<int>(m_traceLevel)));
    AddLogSubscriber(console);
    m_members->consoleSubscriber = console;
}

void XCApplication::Register()
{
    SectionGuard const guard(glbLastAppPCS_);
    m_previous = glbLastAppP_;
    glbLastAppP_ = this;
}

// Applications may end in any order: the chain of those that are left stays whole.
void XCApplication::Unregister() noexcept
{
    SectionGuard const guard(glbLastAppPCS_);
    XCApplication** link = &glbLastAppP_;
    while (*link && *link != this) link = &(*link)->m_previous;
    if (*link) *link = m_previous;
    // The level belongs to the process: the application that is now the last one decides.
    xc::log::SetApplicationTraceLevel(glbLastAppP_ ? glbLastAppP_->GetTraceLevel() : 1);
}

// Takes the application out of the process: nobody finds it any more, its own subscribers are gone.
void XCApplication::Detach() noexcept
{
    Unregister();
    for (XCSmartPtr<XCLogSubscriberI> const& subscriber : m_members->subscribers)
        if (!IsAttachedByAnother(subscriber)) GetLogManager().RemoveSubscriber(subscriber);
}

bool XCApplication::IsAttachedByAnother(XCLogSubscriberI const* subscriber) const noexcept
{
    // Compared by address only: the subscriber may already be on its way out of the other application.
    SectionGuard const guard(glbLastAppPCS_);
    for (XCApplication const* other = glbLastAppP_; other; other = other->m_previous) {
        auto const& held = other->m_members->subscribers;
        if (other != this && std::find(held.begin(), held.end(), subscriber) != held.end()) return true;
    }
    return false;
}

void XCApplication::FindConfigFile()
{
    std::wstring const program = m_members->ModulePath();
    std::wstring const beside = program.substr(0, ExtensionStart(program)) + L".ini";
    bool const isAsked = m_cmdLine.ArgPresent(L"config");
    XCString const asked = m_cmdLine.GetArg(L"config");
    std::vector<XCString> candidates{XCString(beside), XCString(beside.substr(FileNameStart(beside)))};
    // A file that was named is not replaced by another when it is missing: its user would not notice.
    if (isAsked) candidates = {asked};
    XCErrorID whyNot;
    for (XCString const& candidate : candidates) {
        try {
            m_configFile = XCConfigFile::Load(candidate, &whyNot);
        } catch (XCConfigStreamException const& malformed) {
            m_configFailure.Format(L"%ls, line %u: %ls", candidate.AsWChar(),
                                   static_cast<unsigned int>(malformed.GetLine()), malformed.What().AsWChar());
            return PrintError(m_configFailure);
        }
        if (!m_configFile.IsNull()) return;
    }
    // An absent file is no error, but one that was asked for should be known to be absent.
    if (!isAsked) return;
    m_configFailure = asked.IsNull() ? XCString(L"/config names no file") : whyNot.AsString();
    PrintError(m_configFailure);
}

void XCApplication::ChooseDirectories()
{
    // The machine's settings, when it has any, take the place of the environment altogether.
    if (xc::win32::MachineKeyExists(kSettingsKey))
        m_tmpDirectory = XCString(xc::win32::ReadMachineSetting(kDebugKey, L"DebugPath").value_or(L"."));
    else
        m_tmpDirectory = XCString(xc::errors::TemporaryFolder());
    std::wstring const folder(m_tmpDirectory.View());
    XCException::SetErrorLogPath(xc::errors::ErrorLogIn(folder, m_members->ModulePath()));
}

void XCApplication::StartLoggingAsAsked()
{
    if (!m_cmdLine.ArgPresent(L"consoletofile")) return;
    bool const keepConsole = !m_cmdLine.ArgPresent(L"noconsole");
    XCString const file = m_cmdLine.GetArg(L"consoletofile");
    XCErrorID const started = file.IsNull() ? StartLoggingToFile(keepConsole) : StartLoggingToFile(file, keepConsole);
    if (started.Bad()) PrintError(started.AsString());
}

XCApplication::~XCApplication()
{
    // Text without a line end is still pending in the streams; it goes out while the subscribers are there.
    m_channel->FlushStreams();
    Detach();
}

// Usage ---------------------------------------------------------------------------------------------------------

XCUsageInfo XCApplication::GetUsageInfo() const
{
    XCUsageInfo usage;
    usage.AddCmdLineArgDesc(L"config:{filename}",
                            L"Force the application to use a specific config file. If this option is ommited, then a "
                            L"config file which has the same file name than the application (+.ini) will be loaded.",
                            false);
    usage.AddCmdLineArgDesc(L"trace:{tracelevel}",
                            L"Set the trace level of the application. 0-Silent, 1-Normal, 2-Maximum.", false);
    usage.AddCmdLineArgDesc(L"consoleToFile[:filename]",
                            L"Redirect the console to the specified file. If no filename is specified, then the "
                            L"application filename with the .log extension will be used.",
                            false);
    usage.AddCmdLineArgDesc(L"noConsole",
                            L"When used with /consoleToFile option, this option will prevent the display to the "
                            L"console. Display will only be redirected to the log file.",
                            false);
    return usage;
}

void XCApplication::DisplayUsage(std::wostream* out) const
{
    XCString const asterisks = XCString(L'*', 78) + L"\n";
    XCUsageInfo const usage = GetUsageInfo();
    XCString screen = asterisks + asterisks;
    screen += XCString(L"USAGE: ") + GetAppName() + L" [options list] \n";
    screen += asterisks;
    screen += L"Options list: \n";
    if (!usage.GetGeneralInfo().IsNull()) screen += usage.GetGeneralInfo() + L"\n";
    screen += xc::commandline::FormatUsage(usage);
    for (XCUsageInfo const& custom : m_customUsage) {
        if (!custom.GetGeneralInfo().IsNull()) screen += custom.GetGeneralInfo() + L"\n";
        screen += xc::commandline::FormatUsage(custom);
    }
    if (out)
        *out << screen << std::flush;
    else
        Print(screen);
}

bool XCApplication::DisplayUsageIfNecessary(std::wostream* out) const
{
    if (!m_cmdLine.ArgPresent(L"help") && !m_cmdLine.ArgPresent(L"?")) return false;
    DisplayUsage(out);
    return true;
}

void XCApplication::AddCustomUsageInfo(XCUsageInfo const& usage)
{
    m_customUsage.push_back(usage);
}

std::vector<XCString> XCApplication::GetUnknownOptions() const
{
    std::vector<XCString> known = {XCString(L"?"), XCString(L"help")};
    auto const add = [&known](XCUsageInfo const& usage) {
        for (XCString& name : usage.GetOptionNames()) known.push_back(std::move(name));
    };
    add(GetUsageInfo());
    for (XCUsageInfo const& custom : m_customUsage) add(custom);
    std::vector<XCString> unknown;
    m_cmdLine.GetInvalidArguments(known, unknown);
    return unknown;
}

// The process ---------------------------------------------------------------------------------------------------

XCApplication* XCApplication::GetApp()
{
    SectionGuard const guard(glbLastAppPCS_);
    return glbLastAppP_;
}

void XCApplication::RequestExit(bool)
{
    PostExitRequest();
}

bool XCApplication::IsAppWithPlugIn() const
{
    return false;
}

void XCApplication::PostExitRequest() noexcept
{
    xc::host::RequestQuit();
}

bool XCApplication::IsExitRequested() noexcept
{
    return xc::host::IsQuitRequested();
}

void XCApplication::ClearExitRequest() noexcept
{
    xc::host::ClearQuit();
}

void XCApplication::SetTraceLevel(unsigned int level)
{
    m_traceLevel = level;
    xc::log::SetApplicationTraceLevel(level);
    for (auto const& shown : {m_members->consoleSubscriber, m_members->keptConsole})
        if (!shown.IsNull()) shown->SetDesiredLevel(static_cast<int>(level));
}

XCString XCApplication::GetAppName(bool withPath, bool withExtension) const
{
    XCString const given = m_cmdLine.GetAppName();
    std::wstring const file = given.IsNull() ? m_members->ModulePath() : std::wstring();
    std::wstring_view text = given.IsNull() ? std::wstring_view(file) : given.View();
    if (!withExtension) text = text.substr(0, ExtensionStart(text));
    if (!withPath) text = text.substr(FileNameStart(text));
    return XCString(text);
}

XCString XCApplication::GetAppPath() const
{
    std::wstring const program = m_members->ModulePath();
    std::size_t const name = FileNameStart(program);
    return XCString(std::wstring_view(program).substr(0, name == 0 ? 0 : name - 1));
}

bool XCApplication::AddToPath(wchar_t const* directory)
{
    return directory && *directory != L'\0' && xc::win32::AppendToSearchPath(directory);
}

// Log and console -----------------------------------------------------------------------------------------------

XCLogManager& XCApplication::GetLogManager()
{
    return XCLogManager::Get();
}

std::wostream& XCApplication::GetCout() const
{
    return m_channel->GetStream();
}

std::wostream& XCApplication::GetAppCout(int level)
{
    return xc::host::ApplicationChannel().GetStream(level);
}

void XCApplication::Print(std::wstring_view text)
{
    xc::host::Print(text);
}

void XCApplication::PrintError(XCString const& text)
{
    xc::host::PrintError(text);
}

void XCApplication::AddLogSubscriber(XCSmartPtr<XCLogSubscriberI> const& subscriber)
{
    if (subscriber.IsNull()) return;
    {
        SectionGuard const guard(glbLastAppPCS_);
        auto& own = m_members->subscribers;
        if (std::find(own.begin(), own.end(), subscriber) != own.end()) return;
        own.push_back(subscriber);
    }
    // Not under the section: a subscriber at work may ask for the application.
    try {
        if (!IsAttachedByAnother(subscriber)) m_channel->AddSubscriber(subscriber);
    } catch (...) {
        RemoveLogSubscriber(subscriber);
        throw;
    }
}

bool XCApplication::RemoveLogSubscriber(XCLogSubscriberI const* subscriber)
{
    XCSmartPtr<XCLogSubscriberI> keep;
    {
        SectionGuard const guard(glbLastAppPCS_);
        auto& own = m_members->subscribers;
        auto const found = std::find(own.begin(), own.end(), subscriber);
        if (found == own.end()) return false;
        keep = *found;
        own.erase(found);
    }
    if (!IsAttachedByAnother(subscriber)) GetLogManager().RemoveSubscriber(subscriber);
    return true;
}

XCErrorID XCApplication::StartLoggingToFile(XCString const& fileName, bool keepConsole)
{
    bool const wasOpen = m_members->console.IsOpen();
    XCErrorID const opened = m_members->console.Open(fileName);
    if (opened.Bad()) return opened;
    XCSmartPtr<XCLogSubscriberI>& shown = m_members->consoleSubscriber;
    bool const wasShown = !shown.IsNull();
    try {
        if (!wasShown) AddConsoleSubscriber(); // the console is the file now
        KeepConsole(keepConsole);
    } catch (...) {
        if (!wasShown) {
            RemoveLogSubscriber(shown);
            shown.Clear();
        }
        if (!wasOpen) m_members->console.Close();
        throw;
    }
    return opened;
}

void XCApplication::KeepConsole(bool keep)
{
    XCSmartPtr<XCLogSubscriberI>& kept = m_members->keptConsole;
    if (kept.IsNull() && keep) {
        XCSmartPtr<XCLogSubscriberI> const fresh(new KeptConsole(m_members->console));
        fresh->SetDesiredLevel(static_cast<int>(m_traceLevel));
        AddLogSubscriber(fresh);
        kept = fresh;
    } else if (!kept.IsNull() && !keep) {
        RemoveLogSubscriber(kept);
        kept.Clear();
    }
}

XCErrorID XCApplication::StartLoggingToFile(bool keepConsole)
{
    return StartLoggingToFile(GetAppName() + L".log", keepConsole);
}
