// XCEventLog.h - log records and errors as events of the system's event log.
//
// WHAT     XCEventLogSubscriber writes log records to the event log of Windows. XCLogFailure logs an error object so that
//          subscribers keep its parts: in the event log its code is the event's identifier, its parameters are the
//          inserts, its severity is the type.
//
//              XCEventSource const source{.name = L"recordhost"};
//              application.AddLogSubscriber(XCSmartPtr<XCLogSubscriberI>(new XCEventLogSubscriber(source)));
//              XCLogFailure(channel, error);
//
// EVENT    what was logged           identifier                  inserts
//          an error of the library   kLibraryErrors + its code   its parameters in order, then its whole text
//          another error             idBase + its code           the same
//          a text                    kTextEvent                  the text
//
//          Viewers take the words of an event from the message files of its source: the library has those of its own
//          errors and of texts, in English and French; a program adds a file for its own errors, made with
//          xc_message_table, in which %1 is the first insert. Where no file has words for an identifier they show the
//          inserts: the last one is the whole text.
// OPTIONS  registerEvents enters the source, unregisterEvents takes it out: see RegisterAsAsked. Both need the rights of
//          an administrator, and are done once a machine. Without them events are written all the same.
// COST     An event is a call to a service of the system: tens of microseconds. Meant for errors and warnings.
// ERRORS   Writing never fails the program: failures are counted and the last is kept. Register and Unregister:
//          XCErrEventRights, XCErrEventSource.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <memory>
#include <optional>

/// Who writes events, as the event log knows it.
struct XCEventSource {
    XCString name;                 ///< of the source, without a backslash; mostly the program's
    XCString messageFile = {};     ///< absolute path of the module with words of the program's own, if there is one
    unsigned long idBase = 0;      ///< added to the codes of its errors: facility and severity bits of that file
    XCString log = L"Application"; ///< the log that it is entered in
};

/// Logs an error with its parts as fields: code, severity, source (XelbrinCore) where it is one of the library, and arg1,
/// arg2, ... Success is not logged.
/// @param level by default that of its severity: fatal and error, warning, information.
XC_API void XCLogFailure(XCLogChannel& channel, XCErrorID const& error, std::optional<int> level = {});

/// Writes log records to the event log (see the head of this file).
class XC_API XCEventLogSubscriber : public XCLogSubscriberI {
public:
    /// The identifier of events that are texts.
    static constexpr unsigned long kTextEvent = 0x00E50001;
    /// Added to the code of an error of the library.
    static constexpr unsigned long kLibraryErrors = 0x00E50000;

    /// @param desiredLevel by default warnings and what is worse.
    explicit XCEventLogSubscriber(XCEventSource const& source, int desiredLevel = 0);
    ~XCEventLogSubscriber() override;

    void OnFlush(int level, XCString const& text) override;

    /// How often writing has failed.
    [[nodiscard]] std::uint64_t GetFailureCount() const noexcept;
    /// The last failure; Good when there was none.
    [[nodiscard]] XCErrorID GetLastFailure() const;

    /// Enters the source, or changes its entry.
    static XCErrorID Register(XCEventSource const& source);
    /// Takes it out. Good also when it is not there.
    static XCErrorID Unregister(XCEventSource const& source);
    /// Does what the options registerEvents and unregisterEvents of a command line ask for, and says what came of it.
    /// @return the exit code of the program; nothing when none of them is there.
    static std::optional<int> RegisterAsAsked(XCCommandLine const& arguments, XCEventSource const& source);
    /// The options, for XCApplication::AddCustomUsageInfo.
    [[nodiscard]] static XCUsageInfo GetUsageInfo();

private:
    struct Data;
    std::unique_ptr<Data> m_data;
};
