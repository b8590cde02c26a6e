// A taken lock is looked at for some microseconds, since the sections it guards are shorter than a switch of threads; then
// its holder has lost the processor, which is given away until it has gone on. Fairness is not kept: nobody holds it for
// long. While the process ends nothing waits: the holder may be a thread that no longer exists.
#include "win32/ShortLock.h"

#include "win32/Process.h"
#include "win32/SlimLock.h"

#include <chrono>
#include <thread>

namespace xc::win32 {

void ShortLock::LockTaken() noexcept
{
    constexpr int kLooks = 200, kYields = 1000;
    for (int look = 0;; ++look) {
        if (!m_taken.test(std::memory_order_relaxed) && !m_taken.test_and_set(std::memory_order_acquire)) return;
        if (look < kLooks)
            Pause();
        else if (IsProcessEnding())
            return;
        else if (look < kYields)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace xc::win32
