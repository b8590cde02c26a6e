// What an application holds beside its public members.
#pragma once

#include <XelbrinCore/XCApplication.h>

#include "app/host/QuitSignal.h"
#include "win32/Process.h"

#include <optional>
#include <string>
#include <vector>

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
