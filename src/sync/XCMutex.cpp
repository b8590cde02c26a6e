// Mutexes and events of the system, which have names and are shared between processes.
//
// A mutex whose owner has died is given to the next waiter with a special answer: what it guarded may be half-changed.
// Callers are told that they did not get it, and it is released again, so that it does not stay held by a thread that
// does not know of it. Names of objects are given by reference to class statics when there is none, which works even
// before those statics have been constructed, since only their addresses are compared.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSync.h>

#include "sync/KernelLock.h"
#include "sync/LockOrder.h"

#include <windows.h>

XCString const XCMutex::defaultValue;

namespace {

/// The name to create an object with. The class statics stand for no name even before they are constructed.
XCString const& NameOf(XCString const& name)
{
    static XCString const unnamed;
    return &name == &XCMutex::defaultValue || &name == &XCEventSemaphore::defaultValue ? unnamed : name;
}

} // namespace

XCMutex::XCMutex(XCString const& name, bool owned) : m_handle(xc::sync::NewMutex(NameOf(name), owned))
{
    // One with a name may belong to others already.
    if (owned && NameOf(name).IsNull() && xc::sync::WatchesLocks())
        xc::sync::NoteTaken(this, xc::sync::LockKind::Mutex);
}

XCMutex::~XCMutex()
{
    if (xc::sync::WatchesLocks()) xc::sync::ForgetLock(this);
    xc::sync::Close(m_handle);
}

bool XCMutex::lock(unsigned int timeout)
{
    xc::sync::LockNote note(this, xc::sync::LockKind::Mutex, timeout != 0);
    unsigned int const result = xc::sync::WaitFor(m_handle, timeout);
    if (result == WAIT_ABANDONED) xc::sync::GiveMutex(m_handle); // the wait did take it
    if (result == WAIT_OBJECT_0) note.Keep();
    return result == WAIT_OBJECT_0;
}

void XCMutex::lock()
{
    if (!obtain()) throw XCException(L"XCMutex: the mutex was abandoned by its owner");
}

void XCMutex::unlock()
{
    xc::sync::GiveMutex(m_handle);
    if (xc::sync::WatchesLocks()) xc::sync::NoteUnlock(this);
}

unsigned int xc::sync::Take(XCMutex& mutex)
{
    mutex.lock();
    return 1;
}

XCString const XCEventSemaphore::defaultValue;

XCEventSemaphore::XCEventSemaphore(XCString const& name, bool posted)
    : m_handle(xc::sync::NewEvent(NameOf(name), posted))
{
}

XCEventSemaphore::~XCEventSemaphore()
{
    xc::sync::Close(m_handle);
}

void XCEventSemaphore::post()
{
    if (!::SetEvent(m_handle)) throw XCWindowsLastErrorException();
}

void XCEventSemaphore::reset()
{
    if (!::ResetEvent(m_handle)) throw XCWindowsLastErrorException();
}

void XCEventSemaphore::pulse()
{
    if (!::PulseEvent(m_handle)) throw XCWindowsLastErrorException();
}

unsigned int XCEventSemaphore::wait(unsigned int timeout)
{
    return xc::sync::WaitFor(m_handle, timeout);
}

bool XCEventSemaphore::posted()
{
    return wait(0) != WAIT_TIMEOUT;
}
