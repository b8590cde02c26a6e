// Waits between tasks.
//
// A wait on a worker must not take that worker away, or a tree of waits needs as many threads as it is deep. So the
// waiter first runs queued descendants of its target. Only descendants: an unrelated task on top of the waiter's stack
// could want a lock that the waiter holds, or keep it for hours. The tree of who submitted whom makes the descendants
// of a node a walk over its unfinished children. A task that ends before its children hands them to its own parent, so
// the tree holds unfinished tasks alone and a task that submits its successor for ever leaves no chain behind.
//
// A waiter without anything to help sleeps. Before it does so without limit, it asks whether its target can still end:
// a running task can when its thread does not sleep in a wait, or when the target of that wait can end; a queued one
// can when its executor has a runner that does not sleep, may start one, or when one of the sleeping runners can go on.
// The least solution of these equations is found by a walk that marks the waiters it has seen. The waiter that would
// close a cycle gets the answer; the others go on when it has returned. Waits with a limit count as able to go on.
//
// Cost: one lock for tasks that have a parent or a group, none for others unless somebody waits for them. The question
// walks waiters times their stacks, and is asked only on the way to sleep.
//
// LOCKS One lock guards the tree, the groups' counts and the list of waiters. It is taken before an executor's lock,
// never after. The end of a task in the tree is published under it; of any other the wake comes under it, after the
// waiter has entered the list. So a waiter that has looked under the lock and found nothing cannot miss the end.
// References are given back without it: they may run destructors.
#include "work/TaskBoard.h"

#include "errors/CoreError.h"
#include "win32/Process.h"
#include "work/PoolCore.h"

namespace xc::work {

constinit TaskBoard theBoard;

namespace {

/// Nested help takes stack; deeper waits sleep.
constexpr unsigned int kMaxDepth = 200;
/// A walk longer than this gives up: a waiter then sleeps although it might help, a question is answered with yes.
constexpr int kMaxVisits = 4096;

void Attach(TaskNode& node, TaskNode& parent) noexcept
{
    node.parent = &parent;
    node.next = nullptr;
    node.previous = parent.lastChild;
    (parent.lastChild ? parent.lastChild->next : parent.firstChild) = &node;
    parent.lastChild = &node;
}

void Detach(TaskNode& node) noexcept
{
    TaskNode& parent = *node.parent;
    (node.previous ? node.previous->next : parent.firstChild) = node.next;
    (node.next ? node.next->previous : parent.lastChild) = node.previous;
    node.parent = node.previous = node.next = nullptr;
}

/// Takes a node out of the tree; its children go to its parent.
void Remove(TaskNode& node) noexcept
{
    TaskNode* const parent = node.parent;
    while (TaskNode* const child = node.firstChild) {
        Detach(*child);
        if (parent) Attach(*child, *parent);
    }
    if (parent) Detach(node);
}

bool IsFinished(TaskNode const& target) noexcept
{
    return target.task ? target.task->IsFinished() : target.group->unfinished == 0;
}

bool IsDescendant(TaskNode const* node, TaskNode const& ancestor) noexcept
{
    while (node && node != &ancestor) node = node->parent;
    return node != nullptr;
}

/// The node after this one in the walk over everything below the root.
TaskNode* NextBelow(TaskNode* node, TaskNode const& root) noexcept
{
    if (node->firstChild) return node->firstChild;
    while (node != &root && !node->next) node = node->parent;
    return node == &root ? nullptr : node->next;
}

template <class Accept>
Frame* FindFrame(Frame* top, Accept accept) noexcept
{
    while (top && !accept(*top)) top = top->below;
    return top;
}

/// The messages of the thread, if the outermost task runs on one that has windows.
win32::MessageEvent* MessagesOf(Frame const* frame) noexcept
{
    while (frame && frame->below) frame = frame->below;
    return frame && frame->countsAsBlocked ? frame->executor->Messages() : nullptr;
}

XCString NumberText(std::uint64_t number)
{
    return XCString().Format(L"%I64u", number);
}

XCString NameOf(XCTask const& task)
{
    return task.GetName().IsNull() ? XCString(L"a task") : L"\"" + task.GetName() + L"\"";
}

} // namespace

void Waiter::Rouse() noexcept
{
    woken = true;
    if (messages)
        messages->Set();
    else
        signal.WakeOne();
}

bool Waiter::Rest(win32::SlimLock& lock, Deadline const& deadline) noexcept
{
    if (messages) {
        lock.unlock(); // a signal of this moment stays for the wait
        messages->Wait(deadline.Left());
        lock.lock();
    } else
        signal.Wait(lock, deadline.Left());
    return deadline.Left() > 0 && !win32::IsProcessEnding();
}

void TaskBoard::Enter(XCTask& task, GroupState* group)
{
    Frame const* const top = TopFrame();
    // A task from outside of all tasks has nobody who could help it: it stays out of the tree, and costs no lock.
    if (!group && !top) return;
    TaskNode& node = TaskAccess::Node(task);
    // The flag is set before the lock is taken: the task cannot have ended, since nobody may claim it before Give has
    // returned it to Queued.
    TaskAccess::State(task).fetch_or(TaskAccess::kInTree, std::memory_order_relaxed);
    std::lock_guard const hold(m_lock);
    if (group) {
        node.group = group;
        ++group->unfinished;
        group->AddRef();
        Attach(node, group->node);
    } else {
        // The parent runs on this thread, so no end of it can come in between. It must leave the tree at its end now.
        TaskAccess::State(*top->task).fetch_or(TaskAccess::kInTree, std::memory_order_relaxed);
        Attach(node, TaskAccess::Node(*top->task));
    }
}

/// A group made by a task is a child of it: whoever waits for the task may help the members.
void TaskBoard::EnterGroup(GroupState& group) noexcept
{
    Frame const* const top = TopFrame();
    if (!top) return;
    std::lock_guard const hold(m_lock);
    TaskAccess::State(*top->task).fetch_or(TaskAccess::kInTree, std::memory_order_relaxed);
    Attach(group.node, TaskAccess::Node(*top->task));
}

void TaskBoard::Leave(GroupState& group) noexcept
{
    std::lock_guard const hold(m_lock);
    Remove(group.node);
}

void TaskBoard::OfferHelp(XCTask& task) noexcept
{
    // Submissions take no lock here while nobody waits on a pool's thread.
    if (m_helpers.load(std::memory_order_seq_cst) == 0) return;
    std::lock_guard const hold(m_lock);
    TaskNode const& node = TaskAccess::Node(task);
    if (!node.parent || task.IsFinished()) return;
    for (Waiter* waiter = m_waiters; waiter; waiter = waiter->next)
        // It may only run tasks of its own pool: another executor's have their own threads, order and apartment.
        if (waiter->top && waiter->top->pool == TaskAccess::Executor(task) && IsDescendant(&node, *waiter->target)) {
            waiter->Rouse();
        }
}

void TaskBoard::Finish(XCTask& task, XCTaskState state) noexcept
{
    std::atomic<std::uint32_t>& word = TaskAccess::State(task);
    GroupState* released = nullptr;
    if (word.load(std::memory_order_relaxed) & TaskAccess::kInTree) {
        std::lock_guard const hold(m_lock);
        FinishInTree(task, state, released);
    } else if (word.exchange(TaskAccess::Word(state), std::memory_order_acq_rel) & TaskAccess::kAwaited) {
        // One exchange ends the task and reads whether somebody began to wait: the waiter sets the flag under the lock
        // before it looks at the state.
        std::lock_guard const hold(m_lock);
        Wake(TaskAccess::Node(task));
    }
    if (released) released->Release();
}

void TaskBoard::FinishInTree(XCTask& task, XCTaskState state, GroupState*& released) noexcept
{
    TaskNode& node = TaskAccess::Node(task);
    // First: the tree holds unfinished nodes alone, and the children hang from the parent from now on.
    Remove(node);
    TaskAccess::State(task).store(TaskAccess::Word(state), std::memory_order_release);
    Wake(node);
    GroupState* const group = node.group;
    if (!group) return;
    // Cancelled by a caller is no failure of the group; cancelled because an executor refused it is one.
    bool const failed =
        state == XCTaskState::Failed || (state == XCTaskState::Cancelled && TaskAccess::Error(task) != XCErrCancelled);
    if (failed && group->firstFailure.Good()) group->firstFailure = TaskAccess::Error(task);
    if (--group->unfinished == 0) Wake(group->node);
    node.group = nullptr;
    released = group;
}

void TaskBoard::Wake(TaskNode const& target) noexcept
{
    for (Waiter* waiter = m_waiters; waiter; waiter = waiter->next)
        if (waiter->target == &target) {
            waiter->Rouse();
        }
}

bool TaskBoard::Claim(XCTask& task) noexcept
{
    if (!TaskAccess::Move(task, XCTaskState::Queued, XCTaskState::Running)) return false;
    task.AddRef();
    // Under the board's lock, through which the end of an executor passes as well.
    TaskAccess::Executor(task)->TakeOut(task);
    return true;
}

/// The claim is made under the lock, the end is not: EndUnrun takes it itself, and destroys what the task holds.
bool TaskBoard::Cancel(XCTask& task) noexcept
{
    TaskAccess::State(task).fetch_or(TaskAccess::kCancelAsked, std::memory_order_relaxed);
    {
        std::lock_guard const hold(m_lock);
        if (!Claim(task)) return task.GetState() == XCTaskState::Cancelled;
    }
    EndUnrun(task, XCErrorID());
    task.Release();
    return true;
}

std::size_t TaskBoard::CancelMembers(GroupState& group) noexcept
{
    // One member at a time, from the first child on again: the tree may be another one after each end. Members that run
    // keep the request and are passed over.
    std::size_t cancelled = 0;
    for (;;) {
        XCTask* claimed = nullptr;
        {
            std::lock_guard const hold(m_lock);
            for (TaskNode* node = group.node.firstChild; node && !claimed; node = node->next) {
                // Children of ended members hang here, too, and are no members.
                if (node->group != &group || !node->task) continue;
                TaskAccess::State(*node->task).fetch_or(TaskAccess::kCancelAsked, std::memory_order_relaxed);
                if (Claim(*node->task)) claimed = node->task;
            }
        }
        if (!claimed) return cancelled;
        EndUnrun(*claimed, XCErrorID());
        claimed->Release();
        ++cancelled;
    }
}

XCTask* TaskBoard::ClaimDescendant(TaskNode& target, PoolCore& pool) noexcept
{
    int visits = kMaxVisits;
    for (TaskNode* node = &target; node && --visits > 0; node = NextBelow(node, target))
        if (node->task && TaskAccess::StateOf(TaskAccess::State(*node->task)) == XCTaskState::Queued &&
            TaskAccess::Executor(*node->task) == &pool && Claim(*node->task))
            return node->task;
    return nullptr;
}

XCErrorID TaskBoard::Wait(TaskNode& target, std::uint32_t timeoutMs)
{
    Frame* const top = TopFrame();
    // A thread outside of tasks has no frames to announce and nobody to help: a short look saves it the sleep.
    if (!top && target.task && timeoutMs > 0 && LookAWhile([&] { return target.task->IsFinished(); }))
        return XCErrorID::Success;
    PoolCore* const pool = top && top->depth < kMaxDepth ? top->pool : nullptr;
    Deadline const deadline(timeoutMs);
    Waiter waiter{&target, top, pool != nullptr, timeoutMs == XCInfinite, win32::ThreadId(), MessagesOf(top), {}};
    for (;;) {
        XCTask* help = nullptr;
        {
            std::lock_guard const hold(m_lock);
            // Set before the look: the task that ends next sees the flag and takes the lock, or has ended and is seen
            // here.
            if (target.task) TaskAccess::State(*target.task).fetch_or(TaskAccess::kAwaited, std::memory_order_acq_rel);
            if (IsFinished(target)) return XCErrorID::Success;
            // Raised before the search: a task that becomes queued after it has been passed over reads the count later,
            // takes the lock and finds this waiter in the list.
            if (pool) m_helpers.fetch_add(1, std::memory_order_seq_cst);
            if (pool) help = ClaimDescendant(target, *pool);
            if (!help)
                Link(waiter);
            else
                m_helpers.fetch_sub(1, std::memory_order_relaxed);
        }
        if (help) {
            pool->Help(*help);
            continue;
        }
        XCErrorID refused;
        if (!Sleep(waiter, deadline, refused)) return refused;
    }
}

/// With the waiter in the list. @return whether to look again.
bool TaskBoard::Sleep(Waiter& waiter, Deadline const& deadline, XCErrorID& refused)
{
    for (Frame* frame = waiter.top; frame; frame = frame->below)
        // Each executor on the stack loses this runner, not only the innermost: the tasks below wait as long as this
        // one. Without the board's lock: a spare's start takes a millisecond.
        if (frame->countsAsBlocked && frame->executor->NoteBlocked(1)) frame->executor->StartSpare();
    bool again = true, isCycle = false;
    XCString cycle;
    {
        std::unique_lock hold(m_lock);
        ++m_question;
        bool const mayEnd = waiter.woken || !waiter.top || !waiter.forever || IsFinished(*waiter.target) ||
                            (waiter.mark = m_question, MayEnd(*waiter.target));
        isCycle = !mayEnd;
        try {
            if (isCycle) cycle = DescribeWaits();
        } catch (...) { // no memory: the error comes without the names, and the waiter leaves the list in any case
        }
        while (mayEnd && again && !waiter.woken && !IsFinished(*waiter.target)) again = waiter.Rest(m_lock, deadline);
        again = waiter.woken || IsFinished(*waiter.target);
        // Both under one lock: a runner that is counted as asleep stands in the list.
        for (Frame* frame = waiter.top; frame; frame = frame->below)
            if (frame->countsAsBlocked) frame->executor->NoteBlocked(-1);
        Unlink(waiter);
    }
    if (again) return true;
    refused = isCycle ? errors::MakeCoreError(XCErrWaitCycle, cycle) : errors::MakeCoreError(XCErrTimedOut);
    return false;
}

void TaskBoard::Link(Waiter& waiter) noexcept
{
    waiter.woken = false;
    waiter.previous = nullptr;
    waiter.next = m_waiters;
    if (m_waiters) m_waiters->previous = &waiter;
    m_waiters = &waiter;
}

void TaskBoard::Unlink(Waiter& waiter) noexcept
{
    (waiter.previous ? waiter.previous->next : m_waiters) = waiter.next;
    if (waiter.next) waiter.next->previous = waiter.previous;
    if (waiter.helps) m_helpers.fetch_sub(1, std::memory_order_relaxed);
}

bool TaskBoard::MayEnd(TaskNode const& target) noexcept
{
    if (target.task) return TaskMayEnd(*target.task);
    int visits = kMaxVisits;
    // All members must be able to end for the group to.
    for (TaskNode const* node = target.firstChild; node && --visits > 0; node = node->next)
        if (node->group == target.group && node->task && !TaskMayEnd(*node->task)) return false;
    return true;
}

bool TaskBoard::TaskMayEnd(XCTask& task) noexcept
{
    bool const queued = task.GetState() == XCTaskState::Queued;
    ExecutorCore* const executor = TaskAccess::Executor(task);
    if (task.GetState() != XCTaskState::Running && (!queued || executor->HasFreeRunner())) return true;
    ExecutorCore const* const below = queued ? executor->Below() : nullptr;
    bool isHeld = queued;
    for (Waiter* waiter = m_waiters; waiter; waiter = waiter->next) {
        auto const holds = [&](Frame const& frame) {
            if (!queued) return frame.task == &task;
            return frame.executor == executor || (below && frame.executor == below);
        };
        if (!FindFrame(waiter->top, holds)) continue;
        isHeld = true;
        if (MayGoOn(*waiter)) return true;
    }
    // A running task on no sleeping stack can end. A queued one without a free runner cannot begin.
    return !isHeld;
}

bool TaskBoard::MayGoOn(Waiter& waiter) noexcept
{
    if (!waiter.forever || waiter.woken) return true;
    if (waiter.mark == m_question) return false; // asked already
    waiter.mark = m_question;
    return IsFinished(*waiter.target) || MayEnd(*waiter.target);
}

/// "thread 12: "parse" waits for "load"; ..." for every task that waits.
XCString TaskBoard::DescribeWaits() const
{
    XCString text;
    for (Waiter const* waiter = m_waiters; waiter; waiter = waiter->next) {
        if (!waiter->top) continue;
        if (!text.IsNull()) text += L"; ";
        text += L"thread " + NumberText(waiter->threadId) + L" of \"" + waiter->top->executor->Name() + L"\": " +
                NameOf(*waiter->top->task) + L" waits for ";
        text += waiter->target->task ? NameOf(*waiter->target->task)
                                     : NumberText(waiter->target->group->unfinished) + L" tasks of a group";
    }
    return text;
}

} // namespace xc::work
