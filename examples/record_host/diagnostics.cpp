#include "diagnostics.h"

#include "module_tools.h"

#include <XelbrinCore/XCTrace.h>

namespace {

/// Writes the blocks of one channel to a log file, a line each, with the channel's name.
class ChannelToFile final : public XCLogSubscriberI {
public:
    ChannelToFile(XCSmartPtr<XCLogFile> file, int level) : m_file(std::move(file)) { SetDesiredLevel(level); }
    void OnFlush(int level, XCString const& text) override
    {
        if (IsInterested(level)) m_file->Log(text);
    }
    void OnChannelFlush(XCString const& channel, int level, XCString const& text) override
    {
        OnFlush(level, channel + L": " + text);
    }

private:
    XCSmartPtr<XCLogFile> m_file;
};

/// A bare name stands for a file in the folder for temporary files.
XCString LogPath(XCApplication const& application, XCString const& name)
{
    return name.FindFirstOf(L"\\/:") == XCString::npos ? application.GetTmpDirectory() + L"\\" + name : name;
}

} // namespace

Diagnostics::~Diagnostics()
{
    for (auto const& subscriber : m_subscribers) XCApplication::GetLogManager().RemoveSubscriber(subscriber);
}

XCErrorID Diagnostics::Start(XCApplication const& application)
{
    StartTrace(application);
    return StartLog(application);
}

/// One line of the section [Levels] for each channel.
XCErrorID Diagnostics::StartLog(XCApplication const& application)
{
    XCString const name = Setting(application, L"Host", L"Log");
    XCSmartPtr<XCConfigFile> const settings = application.GetConfigFile();
    if (name.IsNull() || settings.IsNull()) return XCErrorID::Success;
    m_file = new XCLogFile;
    if (XCErrorID const opened = m_file->Open(LogPath(application, name)); opened.Bad()) return opened;

    XCConfigLock const lock(*settings);
    XCConfigSection const* const levels = settings->FindSection(L"Levels");
    if (!levels) return XCErrorID::Success;
    for (auto line = levels->GetLinesBegin(); line != levels->GetLinesEnd(); ++line) {
        int const level = static_cast<int>(line->GetValueAsLong());
        XCSmartPtr<XCLogSubscriberI> const subscriber(new ChannelToFile(m_file, level));
        Channel(line->GetKey().AsWChar()).AddSubscriber(subscriber);
        m_subscribers.push_back(subscriber);
    }
    return XCErrorID::Success;
}

/// What the configuration file does not say stays as the environment has it (XC_TRACE and its companions).
void Diagnostics::StartTrace(XCApplication const& application)
{
    XCString const folder = Setting(application, L"Trace", L"TraceFolder");
    XCString const level = Setting(application, L"Trace", L"TraceLevel");
    XCString const subjects = Setting(application, L"Trace", L"TraceSubjects");
    if (!folder.IsNull()) XCTrace::SetTraceFolderName(folder.AsWChar());
    if (!level.IsNull()) XCTrace::SetTraceLevel(level.AsInt());
    if (!subjects.IsNull()) XCTrace::SetTraceSubjects(subjects.AsWChar());
}
