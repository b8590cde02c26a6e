// Pictures of all threads, taken of a batch of threads at a time.
//
// A suspended thread may hold any lock of the process: that of the heap, of the loader, of the log. Who waits for one of
// them while the thread is suspended waits for ever. So as little as possible happens in that time, and nothing that
// locks: the registers are read, the bounds of the stack are read from the thread's own block, and the part of the stack
// in use is copied into memory that was reserved before. The threads go on, and the return addresses are found in the
// copies, in which registers that point into the stack are moved along (StackTrace.cpp). Sampling profilers work this way.
//
// A thread has stopped only when it was given a processor once more. Asked for one after the other, each of a hundred
// busy threads costs a turn of all the others; asked for together, all stop within one turn, and while they stand nobody
// competes with the copying. The price is that a thread stands still as long as its batch, some milliseconds.
//
// What still could block is the system's answer itself. A watchdog resumes the whole batch when it stands for longer than
// the patience. The thread whose copy was under way is tried again alone, and given up when that fails; the others come
// with the next batch. Who resumes a thread is decided by one exchange, so that it happens once. The watchdog is a thread
// that lives as long as the process: in a process that hangs no thread may come up any more.
//
// Cost: seven system calls a thread, and a copy of at most 512 KiB. Invariant: the watchdog is never suspended, and each
// batch that is given up settles one thread, so that the capture ends.
#include "win32/ThreadStacks.h"

#include "win32/EachThread.h"
#include "win32/HelperThread.h"
#include "win32/LastError.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>

namespace xc::win32 {

namespace {

constexpr DWORD kRightsToCopy = THREAD_QUERY_INFORMATION | THREAD_QUERY_LIMITED_INFORMATION | THREAD_GET_CONTEXT |
                                THREAD_SUSPEND_RESUME | SYNCHRONIZE;
constexpr std::size_t kMostStackBytes = 512 * 1024;
constexpr std::size_t kMostAtOnce = 64; // their copies have room for 32 MB at most, of which a few pages each are used

using GetDescription = HRESULT(WINAPI*)(HANDLE thread, PWSTR* description);

/// The answer to the system's question 0 about a thread.
struct BasicInformation {
    LONG exitStatus;
    NT_TIB const* block;
    HANDLE process, thread; ///< their numbers
    ULONG_PTR affinity;
    LONG priority, basePriority;
};

// The watchdog ---------------------------------------------------------------------------------------------------

/// Resumes the threads that the capture has left suspended for too long.
class Watchdog {
public:
    /// The one of the process. @throws std::bad_alloc.
    static Watchdog& Get()
    {
        static Watchdog& dog = *new Watchdog;
        return dog;
    }
    [[nodiscard]] unsigned long Id() const noexcept { return m_id; }

    void Begin(unsigned int patienceMs, SuspendSteps& steps) noexcept
    {
        std::lock_guard const guard(m_lock);
        m_steps = &steps;
        m_patienceMs = std::max(patienceMs, 1u);
        m_since = ::GetTickCount64();
        ::SetEvent(m_wake.Get());
    }
    /// Waits for a resumption that is under way: the steps may go afterwards.
    void End() noexcept
    {
        std::lock_guard const guard(m_lock);
        m_steps = nullptr;
    }

    /// Nothing is suspended, and the patience begins anew. Waits for a resumption that is under way: it would take the
    /// places of the next batch for those of the last one.
    void BeginBatch() noexcept
    {
        std::lock_guard const guard(m_lock);
        m_since = ::GetTickCount64();
    }
    /// The thread is suspended from now on.
    void Watch(std::size_t place, HANDLE thread) noexcept { m_suspended[place].store(thread); }
    /// False when the watchdog has resumed it.
    [[nodiscard]] bool Holds(std::size_t place) const noexcept { return m_suspended[place].load() != nullptr; }
    /// @return false when the watchdog has resumed it.
    bool Release(std::size_t place) noexcept { return m_suspended[place].exchange(nullptr) != nullptr; }

private:
    Watchdog() noexcept : m_wake(::CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
        PinLibrary(); // its code is at work until the process ends
        unsigned int id = 0;
        m_thread = StartHelperThread(Body, this, &id);
        m_id = id;
    }

    static unsigned int __stdcall Body(void* self)
    {
        static_cast<Watchdog*>(self)->Run();
        return 0;
    }

    [[noreturn]] void Run() noexcept
    {
        for (;;) ::WaitForSingleObject(m_wake.Get(), Look());
    }

    /// One look. @return how long until the next one.
    DWORD Look() noexcept
    {
        std::lock_guard const guard(m_lock);
        if (!m_steps) return INFINITE;
        if (::GetTickCount64() - m_since >= m_patienceMs)
            for (std::atomic<HANDLE>& place : m_suspended)
                if (HANDLE const thread = place.exchange(nullptr)) m_steps->Resume(thread);
        return std::max(m_patienceMs / 4, 1u);
    }

    std::mutex m_lock; ///< guards the steps; never held while a thread is suspended by who suspends
    SuspendSteps* m_steps = nullptr;
    unsigned int m_patienceMs = 0;
    std::uint64_t m_since = 0;
    std::array<std::atomic<HANDLE>, kMostAtOnce> m_suspended{};
    UniqueKernelObject m_wake;
    UniqueKernelObject m_thread;
    std::atomic<unsigned long> m_id{0};
};

// One capture ------------------------------------------------------------------------------------------------------

/// A thread of the process, and how far its capture has come.
struct Target {
    ThreadStack stack;
    void const* block = nullptr;
    bool waits = true;      ///< for a batch
    bool alone = false;     ///< a batch with it was given up
    bool suspended = false; ///< in this batch
    bool settled = false;   ///< in this batch, the system has answered while the thread stood
    bool copied = false;    ///< with an answer that serves
};

GetDescription DescriptionFunction() noexcept
{
    static auto const function = SystemFunction<GetDescription>(L"kernel32.dll", "GetThreadDescription");
    return function;
}

bool Ask(HANDLE thread, BasicInformation& facts) noexcept
{
    QueryThread const query = QueryThreadFunction(); // looked up when the targets were found
    return query && query(thread, 0, &facts, sizeof facts, nullptr) >= 0;
}

NT_TIB const* BlockOf(HANDLE thread) noexcept
{
    BasicInformation facts{};
    return Ask(thread, facts) ? facts.block : nullptr;
}

/// Nothing for a thread that has ended, and for the watchdog.
void AddTarget(std::vector<Target>& targets, UniqueKernelObject& thread)
{
    BasicInformation facts{};
    if (!Ask(thread.Get(), facts)) return;
    // One question in place of three; an identifier may have gone to another process since it was read.
    bool const isOurs = HandleToULong(facts.process) == ::GetCurrentProcessId();
    auto const id = static_cast<unsigned long>(HandleToULong(facts.thread));
    if (!isOurs || facts.exitStatus != STILL_ACTIVE || id == Watchdog::Get().Id()) return;
    Target& target = targets.emplace_back();
    target.block = facts.block;
    target.stack.id = id;
    target.stack.isCaller = id == ::GetCurrentThreadId();
    target.stack.thread.reset(thread.Release());
}

/// The threads that live, with everything that needs memory: nothing is suspended yet.
std::vector<Target> FindTargets(std::vector<unsigned long> const& ids)
{
    std::vector<Target> targets;
    for (unsigned long const id : ids) {
        UniqueKernelObject thread(::OpenThread(kRightsToCopy, FALSE, id));
        if (thread) AddTarget(targets, thread);
    }
    if (ids.empty()) ForEachThread(kRightsToCopy, [&](UniqueKernelObject& thread) { AddTarget(targets, thread); });
    return targets;
}

/// Threads that stand still together, each with room for its picture.
class Batch {
public:
    Batch(std::size_t most, SuspendSteps& steps)
        : m_steps(steps), m_pictures(most), m_room(new unsigned char[most * kMostStackBytes])
    {
        m_members.reserve(most);
    }

    /// The next ones that wait. @return false when there is none.
    bool Gather(std::vector<Target>& targets) noexcept
    {
        m_members.clear();
        for (Target& target : targets) {
            bool const fits = m_members.size() < m_pictures.size() && (!target.alone || m_members.empty());
            if (!target.waits || !fits) continue;
            std::size_t const place = m_members.size();
            m_pictures[place].Prepare(target.block, m_room.get() + place * kMostStackBytes);
            m_members.push_back(&target); // within what was reserved
            if (target.alone) break;
        }
        return !m_members.empty();
    }

    void Capture() noexcept
    {
        m_dog.BeginBatch();
        Suspend();
        Copy();
        Resume();
        Walk();
    }

private:
    void Suspend() noexcept
    {
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            Target& member = *m_members[i];
            member.suspended = m_steps.Suspend(member.stack.thread.get());
            if (member.suspended) m_dog.Watch(i, member.stack.thread.get());
        }
    }

    void Copy() noexcept
    {
        for (std::size_t i = 0; i < m_members.size() && (!m_members[i]->suspended || m_dog.Holds(i)); ++i) {
            Target& member = *m_members[i];
            member.copied = member.suspended && m_steps.Copy(member.stack.thread.get(), m_pictures[i]);
            // Resumed meanwhile: the copy is of two moments.
            member.settled = !member.suspended || m_dog.Holds(i);
        }
    }

    void Resume() noexcept
    {
        for (std::size_t i = 0; i < m_members.size(); ++i)
            if (m_members[i]->suspended && m_dog.Release(i)) m_steps.Resume(m_members[i]->stack.thread.get());
    }

    void Walk() noexcept
    {
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            Target& member = *m_members[i];
            ThreadStack& stack = member.stack;
            if (!member.settled) return GiveUp(member);
            member.waits = false;
            if (!member.copied) continue;
            stack.count = m_pictures[i].Walk(stack.frames, ThreadStack::kMostFrames);
            stack.state = ThreadStack::State::Walked;
        }
    }

    /// The first one without an answer has kept the batch waiting, or nobody but a slow machine has.
    static void GiveUp(Target& member) noexcept
    {
        member.waits = !member.alone;
        if (member.alone) member.stack.state = ThreadStack::State::Unreachable;
        member.alone = true;
    }

    SuspendSteps& m_steps;
    Watchdog& m_dog = Watchdog::Get();
    std::vector<StackPicture> m_pictures;
    std::unique_ptr<unsigned char[]> m_room; ///< in one piece: untouched pages cost an address and no memory
    std::vector<Target*> m_members;
};

} // namespace

struct StackPicture::Parts {
    CONTEXT registers{};
    StackCopy stack;
    NT_TIB const* block = nullptr;
    unsigned char* room = nullptr;
};

StackPicture::StackPicture() : m_parts(std::make_unique<Parts>()) {}
StackPicture::~StackPicture() = default;

void StackPicture::Prepare(void const* threadBlock, unsigned char* room) noexcept
{
    m_parts->block = static_cast<NT_TIB const*>(threadBlock);
    m_parts->room = room;
}

bool StackPicture::Copy(void* thread) noexcept
{
    Parts& parts = *m_parts;
    parts.stack = {};
    parts.registers.ContextFlags = CONTEXT_CONTROL;
    parts.registers.ContextFlags |= CONTEXT_INTEGER;
    if (!::GetThreadContext(thread, &parts.registers)) return false; // waits until the thread has stopped
    if (!parts.block) parts.block = BlockOf(thread);                 // it had only just begun
    if (!parts.block) return false;
    // The block of a thread is there as long as the thread cannot end.
    auto const low = reinterpret_cast<std::uint64_t>(parts.block->StackLimit);
    auto const high = reinterpret_cast<std::uint64_t>(parts.block->StackBase);
    std::uint64_t const top = parts.registers.Rsp & ~std::uint64_t{7};
    if (top < low || top >= high) return true; // no stack of its own: the instruction is all there is
    parts.stack = {parts.room, std::min<std::size_t>(high - top, kMostStackBytes), top};
    std::memcpy(parts.room, reinterpret_cast<void const*>(top), parts.stack.count);
    return true;
}

std::size_t StackPicture::Walk(void const** frames, std::size_t room) const noexcept
{
    return CaptureStackOf(&m_parts->registers, m_parts->stack, frames, room);
}

bool SuspendSteps::Suspend(void* thread) noexcept
{
    return ::SuspendThread(thread) != static_cast<DWORD>(-1);
}

bool SuspendSteps::Copy(void* thread, StackPicture& picture) noexcept
{
    return picture.Copy(thread);
}

void SuspendSteps::Resume(void* thread) noexcept
{
    ::ResumeThread(thread);
}

void CloseThread::operator()(void* thread) const noexcept
{
    UniqueKernelObject(thread).Reset();
}

std::wstring NameOfThread(void* thread)
{
    PWSTR text = nullptr;
    GetDescription const describe = DescriptionFunction();
    if (!describe || describe(thread, &text) < 0 || !text) return {};
    std::wstring name = text;
    ::LocalFree(text);
    return name;
}

void PrepareThreadStacks()
{
    (void)NextThreadFunction();
    (void)QueryThreadFunction();
    (void)DescriptionFunction();
    Watchdog::Get();
    (void)IsLoaderFree(0);
    (void)DescribeWithoutLoader(reinterpret_cast<void const*>(&PrepareThreadStacks), false);
}

std::vector<ThreadStack> CaptureThreads(std::vector<unsigned long> const& ids, unsigned int patienceMs,
                                        SuspendSteps& steps)
{
    KeepLastError const keep;
    static std::mutex& oneAtATime = *new std::mutex;
    std::lock_guard const guard(oneAtATime);
    std::vector<Target> targets = FindTargets(ids);
    std::vector<ThreadStack> stacks;
    stacks.reserve(targets.size());
    for (Target& target : targets) {
        if (!target.stack.isCaller) continue; // it need not be suspended
        target.waits = false;
        target.stack.count = CaptureStack(target.stack.frames, ThreadStack::kMostFrames, 0);
        target.stack.state = ThreadStack::State::Walked;
    }
    Batch batch(std::min(targets.size(), kMostAtOnce), steps);
    Watchdog::Get().Begin(patienceMs, steps);
    while (batch.Gather(targets)) batch.Capture();
    Watchdog::Get().End();
    for (Target& target : targets) stacks.push_back(std::move(target.stack));
    return stacks;
}

std::vector<ThreadStack> CaptureThreads(std::vector<unsigned long> const& ids, unsigned int patienceMs)
{
    SuspendSteps steps;
    return CaptureThreads(ids, patienceMs, steps);
}

} // namespace xc::win32
