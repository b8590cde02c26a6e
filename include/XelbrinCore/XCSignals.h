// XCSignals.h - a record of the fault that ends the program.
//
// WHAT     One installation for what ends a program from within: a fault of the processor that nobody handles (also on
//          threads that the library has not started), std::terminate (an exception that nobody catches, noexcept, a pure
//          virtual call), abort, and parameters that the runtime refuses. Each writes one record to the error log of the
//          process: the fault in words, the calls into plug-ins that its thread was in, its call stack, the last 64
//          log records; beside the error log a minidump for a debugger. Then comes who stood there before.
//
//              int wmain(int argc, wchar_t** argv)
//              {
//                  XCApplicationWithPlugIns host(argc, argv);
//                  if (XCSignals::Install().Bad()) return 1;
//
// COST     A waiting thread and some 100 KiB; each log record of level 1 is copied once.
// LIFETIME Until Uninstall. Installed by nobody but the program: a module leaves it alone.
// ERRORS   Install is Bad when its thread cannot be started. A record that cannot be written is left out: the program
//          ends as it would have.
// THREADS  Any. The record is written by a thread that was started before, since that of the fault may have no stack
//          left. When that one needs longer than 10 seconds, as after damage of the heap, a record of bare addresses is
//          written without memory. The minidump has a minute.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

/// What is written.
struct XCSignalOptions {
    bool minidump = true; ///< "NAME-ERROR.LOG.PROCESS.dmp" beside the error log
    int logLevel = 1;     ///< log records up to this level are kept for the record
};

/// The installation of the process (see the head of this file).
class XC_API XCSignals {
public:
    XCSignals() = delete;

    /// How many log records a record of a fault shows.
    static constexpr unsigned int kLogRecords = 64;

    /// Takes the places of the handlers, and keeps who stood there. A second call changes nothing. When the application
    /// is there: the error log's place of that moment serves a process without memory.
    static XCErrorID Install(XCSignalOptions const& options = {});
    /// Gives the places back. A handler that was installed later, and calls this one, goes on calling it: it passes
    /// faults on to who stood there before, and writes nothing.
    static void Uninstall() noexcept;
    /// Whether faults are recorded now.
    [[nodiscard]] static bool IsInstalled() noexcept;
};
