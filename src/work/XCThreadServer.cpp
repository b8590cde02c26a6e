// A thread server is a pool of exactly one thread, so that order, waits, stop and failures are those of the pool.
//
// No spare thread ever stands in for it: callers rely on one thread, whose windows, apartment and thread-local data are
// its own. In a single-threaded apartment the thread also serves window messages while it waits (MessageEvent.h), since
// calls from other apartments arrive as messages.
#include <XelbrinCore/XCThreadServer.h>

#include "work/PoolCore.h"

using xc::work::PoolCore;

namespace {

/// A pool of exactly one thread, which stays.
PoolCore* NewServerCore(XCString const& name, XCComModel comModel, int threadPriority)
{
    XCPoolOptions options;
    options.spareThreads = 0;
    options.comModel = comModel;
    options.threadPriority = threadPriority;
    auto* const core = new PoolCore(1, 1, name, options, comModel == XCComApartmentThreaded);
    core->AddRef();
    return core;
}

} // namespace

XCThreadServer::XCThreadServer(XCString const& name, XCComModel comModel, int threadPriority)
    : XCExecutor(NewServerCore(name, comModel, threadPriority))
{
}

XCThreadServer::~XCThreadServer()
{
    Pool().Abandon();
}

PoolCore& XCThreadServer::Pool() const noexcept
{
    return static_cast<PoolCore&>(Core());
}

bool XCThreadServer::IsOwnThread() const noexcept
{
    // Any depth counts: a task that helps another executor still stands on this thread. A task of the server that a
    // foreign thread runs in its place (countsAsBlocked is false) does not.
    for (xc::work::Frame const* frame = xc::work::TopFrame(); frame; frame = frame->below)
        if (frame->executor == &Core() && frame->countsAsBlocked) return true;
    return false;
}

XCErrorID XCThreadServer::CallTask(XCSmartPtr<XCTask> const& task, unsigned int timeoutMs)
{
    if (IsOwnThread()) {
        // In the queue the call would wait for the task that makes it.
        Pool().RunInPlace(*task);
        return task->GetError();
    }
    if (XCErrorID const refused = Add(task); refused.Bad()) return refused;
    XCErrorID const result = task->Wait(timeoutMs);
    // The caller gives up: a call that has not begun must not run later, with references to a stack that has gone.
    if (!task->IsFinished()) task->Cancel();
    return result;
}

XCErrorID XCThreadServer::Stop(unsigned int timeoutMs, XCStopQueued queued)
{
    return Pool().Stop(timeoutMs, queued);
}

XCPoolStatistics XCThreadServer::GetStatistics() const
{
    return Pool().Statistics();
}
