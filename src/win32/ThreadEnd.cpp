// The end of threads is learned from fiber-local storage: the system calls a slot's function for every thread that has a
// value there, whoever started it, before it takes the loader's lock. The thread-local objects of the language and
// DllMain come with that lock held, under which nobody may write files or wait for others.
//
// A serial number is never given twice, unlike the system's numbers of threads: a text that one thread has left cannot
// be taken for that of a later one.
#include "win32/ThreadEnd.h"

#include "win32/LastError.h"
#include "win32/Process.h"

#include <atomic>
#include <windows.h>

namespace xc::win32 {

namespace {

std::atomic<void (*)(std::uint64_t)> g_atEnd{nullptr};
std::atomic<std::uint64_t> g_lastSerial{0};

void WINAPI OnThreadEnd(void* value)
{
    auto* const function = g_atEnd.load(std::memory_order_acquire);
    // At the end of the process the other threads are gone and their locks may be held for ever.
    if (value && function && !IsProcessEnding()) function(reinterpret_cast<std::uintptr_t>(value));
}

/// The library stays loaded: the system calls its function.
DWORD SerialSlot() noexcept
{
    static DWORD const slot = PinLibrary() ? ::FlsAlloc(&OnThreadEnd) : FLS_OUT_OF_INDEXES;
    return slot;
}

} // namespace

std::uint64_t ThreadSerial() noexcept
{
    KeepLastError const keep;
    DWORD const slot = SerialSlot();
    constexpr std::uint64_t kIdentifier = std::uint64_t{1} << 63; // without a slot the system's number has to do
    if (slot == FLS_OUT_OF_INDEXES) return kIdentifier | ::GetCurrentThreadId();
    if (void* const known = ::FlsGetValue(slot)) return reinterpret_cast<std::uintptr_t>(known);
    std::uint64_t const serial = ++g_lastSerial;
    return ::FlsSetValue(slot, reinterpret_cast<void*>(serial)) ? serial : kIdentifier | ::GetCurrentThreadId();
}

void CallAtThreadEnd(void (*function)(std::uint64_t serial)) noexcept
{
    g_atEnd.store(function, std::memory_order_release);
}

} // namespace xc::win32
