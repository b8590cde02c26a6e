// Finds locks that are taken in opposite orders, before they meet.
//
// Each thread keeps the locks that it holds, with the stack of each. When it asks for another one, each held lock gets a
// step to the wanted one, kept once for the pair with both stacks. A new step that closes a way back to its own
// beginning is an inversion: threads that make these steps at once wait for each other, whether they have done so yet or
// not. The way is searched depth first when a step is new, so the usual lock costs a look-up for each lock held and
// nothing more. A lock that is got without waiting makes no step, since nobody waits for it there; what is asked for
// while it is held does.
//
// The notes are made before the wait, so that an inversion is known even when it hangs at once. A thread that is in
// here takes no notes: the memory it asks for may be guarded by watched locks. Steps that find no memory are left out.
// Addresses come again: a lock that ends takes its steps with it. Starting anew raises the generation, by which threads
// see that what they hold is of the last time.
#include "sync/LockOrder.h"

#include "win32/Process.h"
#include "win32/StackTrace.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <new>
#include <unordered_map>
#include <unordered_set>

namespace xc::sync {

constinit std::atomic<bool> g_watchesLocks{false};

namespace {

constexpr std::size_t kMostHeld = 32; // locks taken above that are not seen

/// What a thread holds. Plain, so that it needs no destructor at the end of the thread.
struct ThreadLocks {
    unsigned int generation;
    bool busy;
    std::size_t count;
    HeldLock held[kMostHeld];
};
thread_local constinit ThreadLocks t_locks{};

constinit std::atomic<unsigned int> g_generation{0};

/// The steps of all threads. Its lock is none of those that are watched.
class Graph {
public:
    /// Never destroyed: locks of static objects end late.
    static Graph& Get() noexcept
    {
        alignas(Graph) static unsigned char storage[sizeof(Graph)];
        static Graph* const graph = ::new (storage) Graph;
        return *graph;
    }

    void Clear(void (*onCycle)() noexcept) noexcept
    {
        std::lock_guard const hold(m_lock);
        m_steps.clear();
        m_known.clear();
        m_cycles.clear();
        m_onCycle = onCycle;
    }
    void Add(ThreadLocks const& locks, HeldLock const& wanted);
    void Remove(void const* lock) noexcept;
    LockCycle Take();

private:
    using Steps = std::unordered_map<void const*, LockStep>; // by the wanted lock

    bool FindWay(void const* from, void const* to, LockCycle& way, std::unordered_set<void const*>& seen) const;

    std::mutex m_lock;
    std::unordered_map<void const*, Steps> m_steps; // by the held lock
    std::unordered_set<void const*> m_known;        // at either end of a step
    std::deque<LockCycle> m_cycles;
    void (*m_onCycle)() noexcept = nullptr;
};

void Graph::Add(ThreadLocks const& locks, HeldLock const& wanted)
{
    void (*tell)() noexcept = nullptr;
    {
        std::lock_guard const hold(m_lock);
        for (std::size_t i = 0; i < locks.count; ++i) {
            HeldLock const& held = locks.held[i];
            auto const [step, isNew] = m_steps[held.lock].try_emplace(wanted.lock);
            if (!isNew) continue;
            step->second = {held, wanted, win32::ThreadId()};
            m_known.insert({held.lock, wanted.lock});
            LockCycle cycle{step->second};
            std::unordered_set<void const*> seen;
            if (!FindWay(wanted.lock, held.lock, cycle, seen)) continue;
            m_cycles.push_back(std::move(cycle));
            tell = m_onCycle;
        }
    }
    if (tell) tell();
}

/// Appends the steps of a way, if there is one.
bool Graph::FindWay(void const* from, void const* to, LockCycle& way, std::unordered_set<void const*>& seen) const
{
    if (from == to) return true;
    auto const steps = m_steps.find(from);
    if (steps == m_steps.end() || !seen.insert(from).second) return false;
    for (auto const& [next, step] : steps->second) {
        way.push_back(step);
        if (FindWay(next, to, way, seen)) return true;
        way.pop_back();
    }
    return false;
}

void Graph::Remove(void const* lock) noexcept
{
    std::lock_guard const hold(m_lock);
    if (m_known.erase(lock) == 0) return;
    m_steps.erase(lock);
    for (auto& [held, steps] : m_steps) steps.erase(lock);
}

LockCycle Graph::Take()
{
    std::lock_guard const hold(m_lock);
    if (m_cycles.empty()) return {};
    LockCycle cycle = std::move(m_cycles.front());
    m_cycles.pop_front();
    return cycle;
}

/// Null while the thread is in here already.
ThreadLocks* OwnLocks() noexcept
{
    ThreadLocks& locks = t_locks;
    if (locks.busy) return nullptr;
    unsigned int const generation = g_generation.load(std::memory_order_relaxed);
    if (locks.generation != generation) locks.count = 0;
    locks.generation = generation;
    return &locks;
}

HeldLock* Find(ThreadLocks& locks, void const* lock) noexcept
{
    HeldLock* const end = locks.held + locks.count;
    HeldLock* const found = std::find_if(locks.held, end, [lock](HeldLock const& held) { return held.lock == lock; });
    return found == end ? nullptr : found;
}

void Drop(ThreadLocks& locks, HeldLock* held) noexcept
{
    std::copy(held + 1, locks.held + locks.count, held);
    --locks.count;
}

/// @param waits the thread may have to wait for the lock.
void Note(void const* lock, LockKind kind, bool waits) noexcept
{
    ThreadLocks* const own = OwnLocks();
    if (!own) return;
    if (HeldLock* const again = Find(*own, lock)) {
        ++again->entries; // one's own: no wait
        return;
    }
    if (own->count == kMostHeld) return;
    HeldLock& fresh = own->held[own->count];
    fresh.lock = lock;
    fresh.kind = kind;
    fresh.entries = 1;
    // Two frames are this file's; the lock's own stays, it tells which operation it was.
    fresh.taken.count = win32::CaptureStack(fresh.taken.frames, LockPlace::kFrames, 2);
    if (waits && own->count > 0) {
        own->busy = true;
        try {
            Graph::Get().Add(*own, fresh);
        } catch (std::bad_alloc const&) { // one step less is known
        }
        own->busy = false;
    }
    ++own->count;
}

} // namespace

void WatchLocks(void (*onCycle)() noexcept) noexcept
{
    Graph::Get().Clear(onCycle);
    ++g_generation;
    g_watchesLocks = true;
}

void StopWatchingLocks() noexcept
{
    g_watchesLocks = false;
}

LockCycle TakeLockCycle()
{
    return Graph::Get().Take();
}

void NoteLock(void const* lock, LockKind kind) noexcept
{
    Note(lock, kind, true);
}

void NoteTaken(void const* lock, LockKind kind) noexcept
{
    Note(lock, kind, false);
}

void NoteUnlock(void const* lock) noexcept
{
    ThreadLocks* const own = OwnLocks();
    HeldLock* const held = own ? Find(*own, lock) : nullptr; // one that was taken before is not known
    if (held && --held->entries == 0) Drop(*own, held);
}

void ForgetLock(void const* lock) noexcept
{
    ThreadLocks* const own = OwnLocks();
    if (!own) return;
    if (HeldLock* const held = Find(*own, lock)) Drop(*own, held);
    own->busy = true;
    Graph::Get().Remove(lock);
    own->busy = false;
}

} // namespace xc::sync
