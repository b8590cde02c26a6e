// ThreadRun.h - how a thread is started, and what runs on it.
#pragma once

#include "sync/ThreadRegistry.h"

#include <typeinfo>

namespace xc::sync {

/// The calling thread's last error of the system.
XCErrorID LastErrorID();

class ThreadRun {
public:
    /// The classes of what the threads in the registry are made of: thread objects, callbacks, exit functions. Their
    /// addresses tell the modules whose code is still needed.
    static std::vector<std::type_info const*> ClassesInUse();

    static XCErrorID Start(XCThread& thread, int priority);
    /// Gives a thread a name for debuggers, where the system offers it.
    static void Describe(ThreadHandle const& handle, XCString const& name);

private:
    static XCErrorID CreateAndRegister(XCThread& thread, int priority, SharedHandle const& handle, unsigned long& id);
    static unsigned int __stdcall Body(void* thread);
    static void Call(XCThread& thread, XCCallback& callback) noexcept;
    static void CallExitFunctions(XCThread& thread);
    static bool StillRegistered(XCThread const& thread);
    static void End();
};

} // namespace xc::sync
