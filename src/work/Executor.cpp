// The life of a task.
//
// One atomic word has the state and flags, and each change of state is one exchange of it: who moves a task from Queued
// to Running owns it, whether that is a worker, a waiter that helps, Cancel or Stop. The list or ring in which it still
// stands has a reference, and whoever takes it out later finds it claimed. While a task is given to an executor it counts
// as Running, so that nobody claims one that is half entered.
//
// The frames of the tasks on a thread's stack are linked through a thread-local slot: they tell who submits, who waits,
// and on whose behalf.
//
// INVARIANTS The end of a task is published once, by Finish, after its error is written and its callable destroyed: who
// sees a finished task may read the error without a lock, and destroy what the callable has used. A reference is held
// by each place in which a task stands: list, ring, claimer, handle.
#include "work/Executor.h"

#include "errors/CoreError.h"
#include "errors/ErrorLog.h"
#include "errors/ExceptionText.h"
#include "win32/Clock.h"
#include "work/OwnThread.h"
#include "work/TaskBoard.h"

namespace xc::work {

namespace {

/// The slot of the innermost frame of each thread.
/// A slot of the system in place of a thread_local: the compiler's form for this target costs a call into its runtime
/// and an allocation for each thread, and its objects die in an order that nobody controls.
unsigned long FrameSlot()
{
    static unsigned long const slot = XCThread::AllocateThreadKey();
    return slot;
}

// Both are made with the first executor, while there is memory, and never destroyed.
XCErrorID const& FailureWithoutMemory()
{
    static XCErrorID const& failure =
        *new XCErrorID(errors::MakeCoreError(XCErrTaskFailed, XCString(L"out of memory")));
    return failure;
}

XCErrorID const& CancelledError()
{
    static XCErrorID const& cancelled = *new XCErrorID(errors::MakeCoreError(XCErrCancelled));
    return cancelled;
}

} // namespace

XCErrorID FailureOfTask() noexcept
try {
    // Runs inside a handler: the text is that of the exception at hand. A text that cannot be made leaves the prepared
    // error.
    return errors::MakeCoreError(XCErrTaskFailed, errors::TextOfException());
} catch (...) {
    return FailureWithoutMemory();
}

XCErrorID FailureToStart(XCString const& name) noexcept
try {
    return errors::MakeCoreError(XCErrNoThread, name, errors::TextOfException());
} catch (...) {
    return FailureWithoutMemory();
}

XCErrorID StartThread(XCString const& name, XCSmartPtr<XCCallback> const& body, int priority,
                      XCComModel comModel) noexcept
try {
    XCSmartPtr<XCThread> const thread(new XCThread(body));
    thread->SetName(name);
    // Nobody joins it: the thread holds its object until it ends, and the core that it serves through the body.
    thread->SetDeleteOnEnd(true);
    if (comModel != XCComNone) thread->SetComModel(comModel);
    XCErrorID const failure = thread->Start(priority);
    return failure.Good() ? failure : errors::MakeCoreError(XCErrNoThread, name, errors::MessageOf(failure));
} catch (...) {
    return FailureToStart(name);
}

void NoteFailure(XCString const& where, XCErrorID const& failure) noexcept
try {
    errors::AppendToErrorLog(where + L": " + failure.AsString(), XCString());
} catch (...) { // no memory for the record: who calls counts it all the same
}

Frame* TopFrame() noexcept
{
    return static_cast<Frame*>(XCThread::Get(FrameSlot()));
}

bool RunTask(Frame& frame) noexcept
{
    frame.below = TopFrame();
    frame.depth = frame.below ? frame.below->depth + 1 : 0;
    XCThread::Set(FrameSlot(), &frame);
    XCTaskState state = XCTaskState::Done;
    try {
        TaskAccess::Run(*frame.task);
    } catch (...) {
        TaskAccess::Error(*frame.task) = FailureOfTask();
        state = XCTaskState::Failed;
    }
    // Before the end is published, so that nothing the callable holds outlives a wait for the task. The frame is still
    // in place: a destructor of the callable runs as a part of the task.
    TaskAccess::Drop(*frame.task);
    // The frame leaves the slot before the end is published: a waiter that wakes must not find a finished task on a
    // stack.
    XCThread::Set(FrameSlot(), frame.below);
    // The caller's reference keeps the task: another thread may release the last handle as soon as the end is seen.
    theBoard.Finish(*frame.task, state);
    return state == XCTaskState::Failed;
}

/// Drop runs here as well: the callable of a task that never ran must be destroyed no later than that of one that did.
void EndUnrun(XCTask& task, XCErrorID const& why) noexcept
{
    TaskAccess::Error(task) = why.Bad() ? why : CancelledError();
    TaskAccess::Drop(task);
    theBoard.Finish(task, XCTaskState::Cancelled);
}

bool Refuse(XCTask& task, XCErrorID const& why) noexcept
{
    if (!TaskAccess::Move(task, XCTaskState::Queued, XCTaskState::Running)) return false;
    EndUnrun(task, why);
    return true;
}

bool TaskAccess::Move(XCTask& task, XCTaskState from, XCTaskState to) noexcept
{
    std::atomic<std::uint32_t>& word = State(task);
    std::uint32_t seen = word.load(std::memory_order_acquire);
    // A weak exchange may fail without reason, and flags may change under it: both only repeat the look, while another
    // state ends it.
    while (StateOf(seen) == from)
        if (word.compare_exchange_weak(seen, (seen & ~kStateBits) | Word(to), std::memory_order_acq_rel)) return true;
    return false;
}

ExecutorCore::ExecutorCore(XCString const& name) : m_name(name)
{
    // Made here, where a failure can still be told: the noexcept paths of a running task need all three.
    FrameSlot();
    FailureWithoutMemory();
    CancelledError();
}

ExecutorCore::~ExecutorCore() = default;

/// Intrusive: queueing never allocates, so it cannot fail half-way, and a task that is cancelled leaves from the middle
/// in constant time. `Linked` tells TakeOut whether the task still stands in the list.
void TaskList::PushBack(XCTask& task) noexcept
{
    TaskAccess::Linked(task) = true;
    TaskAccess::Next(task) = nullptr;
    TaskAccess::Previous(task) = m_last;
    (m_last ? TaskAccess::Next(*m_last) : m_first) = &task;
    m_last = &task;
    ++m_count;
}

XCTask* TaskList::PopFront() noexcept
{
    XCTask* const task = m_first;
    if (task) Remove(*task);
    return task;
}

void TaskList::Remove(XCTask& task) noexcept
{
    XCTask *const next = TaskAccess::Next(task), *const previous = TaskAccess::Previous(task);
    (previous ? TaskAccess::Next(*previous) : m_first) = next;
    (next ? TaskAccess::Previous(*next) : m_last) = previous;
    TaskAccess::Linked(task) = false;
    --m_count;
}

/// The two ends that need no clock are told apart, since a call with 0 only asks, and the clock would cost more than
/// that.
Deadline::Deadline(std::uint32_t timeoutMs) noexcept
    : m_end(timeoutMs == XCInfinite ? UINT64_MAX
            : timeoutMs == 0        ? 0
                                    : win32::TickMs() + timeoutMs)
{
}

std::uint32_t Deadline::Left() const noexcept
{
    if (m_end == UINT64_MAX) return XCInfinite;
    if (m_end == 0) return 0;
    std::uint64_t const now = win32::TickMs();
    return now >= m_end ? 0 : static_cast<std::uint32_t>(m_end - now);
}

} // namespace xc::work

using namespace xc::work;

XCTask::XCTask() noexcept
{
    m_node.task = this;
}

XCTask::~XCTask() = default;

XCTaskState XCTask::GetState() const noexcept
{
    return TaskAccess::StateOf(m_state.load(std::memory_order_acquire));
}

bool XCTask::Cancel() noexcept
{
    return theBoard.Cancel(*this);
}

/// A task reads the executor's stop only while it runs and for itself: only then is the executor sure to live.
bool XCTask::IsCancelAsked() const noexcept
{
    return (m_state.load(std::memory_order_relaxed) & TaskAccess::kCancelAsked) != 0 ||
           (GetState() == XCTaskState::Running && GetCurrent() == this && m_executor->IsStopping());
}

XCErrorID XCTask::Wait(unsigned int timeoutMs)
{
    // The finished task is the usual case and needs no lock: the acquire of its state makes the error visible.
    if (!IsFinished())
        if (XCErrorID const refused = theBoard.Wait(m_node, timeoutMs); refused.Bad()) return refused;
    return m_error;
}

XCErrorID XCTask::GetError() const
{
    return IsFinished() ? m_error : XCErrorID();
}

XCTask* XCTask::GetCurrent() noexcept
{
    Frame const* const top = TopFrame();
    return top ? top->task : nullptr;
}

/// At the end of the process the threads that share the core are gone in mid-step; freeing it could meet a held lock.
XCExecutor::~XCExecutor()
{
    if (!xc::win32::IsProcessEnding()) m_core->Release();
}

XCString XCExecutor::GetName() const
{
    return m_core->Name();
}

XCErrorID XCExecutor::Add(XCSmartPtr<XCTask> const& task)
{
    return Give(*task);
}

XCErrorID XCExecutor::Give(XCTask& task, GroupState* group)
{
    // Until everything is in place nobody may claim it.
    if (!TaskAccess::Move(task, XCTaskState::New, XCTaskState::Running))
        throw XCException(L"the task was given to an executor before");
    TaskAccess::Executor(task) = m_core;
    // Entered before it can run: a task that ended first would never leave its group. The parent is the submitter's
    // task.
    theBoard.Enter(task, group);
    TaskAccess::Move(task, XCTaskState::Running, XCTaskState::Queued);
    XCErrorID refused = m_core->Add(task);
    if (refused.Bad())
        // Ends it as cancelled with the executor's reason, so that waiters and the group hear of it. Somebody may have
        // cancelled it in between; then that answer stands.
        Refuse(task, refused);
    else
        // A waiter that sleeps may be the only thread that could run it.
        theBoard.OfferHelp(task);
    return refused;
}

XCTaskGroup::XCTaskGroup(XCExecutor& executor) : m_executor(executor), m_state(new GroupState)
{
    m_state->AddRef();
    theBoard.EnterGroup(*m_state);
}

XCTaskGroup::~XCTaskGroup()
{
    // The members may use what is destroyed after the group: it never ends before they have.
    CancelRest();
    try {
        (void)theBoard.Wait(m_state->node, XCInfinite);
    } catch (...) { // no memory to say that the wait would never end
    }
    theBoard.Leave(*m_state);
    m_state->Release();
}

XCErrorID XCTaskGroup::Add(XCSmartPtr<XCTask> const& task)
{
    return Give(*task);
}

XCErrorID XCTaskGroup::Give(XCTask& task)
{
    return TaskAccess::Give(m_executor, task, m_state);
}

XCErrorID XCTaskGroup::Wait(unsigned int timeoutMs)
{
    if (XCErrorID const refused = theBoard.Wait(m_state->node, timeoutMs); refused.Bad()) return refused;
    return m_state->firstFailure;
}

std::size_t XCTaskGroup::CancelRest() noexcept
{
    return theBoard.CancelMembers(*m_state);
}
