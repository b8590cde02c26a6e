// A thread is announced to every module that is loaded when it begins, and their addresses stay on its stack below what
// it does afterwards. Whoever looks for threads that a module has left behind would find them there. So a helper has
// begun before its starter goes on to load modules. It costs the starter one wait, a millisecond at most.
#include "win32/HelperThread.h"

#include <process.h>
#include <windows.h>

namespace xc::win32 {

namespace {

/// On the starter's stack, which stays as it is until `begun` is set.
struct Beginning {
    unsigned int(__stdcall* body)(void*);
    void* share;
    HANDLE begun;
};

unsigned int __stdcall Begin(void* beginning)
{
    Beginning const mine = *static_cast<Beginning const*>(beginning);
    ::SetEvent(mine.begun);
    return mine.body(mine.share);
}

} // namespace

UniqueKernelObject StartHelperThread(unsigned int(__stdcall* body)(void*), void* share, unsigned int* id) noexcept
{
    UniqueKernelObject const begun(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!begun) return {};
    Beginning beginning{body, share, begun.Get()};
    unsigned int ignored = 0;
    UniqueKernelObject thread(
        reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, Begin, &beginning, 0, id ? id : &ignored)));
    // Also ends when the thread does: the system may stop it before its first step.
    HANDLE const either[] = {begun.Get(), thread.Get()};
    if (thread) ::WaitForMultipleObjects(2, either, FALSE, INFINITE);
    return thread;
}

} // namespace xc::win32
