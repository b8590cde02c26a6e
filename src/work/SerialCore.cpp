#include "work/SerialCore.h"

#include "errors/CoreError.h"
#include "work/TaskBoard.h"

namespace xc::work {

namespace {

/// Tasks of one turn.
constexpr int kTurn = 32;

} // namespace

XCErrorID SerialCore::Add(XCTask& task)
{
    {
        std::lock_guard const hold(m_lock);
        if (m_stopping) return errors::MakeCoreError(XCErrExecutorStopped, Name());
        task.AddRef();
        m_tasks.PushBack(task);
        if (!m_turn.IsNull()) return XCErrorID::Success;
        XCSmartPtr<SerialCore> const self(this);
        m_turn = XCMakeTask([self] { self->RunSome(); }).GetPtr();
    }
    XCErrorID const refused = Schedule();
    if (refused.Bad()) CancelQueued(refused);
    return XCErrorID::Success;
}

/// Hands the turn to the executor. Where the executor runs it at once, on this thread, the lock must be free.
XCErrorID SerialCore::Schedule()
{
    XCSmartPtr<XCTask> turn;
    {
        std::lock_guard const hold(m_lock);
        turn = m_turn;
    }
    turn->SetName(Name());
    XCErrorID const refused = m_executor->Add(turn);
    if (refused.Bad()) {
        std::lock_guard const hold(m_lock);
        m_turn.Clear();
    }
    return refused;
}

void SerialCore::TakeOut(XCTask& task) noexcept
{
    {
        std::lock_guard const hold(m_lock);
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
    if (ExecutorCore* const below = Below()) return below->HasFreeRunner();
    std::lock_guard const hold(m_lock);
    return m_blocked == 0;
}

bool SerialCore::NoteBlocked(int change) noexcept
{
    std::lock_guard const hold(m_lock);
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
            Frame frame{task, this, top ? top->pool : nullptr, true};
            RunTask(frame);
        }
        task->Release();
        hold.lock();
        m_running = false;
        if (m_stopping) m_change.WakeAll();
    }
    XCErrorID refused;
    if (m_tasks.IsEmpty()) {
        XCSmartPtr<XCTask> const ended = std::move(m_turn); // goes without the lock: it holds this object
        m_turn.Clear();
        hold.unlock();
        return;
    }
    try {
        XCSmartPtr<SerialCore> const self(this);
        m_turn = XCMakeTask([self] { self->RunSome(); }).GetPtr();
        hold.unlock();
        refused = Schedule();
    } catch (...) {
        refused = FailureOfTask();
    }
    if (hold.owns_lock()) hold.unlock();
    if (refused.Bad()) CancelQueued(refused);
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
        if (frame->executor == this) return XCErrorID::Success;
    std::lock_guard const hold(m_lock);
    bool inTime = true;
    while (m_running && inTime) inTime = m_change.Wait(m_lock, deadline.Left()) || deadline.Left() > 0;
    return m_running ? errors::MakeCoreError(XCErrStillRunning, Name(), XCString(L"a task")) : XCErrorID();
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
