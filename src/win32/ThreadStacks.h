// ThreadStacks.h - what every thread of the process is doing at a moment.
//
// Threads are suspended in batches, and only while the registers and stacks of a batch are copied; nothing is allocated
// and no lock is taken meanwhile. The walk over the copies and all names come after the threads go on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace xc::win32 {

struct CloseThread {
    void operator()(void* thread) const noexcept;
};

/// The calls of one thread.
struct ThreadStack {
    enum class State : unsigned char {
        Walked,
        Ended,       ///< it ended before it could be suspended, or the system refuses
        Unreachable, ///< it could not be copied in time and was resumed
    };
    static constexpr std::size_t kMostFrames = 64;

    unsigned long id = 0;
    State state = State::Ended;
    bool isCaller = false;
    std::size_t count = 0;
    void const* frames[kMostFrames] = {};      ///< the innermost first: an instruction, then return addresses
    std::unique_ptr<void, CloseThread> thread; ///< its handle, with the right to query it
};

/// A thread's stack and registers, in memory that was there before.
class StackPicture {
public:
    StackPicture();
    ~StackPicture();
    StackPicture(StackPicture const&) = delete;
    StackPicture& operator=(StackPicture const&) = delete;

    /// For the thread that is copied next. @param threadBlock where the system keeps the bounds of its stack.
    /// @param room for the copy of its stack.
    void Prepare(void const* threadBlock, unsigned char* room) noexcept;
    /// Copies those of a suspended thread. @return false when the system refuses.
    bool Copy(void* thread) noexcept;
    /// The return addresses of the copy.
    std::size_t Walk(void const** frames, std::size_t room) const noexcept;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

/// What is done to a thread. The real one calls the system; tests have others.
class SuspendSteps {
public:
    virtual ~SuspendSteps() = default;
    virtual bool Suspend(void* thread) noexcept;
    virtual bool Copy(void* thread, StackPicture& picture) noexcept;
    virtual void Resume(void* thread) noexcept;
};

/// Resolves what the first capture needs, and starts the watchdog: for a process in which no module can be loaded and no
/// thread started any more. @throws std::bad_alloc.
void PrepareThreadStacks();

/// The name that the system has of a thread; empty without one. @param thread a handle with the right to query it.
std::wstring NameOfThread(void* thread);

/// The stacks of these threads of the process, of all when there is no number; the caller's own is walked as it is. One
/// capture at a time. Threads that stay suspended for longer than `patienceMs` are resumed by a watchdog.
/// Cost: some 0.1 to 0.4 ms a thread. @throws std::bad_alloc before anything was suspended.
std::vector<ThreadStack> CaptureThreads(std::vector<unsigned long> const& ids, unsigned int patienceMs,
                                        SuspendSteps& steps);
std::vector<ThreadStack> CaptureThreads(std::vector<unsigned long> const& ids, unsigned int patienceMs);

} // namespace xc::win32
