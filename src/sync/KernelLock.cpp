// Creates, waits for and releases the kernel objects that the locks are made of.
//
// Every lock over a kernel object goes through these few functions, so that one rule holds for all: a failed call throws
// with the system's error, which is read before anything else can change it. The handle is returned raw because public
// headers do not know the system's types; its owner closes it through Close.
//
// INVARIANT A function that throws has created, taken and released nothing.
#include "sync/KernelLock.h"

#include <XelbrinCore/XCException.h>

#include "win32/UniqueHandle.h"

namespace xc::sync {

namespace {

wchar_t const* NameOrNull(XCString const& name)
{
    return name.IsNull() ? nullptr : name.AsWChar();
}

} // namespace

void* NewMutex(XCString const& name, bool owned)
{
    HANDLE const handle = ::CreateMutexW(nullptr, owned, NameOrNull(name));
    if (!handle) throw XCWindowsLastErrorException();
    return handle;
}

void* NewEvent(XCString const& name, bool posted)
{
    HANDLE const handle = ::CreateEventW(nullptr, TRUE, posted, NameOrNull(name));
    if (!handle) throw XCWindowsLastErrorException();
    return handle;
}

void Close(void* handle) noexcept
{
    win32::UniqueKernelObject const owner(handle);
}

unsigned int WaitFor(void* handle, unsigned int timeout)
{
    DWORD const result = ::WaitForSingleObject(handle, timeout);
    if (result == WAIT_FAILED) throw XCWindowsLastErrorException();
    return static_cast<unsigned int>(result);
}

void TakeMutex(void* mutex)
{
    WaitFor(mutex, INFINITE);
}

void GiveMutex(void* mutex)
{
    if (!::ReleaseMutex(mutex)) throw XCWindowsLastErrorException();
}

} // namespace xc::sync
