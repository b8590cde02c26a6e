// PinnedState.h - a constant object that many threads read and one now and then exchanges.
//
// A reader raises a counter, reads, and lowers it again: two steps on memory that few other threads touch, where a lock
// or a count of references would have all readers write to one place. The counters stand in stripes, chosen by the place
// of the reader's stack. Whoever exchanges the object waits until each counter was zero at a moment after the exchange:
// a reader that came before has then gone, and one that came later has seen the new object, because both orders of
// "raise, look" and "exchange, look" are sequentially consistent. Two counters a stripe take turns, so that new readers
// do not keep the old counter from reaching zero.
#pragma once

#include "win32/SlimLock.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace xc::encoding {

template <class State>
class PinnedState {
    using Counter = std::atomic<std::uint32_t>;
    struct alignas(64) Stripe {
        Counter readers[2]{};
    };

public:
    /// Keeps the object that it found for as long as it lives.
    class Pin {
    public:
        explicit Pin(PinnedState const& owner) noexcept : m_counter(owner.CounterOfThisThread())
        {
            m_counter.fetch_add(1);
            m_state = owner.m_state.load();
        }
        ~Pin() { m_counter.fetch_sub(1, std::memory_order_release); }
        Pin(Pin const&) = delete;
        Pin& operator=(Pin const&) = delete;
        State const& operator*() const noexcept { return *m_state; }
        State const* operator->() const noexcept { return m_state; }

    private:
        Counter& m_counter;
        State const* m_state;
    };

    explicit PinnedState(std::unique_ptr<State const> first) noexcept : m_state(first.release()) {}
    ~PinnedState() { delete m_state.load(); }
    PinnedState(PinnedState const&) = delete;
    PinnedState& operator=(PinnedState const&) = delete;

    /// Puts the next object in place and destroys the last one, when nobody reads it any more. Never called by a
    /// thread that holds a pin.
    void Exchange(std::unique_ptr<State const> next) noexcept
    {
        std::lock_guard const guard(m_lock);
        std::unique_ptr<State const> const last(m_state.exchange(next.release()));
        for (int turn = 0; turn < 2; ++turn) {
            std::uint32_t const before = m_turn.fetch_xor(1) & 1;
            for (Stripe const& stripe : m_stripes)
                while (stripe.readers[before].load() != 0) std::this_thread::yield();
        }
    }

private:
    Counter& CounterOfThisThread() const noexcept
    {
        // Stacks of threads lie at least 64 KiB apart.
        auto const place = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) >> 16;
        return m_stripes[(place ^ place >> 4) % kStripes].readers[m_turn.load(std::memory_order_relaxed) & 1];
    }

    static constexpr std::size_t kStripes = 16;
    mutable std::array<Stripe, kStripes> m_stripes{};
    std::atomic<State const*> m_state;
    std::atomic<std::uint32_t> m_turn{0};
    win32::SlimLock m_lock;
};

} // namespace xc::encoding
