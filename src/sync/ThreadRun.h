// ThreadRun.h - how a thread is started, and what runs on it.
#pragma once

#include "sync/ThreadRegistry.h"

#include <typeinfo>

namespace xc::sync {

/// The calling thread's last error of the system.
XCErrorID LastErrorID();

class ThreadRun {
public:
    /// Whether a thread in the registry needs the code of this module: for its object, its callback or an exit function.
    static bool IsAnyFrom(void const* module);
    /// Remembers the module that the class of such an object comes from.
    template <class T>
    static void Remember(XCThread& thread, T const* object)
    {
        if (object) RememberModule(thread, &typeid(*object));
    }

    static XCErrorID Start(XCThread& thread, int priority);
    /// Gives a thread a name for debuggers, where the system offers it.
    static void Describe(ThreadHandle const& handle, XCString const& name);

private:
    static void RememberModule(XCThread& thread, void const* address);
    static XCErrorID CreateAndRegister(XCThread& thread, int priority, SharedHandle const& handle, unsigned long& id);
    static unsigned int __stdcall Body(void* thread);
    static void Call(XCThread& thread, XCCallback& callback) noexcept;
    static void CallExitFunctions(XCThread& thread);
    static bool StillRegistered(XCThread const& thread);
    static void End();
};

} // namespace xc::sync
