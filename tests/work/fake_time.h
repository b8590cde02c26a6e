// fake_time.h - clocks that tests set; the sleeper wakes when the system would wake it.
#pragma once

#include "prelude.h"

/// For one thread that sleeps.
struct FakeTime final : XCTimeSourceI {
    explicit FakeTime(std::int64_t utcMs = 0) : m_state(std::make_shared<State>()) { m_state->utc = utcMs; }

    std::uint64_t GetAwakeUs() noexcept override { return 1000 * Read(&State::awake); }
    std::uint64_t GetElapsedUs() noexcept override { return 1000 * Read(&State::elapsed); }
    std::int64_t GetUtcMs() noexcept override { return Read(&State::utc); }
    std::unique_ptr<XCTimeWaitI> NewWait() override { return std::make_unique<Sleeper>(m_state); }

    /// Time passes; then whoever was due has had its turn.
    void Pass(std::int64_t ms) { Change(ms, ms, ms); }
    /// The system sleeps.
    void SleepFor(std::int64_t ms) { Change(0, ms, ms); }
    /// Somebody sets the wall clock.
    void SetClock(std::int64_t ms) { Change(0, 0, ms); }
    /// Until the thread sleeps and has no cause to wake.
    void Settle() { Change(0, 0, 0); }

private:
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        std::uint64_t awake = 1000, elapsed = 5000;
        std::int64_t utc = 0;
        bool sleeping = false, woken = false;
        std::uint64_t untilAwake = 0;
        std::int64_t untilUtc = 0;

        [[nodiscard]] bool HasCause() const { return woken || awake >= untilAwake || utc >= untilUtc; }
    };
    struct Sleeper final : XCTimeWaitI {
        explicit Sleeper(std::shared_ptr<State> state) : m_state(std::move(state)) {}
        void Wait(unsigned int awakeMs, std::int64_t utcMs) noexcept override
        {
            State& state = *m_state;
            std::unique_lock hold(state.lock);
            state.untilAwake = awakeMs == XCInfinite ? UINT64_MAX : state.awake + awakeMs;
            state.untilUtc = utcMs;
            state.sleeping = true;
            state.changed.notify_all();
            state.changed.wait(hold, [&] { return state.HasCause(); });
            state.sleeping = state.woken = false;
        }
        void Wake() noexcept override
        {
            std::lock_guard const hold(m_state->lock);
            m_state->woken = true;
            m_state->changed.notify_all();
        }

    private:
        std::shared_ptr<State> m_state;
    };

    template <class T>
    T Read(T State::*clock) const
    {
        std::lock_guard const hold(m_state->lock);
        return (*m_state).*clock;
    }
    void Change(std::int64_t awake, std::int64_t elapsed, std::int64_t utc)
    {
        State& state = *m_state;
        std::unique_lock hold(state.lock);
        auto const atRest = [&] { return state.sleeping && !state.HasCause(); };
        state.changed.wait(hold, atRest);
        state.awake += static_cast<std::uint64_t>(awake);
        state.elapsed += static_cast<std::uint64_t>(elapsed);
        state.utc += utc;
        state.changed.notify_all();
        state.changed.wait(hold, atRest);
    }

    std::shared_ptr<State> m_state; // sleepers outlive the source
};
