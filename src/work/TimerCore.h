// TimerCore.h - the wheels of a queue and the thread that looks after them.
#pragma once

#include <XelbrinCore/XCTimer.h>

#include "win32/SlimLock.h"
#include "work/OwnThread.h"
#include "work/TimerWheel.h"

#include <mutex>
#include <vector>

namespace xc::work {

/// What the library's own parts do with a timer's private members.
struct TimerAccess {
    using State = XCTimer::State;
    static State& Of(XCTimer& timer) noexcept { return timer.m_state; }
    static XCTimerClock Clock(XCTimer const& timer) noexcept { return timer.m_clock; }
    static void Call(XCTimer& timer, XCTimerTick const& tick) { timer.m_callback(tick); }
    static bool IsWanted(XCTimer const& timer) { return timer.IsWanted(); }
};

/// A call of a timer that is due; shared by the queue and by the task that makes the call. Guarded by the queue's lock.
struct TimerCall : XCRefCount {
    XCSmartPtr<XCTimer> timer; // null: taken back, or over
    XCTimerTick tick;
    std::uint64_t generation = 0;
    bool handing = false; // the queue's thread is giving it to the executor
    bool dropped = false; // meanwhile by the executor
    TimerCall* next = nullptr;
    TimerCall* previous = nullptr;
};

/// Kept alive by its queue, its timers and its thread.
class TimerCore final : public XCRefCount {
public:
    TimerCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks);
    ~TimerCore() override;

    XCErrorID Start(XCTimer& timer, std::uint64_t delayMs, std::uint64_t periodMs, XCTimerMode mode);
    bool Cancel(XCTimer& timer) noexcept;
    XCErrorID Stop(std::uint32_t timeoutMs);
    [[nodiscard]] std::size_t Pending() noexcept;
    [[nodiscard]] std::uint64_t WakeUps() noexcept;
    /// For questions to a timer's state.
    [[nodiscard]] win32::SlimLock& Lock() noexcept { return m_lock; }

private:
    using CallRef = XCSmartPtr<TimerCall>;
    friend class HandedOut<TimerCore, CallRef>;
    using Calls = std::vector<CallRef>;
    struct Active { // a thread in a callback
        unsigned long threadId;
        XCTimer const* timer = nullptr; // for comparisons alone
        Active* next = nullptr;
        Active* previous = nullptr;
    };

    void Loop() noexcept;
    void CollectDue(Calls& calls);
    void Due(XCTimer& timer, std::uint64_t now, CallRef& spare, Calls& calls);
    void Link(XCTimer& timer) noexcept;
    bool Unlink(XCTimer& timer) noexcept;
    [[nodiscard]] XCSmartPtr<XCTimer> RemoveFlight(TimerCall& call) noexcept;
    [[nodiscard]] XCSmartPtr<XCTimer> TakeBack(XCTimer& timer) noexcept;
    [[nodiscard]] TimerCall* FirstToTakeBack() noexcept;
    void HandOut(CallRef const& call) noexcept;
    void Invoke(CallRef const& call) noexcept;
    void NoteDropped(CallRef const& call) noexcept;
    void EndDropped(TimerCall& call, XCErrorID const& failure) noexcept;
    bool Begin(TimerCall& call, Active& active) noexcept;
    void Leave(Active const& active) noexcept;
    void End(TimerCall& call, bool wanted, XCErrorID const& failure) noexcept;
    [[nodiscard]] bool IsCalledElsewhere(XCTimer const& timer) const noexcept;
    void Rearm(XCTimer& timer, std::uint64_t ticks) noexcept;
    [[nodiscard]] bool IsOver(unsigned long self) const noexcept;
    void Sleep(std::unique_lock<win32::SlimLock>& hold) noexcept;
    /// In ticks of the wheels.
    [[nodiscard]] std::uint64_t Now(XCTimerClock clock) noexcept;
    [[nodiscard]] TimerWheel& Wheel(XCTimerClock clock) noexcept { return m_wheels[static_cast<std::size_t>(clock)]; }

    XCSmartPtr<XCExecutor> const m_executor; // null: callbacks run on the queue's thread
    XCString const m_name;
    XCTimeSourceI& m_clocks;
    std::unique_ptr<XCTimeWaitI> const m_wait;

    win32::SlimLock m_lock; // guards all that follows
    win32::SlimSignal m_change;
    TimerWheel m_wheels[2];                  // by clock
    std::uint64_t m_sleepsUntil[2] = {0, 0}; // the ticks that the thread will look at next; 0: it looks at once
    std::uint64_t m_wakeUps = 0;
    Active* m_active = nullptr;
    TimerCall* m_flights = nullptr;
    OwnThread m_thread;
    bool m_stopping = false;
};

} // namespace xc::work
