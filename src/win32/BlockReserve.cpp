// A thread's reserve hangs in two places of the system's storage: in a slot of the thread, which is read fastest, and in
// a fiber-local one, for the sake of the function that is called when the thread ends. The storage of the language is not
// used: with this compiler reading it costs as much as the heap.
//
// A reserve is made at the thread's first text and goes at the thread's end. Texts that are dropped after that, by
// thread-local objects, find the mark kNone and go to the heap. A fiber may end in another thread than the one whose
// reserve it holds, and then leaves it alone. When the library is unloaded, freeing the slot ends all reserves; at the end
// of the process nothing is freed, since the locks of the heap may be held for ever.
#include "win32/BlockReserve.h"

#include "win32/LastError.h"
#include "win32/Process.h"

#include <atomic>
#include <windows.h>

namespace xc::win32 {

namespace {

struct ThreadReserve {
    BlockReserve reserve;
    DWORD thread = ::GetCurrentThreadId();
};

constinit std::atomic<DWORD> g_threadSlot{TLS_OUT_OF_INDEXES};
constinit std::atomic<bool> g_isOver{false}; // the library goes

/// What stands in the slot of a thread that shall have no reserve.
ThreadReserve* NoReserve() noexcept
{
    static char mark;
    return reinterpret_cast<ThreadReserve*>(&mark);
}

void WINAPI OnEnd(void* value)
{
    auto* const own = static_cast<ThreadReserve*>(value);
    if (!own || IsProcessEnding()) return;
    if (own->thread == ::GetCurrentThreadId())
        ::TlsSetValue(g_threadSlot.load(std::memory_order_acquire), NoReserve());
    else if (!g_isOver.load(std::memory_order_acquire))
        return;
    delete own;
}

/// Both slots, from the first text to the end of the library.
class Slots {
public:
    Slots() noexcept
    {
        if (::GetEnvironmentVariableW(L"XC_NO_RESERVE", nullptr, 0) != 0) return;
        m_fiberSlot = ::FlsAlloc(&OnEnd);
        if (m_fiberSlot == FLS_OUT_OF_INDEXES) return;
        m_threadSlot = ::TlsAlloc();
        g_threadSlot.store(m_threadSlot, std::memory_order_release);
    }
    ~Slots()
    {
        g_threadSlot.store(TLS_OUT_OF_INDEXES, std::memory_order_release);
        g_isOver.store(true, std::memory_order_release);
        if (IsProcessEnding() || m_fiberSlot == FLS_OUT_OF_INDEXES) return;
        ::FlsFree(m_fiberSlot);
        ::TlsFree(m_threadSlot);
    }
    Slots(Slots const&) = delete;
    Slots& operator=(Slots const&) = delete;
    /// The reserve of a thread that has none yet, or the mark.
    [[nodiscard]] ThreadReserve* Make() const noexcept
    {
        if (m_threadSlot == TLS_OUT_OF_INDEXES) return nullptr;
        ThreadReserve* own = new (std::nothrow) ThreadReserve;
        if (own && !::FlsSetValue(m_fiberSlot, own)) {
            delete own;
            own = nullptr;
        }
        if (own) ::TlsSetValue(m_threadSlot, own);
        return own;
    }

private:
    DWORD m_fiberSlot = FLS_OUT_OF_INDEXES;
    DWORD m_threadSlot = TLS_OUT_OF_INDEXES;
};

[[gnu::noinline]] ThreadReserve* MakeReserve() noexcept
{
    static Slots const slots;
    return g_isOver.load(std::memory_order_acquire) ? nullptr : slots.Make();
}

} // namespace

BlockReserve* OwnReserve() noexcept
{
    DWORD const slot = g_threadSlot.load(std::memory_order_acquire);
    KeepLastError const keep;
    auto* own = slot == TLS_OUT_OF_INDEXES ? nullptr : static_cast<ThreadReserve*>(::TlsGetValue(slot));
    if (!own) own = MakeReserve();
    return own && own != NoReserve() ? &own->reserve : nullptr;
}

} // namespace xc::win32
