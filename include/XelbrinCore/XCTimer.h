// XCTimer.h - calls after a span of time, once or again and again.
//
// WHAT     XCTimer calls a function when it is due. XCTimerQueue holds the timers of one thread; one default queue
//          serves the process. XCTimeSourceI is where they look at the clocks: tests put a source of their own in.
// CLOCK    Spans are measured by a clock that nobody sets: Awake stands still while the system sleeps, Elapsed goes on,
//          so that a timer that became due in a sleep is called at its end.
// PERIOD   FixedRate: the next due time is the last one plus the period; calls that were missed (a slow callback, a
//          sleep) are counted and told by the next call, never made up for. FixedDelay: the period begins when the
//          callback has returned. One timer is never called by two threads at once.
// CANCEL   When Cancel (or Stop of the queue) has returned, no callback of the timer runs or will run: it waits for one
//          that runs on another thread. Called inside the callback it does not wait for itself. Nothing of the queue
//          holds the timer then: its last pointer destroys the callback, and a module may go with the callback's code.
// CALLS    Run on the queue's thread, or on an executor of the queue, and never under a lock of the library. They
//          should be short on the queue's thread: others wait. What a callback throws is counted, kept as text and
//          written to the error log. A callback may destroy its timer.
// COST     Start and Cancel take constant time, however many timers are pending (a wheel of 4 x 256 slots, the first of 1/8 ms). A queue
//          without a due timer sleeps; an idle one with a distant timer wakes at most five times until then.
// TIMES    Milliseconds. A call is never early, and late by the system's timer resolution. Spans of 32 seconds and more
//          may end up to 32 ms late: their start is read from a clock that goes in steps and costs a tenth.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCTask.h>

#include <cstdint>
#include <functional>
#include <memory>

class XCTimer;

namespace xc::work {
class TimerCore;
struct TimerAccess;
struct TimerCall;

/// A timer's place in a wheel; for the library alone.
struct TimerLink {
    TimerLink* next = nullptr;
    TimerLink* previous = nullptr;
    std::uint64_t tick = 0;
    XCTimer* timer = nullptr;
};
} // namespace xc::work

/// What a thread that looks at a clock sleeps in.
class XC_API XCTimeWaitI {
public:
    virtual ~XCTimeWaitI();
    /// Returns after a span of awake time, at an instant of the wall clock, or when woken; also without a cause.
    /// @param awakeMs XCInfinite: no span.  @param utcMs milliseconds since 1970; INT64_MAX: no instant.
    virtual void Wait(unsigned int awakeMs, std::int64_t utcMs) noexcept = 0;
    /// Ends the wait of this moment, or the next one. Any thread.
    virtual void Wake() noexcept = 0;
};

/// The clocks of timers and schedules.
class XC_API XCTimeSourceI {
public:
    virtual ~XCTimeSourceI();
    /// Microseconds of a clock that stands still while the system sleeps. Any thread.
    [[nodiscard]] virtual std::uint64_t GetAwakeUs() noexcept = 0;
    /// At least GetAwakeUs, and less than 32,000 more: for long spans, where that costs less. The default: GetAwakeUs.
    [[nodiscard]] virtual std::uint64_t GetAwakeUsAtMost() noexcept;
    /// Microseconds of a clock that nobody sets and no sleep stops. Any thread.
    [[nodiscard]] virtual std::uint64_t GetElapsedUs() noexcept = 0;
    /// The wall clock: milliseconds since 1970 in UTC. Any thread.
    [[nodiscard]] virtual std::int64_t GetUtcMs() noexcept = 0;
    /// For one thread to wait in.
    [[nodiscard]] virtual std::unique_ptr<XCTimeWaitI> NewWait() = 0;

    /// The clocks of the system.
    [[nodiscard]] static XCTimeSourceI& System() noexcept;
};

/// Which clock measures a timer's spans.
enum class XCTimerClock : unsigned char { Awake, Elapsed };

/// From where the next period counts.
enum class XCTimerMode : unsigned char { FixedRate, FixedDelay };

/// What a call knows.
struct XCTimerTick {
    std::uint64_t missed = 0; ///< due times since the last call that got no call of their own
    std::uint64_t lateMs = 0; ///< how long after its due time the call was handed out
};

/// The timers of one thread.
class XC_API XCTimerQueue : public XCRefCount {
public:
    /// @param executor where callbacks run; null: on the queue's own thread. It is kept alive.
    /// @param clocks   must outlive the queue's thread.
    explicit XCTimerQueue(XCSmartPtr<XCExecutor> const& executor = {}, XCString const& name = L"timers",
                          XCTimeSourceI& clocks = XCTimeSourceI::System());
    /// Stops without waiting.
    ~XCTimerQueue() override;

    /// Cancels all timers and waits for the thread and for callbacks that run, unless one is the caller.
    /// @return XCErrStillRunning when the deadline has passed.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite);
    /// How many timers wait to become due.
    [[nodiscard]] std::size_t GetPending() const;
    /// How often the thread has woken up.
    [[nodiscard]] std::uint64_t GetWakeUps() const;

    /// The queue of the process, made at first use and never destroyed; callbacks run on its own thread.
    [[nodiscard]] static XCTimerQueue& GetDefault();

private:
    friend class XCTimer;
    xc::work::TimerCore* m_core; // a counted reference
};

/// A call that becomes due. Counted; a pending timer is held by its queue.
///
///     XCSmartPtr<XCTimer> const beat(new XCTimer([&] { Ping(peer); }));
///     beat->Start(0, 5000);
class XC_API XCTimer : public XCRefCount {
public:
    /// What is called.
    using Callback = std::function<void(XCTimerTick const&)>;

    /// From a function that is told which call it is. The queue must live as long as the timer is pending.
    explicit XCTimer(Callback callback, XCTimerQueue& queue = XCTimerQueue::GetDefault(),
                     XCTimerClock clock = XCTimerClock::Awake);
    /// From a function without parameters.
    template <class F>
    requires std::is_invocable_v<F&>
    explicit XCTimer(F function, XCTimerQueue& queue = XCTimerQueue::GetDefault(),
                     XCTimerClock clock = XCTimerClock::Awake)
        : XCTimer(Callback([function = std::move(function)](XCTimerTick const&) mutable { function(); }), queue, clock)
    {
    }
    ~XCTimer() override;
    XCTimer(XCTimer const&) = delete;
    XCTimer& operator=(XCTimer const&) = delete;

    /// Arms the timer, in place of what was pending. @param periodMs 0: one call.
    /// @return XCErrExecutorStopped, XCErrNoThread.
    XCErrorID Start(std::uint64_t delayMs, std::uint64_t periodMs = 0, XCTimerMode mode = XCTimerMode::FixedRate);
    /// Disarms it (CANCEL above). @return whether a call was pending, handed out to an executor or not.
    bool Cancel() noexcept;
    /// Whether a call is pending.
    [[nodiscard]] bool IsPending() const;
    /// How many calls have begun.
    [[nodiscard]] std::uint64_t GetCalls() const;
    /// How many calls an exception has left.
    [[nodiscard]] std::uint64_t GetFailures() const;
    /// The last of these exceptions, as XCErrTaskFailed.
    [[nodiscard]] XCErrorID GetFailure() const;

protected:
    /// Asked before each call: false ends the timer instead. Without a lock of the library.
    [[nodiscard]] virtual bool IsWanted() const { return true; }

private:
    friend struct xc::work::TimerAccess;

    struct State { // guarded by the queue's lock
        xc::work::TimerLink link;
        xc::work::TimerCall* flight = nullptr; // handed out, and not yet ended
        std::uint64_t due = 0, period = 0, missed = 0, calls = 0, failures = 0, generation = 0;
        XCTimerMode mode = XCTimerMode::FixedRate;
        bool again = false; // became due meanwhile
        bool running = false;
        XCErrorID failure;
    };

    Callback m_callback;
    XCTimerClock const m_clock;
    xc::work::TimerCore* m_core; // a counted reference
    State m_state;
};
