// Lets the holders of numbered turns enter in their order.
//
// A mutex guards the current turn and is held during a turn; an event wakes all waiters when a turn ends, and each looks
// whether the turn before its own has been entered. Leaving the mutex and waiting for the event is one call of the
// system, so that no pulse can fall between the two. The system may still take a waiter off the event for a moment, so
// a waiter looks again after 50 ms: a missed pulse delays a turn and never loses it.
//
// COST      A kernel call each way; every waiter wakes at each turn, so n waiting turns cost O(n^2) wake-ups in all.
// INVARIANT The turn changes only while the mutex is held. AwaitPulse holds the mutex when it returns and nothing when
//           it throws.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSync.h>

#include "sync/KernelLock.h"
#include "sync/LockOrder.h"
#include "win32/UniqueHandle.h"

namespace {

/// The system may take a waiter off an event for a moment, and a pulse then misses it. So nobody relies on the pulse
/// alone: a waiter looks again after this time.
constexpr DWORD kLookAgainMs = 50;

} // namespace

XCBaton::XCBaton() : m_mutex(nullptr), m_event(nullptr)
{
    // Owned until both objects exist: the destructor does not run when making the event fails.
    xc::win32::UniqueKernelObject mutex(xc::sync::NewMutex(XCString(), true));
    m_event = xc::sync::NewEvent(XCString(), false);
    m_mutex = mutex.Release();
    ::ReleaseMutex(m_mutex);
}

XCBaton::~XCBaton()
{
    if (xc::sync::WatchesLocks()) xc::sync::ForgetLock(this);
    // A holder that is about to leave is still inside its call; its handles are closed only after it.
    ::WaitForSingleObject(m_mutex, INFINITE);
    xc::sync::Close(m_event);
    ::ReleaseMutex(m_mutex);
    xc::sync::Close(m_mutex);
}

bool XCBaton::Lock(unsigned int turn)
{
    // Without the mutex: a turn that is over never comes back, so an old value can only let the call go on and look
    // properly.
    if (turn <= m_turn) return false;
    xc::sync::LockNote note(this, xc::sync::LockKind::Baton);
    xc::sync::TakeMutex(m_mutex);
    while (m_turn < turn - 1) AwaitPulse();
    m_turn = turn; // back, for a second holder of this turn that comes after later ones
    note.Keep();
    return true;
}

/// Leaves the mutex and waits for the next pulse in one step, then takes the mutex again. Holds nothing when it throws.
void XCBaton::AwaitPulse() const
{
    if (::SignalObjectAndWait(m_mutex, m_event, kLookAgainMs, FALSE) == WAIT_FAILED) {
        // Made first, since giving the mutex back would replace the code that it reports.
        XCWindowsLastErrorException const failure;
        ::ReleaseMutex(m_mutex);
        throw failure;
    }
    xc::sync::TakeMutex(m_mutex);
}

void XCBaton::Unlock() noexcept
{
    if (xc::sync::WatchesLocks()) xc::sync::NoteUnlock(this);
    ::PulseEvent(m_event);
    ::ReleaseMutex(m_mutex);
}
