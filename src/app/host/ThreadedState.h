// ThreadedState.h - the started and running flags of a threaded plug-in, under its lock.
#pragma once

#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>

#include <atomic>
#include <cstdint>

namespace xc::host {

struct ThreadedState {
    XCCriticalSection section; ///< guards the flags and `self`
    bool started = false;
    bool running = false;
    void* self = nullptr; ///< a handle of the running thread, of our own
    XCEventSemaphore startedEvent;
    XCEventSemaphore ended;
    mutable XCEventSemaphore exitRequested;
    std::atomic<unsigned long> threadId = 0;
    std::atomic<unsigned int> patienceMs = XCThreadedRunPlugIn::kExitPatienceMs;
    std::atomic<unsigned int> askMs = XCThreadedRunPlugIn::kExitPatienceMs; ///< how long RequestExit waits
    std::atomic<std::uint64_t> askedAt = 0; ///< the tick at which the host has asked it to end; 0 before
    XCSmartPtr<XCThread> thread;            ///< from its start until it was joined; the host's thread only

    ThreadedState();
    ~ThreadedState();
    ThreadedState(ThreadedState const&) = delete;
    ThreadedState& operator=(ThreadedState const&) = delete;

    /// On the thread, before Run.
    void SetStarted();
    /// On the thread, after Run.
    void SetEnded();
    /// Started, Run has not returned, and the thread still exists: Run may have ended its thread.
    [[nodiscard]] bool IsRunning();
    /// Waits for the end, at most one look. @return whether the thread has ended.
    [[nodiscard]] bool WaitForEnd();
    /// Whether the thread has ended without returning from Run; after the end only.
    [[nodiscard]] bool HasVanished();
    /// Joins a thread that has ended.
    void Join();
};

/// What the host may do with plug-ins that nobody else may.
class PlugInAccess {
public:
    static void SetStatus(XCPlugIn& plugIn, XCPlugIn::Status status) noexcept { plugIn.SetStatus(status); }
    /// The status that the host has set, whatever an override of GetStatus tells.
    static XCPlugIn::Status StatusOf(XCPlugIn const& plugIn) noexcept { return plugIn.m_status.load(); }
    static ThreadedState& StateOf(XCThreadedRunPlugIn& plugIn) noexcept { return *plugIn.m_state; }
};

} // namespace xc::host
