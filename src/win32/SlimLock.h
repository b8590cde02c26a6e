// SlimLock.h - the smallest lock of the system and the signal that goes with it: user-mode words without handles.
//
// A wait that ends costs a few microseconds, a tenth of what kernel events take; both objects are one word and need no
// closing, so that they may stand in static storage and in objects that go while the process ends.
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
    /// @param timeoutMs 0xFFFFFFFF waits without limit. @return false when the time ran out.
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

/// Whether the process is in its last moments: the system has ended its other threads, whatever locks they held.
bool IsShuttingDown() noexcept;

/// How many processors the process may use; at least 1.
unsigned int ProcessorCount() noexcept;

} // namespace xc::win32
