// A thread's reserve hangs in a slot of the thread's storage. The storage of the language is not used: with this compiler
// reading it costs as much as the heap.
//
// A reserve is made at the thread's first text and goes at the thread's end, when the system tells the library of it.
// Texts that are dropped after that, by thread-local objects, find the mark NoReserve and go to the heap. All reserves stand
// in a list, so that those of threads that go on are freed when the library is unloaded. At the end of the process
// nothing is freed, since the locks of the heap may be held for ever.
//
// The system tells with the loader's lock in its hand, and OnThreadEnd takes no lock but the list's and the heap's, whose
// holders wait for nobody. A fiber-local slot would end without DllMain; but its function is called with a lock that
// threads take at their first text, and that text may be one that is made with a lock of the log.
#include "win32/BlockReserve.h"

#include "win32/LastError.h"
#include "win32/Process.h"
#include "win32/SlimLock.h"

#include <atomic>
#include <mutex>
#include <windows.h>

namespace xc::win32 {

namespace {

struct ThreadReserve {
    BlockReserve reserve;
    ThreadReserve* previous = nullptr;
    ThreadReserve* next = nullptr;
};

constinit std::atomic<DWORD> g_threadSlot{TLS_OUT_OF_INDEXES};

/// What stands in the slot of a thread that has had its reserve.
ThreadReserve* NoReserve() noexcept
{
    static char mark;
    return reinterpret_cast<ThreadReserve*>(&mark);
}

/// The slot and the list, from the loading of the library to its end.
class Reserves {
public:
    Reserves() noexcept
    {
        if (::GetEnvironmentVariableW(L"XC_NO_RESERVE", nullptr, 0) != 0) return;
        m_slot = ::TlsAlloc();
        g_threadSlot.store(m_slot, std::memory_order_release);
    }
    ~Reserves()
    {
        g_threadSlot.store(TLS_OUT_OF_INDEXES, std::memory_order_release);
        if (m_slot == TLS_OUT_OF_INDEXES || IsProcessEnding()) return;
        while (m_first) Remove(m_first);
        ::TlsFree(m_slot);
    }
    Reserves(Reserves const&) = delete;
    Reserves& operator=(Reserves const&) = delete;
    /// The reserve of a thread that has none yet; null without memory.
    ThreadReserve* Add() noexcept
    {
        auto* const own = new (std::nothrow) ThreadReserve;
        if (!own) return nullptr;
        if (!::TlsSetValue(m_slot, own)) {
            delete own;
            return nullptr;
        }
        std::lock_guard const hold(m_lock);
        own->next = m_first;
        if (m_first) m_first->previous = own;
        m_first = own;
        return own;
    }
    void Remove(ThreadReserve* own) noexcept
    {
        {
            std::lock_guard const hold(m_lock);
            (own->previous ? own->previous->next : m_first) = own->next;
            if (own->next) own->next->previous = own->previous;
        }
        delete own;
    }

private:
    SlimLock m_lock; ///< guards the list
    ThreadReserve* m_first = nullptr;
    DWORD m_slot = TLS_OUT_OF_INDEXES;
};

/// Made while the library is loaded. At the first text it would be made under the runtime's lock of static objects.
Reserves g_reserves;

void OnThreadEnd() noexcept
{
    DWORD const slot = g_threadSlot.load(std::memory_order_acquire);
    if (slot == TLS_OUT_OF_INDEXES) return;
    auto* const own = static_cast<ThreadReserve*>(::TlsGetValue(slot));
    if (own == NoReserve()) return;
    ::TlsSetValue(slot, NoReserve());
    if (own) g_reserves.Remove(own);
}

} // namespace

BlockReserve* OwnReserve() noexcept
{
    DWORD const slot = g_threadSlot.load(std::memory_order_acquire);
    if (slot == TLS_OUT_OF_INDEXES) return nullptr;
    KeepLastError const keep;
    auto* own = static_cast<ThreadReserve*>(::TlsGetValue(slot));
    if (!own) [[unlikely]]
        own = g_reserves.Add();
    return own && own != NoReserve() ? &own->reserve : nullptr;
}

} // namespace xc::win32

/// Called by the system; not at the end of threads that are ended by force.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, void* /*isEnding*/)
{
    if (reason == DLL_THREAD_DETACH) xc::win32::OnThreadEnd();
    return TRUE;
}
