// XCThreadServer.h - one thread that runs tasks in their order: a home for objects that belong to one thread.
//
// WHAT     An executor (XCTask.h) with a single XCThread: Submit gives it work, Call gives it work and waits for it.
//          Everything runs on the same thread, so objects that only this thread uses need no locks.
// COM      The thread may enter an apartment. In a single-threaded apartment it serves the messages of its windows
//          while it waits: for work, and inside a task in XCTask::Wait, XCTaskGroup::Wait and Call.
// LIFETIME Counted. The thread starts with the first task and stays until Stop. The end of the object stops it without
//          waiting: call Stop before what its tasks use goes away.
// COST     Submit to done about 10 us; the thread's start 1 to 2 ms. An idle server does nothing at all.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCTask.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCThreadPool.h>

/// A thread with a queue (see the head of this file).
class XC_API XCThreadServer : public XCExecutor {
public:
    /// @param name     of the thread, and in errors.
    /// @param comModel the apartment of the thread; XCComNone: as XCThread chooses.
    explicit XCThreadServer(XCString const& name = L"server", XCComModel comModel = XCComNone, int threadPriority = 0);
    ~XCThreadServer() override;

    /// Runs a function on the server's thread and waits until it has ended; on that thread it runs at once.
    /// @param timeoutMs when it has passed, a function that has not begun is taken back, and one that runs goes on: it
    ///                  must own what it uses.
    /// @return XCErrTimedOut, XCErrExecutorStopped, XCErrTaskFailed with the text of what the function threw.
    template <class F>
    XCErrorID Call(F&& function, unsigned int timeoutMs = XCInfinite)
    {
        return CallTask(XCMakeTask(std::forward<F>(function)).GetPtr(), timeoutMs);
    }
    /// Whether the caller is the server's thread.
    [[nodiscard]] bool IsOwnThread() const noexcept;
    /// Takes no more tasks, cancels or runs the queued ones, and waits for the thread's end, unless it is the caller.
    /// After success no task of the server runs or will run.
    /// @return XCErrStillRunning (the name of the task) when the deadline has passed.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite, XCStopQueued queued = XCStopQueued::Cancel);
    /// What it has done so far.
    [[nodiscard]] XCPoolStatistics GetStatistics() const;

private:
    XCErrorID CallTask(XCSmartPtr<XCTask> const& task, unsigned int timeoutMs);
    [[nodiscard]] xc::work::PoolCore& Pool() const noexcept;
};
