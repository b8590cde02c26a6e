// Pictures of all threads, taken one thread at a time.
//
// A suspended thread may hold any lock of the process: that of the heap, of the loader, of the log. Who waits for one of
// them while the thread is suspended waits for ever. So as little as possible happens in that time, and nothing that
// locks: the registers are read, the bounds of the stack are read from the thread's own block, and the part of the stack
// in use is copied into memory that was reserved before. The thread goes on, and the return addresses are found in the
// copy, in which registers that point into the stack are moved along (StackTrace.cpp). Sampling profilers work this way.
//
// What still could block is the system's answer itself. A watchdog looks every quarter of the patience whether the same
// thread is still suspended, and resumes it then. Who resumes is decided by one exchange, so that it happens once. The
// watchdog is a thread that lives as long as the process: in a process that hangs no thread may come up any more.
//
// Cost: five system calls a thread, and a copy of at most 512 KiB. Invariant: at most one thread is suspended, and the
// watchdog never is.
#include "win32/ThreadStacks.h"

#include "win32/EachThread.h"
#include "win32/HelperThread.h"
#include "win32/LastError.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>

namespace xc::win32 {

namespace {

constexpr DWORD kRightsToCopy = THREAD_QUERY_INFORMATION | THREAD_QUERY_LIMITED_INFORMATION | THREAD_GET_CONTEXT |
                                THREAD_SUSPEND_RESUME | SYNCHRONIZE;
constexpr std::size_t kMostStackBytes = 512 * 1024;

using GetDescription = HRESULT(WINAPI*)(HANDLE thread, PWSTR* description);

/// The answer to the system's question 0 about a thread.
struct BasicInformation {
    LONG exitStatus;
    NT_TIB const* block;
    void* process;
    void* thread;
    ULONG_PTR affinity;
    LONG priority, basePriority;
};

// The watchdog ---------------------------------------------------------------------------------------------------

/// Resumes the thread that the capture has left suspended for too long.
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
        ::SetEvent(m_wake.Get());
    }
    /// Waits for a resumption that is under way: the steps may go afterwards.
    void End() noexcept
    {
        std::lock_guard const guard(m_lock);
        m_steps = nullptr;
    }

    /// The thread is suspended from now on.
    void Watch(HANDLE thread) noexcept
    {
        m_turn.fetch_add(1, std::memory_order_relaxed);
        m_suspended.store(thread, std::memory_order_release);
    }
    /// @return false when the watchdog has resumed it.
    bool Release() noexcept { return m_suspended.exchange(nullptr) != nullptr; }

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
        for (std::uint64_t seen = 0;;) {
            unsigned int const step = Look(seen);
            ::WaitForSingleObject(m_wake.Get(), step);
        }
    }

    /// One look. @return how long until the next one.
    unsigned int Look(std::uint64_t& seen) noexcept
    {
        std::lock_guard const guard(m_lock);
        if (!m_steps) return INFINITE;
        std::uint64_t const turn = m_turn.load();
        HANDLE thread = m_suspended.load();
        if (turn != seen || !thread) {
            seen = turn;
            m_since = ::GetTickCount64();
        } else if (::GetTickCount64() - m_since >= m_patienceMs && m_suspended.compare_exchange_strong(thread, nullptr))
            m_steps->Resume(thread);
        return std::max(m_patienceMs / 4, 1u);
    }

    std::mutex m_lock; ///< guards the steps; never held while a thread is suspended by who suspends
    SuspendSteps* m_steps = nullptr;
    unsigned int m_patienceMs = 0;
    std::uint64_t m_since = 0;
    std::atomic<std::uint64_t> m_turn{0};
    std::atomic<HANDLE> m_suspended{nullptr};
    UniqueKernelObject m_wake;
    UniqueKernelObject m_thread;
    std::atomic<unsigned long> m_id{0};
};

// One capture ------------------------------------------------------------------------------------------------------

/// A thread of the process, and what will be found in it.
struct Target {
    UniqueKernelObject thread;
    ThreadStack stack;
};

std::wstring NameOf(HANDLE thread)
{
    static auto const describe = SystemFunction<GetDescription>(L"kernel32.dll", "GetThreadDescription");
    PWSTR text = nullptr;
    if (!describe || describe(thread, &text) < 0 || !text) return {};
    std::wstring name = text;
    ::LocalFree(text);
    return name;
}

/// All threads that live, with everything that needs memory: nothing is suspended yet.
std::vector<Target> FindTargets(std::vector<unsigned long> const& ids)
{
    std::vector<Target> targets;
    ForEachThread(kRightsToCopy, [&](UniqueKernelObject& thread) {
        unsigned long const id = ::GetThreadId(thread.Get());
        bool const wanted = ids.empty() || std::ranges::find(ids, id) != ids.end();
        bool const lives = ::WaitForSingleObject(thread.Get(), 0) != WAIT_OBJECT_0;
        if (!wanted || !lives || id == Watchdog::Get().Id()) return;
        Target& target = targets.emplace_back();
        target.stack.id = id;
        target.stack.isCaller = id == ::GetCurrentThreadId();
        target.stack.name = NameOf(thread.Get());
        target.thread = std::move(thread);
    });
    return targets;
}

void Capture(Target& target, StackPicture& picture, SuspendSteps& steps) noexcept
{
    ThreadStack& stack = target.stack;
    HANDLE const thread = target.thread.Get();
    if (stack.isCaller) {
        stack.count = CaptureStack(stack.frames, ThreadStack::kMostFrames, 1);
        stack.state = ThreadStack::State::Walked;
        return;
    }
    if (!steps.Suspend(thread)) return;
    Watchdog::Get().Watch(thread);
    bool const copied = steps.Copy(thread, picture);
    if (!Watchdog::Get().Release()) {
        stack.state = ThreadStack::State::Unreachable; // resumed meanwhile: the copy is of two moments
        return;
    }
    steps.Resume(thread);
    if (!copied) return;
    stack.count = picture.Walk(stack.frames, ThreadStack::kMostFrames);
    stack.state = ThreadStack::State::Walked;
}

} // namespace

struct StackPicture::Parts {
    CONTEXT registers{};
    StackCopy stack;
    std::unique_ptr<unsigned char[]> bytes{new unsigned char[kMostStackBytes]};
};

StackPicture::StackPicture() : m_parts(std::make_unique<Parts>())
{
    (void)QueryThreadFunction();
}
StackPicture::~StackPicture() = default;

bool StackPicture::Copy(void* thread) noexcept
{
    Parts& parts = *m_parts;
    parts.stack = {};
    parts.registers.ContextFlags = CONTEXT_CONTROL;
    parts.registers.ContextFlags |= CONTEXT_INTEGER;
    BasicInformation facts{};
    if (!::GetThreadContext(thread, &parts.registers)) return false; // waits until the thread has stopped
    QueryThread const query = QueryThreadFunction();                 // looked up when the picture was made
    if (!query || query(thread, 0, &facts, sizeof facts, nullptr) < 0 || !facts.block) return false;
    // The block of a thread is there as long as the thread cannot end.
    auto const low = reinterpret_cast<std::uint64_t>(facts.block->StackLimit);
    auto const high = reinterpret_cast<std::uint64_t>(facts.block->StackBase);
    std::uint64_t const top = parts.registers.Rsp & ~std::uint64_t{7};
    if (top < low || top >= high) return true; // no stack of its own: the instruction is all there is
    parts.stack = {parts.bytes.get(), std::min<std::size_t>(high - top, kMostStackBytes), top};
    std::memcpy(parts.bytes.get(), reinterpret_cast<void const*>(top), parts.stack.count);
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

void PrepareThreadStacks()
{
    (void)NextThreadFunction();
    (void)NameOf(::GetCurrentThread());
    StackPicture const picture;
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
    StackPicture picture;
    std::vector<Target> targets = FindTargets(ids);
    std::vector<ThreadStack> stacks;
    stacks.reserve(targets.size());
    Watchdog::Get().Begin(patienceMs, steps);
    for (Target& target : targets) Capture(target, picture, steps);
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
