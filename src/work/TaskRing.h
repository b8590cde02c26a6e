// TaskRing.h - the tasks that a worker has taken ahead, in order; others may take them away.
//
// A ring with one producer and many consumers. Positions only grow, so that a consumer that has read a slot knows by
// the exchange of the first position that nobody else took it, and that the slot was not written anew.
#pragma once

#include <XelbrinCore/XCTask.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace xc::work {

class TaskRing {
public:
    static constexpr std::uint32_t kSize = 8;

    [[nodiscard]] std::uint32_t Size() const noexcept
    {
        return m_end.load(std::memory_order_acquire) - m_first.load(std::memory_order_acquire);
    }
    /// By the owner, at most kSize tasks into an empty ring. The reference goes to the ring.
    void Put(XCTask& task) noexcept
    {
        std::uint32_t const end = m_end.load(std::memory_order_relaxed);
        m_slots[end % kSize].store(&task, std::memory_order_relaxed);
        m_end.store(end + 1, std::memory_order_release);
    }
    /// By any thread. Null when it is empty; the reference goes to the caller.
    XCTask* Take() noexcept
    {
        std::uint32_t first = m_first.load(std::memory_order_acquire);
        while (first != m_end.load(std::memory_order_acquire)) {
            XCTask* const task = m_slots[first % kSize].load(std::memory_order_relaxed);
            if (m_first.compare_exchange_weak(first, first + 1, std::memory_order_acq_rel)) return task;
        }
        return nullptr;
    }

private:
    std::atomic<std::uint32_t> m_first{0}, m_end{0};
    std::array<std::atomic<XCTask*>, kSize> m_slots{};
};

} // namespace xc::work
