// XCSafeCounter.h - a counter that threads share.
//
// WHAT     An atomic unsigned 32-bit number that goes up and down by one. It wraps at both ends.
// COST     One atomic operation a call; nothing allocates.
// THREADS  Any threads may count with one object.
#pragma once

#include <atomic>
#include <cstdint>

/// An unsigned 32-bit counter that threads share. It wraps at both ends.
class XCSafeCounter {
public:
    /// Starts at the given count.
    constexpr explicit XCSafeCounter(unsigned long start = 0) noexcept : m_count(static_cast<std::uint32_t>(start)) {}
    /// A copy starts with the value of the moment and counts on its own.
    XCSafeCounter(XCSafeCounter const& other) noexcept : m_count(other.m_count.load(std::memory_order_relaxed)) {}
    XCSafeCounter& operator=(XCSafeCounter const& other) noexcept
    {
        m_count.store(other.m_count.load(std::memory_order_relaxed), std::memory_order_relaxed);
        return *this;
    }

    /// Adds one; returns the value after the change.
    unsigned long operator++() noexcept { return m_count.fetch_add(1, std::memory_order_acq_rel) + std::uint32_t{1}; }
    /// Takes one away; returns the value after the change.
    unsigned long operator--() noexcept { return m_count.fetch_sub(1, std::memory_order_acq_rel) - std::uint32_t{1}; }
    /// The count at this moment.
    operator unsigned long() const noexcept { return m_count.load(std::memory_order_acquire); }

private:
    std::atomic<std::uint32_t> m_count;
};
static_assert(sizeof(XCSafeCounter) == 4);
