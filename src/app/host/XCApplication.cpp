// An application: command line, log, configuration and directories, in the order in which each needs the one before it.
//
// The trace level comes first, since it filters what the later steps tell. The log follows, so that the configuration
// file can be complained about; the configuration comes before the directories and the console file. A step that throws
// takes the application out of the process again, because the destructor of an unfinished object does not run.
//
// Applications form a chain from the last to the first, linked through the objects and guarded by glbLastAppPCS_:
// plug-ins may host applications of their own, and these may end in any order. Invariants: glbLastAppP_ is the
// application that was constructed last among those alive; no foreign code runs under the section.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLockOrder.h>

#include "app/host/ApplicationMembers.h"
#include "app/host/HostLines.h"
#include "app/host/QuitSignal.h"
#include "errors/ErrorLog.h"
#include "log/ApplicationTraceLevel.h"
#include "win32/Process.h"
#include "win32/Registry.h"

#include <algorithm>

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

} // namespace

std::optional<XCString> XCGetEnv(XCString const& name)
{
    // A variable that is set to nothing is present: only an absent one gives no value.
    std::optional<std::wstring> const value = xc::win32::ReadEnvironment(name.AsWChar());
    if (!value) return std::nullopt;
    return XCString(*value);
}

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
        // For a program that hangs where no debugger may go: to the end of the process.
        if (xc::win32::ReadEnvironment(L"XC_LOCK_ORDER")) (void)XCLockOrder::Start();
        Register();
        // After the registration: a signal that comes at once finds the application that it is to end.
        if (handleSignals) m_members->signals.emplace();
        FindConfigFile();
        // Of the machine and not of the user: these name the installation.
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
    // By the address of the link, so that the first of the chain needs no case of its own. Not found is no fault: a
    // constructor that failed early never joined.
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

void XCApplication::FindConfigFile()
{
    std::wstring const program = m_members->ModulePath();
    std::wstring const beside = program.substr(0, ExtensionStart(program)) + L".ini";
    bool const isAsked = m_cmdLine.ArgPresent(L"config");
    XCString const asked = m_cmdLine.GetArg(L"config");
    // Beside the program first, then in the current folder.
    std::vector<XCString> candidates{XCString(beside), XCString(beside.substr(FileNameStart(beside)))};
    // A file that was named is not replaced by another when it is missing: its user would not notice.
    if (isAsked) candidates = {asked};
    XCErrorID whyNot;
    for (XCString const& candidate : candidates) {
        try {
            // A file that is there and malformed ends the search: going on would quietly use another one.
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

XCApplication::~XCApplication()
{
    // Text without a line end is still pending in the streams; it goes out while the subscribers are there.
    m_channel->FlushStreams();
    Detach();
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
    // Only what the application made itself: subscribers that were handed in have levels of their owner's choice.
    for (auto const& shown : {m_members->consoleSubscriber, m_members->keptConsole})
        if (!shown.IsNull()) shown->SetDesiredLevel(static_cast<int>(level));
}

XCString XCApplication::GetAppName(bool withPath, bool withExtension) const
{
    XCString const given = m_cmdLine.GetAppName();
    // The name as the caller typed it where there is one; a host without a command line has the name of its file.
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
