// TaskBoard.h - who submitted whom, and who waits for whom: one table of the process, behind one lock.
#pragma once

#include "work/Executor.h"

namespace xc::work {

/// A thread that sleeps until a task or group is finished. Lives on its stack; guarded by the board's lock.
struct Waiter {
    TaskNode* target;
    Frame* top; // null on threads that run no task
    bool helps; // it may run descendants of its target
    bool forever;
    unsigned long threadId;
    win32::MessageEvent* messages; // null: the thread has no windows, the signal wakes it
    win32::SlimSignal signal;
    bool woken = false;
    unsigned int mark = 0; // the question that has visited it last
    Waiter* previous = nullptr;
    Waiter* next = nullptr;

    void Rouse() noexcept;
    /// @return false when the time ran out.
    bool Rest(win32::SlimLock& lock, Deadline const& deadline) noexcept;
};

class TaskBoard {
public:
    constexpr TaskBoard() noexcept = default;

    /// Enters a new task as a child of its group, or of the task that the calling thread runs.
    void Enter(XCTask& task, GroupState* group);
    /// Tells sleeping waiters that they may help.
    void OfferHelp(XCTask& task) noexcept;
    /// Publishes the end of a task.
    void Finish(XCTask& task, XCTaskState state) noexcept;
    /// The end of a group: its place in the tree goes when the last member has ended.
    void Leave(GroupState& group) noexcept;
    void EnterGroup(GroupState& group) noexcept;

    /// Takes a queued task back. @return whether it will never run.
    bool Cancel(XCTask& task) noexcept;
    std::size_t CancelMembers(GroupState& group) noexcept;

    /// Waits until the task or group is finished, helping where that is allowed.
    /// @return success, XCErrTimedOut or XCErrWaitCycle.
    XCErrorID Wait(TaskNode& target, std::uint32_t timeoutMs);
    /// Passes through the lock: whoever claimed a task before is done with its executor.
    void Pass() noexcept { std::lock_guard const hold(m_lock); }

private:
    XCTask* ClaimDescendant(TaskNode& target, PoolCore& pool) noexcept;
    bool Claim(XCTask& task) noexcept;
    bool Sleep(Waiter& waiter, Deadline const& deadline, XCErrorID& refused);
    void Link(Waiter& waiter) noexcept;
    void Unlink(Waiter& waiter) noexcept;
    void Wake(TaskNode const& target) noexcept;
    void FinishInTree(XCTask& task, XCTaskState state, GroupState*& released) noexcept;

    bool MayEnd(TaskNode const& target) noexcept;
    bool TaskMayEnd(XCTask& task) noexcept;
    bool MayGoOn(Waiter& waiter) noexcept;
    [[nodiscard]] XCString DescribeWaits() const;

    win32::SlimLock m_lock;
    Waiter* m_waiters = nullptr;
    std::atomic<unsigned int> m_helpers{0}; // waiters on threads of pools
    unsigned int m_question = 0;
};

/// Never destroyed: tasks end until the process does.
extern constinit TaskBoard theBoard;

} // namespace xc::work
