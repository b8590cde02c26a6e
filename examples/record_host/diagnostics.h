// diagnostics.h - where the log and the trace of record_host go.
#pragma once

#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCLogFile.h>
#include <XelbrinCore/XCLogSubscriber.h>

/// Attaches a log file to the channels of the modules, each with a level of its own, and switches the trace on.
class Diagnostics {
public:
    Diagnostics() = default;
    ~Diagnostics();
    Diagnostics(Diagnostics const&) = delete;
    Diagnostics& operator=(Diagnostics const&) = delete;

    /// As the settings of the application say. @return Bad when the log file cannot be opened.
    XCErrorID Start(XCApplication const& application);

private:
    XCErrorID StartLog(XCApplication const& application);
    static void StartTrace(XCApplication const& application);

    XCSmartPtr<XCLogFile> m_file;
    XCSmartPtrVector<XCLogSubscriberI> m_subscribers;
};
