// SlimLock.h - the smallest lock of the system and the signal that goes with it: user-mode words without handles.
//
// A wait that ends costs a few microseconds, a tenth of what kernel events take; both objects are one word and need no
// closing, so that they may stand in static storage and in objects that go while the process ends. Locks here are held
// for some ten nanoseconds, so a thread that finds one taken looks again for a moment before it sleeps.
//
// When the process ends, the system ends its other threads first, some of them with a lock in their hands. The last
// thread then passes every lock, and its waits end at once: nobody is left who could release or wake.
#pragma once

#include <cstdint>
#if !defined(_WIN32)
#include <condition_variable>
#include <mutex>
#endif

namespace xc::win32 {

/// Not recursive. Works with std::lock_guard and std::unique_lock.
class SlimLock {
public:
    constexpr SlimLock() noexcept = default;
    SlimLock(SlimLock const&) = delete;
    SlimLock& operator=(SlimLock const&) = delete;
    void lock() noexcept;
    void unlock() noexcept;

private:
    friend class SlimSignal;
#if defined(_WIN32)
    void* m_lock = nullptr; // an SRWLOCK
#else
    std::mutex m_lock;
#endif
};

/// Waited for with the lock held; may return without a wake, so that the caller looks again.
class SlimSignal {
public:
    SlimSignal() noexcept = default;
    SlimSignal(SlimSignal const&) = delete;
    SlimSignal& operator=(SlimSignal const&) = delete;
    /// @param timeoutMs 0xFFFFFFFF waits without limit. @return false when the time ran out, or the process ends.
    bool Wait(SlimLock& lock, std::uint32_t timeoutMs) noexcept;
    void WakeOne() noexcept;
    void WakeAll() noexcept;

private:
#if defined(_WIN32)
    void* m_signal = nullptr; // a CONDITION_VARIABLE
#else
    std::condition_variable m_signal;
#endif
};

/// Lets the processor rest for a moment in a loop that waits for another thread.
inline void Pause() noexcept
{
    __builtin_ia32_pause();
}

/// How many processors the process may use; at least 1.
unsigned int ProcessorCount() noexcept;

} // namespace xc::win32
