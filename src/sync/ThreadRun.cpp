// Starts a thread and runs its callback and exit functions.
//
// The thread is created suspended and entered in the registry before it runs, so that it finds itself there. What could
// fail for lack of memory (the map node, the shared handle) is made first. The body holds references to what it calls,
// because a callback may drop the last outside reference to its own thread object; an object that nobody counts may even
// be destroyed by its callback, so it is looked up in the registry again before it is touched.
//
// INVARIANT No exception leaves the body: it would end the process. The first one's text is kept for GetFailure, and the
//           exit functions run all the same. A refused priority leaves the thread suspended and unregistered.
#include "sync/ThreadRun.h"

#include <XelbrinCore/XCException.h>

#include "errors/CoreError.h"
#include "errors/ExceptionText.h"
#include "sync/ComApartment.h"
#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/SystemFunction.h"

#include <algorithm>
#include <cwchar>
#include <process.h>
#include <windows.h>

namespace xc::sync {

namespace {

constexpr unsigned long kComModelBits = 0xF;

/// The integer value of XC_THREAD_STACKSIZE; 0, the program's default, without one.
unsigned int StackSizeSetting()
{
    std::wstring const text = win32::ReadEnvironment(L"XC_THREAD_STACKSIZE").value_or(L"");
    long const size = std::wcstol(text.c_str(), nullptr, 10);
    return size > 0 ? static_cast<unsigned int>(size) : 0;
}

} // namespace

XCErrorID LastErrorID()
{
    return XCSmartPtr<XCWinLastError>(new XCWinLastError);
}

XCErrorID ThreadRun::Start(XCThread& thread, int priority)
{
    auto const handle = std::make_shared<ThreadHandle>();
    unsigned long id = 0;
    // The module of the object itself: its code is needed as long as the thread runs.
    Remember(thread, &thread);
    if (XCErrorID const refused = CreateAndRegister(thread, priority, handle, id); refused.Bad()) return refused;
    thread.Refer(id, handle);
    if (XCString const name = thread.GetName(); !name.IsNull()) Describe(*handle, name);
    if (::ResumeThread(handle->value) != static_cast<DWORD>(-1)) return XCErrorID::Success;
    XCErrorID const failure = LastErrorID();
    thread.Refer(0, nullptr);
    ThreadNode const removed = RegistryAccess().Take(id);
    return failure;
}

/// Creates the thread suspended and enters it. The node is ready before, so that nothing can fail in between.
XCErrorID ThreadRun::CreateAndRegister(XCThread& thread, int priority, SharedHandle const& handle, unsigned long& id)
{
    static unsigned int const stackSize = StackSizeSetting();
    ThreadNode node = NewThreadNode(thread, handle);
    RegistryAccess const registry;
    if (thread.IsStarted()) (void)errors::MakeCoreError(XCErrThreadAlreadyStarted); // dropped: the second start goes on
    unsigned int newId = 0;
    std::uintptr_t const created = ::_beginthreadex(nullptr, stackSize, Body, &thread, CREATE_SUSPENDED, &newId);
    handle->value = reinterpret_cast<void*>(created);
    if (!handle->value) throw XCException(L"_beginthreadex failed in XCThread::Start()");
    // Set before the thread runs: none of its work is done at another priority.
    if (priority != 0 && !::SetThreadPriority(handle->value, priority)) return LastErrorID();
    id = newId;
    node.key() = id;
    if (thread.NbRef() > 0 || thread.GetDeleteOnEnd())
        node.mapped().reference = &thread;
    else
        thread.m_uncounted = true;
    registry.Insert(std::move(node));
    return XCErrorID::Success;
}

bool ThreadRun::IsAnyFrom(void const* module)
{
    RegistryAccess const registry;
    return std::ranges::any_of(registry.Threads(), [module](auto const& row) {
        XCThread const& thread = *row.second.thread;
        XCLockGuard const guard(thread.m_fieldSection);
        return std::ranges::find(thread.m_modules, module) != thread.m_modules.end();
    });
}

void ThreadRun::RememberModule(XCThread& thread, void const* address)
{
    void const* const module = win32::ModuleAt(address);
    XCLockGuard const guard(thread.m_fieldSection);
    if (std::ranges::find(thread.m_modules, module) == thread.m_modules.end()) thread.m_modules.push_back(module);
}

void ThreadRun::Describe(ThreadHandle const& handle, XCString const& name)
{
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    // Newer than the oldest system that is served; debuggers show the name where it exists.
    static auto const setDescription = win32::SystemFunction<SetDescription>(L"kernel32.dll", "SetThreadDescription");
    if (setDescription) setDescription(handle.value, name.AsWChar());
}

unsigned int __stdcall ThreadRun::Body(void* argument)
{
    XCThread& thread = *static_cast<XCThread*>(argument);
    XCInitCatchSignal();
    ComApartment const apartment(static_cast<XCComModel>(thread.m_flags & kComModelBits));
    ::TlsSetValue(XCThread::tlsDataIndex, &thread);
    {
        // Held for the call alone, so that the exit functions find nothing of it.
        XCSmartPtr<XCCallback> const callback = thread.m_callback;
        if (!callback.IsNull()) Call(thread, *callback);
    }
    CallExitFunctions(thread);
    ::TlsSetValue(XCThread::tlsDataIndex, nullptr);
    End();
    return 0;
}

void ThreadRun::Call(XCThread& thread, XCCallback& callback) noexcept
{
    try {
        callback.Call();
    } catch (...) {
        try {
            if (XCString const text = errors::TextOfException(); StillRegistered(thread)) thread.KeepFailure(text);
        } catch (...) { // no memory for the text
        }
    }
}

/// An object that nobody counts may have been destroyed by its own callback; it then took the entry away.
bool ThreadRun::StillRegistered(XCThread const& thread)
{
    RegistryAccess const registry;
    ThreadEntry const* const entry = registry.Find(win32::ThreadId());
    return entry && entry->thread == &thread;
}

void ThreadRun::CallExitFunctions(XCThread& thread)
{
    for (std::size_t i = 0; StillRegistered(thread); ++i) {
        XCSmartPtr<XCCallback> next;
        {
            XCLockGuard const guard(thread.m_fieldSection);
            if (i == thread.m_exitFunctions.size()) return;
            next = thread.m_exitFunctions[i];
        }
        if (!next.IsNull()) Call(thread, *next);
    }
}

/// The end of the calling thread's work. With delete-on-end the thread leaves the registry, and its object goes here
/// when nobody else holds it.
void ThreadRun::End()
{
    // Before the registry's lock in this scope: the object that goes with the node ends after the lock was released.
    ThreadNode removed;
    RegistryAccess const registry;
    ThreadEntry* const entry = registry.Find(win32::ThreadId());
    if (!entry) return;
    entry->ended = true;
    if (entry->thread->GetDeleteOnEnd()) removed = registry.Take(win32::ThreadId());
}

} // namespace xc::sync
