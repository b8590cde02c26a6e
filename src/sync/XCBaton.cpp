#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSync.h>

#include "sync/KernelLock.h"
#include "win32/UniqueHandle.h"

namespace {

/// The system may take a waiter off an event for a moment, and a pulse then misses it. So nobody relies on the pulse
/// alone: a waiter looks again after this time.
constexpr DWORD kLookAgainMs = 50;

} // namespace

XCBaton::XCBaton() : m_mutex(nullptr), m_event(nullptr)
{
    xc::win32::UniqueKernelObject mutex(xc::sync::NewMutex(XCString(), true));
    m_event = xc::sync::NewEvent(XCString(), false);
    m_mutex = mutex.Release();
    ::ReleaseMutex(m_mutex);
}

XCBaton::~XCBaton()
{
    ::WaitForSingleObject(m_mutex, INFINITE);
    xc::sync::Close(m_event);
    ::ReleaseMutex(m_mutex);
    xc::sync::Close(m_mutex);
}

bool XCBaton::Lock(unsigned int turn)
{
    if (turn <= m_turn) return false;
    xc::sync::TakeMutex(m_mutex);
    while (m_turn < turn - 1) AwaitPulse();
    m_turn = turn; // back, for a second holder of this turn that comes after later ones
    return true;
}

/// Leaves the mutex and waits for the next pulse in one step, then takes the mutex again. Holds nothing when it throws.
void XCBaton::AwaitPulse() const
{
    if (::SignalObjectAndWait(m_mutex, m_event, kLookAgainMs, FALSE) == WAIT_FAILED) {
        XCWindowsLastErrorException const failure;
        ::ReleaseMutex(m_mutex);
        throw failure;
    }
    xc::sync::TakeMutex(m_mutex);
}

void XCBaton::Unlock() noexcept
{
    ::PulseEvent(m_event);
    ::ReleaseMutex(m_mutex);
}
