// The slim lock and the condition variable of the system, each one word that needs no destruction. Their types stay out
// of the header; that they are one word is asserted here.
#include "win32/SlimLock.h"

#include "win32/Process.h"

#include <windows.h>

namespace xc::win32 {

static_assert(sizeof(SRWLOCK) == sizeof(void*) && sizeof(CONDITION_VARIABLE) == sizeof(void*));

namespace {

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
    ::AcquireSRWLockExclusive(Lock(m_lock));
}

void SlimLock::unlock() noexcept
{
    ::ReleaseSRWLockExclusive(Lock(m_lock));
}

bool SlimSignal::Wait(SlimLock& lock, std::uint32_t timeoutMs) noexcept
{
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

bool IsShuttingDown() noexcept
{
    return IsProcessEnding();
}

unsigned int ProcessorCount() noexcept
{
    DWORD const count = ::GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
    return count > 0 ? count : 1;
}

} // namespace xc::win32
