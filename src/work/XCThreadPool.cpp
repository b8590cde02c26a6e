// The public side of the pool, and loops shared out among its threads.
//
// The core has a life of its own (PoolCore.h): its threads hold it, so that the public object may go while they still
// run.
//
// A parallel loop takes its pieces from one counter. The caller works as well, so the loop ends even when the pool has
// no free thread, or is called on one of them. Eight pieces for each thread even out bodies of different length, at one
// atomic addition for each piece. The first failure leaves out the pieces that nobody has begun; one that has begun
// ends.
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
            // Each thread adds once more past the end, so `next` is never a count of what is done.
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
    // After the loop in this scope: its end waits for helpers that still refer to the loop, even when a Submit throws.
    XCTaskGroup group(*this);
    // A refused helper is no failure: the others, and the caller, take its pieces.
    for (std::size_t i = 0; i < helpers; ++i) group.Submit([&loop] { loop.Run(); });
    XCErrorID failure;
    try {
        loop.Run();
    } catch (...) {
        failure = xc::work::FailureOfTask();
    }
    // All pieces are taken. Helpers that have not begun would find none, and may have to wait for long tasks in the
    // queue.
    group.CancelRest();
    XCErrorID const ofHelpers = group.Wait();
    if (failure.Good() && ofHelpers == XCErrTaskFailed) failure = ofHelpers;
    if (failure.Bad()) throw XCException(failure);
}
