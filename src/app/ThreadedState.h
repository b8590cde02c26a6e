// ThreadedState.h - the started and running flags of a threaded plug-in, under its lock.
#pragma once

#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>

struct XCThreadedRunPlugIn::State {
    XCCriticalSection section; ///< guards the flags
    bool started = false;
    bool running = false;
    XCEventSemaphore startedEvent;
    XCEventSemaphore ended;
    mutable XCEventSemaphore exitRequested;
    XCSmartPtr<XCThread> thread;

    void SetStarted()
    {
        XCLockGuard<XCCriticalSection> const guard(section);
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
};
