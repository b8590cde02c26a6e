// EachThread.h - the threads of the process, whoever has started them. For .cpp files: it includes windows.h.
#pragma once

#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <utility>

namespace xc::win32 {

using NextThread = LONG(NTAPI*)(HANDLE process, HANDLE thread, ACCESS_MASK, ULONG attributes, ULONG flags, HANDLE*);
using QueryThread = LONG(NTAPI*)(HANDLE thread, int what, void* answer, ULONG size, ULONG* written);

/// Null where the system has no such function; looked up at the first call.
inline NextThread NextThreadFunction() noexcept
{
    static auto const function = SystemFunction<NextThread>(L"ntdll.dll", "NtGetNextThread");
    return function;
}
inline QueryThread QueryThreadFunction() noexcept
{
    static auto const function = SystemFunction<QueryThread>(L"ntdll.dll", "NtQueryInformationThread");
    return function;
}

/// Calls `visit(UniqueKernelObject&)` for every thread, with a handle of these rights. The visitor may take the handle,
/// and keeps it open until the walk has ended. Threads that begin meanwhile may be missing.
template <class Visit>
void ForEachThread(ACCESS_MASK rights, Visit visit)
{
    NextThread const next = NextThreadFunction();
    if (!next) return;
    UniqueKernelObject passed; // not taken: the walk needs it for one more step
    for (HANDLE before = nullptr;;) {
        HANDLE found = nullptr;
        if (next(::GetCurrentProcess(), before, rights, 0, 0, &found) < 0) return;
        UniqueKernelObject thread(found);
        before = found;
        visit(thread);
        if (thread) passed = std::move(thread);
    }
}

} // namespace xc::win32
