// The public side of timers, and the clocks of the system.
//
// Clocks come through an interface, so that tests set the time and let it pass; the queue never asks the system itself.
// A timer holds the core of its queue, not the queue: a queue that ends leaves its timers idle instead of dangling. All
// state of a timer is guarded by the lock of its core, even for questions, since the queue's thread changes it.
#include <XelbrinCore/XCTimer.h>

#include <cstddef>
#include <new>

#include "win32/Clock.h"
#include "win32/TimeWait.h"
#include "work/TimerCore.h"

using xc::work::TimerCore;

namespace {

/// A wait as the system has it.
class SystemWait final : public XCTimeWaitI {
public:
    void Wait(unsigned int awakeMs, std::int64_t utcMs) noexcept override { m_wait.Wait(awakeMs, utcMs); }
    void Wake() noexcept override { m_wait.Wake(); }

private:
    xc::win32::TimeWait m_wait;
};

class SystemTime final : public XCTimeSourceI {
public:
    std::uint64_t GetAwakeUs() noexcept override { return xc::win32::AwakeUs(); }
    std::uint64_t GetAwakeUsAtMost() noexcept override { return xc::win32::AwakeUsAtMost(); }
    std::uint64_t GetElapsedUs() noexcept override { return xc::win32::ElapsedUs(); }
    std::int64_t GetUtcMs() noexcept override
    {
        constexpr std::int64_t kEpochMs = 11644473600000; // 1970, since 1601
        return xc::win32::UtcTicks() / 10000 - kEpochMs;
    }
    std::unique_ptr<XCTimeWaitI> NewWait() override { return std::make_unique<SystemWait>(); }
};

} // namespace

XCTimeWaitI::~XCTimeWaitI() = default;
XCTimeSourceI::~XCTimeSourceI() = default;

/// A source without a cheaper clock is exact.
std::uint64_t XCTimeSourceI::GetAwakeUsAtMost() noexcept
{
    return GetAwakeUs();
}

XCTimeSourceI& XCTimeSourceI::System() noexcept
{
    alignas(SystemTime) static std::byte place[sizeof(SystemTime)];
    static auto* const clocks = ::new (place) SystemTime; // never destroyed: timers run until the process ends
    return *clocks;
}

XCTimerQueue::XCTimerQueue(XCSmartPtr<XCExecutor> const& executor, XCString const& name, XCTimeSourceI& clocks)
    : m_core(new TimerCore(executor, name, clocks))
{
    m_core->AddRef();
}

XCTimerQueue::~XCTimerQueue()
{
    xc::work::Abandon(*m_core);
}

XCErrorID XCTimerQueue::Stop(unsigned int timeoutMs)
{
    return m_core->Stop(timeoutMs);
}

std::size_t XCTimerQueue::GetPending() const
{
    return m_core->Pending();
}

std::uint64_t XCTimerQueue::GetWakeUps() const
{
    return m_core->WakeUps();
}

XCTimerQueue& XCTimerQueue::GetDefault()
{
    static XCTimerQueue& queue = []() -> XCTimerQueue& {
        // Never destroyed: its thread may call timers until the process ends, and static destructors join no threads.
        auto* const made = new XCTimerQueue;
        made->AddRef();
        return *made;
    }();
    return queue;
}

XCTimer::XCTimer(Callback callback, XCTimerQueue& queue, XCTimerClock clock)
    : m_callback(std::move(callback)), m_clock(clock), m_core(queue.m_core)
{
    m_core->AddRef();
    m_state.link.timer = this;
}

XCTimer::~XCTimer()
{
    m_core->Release();
}

XCErrorID XCTimer::Start(std::uint64_t delayMs, std::uint64_t periodMs, XCTimerMode mode)
{
    return m_core->Start(*this, delayMs, periodMs, mode);
}

bool XCTimer::Cancel() noexcept
{
    return m_core->Cancel(*this);
}

bool XCTimer::IsPending() const
{
    std::lock_guard const hold(m_core->Lock());
    return xc::work::TimerWheel::IsLinked(m_state.link);
}

std::uint64_t XCTimer::GetCalls() const
{
    std::lock_guard const hold(m_core->Lock());
    return m_state.calls;
}

std::uint64_t XCTimer::GetFailures() const
{
    std::lock_guard const hold(m_core->Lock());
    return m_state.failures;
}

XCErrorID XCTimer::GetFailure() const
{
    std::lock_guard const hold(m_core->Lock());
    return m_state.failure;
}
