// Keeps the threads that the library started until somebody has waited for them.
//
// An ordered map from identifiers to entries, guarded by one kernel mutex. Waiting happens outside the mutex, on a share
// of the handle: nobody waits on a handle that another waiter closes, and while one share exists the system does not
// give the identifier to a new thread. A waiter recognises its thread again by the handle, not by the identifier alone.
// Entries are map nodes that are made before and destroyed after the mutex is held, because a destructor of a thread
// object may run any code, and because nothing may fail between creating a thread and entering it.
//
// COST      One kernel mutex a question, O(log threads) for the look-up.
// INVARIANT `running` is cleared only by a waiter that saw the handle signalled; an entry is removed only after that,
//           or by the ending thread itself with delete-on-end.
#include "sync/ThreadRegistry.h"

#include "sync/KernelLock.h"
#include "win32/Process.h"

#include <algorithm>
#include <cassert>
#include <windows.h>

namespace xc::sync {

namespace {

struct Registry {
    XCMutex mutex;
    ThreadMap threads;
};

/// Made at the first use and never destroyed: threads may outlive the library's static objects.
Registry& TheRegistry()
{
    static Registry& registry = *new Registry;
    return registry;
}

bool HasSignalled(ThreadHandle const& handle)
{
    return WaitFor(handle.value, 0) == WAIT_OBJECT_0;
}

} // namespace

ThreadHandle::~ThreadHandle()
{
    Close(value);
}

ThreadNode NewThreadNode(XCThread& thread, SharedHandle const& handle)
{
    ThreadMap map;
    ThreadEntry& entry = map[0];
    entry.thread = &thread;
    entry.handle = handle;
    return map.extract(map.begin());
}

RegistryAccess::RegistryAccess()
{
    // A thread that was killed in the registry leaves the map as it was between two changes: go on.
    while (!TheRegistry().mutex.obtain()) {
    }
}

RegistryAccess::~RegistryAccess()
{
    TheRegistry().mutex.release();
}

ThreadEntry* RegistryAccess::Find(unsigned long id) const
{
    auto const found = TheRegistry().threads.find(id);
    return found == TheRegistry().threads.end() ? nullptr : &found->second;
}

void RegistryAccess::Insert(ThreadNode node) const
{
    [[maybe_unused]] auto const result = TheRegistry().threads.insert(std::move(node));
    assert(result.inserted && "an identifier is not used again while its entry holds the handle");
}

ThreadNode RegistryAccess::Take(unsigned long id) const
{
    return TheRegistry().threads.extract(id);
}

ThreadMap const& RegistryAccess::Threads() const
{
    return TheRegistry().threads;
}

bool WaitForRegistered(unsigned long id, unsigned int sliceMs)
{
    SharedHandle handle; // null until the thread was found
    for (bool seenEnd = false;;) {
        ThreadNode removed;
        {
            RegistryAccess const registry;
            ThreadEntry* const entry = registry.Find(id);
            if (!entry || (handle && entry->handle != handle)) return handle != nullptr; // another waiter was quicker
            if (id == win32::ThreadId()) return true;
            if (seenEnd) entry->running = false;
            if (!entry->running) {
                WaitFor(entry->handle->value, XCInfinite);
                removed = registry.Take(id);
                return true;
            }
            handle = entry->handle;
        }
        seenEnd = WaitFor(handle->value, std::max(sliceMs, 1u)) == WAIT_OBJECT_0;
    }
}

void ForgetThreadsOf(XCThread const& thread)
{
    for (;;) {
        unsigned long id = 0;
        {
            RegistryAccess const registry;
            auto const found =
                std::ranges::find_if(registry.Threads(), [&](auto const& row) { return row.second.thread == &thread; });
            if (found == registry.Threads().end()) return;
            id = found->first;
            if (id == win32::ThreadId()) std::ignore = registry.Take(id);
        }
        WaitForRegistered(id, XCInfinite);
    }
}

SharedHandle HandleOf(unsigned long id)
{
    RegistryAccess const registry;
    ThreadEntry const* const entry = registry.Find(id);
    return entry ? entry->handle : nullptr;
}

bool IsAtWork(ThreadEntry const& entry)
{
    return !entry.ended && entry.running && !HasSignalled(*entry.handle);
}

} // namespace xc::sync
