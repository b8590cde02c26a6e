// ThreadRegistry.h - the process-wide map of the threads that the library started.
//
// One mutex guards it. What is taken out is a node that the caller destroys after the access has ended: the registry's
// reference may be the last one, and a thread object may do anything in its destructor.
#pragma once

#include <XelbrinCore/XCThread.h>

#include <map>
#include <memory>
#include <vector>

namespace xc::sync {

/// A thread's handle, shared by its entry, its object and all who wait for it, so that nobody waits on a closed one. As
/// long as one of them holds it the system does not use the thread's identifier again.
struct ThreadHandle {
    ThreadHandle() noexcept = default;
    ~ThreadHandle();
    ThreadHandle(ThreadHandle const&) = delete;
    ThreadHandle& operator=(ThreadHandle const&) = delete;

    void* value = nullptr;
};
using SharedHandle = std::shared_ptr<ThreadHandle>;

struct ThreadEntry {
    XCThread* thread = nullptr;
    XCSmartPtr<XCThread> reference; // null for an object that nobody counted at Start
    SharedHandle handle;
    bool running = true; // until somebody has seen the thread's end
    bool ended = false;  // callback and exit functions have returned
    unsigned long flags = 0;
};
using ThreadMap = std::map<unsigned long, ThreadEntry>;
using ThreadNode = ThreadMap::node_type;

/// A node that needs nothing more from the heap to be entered.
ThreadNode NewThreadNode(XCThread& thread, SharedHandle const& handle);

/// Holds the registry for a moment.
class RegistryAccess {
public:
    RegistryAccess();
    ~RegistryAccess();
    RegistryAccess(RegistryAccess const&) = delete;
    RegistryAccess& operator=(RegistryAccess const&) = delete;

    /// Null when there is none.
    [[nodiscard]] ThreadEntry* Find(unsigned long id) const;
    void Insert(ThreadNode node) const;
    [[nodiscard]] ThreadNode Take(unsigned long id) const;
    [[nodiscard]] ThreadMap const& Threads() const;
};

/// Waits in slices until the thread has ended and is out of the registry. @return false when it is not in it. On the
/// thread itself: true at once.
bool WaitForRegistered(unsigned long id, unsigned int sliceMs);
/// Waits for all threads of an object that is about to go, and takes them out.
void ForgetThreadsOf(XCThread const& thread);
/// The handle of a registered thread; null when it is not in the registry.
SharedHandle HandleOf(unsigned long id);
/// Whether the entry's thread may still be at work.
bool IsAtWork(ThreadEntry const& entry);

} // namespace xc::sync
