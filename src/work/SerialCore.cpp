// A serial queue on another executor.
//
// While tasks are queued, one task of the library's own, the turn, stands in the executor below: whoever queues the first
// task submits the turn, and the turn that empties the queue submits none. So at most one thread of the executor works
// for the queue, without a lock held while a task runs. A turn ends after 32 tasks and queues up anew, so that the
// executor's other work is not shut out. When the executor refuses a turn, the queued tasks are refused with its reason.
//
// INVARIANT m_hasTurn is true from the first queued task until a turn has found the list empty under the lock, or a
// refused turn gives the queue up. So no task is left in the list without a turn on its way, and no two turns run.
#include "work/SerialCore.h"

#include "errors/CoreError.h"
#include "work/TaskBoard.h"

namespace xc::work {

namespace {

/// Tasks of one turn.
/// Longer turns save little: the cost of one turn, some microseconds, is shared by 32 tasks already.
constexpr int kTurn = 32;

} // namespace

/// The task that stands in the executor. One that the executor drops gives up what is queued, with the same reason.
class SerialCore::Turn final : public XCTask {
public:
    explicit Turn(SerialCore& core) : m_core(&core) { SetName(core.Name()); }

private:
    void Run() override
    {
        // Moved out, so that Drop, which follows every end, can tell a turn that ran from one that never will.
        XCSmartPtr<SerialCore> const core = std::move(m_core);
        core->RunSome();
    }
    void Drop() noexcept override
    {
        XCSmartPtr<SerialCore> const core = std::move(m_core);
        if (!core.IsNull()) core->GiveUp(TaskAccess::Error(*this));
    }

    XCSmartPtr<SerialCore> m_core; // null: run or dropped
};

SerialCore::~SerialCore()
{
    theBoard.Pass();
}

XCErrorID SerialCore::Add(XCTask& task)
{
    {
        std::lock_guard const hold(m_lock);
        if (m_stopping) return errors::MakeCoreError(XCErrExecutorStopped, Name());
        task.AddRef();
        m_tasks.PushBack(task);
        if (std::exchange(m_hasTurn, true)) return XCErrorID::Success;
    }
    Schedule();
    // The executor may have refused the turn within Schedule, which ended this task with its reason.
    return task.GetState() == XCTaskState::Cancelled ? TaskAccess::Error(task) : XCErrorID();
}

/// Hands a turn to the executor, which may run it at once, on this thread.
void SerialCore::Schedule() noexcept
try {
    (void)m_executor->Add(new Turn(*this));
} catch (...) {
    GiveUp(FailureOfTask());
}

void SerialCore::GiveUp(XCErrorID const& why) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        // First, so that a task that comes from now on tries a new turn. It may be refused along with the others
        // meanwhile.
        m_hasTurn = false;
    }
    CancelQueued(why);
}

void SerialCore::TakeOut(XCTask& task) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        // Popped by the turn, which finds it claimed and gives the reference back.
        if (!TaskAccess::Linked(task)) return;
        m_tasks.Remove(task);
    }
    task.Release();
}

/// While no turn is under way, a turn must come first.
ExecutorCore* SerialCore::Below() noexcept
{
    std::lock_guard const hold(m_lock);
    return m_running ? nullptr : &TaskAccess::Core(*m_executor);
}

bool SerialCore::HasFreeRunner() noexcept
{
    // One lock after the other, never both: the executor below has a lock of its own at the same level.
    if (ExecutorCore* const below = Below()) return below->HasFreeRunner();
    std::lock_guard const hold(m_lock);
    return m_blocked == 0;
}

bool SerialCore::NoteBlocked(int change) noexcept
{
    std::lock_guard const hold(m_lock);
    // No spare: a second thread would break the order that the queue promises. The executor below counts the same sleep
    // by the frame of the turn, and may start a spare for its other work.
    m_blocked += static_cast<unsigned int>(change);
    return false;
}

void SerialCore::RunSome() noexcept
{
    Frame const* const top = TopFrame();
    std::unique_lock hold(m_lock);
    for (int turn = 0; turn < kTurn; ++turn) {
        XCTask* const task = m_tasks.PopFront();
        if (!task) break;
        m_running = true;
        hold.unlock();
        if (TaskAccess::Move(*task, XCTaskState::Queued, XCTaskState::Running)) {
            // Above the frame of the turn: the task's waits may help the pool on whose thread they are.
            Frame frame{task, this, top ? top->pool : nullptr, true};
            RunTask(frame);
        }
        task->Release();
        hold.lock();
        m_running = false;
        // Only Stop waits for this signal; without one the wake, a call for each task, is saved.
        if (m_stopping) m_change.WakeAll();
    }
    m_hasTurn = !m_tasks.IsEmpty();
    bool const more = m_hasTurn;
    hold.unlock();
    if (more) Schedule();
}

void SerialCore::CancelQueued(XCErrorID const& why) noexcept
{
    for (;;) {
        XCTask* task = nullptr;
        {
            std::lock_guard const hold(m_lock);
            task = m_tasks.PopFront();
        }
        if (!task) return;
        Refuse(*task, why);
        task->Release();
    }
}

XCErrorID SerialCore::Stop(std::uint32_t timeoutMs)
{
    Deadline const deadline(timeoutMs);
    {
        std::lock_guard const hold(m_lock);
        m_stopping = true;
    }
    CancelQueued(errors::MakeCoreError(XCErrExecutorStopped, Name()));
    for (Frame const* frame = TopFrame(); frame; frame = frame->below)
        // Called by a task of the queue: it cannot wait for its own end.
        if (frame->executor == this) return XCErrorID::Success;
    std::lock_guard const hold(m_lock);
    if (WaitUntil(m_change, m_lock, deadline, [this] { return !m_running; })) return XCErrorID::Success;
    return errors::MakeCoreError(XCErrStillRunning, Name(), XCString(L"a task"));
}

} // namespace xc::work

using xc::work::SerialCore;

namespace {

SerialCore* NewCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name)
{
    auto* const core = new SerialCore(executor, name);
    core->AddRef();
    return core;
}

} // namespace

XCSerialQueue::XCSerialQueue(XCSmartPtr<XCExecutor> const& executor, XCString const& name)
    : XCExecutor(NewCore(executor, name))
{
}

XCSerialQueue::~XCSerialQueue() = default;

SerialCore& XCSerialQueue::Serial() const noexcept
{
    return static_cast<SerialCore&>(Core());
}

XCErrorID XCSerialQueue::Stop(unsigned int timeoutMs)
{
    return Serial().Stop(timeoutMs);
}
