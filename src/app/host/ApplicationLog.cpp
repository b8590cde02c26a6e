// What an application writes to: its log subscribers, its console, and the file that may take the console's place.
//
// A subscriber that two applications share is attached to the log once, by the first, and taken off by the last. The
// lists of all applications are therefore guarded by the one section of the chain; attaching and removing happen outside
// it, because a subscriber at work may ask for the application. A list names a subscriber before it is attached, and no
// longer names it when it is taken off: between the two steps it counts as what it is about to be.
//
// A redirection is made of two steps, the console as a file and a subscriber that shows it; when the second fails the
// first is undone, so that a call that throws has changed nothing.
#include <XelbrinCore/XCApplication.h>

#include "app/host/ApplicationMembers.h"
#include "app/host/HostLines.h"

#include <algorithm>
#include <ostream>

using SectionGuard = XCLockGuard<XCCriticalSection>;

namespace {

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

void XCApplication::AddConsoleSubscriber()
{
    XCSmartPtr<XCLogSubscriberI> const console(new XCConsoleLogSubscriber(static_cast<int>(m_traceLevel)));
    AddLogSubscriber(console);
    m_members->consoleSubscriber = console;
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

void XCApplication::StartLoggingAsAsked()
{
    if (!m_cmdLine.ArgPresent(L"consoletofile")) return;
    bool const keepConsole = !m_cmdLine.ArgPresent(L"noconsole");
    XCString const file = m_cmdLine.GetArg(L"consoletofile");
    XCErrorID const started = file.IsNull() ? StartLoggingToFile(keepConsole) : StartLoggingToFile(file, keepConsole);
    if (started.Bad()) PrintError(started.AsString());
}

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
    bool isAttached = false; // asked before it is listed here: of two applications at once, one attaches it
    {
        SectionGuard const guard(glbLastAppPCS_);
        isAttached = IsAttachedByAnother(subscriber);
        auto& own = m_members->subscribers;
        if (std::find(own.begin(), own.end(), subscriber) != own.end()) return;
        own.push_back(subscriber);
    }
    // Not under the section: a subscriber at work may ask for the application.
    try {
        if (!isAttached) m_channel->AddSubscriber(subscriber);
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
