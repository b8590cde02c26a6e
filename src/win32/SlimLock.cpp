// The slim lock and the condition variable of the system, each one word that needs no destruction. Their types stay out
// of the header; that they are one word is asserted here.
//
// A taken lock is looked at for some microseconds before the thread sleeps, because the sections it guards are shorter
// than a switch of threads. While the process ends nothing waits: the holder may be a thread that no longer exists.
#include "win32/SlimLock.h"

#include "win32/Process.h"

#include <windows.h>

namespace xc::win32 {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

namespace {

/// How often a taken lock is looked at before the thread sleeps: some microseconds.
constexpr int kLooks = 60;

PSRWLOCK Lock(void*& word) noexcept
{
    return reinterpret_cast<PSRWLOCK>(&word);
}

PCONDITION_VARIABLE Signal(void*& word) noexcept
{
    return reinterpret_cast<PCONDITION_VARIABLE>(&word);
}

} // namespace

void SlimLock::lock() noexcept
{
    for (int look = 0; look < kLooks; ++look) {
        if (::TryAcquireSRWLockExclusive(Lock(m_lock))) return;
        Pause();
    }
    if (!IsProcessEnding()) ::AcquireSRWLockExclusive(Lock(m_lock));
}

void SlimLock::unlock() noexcept
{
    ::ReleaseSRWLockExclusive(Lock(m_lock));
}

bool SlimSignal::Wait(SlimLock& lock, std::uint32_t timeoutMs) noexcept
{
    if (IsProcessEnding()) return false;
    // It may also return without a cause; callers ask for their condition in a loop.
    return ::SleepConditionVariableSRW(Signal(m_signal), Lock(lock.m_lock), timeoutMs, 0) != FALSE;
}

void SlimSignal::WakeOne() noexcept
{
    ::WakeConditionVariable(Signal(m_signal));
}

void SlimSignal::WakeAll() noexcept
{
    ::WakeAllConditionVariable(Signal(m_signal));
}

unsigned int ProcessorCount() noexcept
{
    DWORD const count = ::GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
    return count > 0 ? count : 1;
}

} // namespace xc::win32
