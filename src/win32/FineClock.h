// FineClock.h - a clock without steps, out of one that goes in steps and one that somebody may set.
//
// The clocks that nobody sets go on in steps of up to 16 ms where the system has no precise form of them. Between two
// steps the wall clock goes on evenly, so that the reading is the wall clock plus a difference. The difference is taken
// anew when the reading has left what the stepping clock allows: it is never below it, and never a whole kStep above. A
// wall clock that is set, or a sleep of the system that one of the two does not count, thus costs one reading's
// accuracy and no more. A new difference may lie below the old one; the largest reading told so far then holds until
// time has caught up, so that no thread sees the clock go back.
#pragma once

#include <atomic>
#include <cstdint>

namespace xc::win32 {

class FineClock {
public:
    /// In steps of 100 ns, as all readings. Twice the longest step of the system's clocks: servers that are busy
    /// deliver a step late.
    static constexpr std::int64_t kStep = 32 * 10000;

    /// Any thread.
    std::int64_t Read(std::int64_t stepping, std::int64_t even) noexcept
    {
        std::int64_t reading = even + m_difference.load(std::memory_order_relaxed);
        if (reading < stepping || reading - stepping >= kStep) {
            reading = stepping;
            m_difference.store(stepping - even, std::memory_order_relaxed);
        }
        std::int64_t last = m_last.load(std::memory_order_relaxed);
        while (last < reading)
            if (m_last.compare_exchange_weak(last, reading, std::memory_order_relaxed)) return reading;
        return last;
    }

private:
    std::atomic<std::int64_t> m_difference{0};
    std::atomic<std::int64_t> m_last{INT64_MIN};
};

} // namespace xc::win32
