// ShortLock.h - a lock for sections of some ten nanoseconds: one word, taken by one instruction without a call.
#pragma once

#include <atomic>

namespace xc::win32 {

/// Not recursive. Who finds it taken looks again, then gives the processor away between looks: for sections that neither
/// wait nor call what may. While the process ends it is passed, as SlimLock is.
class ShortLock {
public:
    constexpr ShortLock() noexcept = default;
    ShortLock(ShortLock const&) = delete;
    ShortLock& operator=(ShortLock const&) = delete;
    void lock() noexcept
    {
        if (m_taken.test_and_set(std::memory_order_acquire)) LockTaken();
    }
    void unlock() noexcept { m_taken.clear(std::memory_order_release); }

private:
    void LockTaken() noexcept;

    std::atomic_flag m_taken;
};

} // namespace xc::win32
