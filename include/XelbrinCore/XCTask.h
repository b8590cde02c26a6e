// XCTask.h - work as objects: tasks, groups of tasks, and the interface of everything that runs tasks.
//
// WHAT     XCTask is one piece of work that an executor (XCThreadPool, XCSerialQueue, XCThreadServer) runs once.
//          XCTaskOf<T> has a result. XCTaskGroup waits for many tasks and cancels those that have not begun.
// STATES   New        made, not yet given to an executor
//          Queued     an executor will run it; Cancel takes it back
//          Running    its function runs; Cancel is a request that the function may look at
//          Done       the function has returned
//          Failed     an exception has left the function: its text is the error
//          Cancelled  never ran: taken back, or refused by the executor (the error tells why)
// WAITING  Wait on a thread of a pool helps: it runs queued descendants of the thing waited for (that thing, the tasks
//          that it submitted, and theirs) and nothing else, so that no foreign task comes on top of a lock that the
//          waiter holds. With nothing to help it sleeps, and the pool may start a spare thread in its place. A wait
//          that could never end is refused with XCErrWaitCycle, which names who waits for whom. Waits of other
//          threads only sleep.
// LIFETIME Counted. A queued task is held by its executor. The function object is destroyed before the task counts as
//          finished, so that nothing it captured is in use when Wait returns.
// ERRORS   Wait: XCErrTimedOut, XCErrWaitCycle, else the task's own error. Exceptions end at the task, as texts.
// COST     Submitting and running: two short locks, and an allocation only for large captures; workers take several
//          tasks at a time from a long queue. A task submitted by a task costs one more lock. Wait on other threads
//          looks for some 10 us before it sleeps.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

class XCTask;

namespace xc::work {

class ExecutorCore;
class GroupState;
struct TaskAccess;

/// The place of a task or group in the tree of who submitted whom; for the library alone.
struct TaskNode {
    TaskNode* parent = nullptr;
    TaskNode* firstChild = nullptr;
    TaskNode* lastChild = nullptr;
    TaskNode* previous = nullptr;
    TaskNode* next = nullptr;
    XCTask* task = nullptr;      // null: the node of a group
    GroupState* group = nullptr; // the group of which the task is a member, or whose node it is
};

} // namespace xc::work

/// Where a task stands (see the head of this file).
enum class XCTaskState : unsigned char { New, Queued, Running, Done, Failed, Cancelled };

/// Which queued task of an executor comes first; equal ones in the order of submission.
enum class XCTaskPriority : unsigned char { High, Normal, Low };

/// One piece of work.
class XC_API XCTask : public XCRefCount {
public:
    ~XCTask() override;
    XCTask(XCTask const&) = delete;
    XCTask& operator=(XCTask const&) = delete;

    /// Where it stands at this moment.
    [[nodiscard]] XCTaskState GetState() const noexcept;
    /// Done, Failed or Cancelled.
    [[nodiscard]] bool IsFinished() const noexcept { return GetState() > XCTaskState::Running; }
    /// Takes a queued task back. @return true when it will never run; false when it runs or has ended. A running task
    /// sees the request by IsCancelAsked.
    bool Cancel() noexcept;
    /// Whether Cancel was called, or the executor stops: a long function looks here and returns early.
    [[nodiscard]] bool IsCancelAsked() const noexcept;
    /// Waits for the end (WAITING above). @param timeoutMs milliseconds, XCInfinite without limit.
    /// @return GetError() of a finished task; XCErrTimedOut; XCErrWaitCycle.
    XCErrorID Wait(unsigned int timeoutMs = XCInfinite);
    /// Success while it has not ended and when it is done; XCErrTaskFailed with the exception's text; XCErrCancelled,
    /// XCErrExecutorStopped, XCErrQueueFull or XCErrNoThread for one that never ran.
    [[nodiscard]] XCErrorID GetError() const;

    /// Shown where waits are described. Before the task is given to an executor.
    void SetName(XCString const& name) { m_name = name; }
    /// What SetName was given.
    [[nodiscard]] XCString const& GetName() const noexcept { return m_name; }
    /// Before the task is given to an executor; Normal at first.
    void SetPriority(XCTaskPriority priority) noexcept { m_priority = priority; }
    /// What SetPriority was given.
    [[nodiscard]] XCTaskPriority GetPriority() const noexcept { return m_priority; }

    /// Tasks of usual size live in blocks that have served tasks before.
    static void* operator new(std::size_t size);
    /// Keeps the block for another task, or frees it.
    static void operator delete(void* memory, std::size_t size) noexcept;
    /// For what a task captures with an alignment of its own: from the heap.
    static void* operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
    /// Frees what that has given.
    static void operator delete(void* memory, std::size_t, std::align_val_t alignment) noexcept
    {
        ::operator delete(memory, alignment);
    }

    /// The task that the calling thread runs; null outside of tasks.
    [[nodiscard]] static XCTask* GetCurrent() noexcept;

protected:
    XCTask() noexcept;
    /// The work. Called once, on a thread of the executor. What it throws makes the task fail.
    virtual void Run() = 0;
    /// Destroys what the work needed; called once, after Run or instead of it.
    virtual void Drop() noexcept {}

private:
    friend struct xc::work::TaskAccess;

    std::atomic<std::uint32_t> m_state{0}; // an XCTaskState and flags
    XCTaskPriority m_priority = XCTaskPriority::Normal;
    bool m_linked = false; // in the executor's list; guarded by its lock, as the two pointers are
    XCTask* m_previous = nullptr;
    XCTask* m_next = nullptr;
    xc::work::ExecutorCore* m_executor = nullptr;
    xc::work::TaskNode m_node;
    XCErrorID m_error;
    XCString m_name;
};

/// A task with a result.
template <class T>
class XCTaskOf : public XCTask {
public:
    /// The result of a task that is done. @throws XCException with the task's error, or when it has not ended.
    [[nodiscard]] T const& GetResult() const
    {
        if (GetState() == XCTaskState::Done) return *m_result;
        if (GetError().Bad()) throw XCException(GetError());
        throw XCException(L"the task has not ended");
    }

protected:
    /// Calls the function and keeps what it returns.
    template <class F>
    void Take(F& function)
    {
        m_result.emplace(function());
    }

private:
    std::optional<T> m_result;
};

/// A task without a result.
template <>
class XCTaskOf<void> : public XCTask {
protected:
    /// Calls the function.
    template <class F>
    void Take(F& function)
    {
        function();
    }
};

/// A task that calls a function object once and then destroys it.
template <class F, class T>
class XCFunctionTask final : public XCTaskOf<T> {
public:
    /// Takes the function object over.
    explicit XCFunctionTask(F function) : m_function(std::move(function)) {}

private:
    void Run() override { this->Take(*m_function); }
    void Drop() noexcept override { m_function.reset(); }

    std::optional<F> m_function;
};

/// A task from anything that can be called without arguments.
template <class F, class T = std::decay_t<std::invoke_result_t<std::decay_t<F>&>>>
XCSmartPtr<XCTaskOf<T>> XCMakeTask(F&& function, XCTaskPriority priority = XCTaskPriority::Normal)
{
    XCSmartPtr<XCTaskOf<T>> task(new XCFunctionTask<std::decay_t<F>, T>(std::forward<F>(function)));
    task->SetPriority(priority);
    return task;
}

namespace xc::work {

/// What the Submit of executors and groups have in common; for the library alone.
struct TaskGiver {
    /// Makes a task and gives it to the target.
    template <class Target, class F>
    static auto Submit(Target& target, F&& function, XCTaskPriority priority)
    {
        auto task = XCMakeTask(std::forward<F>(function), priority);
        (void)target.Give(*task);
        return task;
    }
};

} // namespace xc::work

/// What runs tasks. Its name appears in errors and in the names of its threads.
class XC_API XCExecutor : public XCRefCount {
public:
    ~XCExecutor() override;
    XCExecutor(XCExecutor const&) = delete;
    XCExecutor& operator=(XCExecutor const&) = delete;

    /// Gives a new task to the executor. @return why it was refused (the task is then Cancelled, with this error).
    /// @throws XCException for a task that was given to an executor before.
    XCErrorID Add(XCSmartPtr<XCTask> const& task);
    /// The same for a function. @return its task, never null; a refused one is Cancelled.
    ///
    ///     XCSmartPtr<XCTaskOf<int>> const sum = pool->Submit([=] { return Sum(rows); });
    ///     if (sum->Wait().Good()) Show(sum->GetResult());
    template <class F>
    auto Submit(F&& function, XCTaskPriority priority = XCTaskPriority::Normal)
    {
        return xc::work::TaskGiver::Submit(*this, std::forward<F>(function), priority);
    }
    /// As given at construction.
    [[nodiscard]] XCString GetName() const;

protected:
    /// Takes the reference over.
    explicit XCExecutor(xc::work::ExecutorCore* core) noexcept : m_core(core) {}
    /// What does the work; for the executors of the library.
    [[nodiscard]] xc::work::ExecutorCore& Core() const noexcept { return *m_core; }

private:
    friend struct xc::work::TaskAccess;
    friend struct xc::work::TaskGiver;
    XCErrorID Give(XCTask& task, xc::work::GroupState* group = nullptr);

    xc::work::ExecutorCore* m_core; // a counted reference, held as long as this object
};

/// Tasks that are waited for together. Usually a local object; its end cancels those that have not begun and waits for
/// the others.
class XC_API XCTaskGroup {
public:
    /// Tasks go to this executor, which must outlive the group.
    explicit XCTaskGroup(XCExecutor& executor);
    ~XCTaskGroup();
    XCTaskGroup(XCTaskGroup const&) = delete;
    XCTaskGroup& operator=(XCTaskGroup const&) = delete;

    /// As XCExecutor::Add.
    XCErrorID Add(XCSmartPtr<XCTask> const& task);
    /// As XCExecutor::Submit.
    template <class F>
    auto Submit(F&& function, XCTaskPriority priority = XCTaskPriority::Normal)
    {
        return xc::work::TaskGiver::Submit(*this, std::forward<F>(function), priority);
    }
    /// Waits until no member is unfinished; as XCTask::Wait. Members may be added afterwards.
    /// @return the error of the first member that failed or was refused; success when members were only cancelled.
    XCErrorID Wait(unsigned int timeoutMs = XCInfinite);
    /// Cancels the members that have not begun, and asks the others. @return how many will never run.
    std::size_t CancelRest() noexcept;

private:
    friend struct xc::work::TaskGiver;
    XCErrorID Give(XCTask& task);

    XCExecutor& m_executor;
    xc::work::GroupState* m_state; // a counted reference
};
