// A wait that ends after a span of time, at an instant of the wall clock, or when it is woken.
//
// The two clocks differ: a span does not count while the computer sleeps, and an instant moves when the clock is set.
// The timer object of the system follows the wall clock, and the time-out of the wait counts the span, so that one call
// serves both. An instant before the system's epoch, or a timer that cannot be made, leaves the span alone: the caller
// looks at the clock afterwards in any case.
#include "win32/TimeWait.h"

#include "win32/Clock.h"
#include "win32/FineClock.h"
#include "win32/SystemFunction.h"

#include <algorithm>
#include <realtimeapiset.h>

namespace xc::win32 {

namespace {

constexpr std::int64_t kTicksPerUs = 10, kTicksPerMs = 10000;

/// The time since the start without the time that the computer has slept, as of the clock's last step.
std::int64_t AwakeStep() noexcept
{
    ULONGLONG ticks = 0;
    ::QueryUnbiasedInterruptTime(&ticks);
    return static_cast<std::int64_t>(ticks);
}

std::int64_t ElapsedStep() noexcept
{
    return static_cast<std::int64_t>(TickMs()) * kTicksPerMs;
}

std::int64_t PreciseUtc() noexcept
{
    FILETIME now;
    ::GetSystemTimePreciseAsFileTime(&now);
    return static_cast<std::int64_t>(std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime);
}

using Precise = void(WINAPI*)(PULONGLONG);

/// The precise form of a clock, or its stepping form with the wall clock between the steps.
std::uint64_t FineUs(Precise precise, std::int64_t (*step)() noexcept, FineClock& clock) noexcept
{
    if (!precise) return static_cast<std::uint64_t>(clock.Read(step(), PreciseUtc()) / kTicksPerUs);
    ULONGLONG ticks = 0;
    precise(&ticks);
    return ticks / kTicksPerUs;
}

} // namespace

std::uint64_t AwakeUs() noexcept
{
    static auto const precise = SystemFunction<Precise>(L"kernelbase.dll", "QueryUnbiasedInterruptTimePrecise");
    static constinit FineClock clock;
    return FineUs(precise, AwakeStep, clock);
}

std::uint64_t AwakeUsAtMost() noexcept
{
    return static_cast<std::uint64_t>((AwakeStep() + FineClock::kStep) / kTicksPerUs);
}

std::uint64_t ElapsedUs() noexcept
{
    static auto const precise = SystemFunction<Precise>(L"kernelbase.dll", "QueryInterruptTimePrecise");
    static constinit FineClock clock;
    return FineUs(precise, ElapsedStep, clock);
}

TimeWait::TimeWait()
    : m_event(::CreateEventW(nullptr, FALSE, FALSE, nullptr)), m_timer(::CreateWaitableTimerW(nullptr, FALSE, nullptr))
{
}

TimeWait::~TimeWait()
{
    if (m_event) ::CloseHandle(m_event);
    if (m_timer) ::CloseHandle(m_timer);
}

void TimeWait::Wait(std::uint32_t awakeMs, std::int64_t utcMs) noexcept
{
    constexpr std::int64_t kEpochMs = 11644473600000; // 1970, since 1601
    constexpr std::uint32_t kBlindMs = 10, kLookMs = 1000;
    if (!m_event) { // no memory in the system: nobody can wake this thread, so it looks often
        ::Sleep(std::min(awakeMs, kBlindMs));
        return;
    }
    HANDLE const objects[] = {m_event, m_timer};
    constexpr std::int64_t kLastMs = INT64_MAX / 10000 - kEpochMs; // what the timer can be told; kNever is later
    bool const instant = utcMs > -kEpochMs && utcMs <= kLastMs && m_timer;
    LARGE_INTEGER due{};
    if (instant) due.QuadPart = (utcMs + kEpochMs) * 10000; // not negative: an instant, no span
    bool const set = instant && ::SetWaitableTimer(m_timer, &due, 0, nullptr, nullptr, FALSE);
    // An instant that cannot be waited for is looked at each second.
    bool const isBlind = utcMs <= kLastMs && !set;
    ::WaitForMultipleObjects(set ? 2 : 1, objects, FALSE, isBlind ? std::min(awakeMs, kLookMs) : awakeMs);
    if (set) ::CancelWaitableTimer(m_timer);
}

void TimeWait::Wake() noexcept
{
    if (m_event) ::SetEvent(m_event);
}

} // namespace xc::win32
