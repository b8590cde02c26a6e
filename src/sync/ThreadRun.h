// ThreadRun.h - how a thread is started, and what runs on it.
#pragma once

#include "sync/ThreadRegistry.h"

#include <functional>
#include <typeinfo>

namespace xc::sync {

/// The calling thread's last error of the system.
XCErrorID LastErrorID();

class ThreadRun {
public:
    /// Whether the test holds for a class that the threads in the registry are made of: of thread objects, callbacks, exit
    /// functions. The addresses of the classes tell the modules whose code is still needed.
    static bool IsAnyClass(std::function<bool(std::type_info const&)> const& test);

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
