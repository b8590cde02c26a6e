// ThreadedState.h - the started and running flags of a threaded plug-in, under its lock.
#pragma once

#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>

#include <algorithm>
#include <atomic>

struct XCThreadedRunPlugIn::State {
    XCCriticalSection section; ///< guards the flags
    bool started = false;
    bool running = false;
    XCEventSemaphore startedEvent;
    XCEventSemaphore ended;
    mutable XCEventSemaphore exitRequested;
    std::atomic<unsigned long> threadId = 0;
    std::atomic<unsigned int> patienceMs = kExitPatienceMs;
    std::atomic<std::uint64_t> askedAt = 0; ///< the tick at which the host has asked it to end; 0 before
    XCSmartPtr<XCThread> thread;            ///< from its start until it was joined; the host's thread only

    void SetStarted()
    {
        XCLockGuard<XCCriticalSection> const guard(section);
        threadId = XCThread::GetCurrentThreadID();
        started = running = true;
        startedEvent.post();
    }
    void SetEnded()
    {
        XCLockGuard<XCCriticalSection> const guard(section);
        running = false;
        ended.post();
    }
    [[nodiscard]] bool IsRunning()
    {
        XCLockGuard<XCCriticalSection> const guard(section);
        return running;
    }
    /// How long one look at `ended` may last.
    [[nodiscard]] unsigned int StepMs() const noexcept { return std::clamp(patienceMs.load(), 1u, kExitStepMs); }
};
