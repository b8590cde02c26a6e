// The threads of a pool: where the next task comes from, and when a thread sleeps or ends.
//
// A lock taken twice for each task costs more than most tasks. So a worker that finds a long queue takes its share of
// it ahead, at most eight tasks, into a ring of its own, and runs them without the lock. The ring is open: a worker
// that runs dry takes from others before it sleeps, a waiter claims its descendants there as it does in the queue, and
// Stop empties it. A task that a busy worker has ahead is never stuck: every so many turns a worker looks into the
// rings before it looks into the queue, which bounds by how many later tasks an earlier one can be passed.
//
// Urgent tasks come first even so: while there are some, workers leave their rings alone and look into the queue.
// Nothing is taken ahead from a queue with a limit, whose length must be exact, nor of low priority.
//
// Method: work stealing with small first-in first-out rings, as in schedulers of light threads; the common queue stays
// the place where all tasks from outside arrive, since most are submitted by threads that are no workers.
#include "work/PoolCore.h"

namespace xc::work {

namespace {

template <class Node>
void Link(Node*& first, Node& node) noexcept
{
    node.next = first;
    if (first) first->previous = &node;
    first = &node;
}

template <class Node>
void Unlink(Node*& first, Node& node) noexcept
{
    (node.previous ? node.previous->next : first) = node.next;
    if (node.next) node.next->previous = node.previous;
}

} // namespace

/// What a thread of the pool does.
void PoolCore::Work() noexcept
{
    // On the thread's own stack: a worker never outlives its thread, and others reach it only under the lock.
    Worker worker;
    {
        std::lock_guard const hold(m_lock);
        // A thread has started after all: the pool may count on it again.
        m_cannotStart = false;
        Link(m_workers, worker);
    }
    while (XCTask* const task = Next(worker)) RunOn(worker, *task);
}

/// The next task, whose reference goes to the caller. Null: the thread ends, and has left the pool.
XCTask* PoolCore::Next(Worker& worker) noexcept
{
    if (!m_detour.load(std::memory_order_relaxed))
        if (XCTask* const task = worker.ring.Take()) return task;
    std::unique_lock hold(m_lock);
    for (;;) {
        bool const tooMany = m_threads - m_blocked > m_maximum; // the task that this thread stood in for goes on
        XCTask* const task = tooMany ? worker.ring.Take() : Pick(worker);
        if (task) return task;
        if (tooMany || !AwaitWork(hold)) break;
    }
    Leave(worker);
    return nullptr;
}

/// With the lock.
XCTask* PoolCore::Pick(Worker& worker) noexcept
{
    // Tasks that are still in the lists and rings belong to Stop, which ends them with its reason.
    if (m_stopping && !m_draining) return nullptr;
    if (XCTask* const urgent = Pop(XCTaskPriority::High)) return urgent;
    if (XCTask* const ahead = worker.ring.Take()) return ahead;
    if (++m_picks % m_threads == 0)
        if (XCTask* const passed = Steal()) return passed;
    if (XCTask* const task = Pop(XCTaskPriority::Normal)) {
        TakeAhead(worker);
        return task;
    }
    if (XCTask* const stolen = Steal()) return stolen;
    return Pop(XCTaskPriority::Low);
}

/// With the lock and an empty ring.
void PoolCore::TakeAhead(Worker& worker) noexcept
{
    if (m_options.queueLimit != 0 || m_idle > 0) return;
    std::size_t const share = m_lists[static_cast<std::size_t>(XCTaskPriority::Normal)].Count() / m_threads;
    for (std::size_t n = std::min<std::size_t>(share, TaskRing::kSize); n > 0; --n)
        worker.ring.Put(*Pop(XCTaskPriority::Normal));
}

void PoolCore::RunOn(Worker& worker, XCTask& task) noexcept
{
    if (TaskAccess::Move(task, XCTaskState::Queued, XCTaskState::Running)) {
        worker.current.store(&task, std::memory_order_release);
        Frame frame{&task, this, this, true};
        if (RunTask(frame)) worker.failed.store(worker.failed + 1, std::memory_order_relaxed);
        worker.done.store(worker.done + 1, std::memory_order_relaxed);
        worker.current.store(nullptr, std::memory_order_seq_cst);
        // Whoever describes running tasks holds the lock and may be reading the name of this one.
        if (m_reporting.load(std::memory_order_seq_cst)) std::lock_guard const pass(m_lock);
    }
    task.Release();
}

/// With the lock. @return false when the thread is to end.
bool PoolCore::AwaitWork(std::unique_lock<win32::SlimLock>& hold) noexcept
{
    if (m_stopping) return false;
    ++m_resting;
    // Counted under the lock, where Add reads it: a task that comes now finds a watcher, and needs no wake.
    m_spinning.fetch_add(1, std::memory_order_relaxed);
    if (m_changeWaiters > 0) m_change.WakeAll();
    hold.unlock();
    bool const found = LookAWhile([this] { return m_queued.load(std::memory_order_relaxed) > 0; });
    hold.lock();
    m_spinning.fetch_sub(1, std::memory_order_relaxed);
    // Looked at once more under the lock: a task that Add gave to the watchers stands in the list by now.
    bool again = found || m_queued > 0 || m_stopping || Ahead() > 0;
    if (!again) {
        ++m_idle;
        bool woken = true;
        if (m_messages) {
            hold.unlock();
            // An event keeps a signal that comes between the unlock and the wait.
            m_messages->Wait(XCInfinite);
            hold.lock();
        } else
            woken = m_work.Wait(m_lock, m_threads > m_minimum ? m_options.idleMs : XCInfinite);
        --m_idle;
        // A sleeper whose time ran out may count off a wake that was meant for another. It looks at the queue itself
        // then, so that no task waits for the loss.
        if (m_wakes > 0) --m_wakes;
        again = woken || m_queued > 0 || m_threads <= m_minimum;
    }
    --m_resting;
    return again;
}

/// With the lock; the ring is empty.
void PoolCore::Leave(Worker& worker) noexcept
{
    Unlink(m_workers, worker);
    m_statistics.done += worker.done.load(std::memory_order_relaxed);
    m_statistics.failed += worker.failed.load(std::memory_order_relaxed);
    --m_threads;
    // This thread may have been woken for a task and leaves by another rule: the wake goes on to the next one.
    if (m_queued > 0 && m_wakes < m_idle) ++m_wakes, WakeWorker();
    m_change.WakeAll();
}

/// Runs a task in the state Running on a thread that does not serve the queue, and gives its reference back.
void PoolCore::RunHere(XCTask& task, std::uint64_t XCPoolStatistics::*count) noexcept
{
    Frame const* const top = TopFrame();
    // The calling thread is no runner of this pool by this task, so its sleep takes no runner away.
    Guest guest{{&task, this, top ? top->pool : nullptr, false}};
    {
        std::lock_guard const hold(m_lock);
        ++(m_statistics.*count);
        Link(m_guests, guest);
        ++m_guestCount;
    }
    bool const failed = RunTask(guest.frame);
    {
        std::lock_guard const hold(m_lock);
        Unlink(m_guests, guest);
        --m_guestCount;
        ++m_statistics.done;
        if (failed) ++m_statistics.failed;
        if (m_changeWaiters > 0) m_change.WakeAll();
    }
    task.Release();
}

void PoolCore::Help(XCTask& task) noexcept
{
    RunHere(task, &XCPoolStatistics::helped);
}

void PoolCore::RunInPlace(XCTask& task) noexcept
{
    // The task never stands in a queue, and so has to be given its executor here.
    if (!TaskAccess::Move(task, XCTaskState::New, XCTaskState::Running)) return;
    TaskAccess::Executor(task) = this;
    task.AddRef();
    RunHere(task, &XCPoolStatistics::callerRan);
}

} // namespace xc::work
