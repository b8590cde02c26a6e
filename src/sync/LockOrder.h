// LockOrder.h - which locks the threads take while they hold others, while somebody watches.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>
#include <vector>

namespace xc::sync {

enum class LockKind : unsigned char { Section, Mutex, Baton };

/// Where a thread was.
struct LockPlace {
    static constexpr std::size_t kFrames = 24;
    void const* frames[kFrames];
    std::size_t count;
};

/// A lock that a thread holds.
struct HeldLock {
    void const* lock;
    LockKind kind;
    unsigned int entries; ///< by the same thread
    LockPlace taken;
};

/// A thread has asked for a lock while it held another.
struct LockStep {
    HeldLock held;
    HeldLock wanted;
    unsigned long thread;
};

/// Steps that lead from a lock back to it: threads that take them at once wait for each other for ever. The last step to
/// be made is the first.
using LockCycle = std::vector<LockStep>;

/// Read by every lock, on its way in and out.
extern std::atomic<bool> g_watchesLocks;
inline bool WatchesLocks() noexcept
{
    return g_watchesLocks.load(std::memory_order_relaxed);
}

/// Begins anew, with no steps. @param onCycle called on the thread that has closed a cycle, before it waits.
void WatchLocks(void (*onCycle)() noexcept) noexcept;
void StopWatchingLocks() noexcept;
/// The oldest cycle that nobody has taken yet; empty when there is none.
LockCycle TakeLockCycle();

// By the locks, while they are watched:
void NoteLock(void const* lock, LockKind kind) noexcept;  ///< before a wait
void NoteTaken(void const* lock, LockKind kind) noexcept; ///< after one that was got without waiting
void NoteUnlock(void const* lock) noexcept;               ///< also after a wait that was given up
void ForgetLock(void const* lock) noexcept;               ///< before its end

/// Notes a wait that may fail.
class LockNote {
public:
    LockNote(void const* lock, LockKind kind, bool waits = true) noexcept : m_lock(WatchesLocks() ? lock : nullptr)
    {
        if (m_lock) (waits ? NoteLock : NoteTaken)(m_lock, kind);
    }
    ~LockNote()
    {
        if (m_lock) NoteUnlock(m_lock);
    }
    LockNote(LockNote const&) = delete;
    LockNote& operator=(LockNote const&) = delete;
    /// The lock is held now.
    void Keep() noexcept { m_lock = nullptr; }

private:
    void const* m_lock;
};

} // namespace xc::sync
