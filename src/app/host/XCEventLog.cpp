// The subscriber of the event log, and the entry of its source.
//
// The source is opened once: each opening is a call to a service of the system. A failure of that service, or none of it
// on a small system, is kept and the program goes on; the log's other subscribers have the record.
#include <XelbrinCore/XCEventLog.h>

#include "app/host/EventParts.h"
#include "errors/CoreError.h"
#include "errors/SystemWords.h"
#include "win32/Console.h"

#include <mutex>

namespace {

constexpr unsigned long kErrorAccessDenied = 5;

XCErrorID EventFailure(XCCoreError code, XCString const& source, unsigned long error)
{
    if (error == 0) return XCErrorID::Success;
    return xc::errors::MakeCoreError(error == kErrorAccessDenied ? XCErrEventRights : code, source,
                                     static_cast<long>(error), xc::errors::SystemWords(error, source.View()));
}

int LevelOf(XCErrorI::Severity severity) noexcept
{
    if (severity == XCErrorI::SeverityInformation) return XCLogInfo;
    return severity == XCErrorI::SeverityWarning ? XCLogWarning : XCLogError;
}

/// @return the exit code.
int SayOutcome(XCErrorID const& outcome, XCString const& done)
{
    using xc::win32::StandardStream;
    XCString const line = (outcome.Good() ? done : outcome.AsString()) + L"\n";
    (void)xc::win32::WriteToConsole(outcome.Good() ? StandardStream::Output : StandardStream::Error, line.AsWChar(),
                                    line.Length());
    return outcome.Good() ? 0 : 1;
}

} // namespace

void XCLogFailure(XCLogChannel& channel, XCErrorID const& error, std::optional<int> level)
{
    if (error.Good()) return;
    int const at = level.value_or(LevelOf(error->GetSeverity()));
    if (!channel.IsInterested(at)) return;
    XCLogRecord record(channel, at);
    record << error.AsString();
    for (XCLogField& field : xc::host::FieldsOf(*error.GetError())) record << std::move(field);
}

struct XCEventLogSubscriber::Data {
    explicit Data(XCEventSource const& source_) : source(source_), writer(source_.name.AsWChar()) {}

    XCEventSource const source;
    xc::win32::EventWriter const writer;
    std::mutex mutable lock; ///< guards the failures
    std::uint64_t failures = 0;
    XCErrorID lastFailure;
};

XCEventLogSubscriber::XCEventLogSubscriber(XCEventSource const& source, int desiredLevel)
    : m_data(std::make_unique<Data>(source))
{
    SetDesiredLevel(desiredLevel);
}

XCEventLogSubscriber::~XCEventLogSubscriber() = default;

void XCEventLogSubscriber::OnFlush(int level, XCString const& text)
{
    if (!IsInterested(level)) return;
    xc::win32::Event const event = xc::host::EventOf(level, text.View(), XCLogFieldsOf(text), m_data->source.idBase);
    unsigned long const error = m_data->writer.Write(event);
    if (error == 0) return;
    XCErrorID const failure = EventFailure(XCErrEventWrite, m_data->source.name, error);
    std::lock_guard const hold(m_data->lock);
    ++m_data->failures;
    m_data->lastFailure = failure;
}

std::uint64_t XCEventLogSubscriber::GetFailureCount() const noexcept
{
    std::lock_guard const hold(m_data->lock);
    return m_data->failures;
}

XCErrorID XCEventLogSubscriber::GetLastFailure() const
{
    std::lock_guard const hold(m_data->lock);
    return m_data->lastFailure;
}

XCErrorID XCEventLogSubscriber::Register(XCEventSource const& source)
{
    // A list: a program that has words of its own logs texts and errors of the library as well.
    std::wstring files(source.messageFile.View());
    if (!files.empty()) files += L";";
    files += xc::win32::LibraryPath();
    return EventFailure(
        XCErrEventSource, source.name,
        xc::win32::EnterEventSource(std::wstring(source.log.View()), std::wstring(source.name.View()), files));
}

XCErrorID XCEventLogSubscriber::Unregister(XCEventSource const& source)
{
    return EventFailure(
        XCErrEventSource, source.name,
        xc::win32::TakeOutEventSource(std::wstring(source.log.View()), std::wstring(source.name.View())));
}

std::optional<int> XCEventLogSubscriber::RegisterAsAsked(XCCommandLine const& arguments, XCEventSource const& source)
{
    if (arguments.ArgPresent(L"registerEvents"))
        return SayOutcome(Register(source), L"Event source " + source.name + L" registered.");
    if (arguments.ArgPresent(L"unregisterEvents"))
        return SayOutcome(Unregister(source), L"Event source " + source.name + L" removed.");
    return std::nullopt;
}

XCUsageInfo XCEventLogSubscriber::GetUsageInfo()
{
    XCUsageInfo usage;
    usage.AddCmdLineArgDesc(L"registerEvents", L"Register the program as a source of the event log of the system.",
                            false);
    usage.AddCmdLineArgDesc(L"unregisterEvents", L"Remove that registration.", false);
    return usage;
}
