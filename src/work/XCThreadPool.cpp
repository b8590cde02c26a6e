#include <XelbrinCore/XCThreadPool.h>

#include "work/PoolCore.h"

#include <algorithm>

using xc::work::PoolCore;

namespace {

PoolCore* NewCore(unsigned int minimum, unsigned int maximum, XCString const& name, XCPoolOptions const& options)
{
    auto* const core = new PoolCore(minimum, maximum, name, options);
    core->AddRef();
    return core;
}

/// The pieces of a loop that several threads take from one counter.
struct Loop {
    std::size_t last, grain;
    std::function<void(std::size_t)> const& body;
    std::atomic<std::size_t> next;

    void Run()
    {
        for (;;) {
            std::size_t const from = next.fetch_add(grain, std::memory_order_relaxed);
            if (from >= last) return;
            RunPiece(from, last - from < grain ? last : from + grain);
        }
    }
    void RunPiece(std::size_t from, std::size_t to)
    try {
        for (std::size_t i = from; i < to; ++i) body(i);
    } catch (...) {
        next.store(last, std::memory_order_relaxed); // pieces not yet begun are left out
        throw;
    }
};

constexpr std::size_t kPiecesPerThread = 8;

} // namespace

XCThreadPool::XCThreadPool(unsigned int minimum, unsigned int maximum, XCString const& name,
                           XCPoolOptions const& options)
    : XCExecutor(NewCore(minimum, maximum, name, options))
{
}

XCThreadPool::~XCThreadPool()
{
    Pool().Abandon();
}

PoolCore& XCThreadPool::Pool() const noexcept
{
    return static_cast<PoolCore&>(Core());
}

XCErrorID XCThreadPool::Stop(unsigned int timeoutMs, XCStopQueued queued)
{
    return Pool().Stop(timeoutMs, queued);
}

XCErrorID XCThreadPool::WaitIdle(unsigned int timeoutMs)
{
    return Pool().WaitIdle(timeoutMs);
}

XCPoolStatistics XCThreadPool::GetStatistics() const
{
    return Pool().Statistics();
}

bool XCThreadPool::IsStopping() const noexcept
{
    return Pool().IsStopping();
}

void XCThreadPool::ParallelFor(std::size_t first, std::size_t last, std::function<void(std::size_t)> const& body,
                               std::size_t grain)
{
    if (first >= last) return;
    std::size_t const threads = Pool().Maximum();
    std::size_t const count = last - first;
    if (grain == 0) grain = std::max<std::size_t>(1, count / (threads * kPiecesPerThread));
    std::size_t const helpers = std::min(threads, (count - 1) / grain); // the caller takes a piece, too
    // Counted from 0: past the end the counter has room for one more step of each thread.
    std::function<void(std::size_t)> const shifted = [&](std::size_t i) { body(first + i); };
    Loop loop{count, grain, first == 0 ? body : shifted, 0};
    XCTaskGroup group(*this);
    for (std::size_t i = 0; i < helpers; ++i) group.Submit([&loop] { loop.Run(); });
    XCErrorID failure;
    try {
        loop.Run();
    } catch (...) {
        failure = xc::work::FailureOfTask();
    }
    group.CancelRest();
    XCErrorID const ofHelpers = group.Wait();
    if (failure.Good() && ofHelpers == XCErrTaskFailed) failure = ofHelpers;
    if (failure.Bad()) throw XCException(failure);
}
