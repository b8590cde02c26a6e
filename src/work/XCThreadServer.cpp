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
    for (xc::work::Frame const* frame = xc::work::TopFrame(); frame; frame = frame->below)
        if (frame->executor == &Core() && frame->countsAsBlocked) return true;
    return false;
}

XCErrorID XCThreadServer::CallTask(XCSmartPtr<XCTask> const& task, unsigned int timeoutMs)
{
    if (IsOwnThread()) {
        Pool().RunInPlace(*task);
        return task->GetError();
    }
    if (XCErrorID const refused = Add(task); refused.Bad()) return refused;
    XCErrorID const result = task->Wait(timeoutMs);
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
