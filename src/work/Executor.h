// Executor.h - the common part of everything that runs tasks, and the frames of the threads that run them.
#pragma once

#include <XelbrinCore/XCTask.h>

#include "win32/Process.h"
#include "win32/SlimLock.h"

#include <atomic>
#include <mutex>

namespace xc::win32 {
class MessageEvent;
}

namespace xc::work {

class PoolCore;

/// The state of an executor, kept alive by its public object and by its threads.
///
/// Locks: first the board's (TaskBoard.h), then an executor's. A task leaves the state Queued under its executor's
/// lock, or under the board's lock when somebody else claims it; the destructors of the
/// kinds pass through the board's lock first, so that who claims may still call the whole executor.
class ExecutorCore : public XCRefCount {
public:
    explicit ExecutorCore(XCString const& name);
    ~ExecutorCore() override;

    [[nodiscard]] XCString const& Name() const noexcept { return m_name; }

    /// Queues the task, which holds a reference from then on; it may run before the call returns.
    /// @return why not: the task is then untouched.
    virtual XCErrorID Add(XCTask& task) = 0;
    /// Takes a task out that was claimed; nothing when it has left the list already.
    virtual void TakeOut(XCTask& task) noexcept = 0;
    [[nodiscard]] virtual bool IsStopping() const noexcept = 0;
    /// Whether a queued task can begin although every frame of this executor that waits goes on waiting.
    [[nodiscard]] virtual bool HasFreeRunner() noexcept = 0;
    /// The executor whose runners a queued task needs besides; null: none.
    [[nodiscard]] virtual ExecutorCore* Below() noexcept { return nullptr; }
    /// One of its threads begins or ends to sleep in a wait. @return whether to call StartSpare, without locks.
    virtual bool NoteBlocked(int change) noexcept = 0;
    virtual void StartSpare() noexcept {}
    /// Of an executor whose thread has windows: it waits for this. Null: none.
    [[nodiscard]] virtual win32::MessageEvent* Messages() noexcept { return nullptr; }

private:
    XCString m_name;
};

struct Waiter;

/// One task on the stack of a thread. Tasks that run inside the wait of another one stand above it.
struct Frame {
    XCTask* task;
    ExecutorCore* executor;
    PoolCore* pool;       // whose worker the thread is; null on other threads
    bool countsAsBlocked; // the executor loses a runner while this thread sleeps in a wait
    Frame* below = nullptr;
    unsigned int depth = 0;
};

/// The innermost task of the calling thread; null outside of tasks.
Frame* TopFrame() noexcept;

/// Runs a task that is in the state Running, publishes its end and releases nothing. @return whether it failed.
bool RunTask(Frame& frame) noexcept;

/// A doubly linked list of tasks through their own pointers, with one reference to each. Guarded by its owner.
class TaskList {
public:
    void PushBack(XCTask& task) noexcept;
    /// Null when empty; the reference goes to the caller.
    XCTask* PopFront() noexcept;
    /// The reference goes to the caller. The task must be in this list.
    void Remove(XCTask& task) noexcept;
    [[nodiscard]] bool IsEmpty() const noexcept { return m_first == nullptr; }
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }

private:
    XCTask* m_first = nullptr;
    XCTask* m_last = nullptr;
    std::size_t m_count = 0;
};

/// A group's node and counts. Held by the group and by each unfinished member. Guarded by the board's lock.
class GroupState : public XCRefCount {
public:
    GroupState() { node.group = this; }

    TaskNode node;
    std::size_t unfinished = 0;
    XCErrorID firstFailure;
};

/// What the library's own parts do with a task's private members.
struct TaskAccess {
    static constexpr std::uint32_t kStateBits = 7, kCancelAsked = 8, kAwaited = 16, kInTree = 32;

    static constexpr std::uint32_t Word(XCTaskState state) noexcept { return static_cast<std::uint32_t>(state); }
    static XCTaskState StateOf(std::uint32_t word) noexcept { return static_cast<XCTaskState>(word & kStateBits); }

    static std::atomic<std::uint32_t>& State(XCTask& task) noexcept { return task.m_state; }
    static TaskNode& Node(XCTask& task) noexcept { return task.m_node; }
    static ExecutorCore*& Executor(XCTask& task) noexcept { return task.m_executor; }
    static bool& Linked(XCTask& task) noexcept { return task.m_linked; }
    static XCTask*& Next(XCTask& task) noexcept { return task.m_next; }
    static XCTask*& Previous(XCTask& task) noexcept { return task.m_previous; }
    static XCErrorID& Error(XCTask& task) noexcept { return task.m_error; }
    static void Run(XCTask& task) { task.Run(); }
    static void Drop(XCTask& task) noexcept { task.Drop(); }
    static ExecutorCore& Core(XCExecutor const& executor) noexcept { return *executor.m_core; }
    static XCErrorID Give(XCExecutor& executor, XCTask& task, GroupState* group) { return executor.Give(task, group); }

    /// Moves a task from one state to another, flags kept. @return whether it was in the first one.
    static bool Move(XCTask& task, XCTaskState from, XCTaskState to) noexcept;
};

/// Ends a task that never ran: it leaves the state Queued or New for Cancelled by the caller's Move; the error tells why.
void EndUnrun(XCTask& task, XCErrorID const& why) noexcept;
/// For a task that its executor cannot run any more. @return false when somebody else has claimed it.
bool Refuse(XCTask& task, XCErrorID const& why) noexcept;

/// The exception being handled, as XCErrTaskFailed with its text.
XCErrorID FailureOfTask() noexcept;

/// Writes a failure that no caller sees to the error log.
void NoteFailure(XCString const& where, XCErrorID const& failure) noexcept;

/// The milliseconds that are left of a timeout.
class Deadline {
public:
    explicit Deadline(std::uint32_t timeoutMs) noexcept;
    [[nodiscard]] std::uint32_t Left() const noexcept;

private:
    std::uint64_t m_end; // UINT64_MAX: never
};

/// Looks for something that another thread does, for some 10 us, as long as a hand-over to a sleeping thread takes.
/// @return whether it was seen.
template <class Condition>
bool LookAWhile(Condition seen) noexcept
{
    static int const looks = win32::ProcessorCount() > 1 ? 300 : 0;
    for (int look = 0; look < looks; ++look) {
        if (seen()) return true;
        win32::Pause();
    }
    return seen();
}

/// With the lock. Sleeps on a signal until a condition holds, the time has run out, or the process ends.
/// @return whether it holds.
template <class Condition>
bool WaitUntil(win32::SlimSignal& signal, win32::SlimLock& lock, Deadline const& deadline, Condition holds)
{
    bool inTime = true;
    while (!holds() && inTime)
        inTime = signal.Wait(lock, deadline.Left()) || (deadline.Left() > 0 && !win32::IsProcessEnding());
    return holds();
}

} // namespace xc::work
