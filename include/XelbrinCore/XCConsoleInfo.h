// XCConsoleInfo.h - the redirection of a program's standard output and error to a file.
//
// WHAT     XCConsoleInfo sends both to the end of a file and restores them: the descriptors of the runtime, which the C
//          and C++ streams follow, and the handles that the system gives to those who ask it.
// RESTORED A handle that the program had set itself comes back to the letter; a descriptor that was closed is closed
//          again.
// ERRORS   A file that cannot be opened changes nothing: XCErrConsoleNotRedirected, with the system's error.
// COST     Opening and closing are some system calls.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <memory>
#include <string_view>

/// Redirects the standard output and error of the process to a file and back: what the C and C++ streams write, and what
/// asks the system for the standard handles. One redirection of the process at a time, or several ended in reverse
/// order. Any thread.
class XC_API XCConsoleInfo {
public:
    XCConsoleInfo();
    /// Restores what was redirected.
    ~XCConsoleInfo();
    XCConsoleInfo(XCConsoleInfo const&) = delete;
    XCConsoleInfo& operator=(XCConsoleInfo const&) = delete;

    /// Sends standard output and error of the process to the end of a file, which is created when missing. Others may
    /// read, append to, rename and delete it meanwhile. When something is redirected already, the file takes the
    /// place of the one before.
    /// Bad (XCErrConsoleNotRedirected), and nothing changed, when it cannot be opened.
    XCErrorID Open(XCString const& fileName);
    /// Restores both; nothing when nothing is redirected.
    void Close();
    /// Whether output is redirected.
    [[nodiscard]] bool IsOpen() const;
    /// Writes to what was the standard output before the redirection: Unicode to a console, UTF-8 to anything else.
    /// Nothing when nothing is redirected; a failure is not told.
    void WriteToConsole(std::wstring_view text) const;

private:
    struct State;
    mutable XCCriticalSection m_section; ///< guards the state
    std::unique_ptr<State> m_state;
};
