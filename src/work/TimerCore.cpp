// The thread of a timer queue.
//
// It sleeps until the next tick at which a wheel has something to do, hands out what is due, and sleeps again; a timer
// that becomes the earliest wakes it. A call is handed out under the lock and runs without it. Between the two a timer
// may be cancelled or started anew: the call loses its timer then and ends without a callback. So Cancel waits only for a
// callback that runs at that moment. Each Start and Cancel gives the timer a new generation, by which a call that has
// begun knows at its end that it is no longer asked for the next due time.
//
// Spans of the clock that counts sleep end with the sleep: beside the span the thread sleeps until the instant of the
// wall clock at which it would have passed. Whichever comes first, it looks at the clock again.
//
// REFERENCES A linked timer is held by the queue, one whose call is handed out by the call. References that may be the
// last are given back without the lock: the end of a timer destroys its callback, which is code of the program. It may
// be code of a module, which unloads once Cancel or Stop has returned. So both take back the references of calls that
// have not begun, wherever the calls stand, and wait for those that have: these are counted as active until their
// reference is gone.
//
// INVARIANTS A timer is in flight once at most, from Due until its call has ended or was dropped; so one timer is never
// called by two threads. A due time that comes meanwhile is counted as missed and told by the next call. m_sleepsUntil
// tells which tick the sleeping thread will look at: only an earlier timer pays for a wake, a call of the system.
#include "work/TimerCore.h"

#include "errors/CoreError.h"
#include "win32/Process.h"
#include "win32/TimeWait.h"
#include "work/Executor.h"

#include <algorithm>

namespace xc::work {

namespace {

/// Spans from here on begin with a reading that is cheap and up to a step too large: it makes them late by less than a
/// thousandth. These are the time-outs that a server starts and cancels with each request.
constexpr std::uint64_t kLongSpanMs = 32000;
/// A tick of the wheels is an eighth of a millisecond: the system waits for whole milliseconds, and a wait of 5 that
/// begins a little after the timer must not become one of 6.
constexpr std::uint64_t kTicksPerMs = 8, kTickUs = 125;
/// Longer delays and periods are as good as this one (4.5 million years), and sums with them do not overflow.
constexpr std::uint64_t kLongestSpanMs = std::uint64_t{1} << 47;

std::uint64_t TicksOf(std::uint64_t ms) noexcept
{
    return std::min(ms, kLongestSpanMs) * kTicksPerMs;
}

/// Milliseconds to wait. The system's waits end a quarter of a millisecond late or more, so that a rest below that needs
/// no further one; where a wait does end in time, a second one follows.
std::uint64_t MsOf(std::uint64_t ticks) noexcept
{
    constexpr std::uint64_t kLateTicks = 2;
    std::uint64_t const whole = ticks / kTicksPerMs, rest = ticks % kTicksPerMs;
    return whole + (rest > (whole > 0 ? kLateTicks : 0) ? 1 : 0);
}

} // namespace

TimerCore::TimerCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks)
    : m_executor(executor), m_name(name), m_clocks(clocks),
      m_wait(clocks.NewWait()), m_wheels{TimerWheel(clocks.GetAwakeUs() / kTickUs),
                                         TimerWheel(clocks.GetElapsedUs() / kTickUs)}
{
}

TimerCore::~TimerCore() = default;

std::uint64_t TimerCore::Now(XCTimerClock clock) noexcept
{
    return (clock == XCTimerClock::Awake ? m_clocks.GetAwakeUs() : m_clocks.GetElapsedUs()) / kTickUs;
}

/// With the lock. The queue holds a reference from now on.
void TimerCore::Link(XCTimer& timer) noexcept
{
    TimerAccess::State& state = TimerAccess::Of(timer);
    timer.AddRef();
    Wheel(TimerAccess::Clock(timer)).Insert(state.link, state.due);
}

/// With the lock. @return whether it was linked: the reference is then the caller's.
bool TimerCore::Unlink(XCTimer& timer) noexcept
{
    TimerAccess::State& state = TimerAccess::Of(timer);
    if (!TimerWheel::IsLinked(state.link)) return false;
    Wheel(TimerAccess::Clock(timer)).Remove(state.link);
    return true;
}

XCErrorID TimerCore::Start(XCTimer& timer, std::uint64_t delayMs, std::uint64_t periodMs, XCTimerMode mode)
{
    XCTimerClock const clock = TimerAccess::Clock(timer);
    bool wasLinked = false, wake = false;
    XCErrorID failure;
    XCSmartPtr<XCTimer> taken;
    {
        std::unique_lock hold(m_lock);
        if (m_stopping) return errors::MakeCoreError(XCErrExecutorStopped, m_name);
        TimerAccess::State& state = TimerAccess::Of(timer);
        // Started anew: the place in the wheel changes, and a call on its way is none any more.
        wasLinked = Unlink(timer);
        taken = TakeBack(timer);
        ++state.generation;
        bool const cheap = delayMs >= kLongSpanMs && clock == XCTimerClock::Awake;
        std::uint64_t const now = cheap ? m_clocks.GetAwakeUsAtMost() / kTickUs : Now(clock);
        state.due = now + TicksOf(delayMs) + (delayMs > 0 ? 1 : 0); // part of the present tick has passed
        state.period = TicksOf(periodMs);
        state.mode = mode;
        state.missed = 0;
        state.again = false;
        Link(timer);
        wake = state.due < m_sleepsUntil[static_cast<std::size_t>(clock)];
        // The thread is awake from here on, as far as other callers need to know: one wake is enough for all of them.
        if (wake) m_sleepsUntil[0] = m_sleepsUntil[1] = 0;
        if (m_thread.IsNeeded()) failure = m_thread.Ensure(*this, &TimerCore::Loop, m_name, hold, m_change);
    }
    // Link took a reference of its own; the one from before is left over.
    if (wasLinked) timer.Release();
    if (wake) m_wait->Wake();
    if (failure.Bad()) (void)Cancel(timer); // nobody would look after it
    return failure;
}

bool TimerCore::Cancel(XCTimer& timer) noexcept
{
    bool wasLinked = false;
    XCSmartPtr<XCTimer> taken;
    {
        std::lock_guard const hold(m_lock);
        TimerAccess::State& state = TimerAccess::Of(timer);
        wasLinked = Unlink(timer);
        taken = TakeBack(timer);
        ++state.generation;
        state.period = 0;
        state.again = false;
        // A callback may cancel its own timer, and cannot wait for its own end.
        auto const isOver = [this, &timer] { return !IsCalledElsewhere(timer); };
        if (!isOver()) (void)WaitUntil(m_change, m_lock, Deadline(XCInfinite), isOver);
    }
    if (wasLinked) timer.Release();
    return wasLinked || !taken.IsNull();
}

/// What the thread of the queue does.
void TimerCore::Loop() noexcept
{
    Calls calls;
    std::unique_lock hold(m_lock);
    m_thread.Begin(m_change);
    while (!m_stopping) {
        try {
            CollectDue(calls);
        } catch (...) { // no memory for the list: what it holds goes first, the rest when it is looked at again
        }
        if (calls.empty()) {
            Sleep(hold);
            continue;
        }
        hold.unlock();
        for (CallRef const& call : calls) HandOut(call);
        // Without the lock: each call may hold the last reference to its timer.
        calls.clear();
        hold.lock();
    }
    m_thread.End(m_change);
}

/// With the lock, which is given back meanwhile.
void TimerCore::Sleep(std::unique_lock<win32::SlimLock>& hold) noexcept
{
    std::uint64_t span = UINT64_MAX;
    std::int64_t instant = win32::TimeWait::kNever;
    for (XCTimerClock const clock : {XCTimerClock::Awake, XCTimerClock::Elapsed}) {
        std::uint64_t const next = Wheel(clock).NextTick();
        // Before the lock is given back: a timer that is started from now on knows whether the thread would wake in
        // time.
        m_sleepsUntil[static_cast<std::size_t>(clock)] = next;
        if (next == TimerWheel::kNever) continue;
        std::uint64_t const now = Now(clock), left = MsOf(next > now ? next - now : 0);
        span = std::min(span, left);
        if (clock == XCTimerClock::Elapsed) instant = m_clocks.GetUtcMs() + static_cast<std::int64_t>(left);
    }
    hold.unlock();
    // A span beyond the system's counts is slept in parts: the thread wakes, finds nothing due and sleeps again.
    bool const endless = span == UINT64_MAX;
    m_wait->Wait(endless ? XCInfinite : static_cast<unsigned int>(std::min<std::uint64_t>(span, INT32_MAX)), instant);
    hold.lock();
    // Awake: who starts a timer now need not wake anybody, since the thread looks at the wheels before it sleeps.
    m_sleepsUntil[0] = m_sleepsUntil[1] = 0;
    ++m_wakeUps;
}

/// With the lock.
void TimerCore::CollectDue(Calls& calls)
{
    CallRef spare;
    for (XCTimerClock const clock : {XCTimerClock::Awake, XCTimerClock::Elapsed}) {
        std::uint64_t const now = Now(clock);
        TimerWheel& wheel = Wheel(clock);
        for (;;) {
            // Room first: a timer that has left the wheel must find its place. Doubled, for thousands may be due at once.
            if (calls.size() == calls.capacity()) calls.reserve(std::max<std::size_t>(16, calls.size() * 2));
            if (spare.IsNull()) spare = CallRef(new TimerCall);
            TimerLink* const link = wheel.Advance(now);
            if (!link) break;
            Due(*link->timer, now, spare, calls);
        }
    }
}

/// With the lock. A timer that has left the wheel with the reference that the queue held.
void TimerCore::Due(XCTimer& timer, std::uint64_t now, CallRef& spare, Calls& calls)
{
    TimerAccess::State& state = TimerAccess::Of(timer);
    std::uint64_t const late = now - state.due;
    std::uint64_t missed = 0;
    if (state.period > 0 && state.mode == XCTimerMode::FixedRate) {
        // Whole periods that passed unseen are counted, not made up for, and the next due time keeps the rhythm: it is
        // a sum of periods from the start, so that lateness never adds up.
        missed = late / state.period;
        state.due += (missed + 1) * state.period;
        // Linked before the call runs: a slow callback misses the next due times, but never shifts them.
        Link(timer);
    }
    if (state.flight) { // the last call has not ended: told by the next one
        state.missed += missed + 1;
        // A fixed rate is linked already. The others would be lost with this due time: their call is made up for once.
        state.again = state.period == 0 || state.mode == XCTimerMode::FixedDelay;
    } else {
        state.flight = spare;
        spare->timer = &timer;
        spare->tick = {std::exchange(state.missed, 0) + missed, late / kTicksPerMs};
        spare->generation = state.generation;
        spare->next = m_flights;
        if (m_flights) m_flights->previous = spare;
        m_flights = spare;
        calls.push_back(std::move(spare));
    }
    timer.Release(); // not the last one: the call holds one
}

/// With the lock: the call is none any more. @return its reference, to be given back without the lock.
XCSmartPtr<XCTimer> TimerCore::RemoveFlight(TimerCall& call) noexcept
{
    (call.previous ? call.previous->next : m_flights) = call.next;
    if (call.next) call.next->previous = call.previous;
    TimerAccess::Of(*call.timer).flight = nullptr;
    return std::move(call.timer);
}

/// With the lock: a call that has not begun.
XCSmartPtr<XCTimer> TimerCore::TakeBack(XCTimer& timer) noexcept
{
    TimerAccess::State const& state = TimerAccess::Of(timer);
    if (!state.flight || state.running) return {};
    return RemoveFlight(*state.flight);
}

/// With the lock.
TimerCall* TimerCore::FirstToTakeBack() noexcept
{
    TimerCall* call = m_flights;
    while (call && TimerAccess::Of(*call->timer).running) call = call->next;
    return call;
}

/// The executor may run and destroy the task before Submit returns, and a full one keeps this thread waiting. So the
/// queue's thread holds the call meanwhile, never its timer.
void TimerCore::HandOut(CallRef const& call) noexcept
{
    if (m_executor.IsNull()) return Invoke(call);
    {
        std::lock_guard const hold(m_lock);
        if (call->timer.IsNull()) return;
        call->handing = true;
    }
    XCErrorID refused;
    try {
        refused = m_executor->Submit(HandedOut(*this, call))->GetError();
    } catch (...) {
        refused = FailureOfTask();
    }
    bool dropped = false;
    {
        std::lock_guard const hold(m_lock);
        call->handing = false;
        dropped = call->dropped;
    }
    if (dropped) EndDropped(*call, refused);
}

/// The executor has refused or cancelled the call. While it is handed over the reason comes with Submit's return.
void TimerCore::NoteDropped(CallRef const& call) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        call->dropped = true;
        if (call->handing) return;
    }
    EndDropped(*call, XCErrorID());
}

/// Its due times are missed.
void TimerCore::EndDropped(TimerCall& call, XCErrorID const& failure) noexcept
{
    {
        std::lock_guard const hold(m_lock);
        if (!call.timer.IsNull()) TimerAccess::Of(*call.timer).missed += call.tick.missed + 1;
    }
    End(call, true, failure);
}

void TimerCore::Invoke(CallRef const& call) noexcept
{
    Active active{win32::ThreadId()};
    if (!Begin(*call, active)) return;
    XCErrorID failure;
    bool wanted = false;
    try {
        // Asked without the lock, just before the call: the owner of the callback may have gone since it was handed
        // out. A call that has begun keeps its timer.
        wanted = TimerAccess::IsWanted(*call->timer);
        if (wanted) TimerAccess::Call(*call->timer, call->tick);
    } catch (...) {
        failure = FailureOfTask();
        // Nobody waits for a callback, so that its exception has no other place to go.
        NoteFailure(m_name, failure);
    }
    End(*call, wanted || failure.Bad(), failure); // what the callback holds goes here, if nobody else holds the timer
    // Last: Cancel and Stop wait for this, and the program may then unload the code of the callback.
    Leave(active);
}

bool TimerCore::Begin(TimerCall& call, Active& active) noexcept
{
    XCSmartPtr<XCTimer> dropped;
    std::lock_guard const hold(m_lock);
    if (call.timer.IsNull()) return false; // cancelled or started anew since
    if (m_stopping) {
        dropped = RemoveFlight(call);
        return false;
    }
    TimerAccess::State& state = TimerAccess::Of(*call.timer);
    active.timer = call.timer;
    active.next = m_active;
    if (m_active) m_active->previous = &active;
    m_active = &active;
    state.running = true;
    ++state.calls;
    return true;
}

void TimerCore::Leave(Active const& active) noexcept
{
    std::lock_guard const hold(m_lock);
    (active.previous ? active.previous->next : m_active) = active.next;
    if (active.next) active.next->previous = active.previous;
    m_change.WakeAll();
}

/// A call has ended or could not be handed out.
void TimerCore::End(TimerCall& call, bool wanted, XCErrorID const& failure) noexcept
{
    XCSmartPtr<XCTimer> timer; // what it held: goes without the lock
    bool wasLinked = false;
    {
        std::lock_guard const hold(m_lock);
        if (call.timer.IsNull()) return; // taken back
        timer = RemoveFlight(call);
        TimerAccess::State& state = TimerAccess::Of(*timer);
        if (failure.Bad()) {
            ++state.failures;
            state.failure = failure;
        }
        state.running = false;
        // Its owner has gone: no later call can succeed.
        if (!wanted) {
            wasLinked = Unlink(*timer);
            ++state.generation;
        } else if (std::exchange(state.again, false))
            Rearm(*timer, 0);
        else if (state.generation == call.generation && state.period > 0 && state.mode == XCTimerMode::FixedDelay)
            // One tick more: part of the present one has passed, and a call must not be early.
            Rearm(*timer, state.period + 1);
        m_change.WakeAll();
    }
    if (wasLinked) timer->Release();
}

/// With the lock.
bool TimerCore::IsCalledElsewhere(XCTimer const& timer) const noexcept
{
    unsigned long const self = win32::ThreadId();
    for (Active const* active = m_active; active; active = active->next)
        if (active->timer == &timer && active->threadId != self) return true;
    return false;
}

/// With the lock.
void TimerCore::Rearm(XCTimer& timer, std::uint64_t ticks) noexcept
{
    TimerAccess::State& state = TimerAccess::Of(timer);
    // Started anew by its own callback: that start stands.
    if (m_stopping || TimerWheel::IsLinked(state.link)) return;
    state.due = Now(TimerAccess::Clock(timer)) + ticks;
    Link(timer);
    if (state.due >= m_sleepsUntil[static_cast<std::size_t>(TimerAccess::Clock(timer))]) return;
    m_sleepsUntil[0] = m_sleepsUntil[1] = 0;
    m_wait->Wake();
}

/// With the lock. Whether nothing of this queue runs on other threads.
bool TimerCore::IsOver(unsigned long self) const noexcept
{
    for (Active const* active = m_active; active; active = active->next)
        // A callback may stop its own queue.
        if (active->threadId != self) return false;
    return m_thread.IsOver(self);
}

XCErrorID TimerCore::Stop(std::uint32_t timeoutMs)
{
    Deadline const deadline(timeoutMs);
    std::unique_lock hold(m_lock);
    m_stopping = true;
    for (TimerWheel& wheel : m_wheels)
        while (TimerLink* const link = wheel.TakeAny()) {
            // The end of a timer runs code of the program, which may come back to this queue. Whatever it links is
            // refused by now.
            hold.unlock();
            link->timer->Release(); // may be the last reference
            hold.lock();
        }
    while (TimerCall* const call = FirstToTakeBack()) {
        XCSmartPtr<XCTimer> taken = RemoveFlight(*call);
        hold.unlock();
        taken.Clear();
        hold.lock();
    }
    m_wait->Wake();
    unsigned long const self = win32::ThreadId();
    if (WaitUntil(m_change, m_lock, deadline, [this, self] { return IsOver(self); })) return XCErrorID::Success;
    hold.unlock();
    return errors::MakeCoreError(XCErrStillRunning, m_name, XCString(L"a callback"));
}

std::size_t TimerCore::Pending() noexcept
{
    std::lock_guard const hold(m_lock);
    return m_wheels[0].Count() + m_wheels[1].Count();
}

std::uint64_t TimerCore::WakeUps() noexcept
{
    std::lock_guard const hold(m_lock);
    return m_wakeUps;
}

} // namespace xc::work
