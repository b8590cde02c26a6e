// The pool's queue.
//
// One lock, three lists (priorities) and one signal. Every hand-over under Wine and Windows costs a few microseconds
// once a thread sleeps, and some ten nanoseconds while it is awake; so a thread that runs dry looks at the queue a
// little longer before it sleeps, and Submit wakes somebody only when nobody looks. Tasks are taken one by one, never
// in batches: a task that sat in the batch of a thread that waits could not be helped with.
//
// Threads are counted when they are reserved, before they exist, so that the sum of reserved threads never passes the
// limit. A thread may be added when fewer than the maximum are awake (m_threads - m_blocked) and fewer than the maximum
// and the spares exist. When a sleeping task goes on, one awake thread is too many; the next thread that has ended a
// task retires.
#include "work/PoolCore.h"

#include "errors/CoreError.h"
#include "errors/ExceptionText.h"
#include "work/TaskBoard.h"

namespace xc::work {

namespace {

/// How often a thread that runs dry looks again before it sleeps: some 10 us.
constexpr int kLooks = 300;

} // namespace

PoolCore::PoolCore(unsigned int minimum, unsigned int maximum, XCString const& name, XCPoolOptions const& options,
                   bool withMessages)
    : ExecutorCore(name), m_minimum(minimum),
      m_maximum(std::max(minimum, maximum != 0 ? maximum : win32::ProcessorCount())), m_options(options),
      m_messages(withMessages ? new win32::MessageEvent : nullptr)
{
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
            if (!TaskAccess::Move(task, XCTaskState::Queued, XCTaskState::Running)) return XCErrorID::Success;
            task.AddRef();
            RunHere(task, &XCPoolStatistics::callerRan);
            return XCErrorID::Success;
        }
        task.AddRef();
        m_lists[static_cast<std::size_t>(task.GetPriority())].PushBack(task);
        std::size_t const queued = m_queued.load(std::memory_order_relaxed) + 1;
        m_queued.store(queued, std::memory_order_relaxed);
        m_statistics.longestQueue = std::max(m_statistics.longestQueue, queued);
        bool const watched = m_spinning.load(std::memory_order_relaxed) >= queued;
        wake = !watched && m_idle > m_wakes;
        if (wake) ++m_wakes;
        grow = !watched && !wake && MayGrow();
        if (grow) Reserve();
    }
    if (wake) WakeWorker();
    if (!grow) return XCErrorID::Success;
    XCErrorID const failure = StartReserved();
    if (failure.Good()) return failure;
    std::lock_guard const hold(m_lock);
    return m_threads > 0 ? XCErrorID() : failure; // other threads will take it; the list drops a refused task later
}

/// With the lock; a blocked caller gives it back meanwhile.
PoolCore::Room PoolCore::MakeRoom(std::unique_lock<win32::SlimLock>& hold, XCErrorID& refused)
{
    Frame const* const top = TopFrame();
    bool const own = top && top->pool == this;
    while (!m_stopping || (m_draining && own)) {
        if (m_options.queueLimit == 0 || m_queued < m_options.queueLimit) return Room::Queue;
        if (m_options.whenFull == XCPoolFull::CallerRuns || own) return Room::RunHere;
        if (m_options.whenFull == XCPoolFull::Reject) {
            ++m_statistics.refused;
            hold.unlock();
            refused = errors::MakeCoreError(XCErrQueueFull, Name(), static_cast<long>(m_options.queueLimit));
            return Room::Refused;
        }
        ++m_roomWaiters;
        m_room.Wait(m_lock, XCInfinite);
        --m_roomWaiters;
    }
    ++m_statistics.refused;
    hold.unlock();
    refused = errors::MakeCoreError(XCErrExecutorStopped, Name());
    return Room::Refused;
}

void PoolCore::TakeOut(XCTask& task) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        if (!TaskAccess::Linked(task)) return;
        m_lists[static_cast<std::size_t>(task.GetPriority())].Remove(task);
        m_queued.store(m_queued.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
        if (m_roomWaiters > 0) m_room.WakeOne();
        if (m_changeWaiters > 0) m_change.WakeAll();
    }
    task.Release(); // the claimer holds one of its own
}

/// With the lock. The next task that nobody else has claimed; the reference goes to the caller.
XCTask* PoolCore::Pop() noexcept
{
    for (TaskList& list : m_lists)
        if (XCTask* const task = list.PopFront()) {
            m_queued.store(m_queued.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
            if (m_roomWaiters > 0) m_room.WakeOne();
            return task;
        }
    return nullptr;
}

bool PoolCore::MayGrow() const noexcept
{
    return m_threads - m_blocked < m_maximum && m_threads < m_maximum + m_options.spareThreads &&
           (!m_stopping || m_draining);
}

bool PoolCore::HasFreeRunner() noexcept
{
    std::lock_guard const hold(m_lock);
    return m_blocked < m_threads || MayGrow();
}

bool PoolCore::NoteBlocked(int change) noexcept
{
    std::lock_guard const hold(m_lock);
    m_blocked += static_cast<unsigned int>(change);
    bool const start = change > 0 && m_queued > 0 && m_idle == 0 && MayGrow();
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
    XCErrorID failure;
    try {
        XCSmartPtr<PoolCore> const self(this);
        XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback([self] { self->Work(); })));
        thread->SetName(Name());
        thread->SetDeleteOnEnd(true);
        if (m_options.comModel != XCComNone) thread->SetComModel(m_options.comModel);
        failure = thread->Start(m_options.threadPriority);
        if (failure.Bad()) failure = errors::MakeCoreError(XCErrNoThread, Name(), errors::MessageOf(failure));
    } catch (...) {
        failure = FailureOfTask();
    }
    if (failure.Good()) return failure;
    std::lock_guard const hold(m_lock);
    --m_threads;
    m_change.WakeAll();
    return failure;
}

/// What a thread of the pool does. One lock a task: it ends the last one and takes the next.
void PoolCore::Work() noexcept
{
    std::unique_lock hold(m_lock);
    while (m_threads - m_blocked <= m_maximum) { // else the task that this thread stood in for goes on
        XCTask* const task = m_stopping && !m_draining ? nullptr : Pop();
        if (!task && AwaitWork(hold)) continue;
        if (!task) break;
        if (TaskAccess::Move(*task, XCTaskState::Queued, XCTaskState::Running)) {
            Runner runner{{task, this, this, true}};
            Begin(runner);
            hold.unlock();
            bool const failed = RunTask(runner.frame);
            hold.lock();
            End(runner, failed);
        }
        hold.unlock();
        task->Release();
        hold.lock();
    }
    --m_threads;
    if (m_queued > 0 && m_wakes < m_idle) ++m_wakes, WakeWorker();
    m_change.WakeAll();
}

/// With the lock. @return false when the thread is to end.
bool PoolCore::AwaitWork(std::unique_lock<win32::SlimLock>& hold) noexcept
{
    if (m_stopping) return false;
    m_spinning.fetch_add(1, std::memory_order_relaxed);
    hold.unlock();
    bool const found = Spin();
    hold.lock();
    m_spinning.fetch_sub(1, std::memory_order_relaxed);
    if (found || m_queued > 0 || m_stopping) return true;
    ++m_idle;
    if (m_changeWaiters > 0) m_change.WakeAll();
    bool woken = true;
    if (m_messages) {
        hold.unlock();
        m_messages->Wait(XCInfinite);
        hold.lock();
    } else
        woken = m_work.Wait(m_lock, m_threads > m_minimum ? m_options.idleMs : XCInfinite);
    --m_idle;
    if (m_wakes > 0) --m_wakes;
    return woken || m_queued > 0 || m_threads <= m_minimum;
}

void PoolCore::WakeWorker() noexcept
{
    if (m_messages)
        m_messages->Set();
    else
        m_work.WakeOne();
}

bool PoolCore::Spin() const noexcept
{
    for (int look = 0; look < kLooks; ++look) {
        if (m_queued.load(std::memory_order_relaxed) > 0) return true;
        win32::Pause();
    }
    return false;
}

/// Runs a task in the state Running on a thread that does not serve the queue, and gives its reference back.
void PoolCore::RunHere(XCTask& task, std::uint64_t XCPoolStatistics::*count) noexcept
{
    Frame const* const top = TopFrame();
    Runner runner{{&task, this, top ? top->pool : nullptr, false}};
    {
        std::lock_guard const hold(m_lock);
        ++(m_statistics.*count);
        Begin(runner);
    }
    bool const failed = RunTask(runner.frame);
    {
        std::lock_guard const hold(m_lock);
        End(runner, failed);
    }
    task.Release();
}

void PoolCore::Help(XCTask& task) noexcept
{
    RunHere(task, &XCPoolStatistics::helped);
}

void PoolCore::RunInPlace(XCTask& task) noexcept
{
    if (!TaskAccess::Move(task, XCTaskState::New, XCTaskState::Running)) return;
    TaskAccess::Executor(task) = this;
    task.AddRef();
    RunHere(task, &XCPoolStatistics::callerRan);
}

void PoolCore::Abandon() noexcept
{
    if (win32::IsShuttingDown()) return; // there are no threads any more, and a lock may be held for ever
    try {
        (void)Stop(0, XCStopQueued::Cancel);
    } catch (...) { // no memory to tell what still runs
    }
}

/// With the lock.
void PoolCore::Begin(Runner& runner) noexcept
{
    runner.next = m_running;
    if (m_running) m_running->previous = &runner;
    m_running = &runner;
    ++m_runningCount;
}

/// With the lock.
void PoolCore::End(Runner& runner, bool failed) noexcept
{
    (runner.previous ? runner.previous->next : m_running) = runner.next;
    if (runner.next) runner.next->previous = runner.previous;
    --m_runningCount;
    ++m_statistics.done;
    if (failed) ++m_statistics.failed;
    if (m_changeWaiters > 0) m_change.WakeAll();
}

XCErrorID PoolCore::Stop(std::uint32_t timeoutMs, XCStopQueued queued)
{
    Deadline const deadline(timeoutMs);
    {
        std::lock_guard const hold(m_lock);
        m_draining = queued == XCStopQueued::Run;
        m_stopping = true;
        m_work.WakeAll();
        if (m_messages) m_messages->Set();
        m_room.WakeAll();
    }
    if (queued == XCStopQueued::Cancel) CancelQueued();
    unsigned int own = 0; // frames of the caller
    bool onWorker = false;
    for (Frame const* frame = TopFrame(); frame; frame = frame->below)
        if (frame->executor == this) ++own, onWorker |= frame->countsAsBlocked;
    {
        std::lock_guard const hold(m_lock);
        ++m_changeWaiters;
        auto const isOver = [&] { return m_threads <= (onWorker ? 1u : 0u) && m_runningCount <= own && m_queued == 0; };
        bool inTime = true;
        while (!isOver() && inTime) inTime = m_change.Wait(m_lock, deadline.Left()) || deadline.Left() > 0;
        --m_changeWaiters;
        if (isOver()) return XCErrorID::Success;
    }
    return errors::MakeCoreError(XCErrStillRunning, Name(), DescribeRunning());
}

void PoolCore::CancelQueued() noexcept
{
    XCErrorID why;
    try {
        why = errors::MakeCoreError(XCErrExecutorStopped, Name());
    } catch (...) { // cancelled without a reason
    }
    for (;;) {
        XCTask* task = nullptr;
        {
            std::lock_guard const hold(m_lock);
            task = Pop();
        }
        if (!task) return;
        Refuse(*task, why);
        task->Release();
    }
}

bool PoolCore::IsIdle() const noexcept
{
    return m_queued == 0 && m_runningCount == 0;
}

XCErrorID PoolCore::WaitIdle(std::uint32_t timeoutMs)
{
    for (Frame const* frame = TopFrame(); frame; frame = frame->below)
        if (frame->executor == this)
            return errors::MakeCoreError(XCErrWaitCycle, XCString(L"a task of the pool waits for all its tasks"));
    Deadline const deadline(timeoutMs);
    std::lock_guard const hold(m_lock);
    ++m_changeWaiters;
    bool inTime = true;
    while (!IsIdle() && inTime) inTime = m_change.Wait(m_lock, deadline.Left()) || deadline.Left() > 0;
    --m_changeWaiters;
    return IsIdle() ? XCErrorID() : errors::MakeCoreError(XCErrTimedOut);
}

XCString PoolCore::DescribeRunning() noexcept
try {
    std::lock_guard const hold(m_lock);
    XCString text;
    for (Runner const* runner = m_running; runner; runner = runner->next) {
        if (!text.IsNull()) text += L", ";
        text += runner->frame.task->GetName().IsNull() ? XCString(L"a task") : runner->frame.task->GetName();
    }
    return text;
} catch (...) {
    return {};
}

XCPoolStatistics PoolCore::Statistics() noexcept
{
    std::lock_guard const hold(m_lock);
    XCPoolStatistics now = m_statistics;
    now.threads = m_threads;
    now.idle = m_idle;
    now.blocked = m_blocked;
    now.queued = m_queued;
    return now;
}

} // namespace xc::work
