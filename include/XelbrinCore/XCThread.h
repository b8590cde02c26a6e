// XCThread.h - threads that run a callback, and the process-wide registry that knows them.
//
// WHAT     XCThread runs one XCCallback on a thread of its own. Every started thread stands in the registry under its
//          identifier until somebody has waited for it, so that any code can wait for it, mark it or list it.
// STATES   created    Start: running; Join: returns at once; IsStarted, IsRunning, Exists: no
//          running    Start: one more thread, the object now refers to it; Join, WaitForThread: wait for the end;
//                     IsStarted, IsRunning, Exists: yes
//          ended      (callback and exit functions returned) Start: as above; Join, WaitForThread: joined;
//                     IsStarted, Exists: yes; IsRunning: no
//          joined     (no longer in the registry) Start: running; Join: returns at once; WaitForThread: throws
//                     "Invalid Thread ID"; IsStarted: yes; IsRunning, Exists: no
//          With delete-on-end a thread goes from running to joined by itself.
// LIFETIME The registry holds a reference to a thread object that is counted when it starts, until the thread is
//          joined; so an owner may release it at any time. An object that nobody counts (a local variable) must
//          outlive its thread: its destructor waits for it. A thread that nobody joins keeps its entry and its handle:
//          join it, or call SetDeleteOnEnd before Start.
// OWN      A thread that waits for itself, or joins its own object, returns at once and stays in the registry: those
//          who wait for it from outside still see its real end.
// FAILURES An exception that leaves the callback or an exit function ends there: its text is kept for GetFailure, the
//          remaining exit functions run, and the process goes on.
// COST     Starting and joining a thread is some system calls; questions to the registry take one kernel mutex.
// THREADS  Everything here may be called from any thread.
#pragma once

#include <XelbrinCore/XCDateTimeEx.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

class XCThread;
namespace xc::sync {
class ThreadRun;
struct ThreadHandle;
} // namespace xc::sync

/// What a thread runs. Counted: whoever creates one hands it to a smart pointer at once.
class XC_API XCCallback : public XCRefCount {
public:
    ~XCCallback() override;
    /// What the thread does. Called once.
    virtual void Call() = 0;

protected:
    XCCallback() noexcept = default;
};

/// A callback that calls a function object.
template <class F>
class XCFunctionCallback final : public XCCallback {
public:
    /// Keeps a copy of the function.
    explicit XCFunctionCallback(F function) : m_function(std::move(function)) {}
    void Call() override { m_function(); }

private:
    F m_function;
};

/// A callback from anything that can be called without arguments; its result is dropped.
///
///     XCSmartPtr<XCThread> worker = new XCThread(XCMakeCallback([&] { Serve(socket); }));
template <class F>
requires std::is_invocable_v < std::decay_t<F>
& > XCSmartPtr<XCCallback> XCMakeCallback(F&& function)
{
    return XCSmartPtr<XCCallback>(new XCFunctionCallback<std::decay_t<F>>(std::forward<F>(function)));
}

/// Names a thread: its identifier, and a handle that is valid as long as the XCThread it came from refers to that
/// thread. Compared by the identifier. The system uses an identifier again only after the last handle was closed.
class XCThread_t {
public:
    XCThread_t() noexcept = default;
    /// Does not own the handle.
    XCThread_t(unsigned long id, void* handle) noexcept : m_id(id), m_handle(handle) {}

    /// The thread's identifier.
    operator unsigned long() const noexcept { return m_id; }
    /// Null when there is none.
    [[nodiscard]] void* GetHandle() const noexcept { return m_handle; }

    friend bool operator==(XCThread_t const& a, XCThread_t const& b) noexcept { return a.m_id == b.m_id; }
    friend bool operator<(XCThread_t const& a, XCThread_t const& b) noexcept { return a.m_id < b.m_id; }

private:
    unsigned long m_id = 0;
    void* m_handle = nullptr;
};

/// The apartment of COM that new threads enter.
enum XCComModel : unsigned long { XCComNone = 0, XCComApartmentThreaded = 1, XCComMultiThreaded = 2 };

/// The setting that new XCThread objects take over as their flags word; the low 4 bits are an XCComModel.
extern XC_API std::atomic<unsigned long> glbComModel;

/// Prepares the calling thread for faults; every XCThread does so first. It sets stack aside so that the program's
/// handler for unhandled faults can still run when the stack has overflowed. Faults do not become C++ exceptions: code
/// that is not compiled for it cannot be unwound from an arbitrary instruction.
XC_API void XCInitCatchSignal() noexcept;

/// What the system knows of one thread at the moment of construction. Times are steps of 100 ns; as text they are
/// hours, minutes, seconds and milliseconds: "0:01:02.345", hours without limit.
class XC_API XCThreadInfo {
public:
    /// @param handle with the right to query the thread; it is not kept.
    /// @throws XCWindowsLastErrorException when the system refuses.
    XCThreadInfo(void* handle, unsigned long id);

    /// The system's identifier.
    [[nodiscard]] unsigned long GetThreadId() const noexcept { return m_id; }
    /// When the thread was created.
    [[nodiscard]] XCDateTimeEx GetCreationTime() const noexcept { return m_created; }
    /// Time spent in the system, in units of 100 ns.
    [[nodiscard]] std::int64_t GetKernelTime() const noexcept { return m_kernel; }
    /// Time spent in the program, in units of 100 ns.
    [[nodiscard]] std::int64_t GetUserTime() const noexcept { return m_user; }
    /// From the thread's creation to the moment of construction, or to the thread's end.
    [[nodiscard]] std::int64_t GetElapsedTime() const noexcept { return m_elapsed; }

    /// In the local zone.
    [[nodiscard]] XCString GetCreationTimeAsString() const { return m_created.AsString(); }
    /// Time spent in the system, as text.
    [[nodiscard]] XCString GetKernelTimeAsString() const;
    /// Time spent in the program, as text.
    [[nodiscard]] XCString GetUserTimeAsString() const;
    /// Time since the creation, as text.
    [[nodiscard]] XCString GetElapsedTimeAsString() const;
    /// The name of the Windows constant, such as "THREAD_PRIORITY_NORMAL"; the number where there is no name.
    [[nodiscard]] XCString GetThreadPriority() const;
    /// The same of the process, such as "NORMAL_PRIORITY_CLASS".
    [[nodiscard]] XCString GetPriorityClass() const;
    /// All of it on one line.
    [[nodiscard]] XCString AsString() const;

private:
    unsigned long m_id;
    XCDateTimeEx m_created;
    std::int64_t m_kernel = 0;
    std::int64_t m_user = 0;
    std::int64_t m_elapsed = 0;
    int m_priority;
    unsigned long m_priorityClass;
};

/// One thread (see the head of this file).
class XC_API XCThread : public XCRefCount {
public:
    /// Which apartment of the component model the thread enters.
    using ComModel = XCComModel;

    /// Keeps a share of the callback.
    explicit XCThread(XCSmartPtr<XCCallback> callback);
    /// Waits for a thread that still runs and does not count this object.
    ~XCThread() override;
    XCThread(XCThread const&) = delete;
    XCThread& operator=(XCThread const&) = delete;

    // The thread of this object ------------------------------------------------------------------------------------

    /// Starts a thread, also when one was started before; that one goes on and can be waited for by its identifier.
    /// The stack size is the integer value of the environment variable XC_THREAD_STACKSIZE as it was at the first
    /// Start of the process; absent or no positive number, the program's default.
    /// @param priority a Windows thread priority, -15 to 15; 0 keeps the normal one.
    /// @return the system's error when the priority is refused: nothing runs, nothing is registered, and this object is
    ///         as before (the system keeps the suspended thread until the process ends).
    /// @throws XCException when the system cannot create a thread.
    XCErrorID Start(int priority = 0);
    /// Waits until the thread has ended, and takes it out of the registry; at once when that was done before.
    void Join();
    /// The same, and no longer than `timeoutMs`. @return false when the time has run out: the thread stays in the registry.
    bool Join(unsigned int timeoutMs);

    /// Whether Start has succeeded.
    [[nodiscard]] bool IsStarted() const noexcept;
    /// Started, in the registry, and its callback or an exit function still at work.
    [[nodiscard]] bool IsRunning() const;
    /// Whether the thread is still in the registry.
    [[nodiscard]] bool Exists() const;
    /// Identifier and handle; both 0 before Start.
    [[nodiscard]] XCThread_t GetThreadId() const noexcept;

    /// Called on the thread after the callback returned or threw, in the order added; one that is added by another at
    /// the end still runs. One added after the end does not run.
    void AddExitFunction(XCSmartPtr<XCCallback> exitFunction);
    /// With true, the registry gives the thread and its reference back by itself when the thread ends, which deletes an
    /// object that nobody else holds (it must come from new). Set it before Start; while the thread runs only for an
    /// object that was counted at Start, because the registry holds no reference to another one.
    void SetDeleteOnEnd(bool deleteOnEnd) noexcept { m_deleteOnEnd = deleteOnEnd; }
    [[nodiscard]] bool GetDeleteOnEnd() const noexcept { return m_deleteOnEnd; }
    /// The apartment that threads of this object enter, in place of the process's setting. Before Start.
    void SetComModel(ComModel model) noexcept { m_flags = (m_flags & ~0xFul) | model; }
    /// What left the callback or an exit function: the message of the first exception; empty when there was none.
    [[nodiscard]] XCString GetFailure() const;
    /// A name that debuggers show, where the system offers it. Before Start or while the thread runs.
    void SetName(XCString const& name);
    /// The name given by SetName; empty at first.
    [[nodiscard]] XCString GetName() const;

    /// Adds the bits of `flag` to the flags of the running thread. @return false when it is not in the registry.
    bool SetFlag(int flag);
    /// Whether all bits of `flag` are set; false when the thread is not in the registry, and for 0.
    [[nodiscard]] bool IsFlagSet(int flag) const;
    /// @return the system's error when the thread is not in the registry or the priority is refused.
    XCErrorID SetThreadPriority(int priority);
    /// 0x7FFFFFFF when the thread is not in the registry.
    [[nodiscard]] int GetThreadPriority() const;

    // Any thread ---------------------------------------------------------------------------------------------------

    /// Waits until a registered thread has ended, and takes it out of the registry. Several may wait for one thread.
    /// @param timeout how long one wait lasts before the registry is asked again, in milliseconds; -1 without limit.
    ///                It does not end the waiting: the call returns when the thread has ended.
    /// @throws XCException "Invalid Thread ID" when the thread is not in the registry.
    static void WaitForThread(XCThread_t const& thread, int timeout);
    /// Takes a thread that has ended out of the registry without waiting. @return false when it is not in the registry
    /// or has not ended.
    static bool DeleteThread(unsigned long id);
    /// Sets bits of the flags of a registered thread; false when it is not in the registry.
    static bool SetFlag(unsigned long id, int flag);
    /// Whether bits of the flags of a registered thread are set; false when it is not in the registry.
    [[nodiscard]] static bool IsFlagSet(unsigned long id, int flag);
    /// Of a registered thread or the calling one.
    static XCErrorID SetThreadPriority(XCThread_t const& thread, int priority);
    /// The thread's priority as the system has it.
    [[nodiscard]] static int GetThreadPriority(XCThread_t const& thread);

    /// The threads in the registry, by identifier: those at work and those that nobody has joined yet.
    [[nodiscard]] static std::vector<XCThreadInfo> GetAllThreadsInfo();

    // The calling thread -------------------------------------------------------------------------------------------

    /// The identifier of the calling thread; with a handle when it is an XCThread.
    [[nodiscard]] static XCThread_t GetCurrentThreadID() noexcept;
    /// The XCThread that the calling thread runs; null on any other thread. Hold it by a smart pointer to keep it.
    [[nodiscard]] static XCThread* GetCurrentThreadP() noexcept;
    /// Lets the calling thread rest for at least this long.
    static void Sleep(unsigned int milliseconds) noexcept;
    static void Milli_sleep(unsigned int milliseconds) noexcept { Sleep(milliseconds); }
    /// Lets another thread run that is ready.
    static void yield() noexcept;

    // COM of new threads -------------------------------------------------------------------------------------------

    /// The apartment for threads whose objects are made from now on.
    static void InitializeCOM(ComModel model) noexcept;
    /// @param singleThreaded true: apartment-threaded, false: multithreaded.
    static void InitializeCOM(bool singleThreaded) noexcept;
    /// Whether the setting of the process, glbComModel, is the single-threaded apartment: new objects take it over. The
    /// apartment of the calling thread may be another.
    [[nodiscard]] static bool IsSingleThreadedCOMApartment() noexcept;

    // Thread-local slots -------------------------------------------------------------------------------------------

    /// A slot that holds one pointer for each thread, null at first. @throws XCWindowsLastErrorException when there is
    /// none left.
    [[nodiscard]] static unsigned long AllocateThreadKey();
    /// Gives a slot back and makes the key invalid (0xFFFFFFFF). What the pointers led to stays the caller's.
    static void ReleaseThreadKey(unsigned long& key) noexcept;
    /// Null for an invalid key.
    [[nodiscard]] static void* Get(unsigned long key) noexcept;
    /// @throws XCWindowsLastErrorException for an invalid key.
    static void Set(unsigned long key, void* value);
    /// The library's own slot: the XCThread of each thread.
    static unsigned long const tlsDataIndex;

private:
    friend class xc::sync::ThreadRun;

    struct Identity {
        unsigned long id = 0;
        std::shared_ptr<xc::sync::ThreadHandle> handle;
    };
    Identity GetIdentity() const;
    void Refer(unsigned long id, std::shared_ptr<xc::sync::ThreadHandle> const& handle) noexcept;
    void KeepFailure(XCString const& failure) noexcept;
    void JoinThread(Identity const& identity);

    std::atomic<bool> m_deleteOnEnd = false;
    bool m_joined = false;
    std::vector<XCSmartPtr<XCCallback>> m_exitFunctions;
    std::vector<void const*> m_modules; // whose code this object, its callback and its exit functions are
    XCSmartPtr<XCCallback> m_callback;
    unsigned long m_flags;
    Identity m_identity;
    bool m_uncounted = false; // some thread was started while nobody counted this object
    XCString m_name;
    XCString m_failure;
    XCCriticalSection m_joinSection;          // one Join at a time; held while waiting
    mutable XCCriticalSection m_fieldSection; // guards the fields above; held for moments only
};
