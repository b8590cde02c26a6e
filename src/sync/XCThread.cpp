// Thread objects. What a thread does is in ThreadRun.cpp, who runs is in the registry; an object only refers to a
// thread.
//
// An object may be started again while its first thread runs: it then refers to the second, and the first stays in the
// registry until somebody waits for it by its identifier. The registry keeps a counted object alive for as long as its
// thread is listed; an object that nobody counts takes its entries with it. Locks are not nested, except
// that a Join holds its own section while it waits: m_fieldSection guards the fields and is held for moments,
// the registry's mutex guards the entries. Invariant: a Join returns after the end of the thread that the object
// referred to when Join began.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCThread.h>

#include "sync/KernelLock.h"
#include "sync/ThreadRun.h"
#include "win32/LastError.h"
#include "win32/Process.h"

#include <windows.h>

using xc::sync::RegistryAccess;
using xc::sync::SharedHandle;
using xc::sync::ThreadEntry;

constinit std::atomic<unsigned long> glbComModel = XCComNone;

XCCallback::~XCCallback() = default;

void XCInitCatchSignal() noexcept
{
    ULONG stackBytes = 32 * 1024;
    ::SetThreadStackGuarantee(&stackBytes);
}

XCThread::XCThread(XCSmartPtr<XCCallback> callback) : m_callback(std::move(callback)), m_flags(glbComModel)
{
    xc::sync::ThreadRun::Remember(*this, m_callback.GetPtr());
}

XCThread::~XCThread()
{
    if (GetCurrentThreadP() == this) ::TlsSetValue(tlsDataIndex, nullptr); // destroyed by its own callback
    if (m_uncounted) xc::sync::ForgetThreadsOf(*this);
}

XCErrorID XCThread::Start(int priority)
{
    return xc::sync::ThreadRun::Start(*this, priority);
}

void XCThread::Join()
{
    JoinThread(GetIdentity());
}

bool XCThread::Join(unsigned int timeoutMs)
{
    Identity const identity = GetIdentity();
    bool const waits = identity.id != 0 && identity.id != GetCurrentThreadID();
    if (waits && xc::sync::WaitFor(identity.handle->value, timeoutMs) != WAIT_OBJECT_0) return false;
    JoinThread(identity);
    return true;
}

void XCThread::JoinThread(Identity const& identity)
{
    if (identity.id == GetCurrentThreadID()) return; // before the section: another Join may hold it for our end
    // The registry may let go of the object when its thread ends, and that is what is being waited for.
    XCSmartPtr<XCThread> const keep(NbRef() > 0 ? this : nullptr);
    // Two waiters would otherwise both collect the thread, and the second would find an identifier that the system may
    // have given to another thread by then.
    XCLockGuard const oneAtATime(m_joinSection);
    if (identity.id == 0 || (m_joined && GetThreadId() == identity.id)) return;
    // Somebody else may have collected the thread: then its end is all there is to wait for.
    if (!xc::sync::WaitForRegistered(identity.id, XCInfinite)) xc::sync::WaitFor(identity.handle->value, XCInfinite);
    XCLockGuard const guard(m_fieldSection);
    m_joined = m_identity.id == identity.id; // unless it was started again meanwhile
}

XCThread::Identity XCThread::GetIdentity() const
{
    XCLockGuard const guard(m_fieldSection);
    return m_identity;
}

void XCThread::Refer(unsigned long id, SharedHandle const& handle) noexcept
{
    XCLockGuard const guard(m_fieldSection);
    // Both at once under the section: an identifier without its handle may mean another thread tomorrow.
    m_identity = {id, handle};
    m_joined = false;
}

bool XCThread::IsStarted() const noexcept
{
    return GetThreadId() != 0;
}

bool XCThread::IsRunning() const
{
    unsigned long const id = GetThreadId();
    RegistryAccess const registry;
    ThreadEntry const* const entry = registry.Find(id);
    return entry && xc::sync::IsAtWork(*entry);
}

bool XCThread::Exists() const
{
    return xc::sync::HandleOf(GetThreadId()) != nullptr;
}

XCThread_t XCThread::GetThreadId() const noexcept
{
    XCLockGuard const guard(m_fieldSection);
    return {m_identity.id, m_identity.handle ? m_identity.handle->value : nullptr};
}

void XCThread::AddExitFunction(XCSmartPtr<XCCallback> exitFunction)
{
    xc::sync::ThreadRun::Remember(*this, exitFunction.GetPtr());
    XCLockGuard const guard(m_fieldSection);
    m_exitFunctions.push_back(std::move(exitFunction));
}

XCString XCThread::GetFailure() const
{
    XCLockGuard const guard(m_fieldSection);
    return m_failure;
}

void XCThread::KeepFailure(XCString const& failure) noexcept
{
    XCLockGuard const guard(m_fieldSection);
    // The first failure is kept: those of exit functions mostly follow from it.
    if (m_failure.IsNull()) m_failure = failure;
}

void XCThread::SetName(XCString const& name)
{
    Identity identity;
    {
        XCLockGuard const guard(m_fieldSection);
        m_name = name;
        identity = m_identity;
    }
    // After the section has been left: the system is asked here, and it is of no use to hold others up meanwhile.
    if (identity.handle) xc::sync::ThreadRun::Describe(*identity.handle, name);
}

XCString XCThread::GetName() const
{
    XCLockGuard const guard(m_fieldSection);
    return m_name;
}

bool XCThread::SetFlag(int flag)
{
    return SetFlag(GetThreadId(), flag);
}

bool XCThread::IsFlagSet(int flag) const
{
    return IsFlagSet(GetThreadId(), flag);
}

XCErrorID XCThread::SetThreadPriority(int priority)
{
    return SetThreadPriority(GetThreadId(), priority);
}

int XCThread::GetThreadPriority() const
{
    return GetThreadPriority(GetThreadId());
}

// Any thread

void XCThread::WaitForThread(XCThread_t const& thread, int timeout)
{
    if (!xc::sync::WaitForRegistered(thread, static_cast<unsigned int>(timeout)))
        throw XCException(L"Invalid Thread ID");
}

bool XCThread::DeleteThread(unsigned long id)
{
    // Before the access on purpose: it is destroyed after it, so that a callback's destructor does not run under the
    // mutex.
    xc::sync::ThreadNode removed;
    RegistryAccess const registry;
    ThreadEntry const* const entry = registry.Find(id);
    if (!entry || xc::sync::IsAtWork(*entry)) return false;
    removed = registry.Take(id);
    return true;
}

bool XCThread::SetFlag(unsigned long id, int flag)
{
    RegistryAccess const registry;
    ThreadEntry* const entry = registry.Find(id);
    if (!entry) return false;
    entry->flags |= static_cast<unsigned long>(flag);
    return true;
}

bool XCThread::IsFlagSet(unsigned long id, int flag)
{
    RegistryAccess const registry;
    ThreadEntry const* const entry = registry.Find(id);
    auto const bits = static_cast<unsigned long>(flag);
    // All of the asked bits; no bit at all is no question, and is not answered with yes.
    return entry && bits != 0 && (entry->flags & bits) == bits;
}

namespace {

/// Calls `use` with the handle of a registered thread or of the calling one.
template <class Use>
auto WithHandle(unsigned long id, Use use)
{
    SharedHandle const shared = xc::sync::HandleOf(id);
    // Before the call: it is given a null handle, and its own error would speak of handles, which no caller has used.
    if (!shared && id != xc::win32::ThreadId()) ::SetLastError(ERROR_INVALID_THREAD_ID);
    if (shared) return use(shared->value);
    // The handle of the calling thread is a constant of the system, so threads that this library did not start are
    // served.
    return use(id == xc::win32::ThreadId() ? ::GetCurrentThread() : nullptr);
}

} // namespace

XCErrorID XCThread::SetThreadPriority(XCThread_t const& thread, int priority)
{
    return WithHandle(thread, [priority](HANDLE handle) -> XCErrorID {
        if (handle && ::SetThreadPriority(handle, priority)) return XCErrorID::Success;
        return xc::sync::LastErrorID();
    });
}

int XCThread::GetThreadPriority(XCThread_t const& thread)
{
    return WithHandle(thread, [](HANDLE handle) {
        return handle ? ::GetThreadPriority(handle) : static_cast<int>(THREAD_PRIORITY_ERROR_RETURN);
    });
}

// The calling thread

XCThread_t XCThread::GetCurrentThreadID() noexcept
{
    XCThread const* const own = GetCurrentThreadP();
    return {xc::win32::ThreadId(), own ? own->GetThreadId().GetHandle() : nullptr};
}

XCThread* XCThread::GetCurrentThreadP() noexcept
{
    return static_cast<XCThread*>(Get(tlsDataIndex));
}

void XCThread::Sleep(unsigned int milliseconds) noexcept
{
    ::Sleep(milliseconds);
}

void XCThread::yield() noexcept
{
    ::SwitchToThread();
}

// COM of new threads

void XCThread::InitializeCOM(ComModel model) noexcept
{
    glbComModel = model;
}

void XCThread::InitializeCOM(bool singleThreaded) noexcept
{
    InitializeCOM(singleThreaded ? XCComApartmentThreaded : XCComMultiThreaded);
}

bool XCThread::IsSingleThreadedCOMApartment() noexcept
{
    return (glbComModel & 0xF) == XCComApartmentThreaded;
}

// Thread-local slots

unsigned long const XCThread::tlsDataIndex = ::TlsAlloc();

unsigned long XCThread::AllocateThreadKey()
{
    unsigned long const key = ::TlsAlloc();
    if (key == TLS_OUT_OF_INDEXES) throw XCWindowsLastErrorException();
    return key;
}

void XCThread::ReleaseThreadKey(unsigned long& key) noexcept
{
    // The key is made invalid, so that a second release gives nobody else's slot back.
    ::TlsFree(std::exchange(key, TLS_OUT_OF_INDEXES));
}

void* XCThread::Get(unsigned long key) noexcept
{
    // Reading a slot clears the last error of the thread; a look at a slot between a failure and its report must not.
    xc::win32::KeepLastError const keep;
    return ::TlsGetValue(key);
}

void XCThread::Set(unsigned long key, void* value)
{
    if (!::TlsSetValue(key, value)) throw XCWindowsLastErrorException();
}
