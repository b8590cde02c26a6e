// The pool's queue: tasks come in, room, the number of threads, the stop. PoolWork.cpp has the threads' side.
//
// One lock, three lists (priorities) and one signal. A hand-over to a thread that sleeps costs a few microseconds, and
// some ten nanoseconds to one that is awake; so a thread that runs dry looks at the queue a little longer before it
// sleeps, and Add wakes somebody only when nobody looks.
//
// Threads are counted when they are reserved, before they exist, so that the sum of reserved threads never passes the
// limit. A thread may be added when fewer than the maximum are awake (m_threads - m_blocked) and fewer than the maximum
// and the spares exist. When a sleeping task goes on, one awake thread is too many; the next thread that has ended a
// task retires. When a thread cannot start and no other is there, everything queued is refused with the reason.
//
// INVARIANT While a thread is idle, no worker has tasks ahead: a worker takes some only when nobody is idle, and a
//           thread becomes idle only when the lists and all rings are empty, both under the lock.
#include "work/PoolCore.h"

#include "errors/CoreError.h"
#include "work/OwnThread.h"
#include "work/TaskBoard.h"

namespace xc::work {

PoolCore::PoolCore(unsigned int minimum, unsigned int maximum, XCString const& name, XCPoolOptions const& options,
                   bool withMessages)
    : ExecutorCore(name), m_minimum(minimum),
      m_maximum(std::max(minimum, maximum != 0 ? maximum : win32::ProcessorCount())), m_options(options),
      m_messages(withMessages ? new win32::MessageEvent : nullptr)
{
}

PoolCore::~PoolCore()
{
    theBoard.Pass();
}

XCErrorID PoolCore::Add(XCTask& task)
{
    bool grow = false, wake = false;
    {
        std::unique_lock hold(m_lock);
        XCErrorID refused;
        Room const room = MakeRoom(hold, refused);
        if (room == Room::Refused) return refused;
        ++m_statistics.submitted;
        if (room == Room::RunHere) {
            hold.unlock();
            // Cancelled in the moment without the lock: it is over, which is no refusal.
            if (!TaskAccess::Move(task, XCTaskState::Queued, XCTaskState::Running)) return XCErrorID::Success;
            task.AddRef();
            RunHere(task, &XCPoolStatistics::callerRan);
            return XCErrorID::Success;
        }
        Push(task);
        // As many threads look at the queue as tasks stand in it: each task is found without a wake, which costs
        // microseconds.
        bool const watched = m_spinning.load(std::memory_order_relaxed) >= m_queued.load(std::memory_order_relaxed);
        // m_wakes counts wakes under way, so that one sleeper is not woken for two tasks.
        wake = !watched && m_idle > m_wakes;
        if (wake) ++m_wakes;
        grow = !watched && !wake && MayGrow();
        // Counted under the lock, started without it: a start takes a millisecond, and a second caller must not start
        // one too many.
        if (grow) Reserve();
    }
    // After the lock was given back, or the woken thread would at once wait for it.
    if (wake) WakeWorker();
    if (!grow) return XCErrorID::Success;
    XCErrorID const failure = StartReserved();
    // The queue took the task, so a failed start matters only when no other thread was there and the task was refused
    // with it.
    return task.GetState() == XCTaskState::Cancelled ? failure : XCErrorID();
}

/// With the lock; a blocked caller gives it back meanwhile.
PoolCore::Room PoolCore::MakeRoom(std::unique_lock<win32::SlimLock>& hold, XCErrorID& refused)
{
    bool const full = m_options.queueLimit != 0 && m_queued >= m_options.queueLimit;
    if (!full && !m_stopping) return Room::Queue;
    // A thread of the pool that waited for room would wait for itself, once all of them do: it runs the task instead.
    // While the pool drains, tasks may still submit what they need to end.
    Frame const* const top = TopFrame();
    bool const own = top && top->pool == this;
    while (!m_stopping || (m_draining && own)) {
        if (m_options.queueLimit == 0 || m_queued < m_options.queueLimit) return Room::Queue;
        if (m_options.whenFull == XCPoolFull::CallerRuns || own) return Room::RunHere;
        if (m_options.whenFull == XCPoolFull::Reject) {
            ++m_statistics.refused;
            hold.unlock();
            // The lock is free meanwhile: making an error allocates.
            refused = errors::MakeCoreError(XCErrQueueFull, Name(), static_cast<long>(m_options.queueLimit));
            return Room::Refused;
        }
        ++m_roomWaiters;
        // Another caller may take the room first, or a stop come: the loop looks at all of it again.
        bool const inTime = m_room.Wait(m_lock, XCInfinite);
        --m_roomWaiters;
        if (!inTime) break; // the process ends
    }
    ++m_statistics.refused;
    hold.unlock();
    refused = errors::MakeCoreError(XCErrExecutorStopped, Name());
    return Room::Refused;
}

/// With the lock.
void PoolCore::Push(XCTask& task) noexcept
{
    task.AddRef();
    XCTaskPriority const priority = task.GetPriority();
    m_lists[static_cast<std::size_t>(priority)].PushBack(task);
    // Workers look into their rings without the lock; the flag sends them to the queue first.
    if (priority == XCTaskPriority::High) m_detour.store(true, std::memory_order_relaxed);
    std::size_t const queued = m_queued.load(std::memory_order_relaxed) + 1;
    m_queued.store(queued, std::memory_order_relaxed);
    m_statistics.longestQueue = std::max(m_statistics.longestQueue, queued);
}

/// With the lock. The next task of a list; the reference goes to the caller.
XCTask* PoolCore::Pop(XCTaskPriority priority) noexcept
{
    TaskList& list = m_lists[static_cast<std::size_t>(priority)];
    XCTask* const task = list.PopFront();
    if (!task) return nullptr;
    m_queued.store(m_queued.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    // The last urgent task ends the detour, unless a stop wants the workers at the queue.
    if (priority == XCTaskPriority::High && list.IsEmpty()) m_detour.store(m_stopping, std::memory_order_relaxed);
    if (m_roomWaiters > 0) m_room.WakeOne();
    return task;
}

/// With the lock. A task that some worker has taken ahead.
/// The rings are their workers' and lock-free, while the list of workers needs the lock. The oldest of a ring comes
/// first.
XCTask* PoolCore::Steal() noexcept
{
    for (Worker* worker = m_workers; worker; worker = worker->next)
        if (XCTask* const task = worker->ring.Take()) return task;
    return nullptr;
}

/// With the lock. How many tasks workers have taken ahead.
std::size_t PoolCore::Ahead() const noexcept
{
    std::size_t ahead = 0;
    for (Worker const* worker = m_workers; worker; worker = worker->next) ahead += worker->ring.Size();
    return ahead;
}

void PoolCore::TakeOut(XCTask& task) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        if (!TaskAccess::Linked(task)) return; // in a ring: who takes it there finds it claimed
        m_lists[static_cast<std::size_t>(task.GetPriority())].Remove(task);
        m_queued.store(m_queued.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
        if (m_roomWaiters > 0) m_room.WakeOne();
        // A cancelled task may have been the last one that WaitIdle or Stop waits for.
        if (m_changeWaiters > 0) m_change.WakeAll();
    }
    task.Release(); // the claimer holds one of its own
}

/// Sleepers do not count against the maximum, but against the spares: deep waits cannot make threads without end. A
/// pool that drains may still grow, or its queued tasks could wait for ever for those that sleep.
bool PoolCore::MayGrow() const noexcept
{
    return m_threads - m_blocked < m_maximum && m_threads < m_maximum + m_options.spareThreads &&
           (!m_stopping || m_draining);
}

bool PoolCore::HasFreeRunner() noexcept
{
    std::lock_guard const hold(m_lock);
    // Asked with the board's lock held: the order is board first, executor second, everywhere.
    return m_blocked < m_threads || (MayGrow() && !m_cannotStart);
}

bool PoolCore::NoteBlocked(int change) noexcept
{
    std::lock_guard const hold(m_lock);
    m_blocked += static_cast<unsigned int>(change);
    // Tasks in rings count: the ring of the thread that goes to sleep is open to the new one.
    bool const start = change > 0 && m_idle == 0 && MayGrow() && (m_queued > 0 || Ahead() > 0);
    if (start) Reserve();
    return start;
}

void PoolCore::StartSpare() noexcept
{
    (void)StartReserved();
}

/// With the lock.
void PoolCore::Reserve() noexcept
{
    if (m_threads++ >= m_maximum) ++m_statistics.spareStarts;
}

/// Starts the thread that was reserved. A failure gives the place back.
XCErrorID PoolCore::StartReserved() noexcept
{
    XCErrorID const failure =
        StartThreadOf(*this, &PoolCore::Work, Name(), m_options.threadPriority, m_options.comModel);
    if (failure.Good()) return failure;
    bool alone = false;
    {
        std::lock_guard const hold(m_lock);
        // Remembered for the question whether a wait can end: a pool that can start nobody has no free runner. A worker
        // that starts later clears it.
        m_cannotStart = true;
        alone = --m_threads == 0;
        m_change.WakeAll();
    }
    if (alone) RefuseQueued(failure); // nobody else would take them
    return failure;
}

void PoolCore::WakeWorker() noexcept
{
    // A thread with windows sleeps in its message wait, where the signal of the queue would not reach it.
    if (m_messages)
        m_messages->Set();
    else
        m_work.WakeOne();
}

void PoolCore::Abandon() noexcept
{
    if (win32::IsProcessEnding()) return; // there are no threads any more, and a lock may be held for ever
    try {
        (void)Stop(0, XCStopQueued::Cancel);
    } catch (...) { // no memory to tell what still runs
    }
}

XCErrorID PoolCore::Stop(std::uint32_t timeoutMs, XCStopQueued queued)
{
    Deadline const deadline(timeoutMs);
    {
        std::lock_guard const hold(m_lock);
        m_draining = queued == XCStopQueued::Run;
        m_stopping = true;
        // Workers with tasks ahead come to the queue, and there learn of the stop.
        m_detour = true;
        m_work.WakeAll();
        if (m_messages) m_messages->Set();
        m_room.WakeAll();
    }
    if (queued == XCStopQueued::Cancel) RefuseQueued(errors::MakeCoreError(XCErrExecutorStopped, Name()));
    unsigned int guests = 0, workers = 0; // frames of the caller; a thread is a worker of its pool once
    for (Frame const* frame = TopFrame(); frame; frame = frame->below)
        if (frame->executor == this) (frame->countsAsBlocked ? workers : guests) += 1;
    bool const onWorker = workers > 0;
    // The caller's thread serves nobody while it waits here: another may run in its place.
    if (onWorker && NoteBlocked(1)) StartSpare();
    bool over = false;
    {
        std::lock_guard const hold(m_lock);
        ++m_changeWaiters;
        m_stoppers += workers;
        // Another stop may wait for this thread, which counts as a stopper from now on.
        m_change.WakeAll();
        // On a worker that nobody stands in for, the queued tasks run when the caller's has ended.
        auto const isOver = [&] {
            bool const empty = onWorker || (m_queued == 0 && Ahead() == 0);
            return empty && m_threads <= m_stoppers && m_guestCount <= guests;
        };
        over = WaitUntil(m_change, m_lock, deadline, isOver);
        --m_changeWaiters;
        m_stoppers -= workers;
        m_blocked -= workers;
    }
    return over ? XCErrorID() : errors::MakeCoreError(XCErrStillRunning, Name(), DescribeRunning());
}

/// One task at a time: ending a task runs code of the program (destructors, waiters), which must not happen under the
/// lock. Tasks ahead in rings are refused, too; who has already begun is not touched.
void PoolCore::RefuseQueued(XCErrorID const& why) noexcept
{
    for (;;) {
        XCTask* task = nullptr;
        {
            std::lock_guard const hold(m_lock);
            for (XCTaskPriority const priority : {XCTaskPriority::High, XCTaskPriority::Normal, XCTaskPriority::Low})
                if (!task) task = Pop(priority);
            if (!task) task = Steal();
        }
        if (!task) break;
        Refuse(*task, why);
        task->Release();
    }
    std::lock_guard const hold(m_lock);
    m_change.WakeAll();
}

bool PoolCore::IsIdle() const noexcept
{
    // A resting worker has an empty ring: it looked for work and found none (see the invariant above).
    return m_queued == 0 && m_guestCount == 0 && m_resting == m_threads;
}

XCErrorID PoolCore::WaitIdle(std::uint32_t timeoutMs)
{
    for (Frame const* frame = TopFrame(); frame; frame = frame->below)
        // The caller's own task would have to end first.
        if (frame->executor == this)
            return errors::MakeCoreError(XCErrWaitCycle, XCString(L"a task of the pool waits for all its tasks"));
    Deadline const deadline(timeoutMs);
    std::lock_guard const hold(m_lock);
    ++m_changeWaiters;
    bool const idle = WaitUntil(m_change, m_lock, deadline, [this] { return IsIdle(); });
    --m_changeWaiters;
    return idle ? XCErrorID() : errors::MakeCoreError(XCErrTimedOut);
}

/// A worker passes the lock before it releases a task while somebody reports (RunOn): a task that is seen here stays.
XCString PoolCore::DescribeRunning() noexcept
try {
    std::lock_guard const hold(m_lock);
    // In one order with the worker's store of `current` and its look at m_reporting: either the worker sees the report
    // and waits for the lock before it releases, or this loop sees that the task is gone.
    m_reporting.store(true, std::memory_order_seq_cst);
    XCString text;
    auto const tell = [&text](XCTask const& task) {
        if (!text.IsNull()) text += L", ";
        text += task.GetName().IsNull() ? XCString(L"a task") : task.GetName();
    };
    for (Guest const* guest = m_guests; guest; guest = guest->next) tell(*guest->frame.task);
    for (Worker const* worker = m_workers; worker; worker = worker->next)
        if (XCTask const* const task = worker->current.load(std::memory_order_seq_cst)) tell(*task);
    m_reporting.store(false, std::memory_order_seq_cst);
    return text;
} catch (...) {
    // No memory for the names: the report stays empty, but workers must not pass through the lock from now on.
    m_reporting.store(false, std::memory_order_seq_cst);
    return {};
}

XCPoolStatistics PoolCore::Statistics() noexcept
{
    std::lock_guard const hold(m_lock);
    XCPoolStatistics now = m_statistics;
    now.threads = m_threads;
    now.idle = m_resting;
    now.blocked = m_blocked;
    now.queued = m_queued + Ahead();
    // Each worker counts on its own stack, without the lock; only a reader adds up. The sum may miss a task or two that
    // end at this moment.
    for (Worker const* worker = m_workers; worker; worker = worker->next) {
        now.done += worker->done.load(std::memory_order_relaxed);
        now.failed += worker->failed.load(std::memory_order_relaxed);
    }
    return now;
}

} // namespace xc::work
