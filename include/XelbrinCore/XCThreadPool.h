// XCThreadPool.h - threads that share a queue of tasks, and queues that keep order on top of them.
//
// WHAT     XCThreadPool runs tasks (XCTask.h) on a minimum to a maximum of threads, all of them XCThreads with the
//          pool's name. XCSerialQueue runs its tasks one after the other on the threads of a pool, without one of its
//          own.
// THREADS  Start with the work: a thread is added when a task comes and none is idle, up to the maximum. One that has
//          been idle for a while ends, down to the minimum. While a task sleeps in a wait for other tasks, the pool may
//          run a spare thread in its place.
// FULL     A limit for the queue is an option. At the limit Submit blocks, refuses, or runs the task itself. A thread
//          of the pool never blocks there: it runs the task itself.
// STOP     Stop takes no more tasks, cancels the queued ones (or runs them), asks the running ones (IsCancelAsked) and
//          waits for them until a deadline. After it has succeeded no task of the pool runs or will run. Called by a
//          task of the pool, it does not wait for that task, nor for queued ones that no other thread could run.
// FAILURE  When no thread can be started and none is there, what is queued is refused with XCErrNoThread.
// LIFETIME Counted. The end of the object does as Stop does, and waits for nobody: a task that blocks for ever must not
//          hang the end of a program or module. Call Stop before what tasks use goes away, and before the module goes
//          whose code they run. Threads are never joined in static destructors.
// COST     Submit to done some microseconds; a thread's start 1 to 2 ms. A thread that runs dry looks for some 10 us
//          before it sleeps; an idle pool does nothing at all.
// MANY     Any thread may call everything here.
#pragma once

#include <XelbrinCore/XCTask.h>
#include <XelbrinCore/XCThread.h>

#include <cstdint>
#include <functional>

namespace xc::work {
class PoolCore;
class SerialCore;
} // namespace xc::work

/// How Submit treats a full queue.
enum class XCPoolFull {
    Block,     ///< waits for room
    Reject,    ///< refuses with XCErrQueueFull
    CallerRuns ///< runs the task on the calling thread
};

/// How Stop treats tasks that have not begun.
enum class XCStopQueued {
    Cancel, ///< they end as Cancelled, with XCErrExecutorStopped
    Run     ///< they run first
};

/// The less common settings of a pool.
struct XCPoolOptions {
    std::size_t queueLimit = 0;              ///< the most queued tasks; 0: no limit
    XCPoolFull whenFull = XCPoolFull::Block; ///< how Submit treats a full queue
    unsigned int spareThreads = 16;          ///< the most threads beyond the maximum, in place of tasks that wait
    unsigned int idleMs = 30000;             ///< how long a thread stays idle before it ends
    int threadPriority = 0;                  ///< as XCThread::Start takes it
    XCComModel comModel = XCComNone;         ///< the apartment of the threads; XCComNone: as XCThread chooses
};

/// What a pool has done, at one moment.
struct XCPoolStatistics {
    unsigned int threads = 0;      ///< alive
    unsigned int idle = 0;         ///< without a task, asleep or about to be
    unsigned int blocked = 0;      ///< asleep in a wait for other tasks
    std::size_t queued = 0;        ///< tasks that have not begun
    std::size_t longestQueue = 0;  ///< the most in the common queue so far
    std::uint64_t submitted = 0;   ///< tasks taken
    std::uint64_t done = 0;        ///< tasks that have run, failed ones included
    std::uint64_t failed = 0;      ///< tasks that an exception has left
    std::uint64_t refused = 0;     ///< tasks not taken
    std::uint64_t callerRan = 0;   ///< tasks that ran on the thread that submitted them
    std::uint64_t helped = 0;      ///< tasks that ran inside a wait
    std::uint64_t spareStarts = 0; ///< threads started beyond the maximum
};

/// Threads with a queue (see the head of this file).
class XC_API XCThreadPool : public XCExecutor {
public:
    /// @param minimum threads that stay once they were needed.  @param maximum 0: one for each processor.
    /// @param name    of the threads, and in errors.
    explicit XCThreadPool(unsigned int minimum = 0, unsigned int maximum = 0, XCString const& name = L"pool",
                          XCPoolOptions const& options = {});
    ~XCThreadPool() override;

    /// See STOP above. A later call may wait again.
    /// @return XCErrStillRunning (the names of what runs) when the deadline has passed.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite, XCStopQueued queued = XCStopQueued::Cancel);
    /// Waits until nothing is queued and nothing runs. On a thread of the pool: XCErrWaitCycle.
    XCErrorID WaitIdle(unsigned int timeoutMs = XCInfinite);

    /// Calls body(i) for first <= i < last, in pieces, on the calling thread and on those of the pool; returns when all
    /// calls have ended. Indices of one piece come in order.
    /// @param grain indices of one piece; 0: so many that each thread gets several pieces.
    /// @throws XCException with the text of the first exception that left a call; pieces not yet begun are left out.
    void ParallelFor(std::size_t first, std::size_t last, std::function<void(std::size_t)> const& body,
                     std::size_t grain = 0);

    /// What it has done so far.
    [[nodiscard]] XCPoolStatistics GetStatistics() const;
    /// Whether Stop was called.
    [[nodiscard]] bool IsStopping() const noexcept;

private:
    [[nodiscard]] xc::work::PoolCore& Pool() const noexcept;
};

/// Tasks in the order of submission, one at a time, on the threads of another executor: where a lock would be held for
/// long, give the guarded object a serial queue. Priorities have no effect.
///
/// Between its tasks other work of the executor gets its turn. The object may go while tasks are queued: they still
/// run. A task that waits for a later task of its own queue gets XCErrWaitCycle.
class XC_API XCSerialQueue : public XCExecutor {
public:
    /// Keeps the executor alive.
    explicit XCSerialQueue(XCSmartPtr<XCExecutor> const& executor, XCString const& name = L"queue");
    ~XCSerialQueue() override;

    /// Takes no more tasks, cancels the queued ones and waits for the one that runs, unless it is the caller.
    /// @return XCErrStillRunning when the deadline has passed.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite);

private:
    [[nodiscard]] xc::work::SerialCore& Serial() const noexcept;
};
