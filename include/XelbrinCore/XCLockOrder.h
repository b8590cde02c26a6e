// XCLockOrder.h - finds locks that threads take in opposite orders.
//
// WHAT     While it is on, every XCCriticalSection, XCSynchronizedCriticalSection, XCMutex and XCBaton tells which locks a
//          thread holds when it asks for another one. Two threads that take the same locks in opposite orders will wait
//          for each other for ever one day; each such inversion is reported once, with the stacks of both orders, also
//          when the threads have never met. Longer cycles are found as well.
//
//              XCLockOrder::Start();   // in a test run, at the beginning of main
//
//          An application starts it itself where the environment variable XC_LOCK_ORDER is defined.
//          A lock that is got without waiting (TryLock, a timeout of 0) is no cause, but what is asked for while it is
//          held may be. Turns of a baton have an order of their own: they count as one lock.
// COST     Off: a load and a branch a lock. On: a stack walk a lock (some microseconds) and one lock of the process for
//          each lock that is taken while others are held.
// LIFETIME Until Stop. Locks that were taken before Start are not seen, nor more than 32 that one thread holds at once.
// ERRORS   Start is Bad when its thread cannot be started. Without memory a step is not noted.
// THREADS  Any. Reports come from a thread of the detector, so that the thread that waits has nothing to do with them.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <functional>

/// The detector of the process (see the head of this file).
class XC_API XCLockOrder {
public:
    XCLockOrder() = delete;

    /// Receives a report: the first line says what is wrong, the others who takes what, where.
    using Handler = std::function<void(XCString const& report)>;

    /// Turns the detector on, with nothing known. A second call changes nothing.
    /// @param handler called in place of the log and the error log.
    static XCErrorID Start(Handler handler = {});
    /// Turns it off, when what was found is reported. Not by a handler.
    static void Stop();
    /// Whether locks are watched now.
    [[nodiscard]] static bool IsOn() noexcept;
    /// How many inversions were reported since Start.
    [[nodiscard]] static std::uint64_t GetInversionCount() noexcept;
};
