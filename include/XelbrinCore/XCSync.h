// XCSync.h - locks, events and semaphores over the objects of the operating system, and the guard that holds them.
//
// WHAT     XCCriticalSection guards short regions of one process; XCMutex and XCEventSemaphore work across processes
//          when they have a name; XCSynchronizedCriticalSection pairs a section with an event; XCCountingSemaphore
//          counts units; XCBaton lets numbered turns enter in order. Take them all through XCLockGuard, except where
//          UnlockWait or PostUnlock leaves the section.
// COST     A free critical section: some nanoseconds. Everything else is a call into the kernel or more. A waiting
//          XCCountingSemaphore asks again every 10 ms, and a waiting XCBaton at each end of a turn: neither is for
//          fast hand-overs.
// TIME     Timeouts are milliseconds; 0 asks without waiting, XCInfinite waits without limit.
// ERRORS   A failing call of the system throws XCWindowsLastErrorException and leaves the object as it was; misuse
//          that the library itself can see throws XCException. XCCriticalSection never throws.
// THREADS  Every object here is made to be shared; none can be copied. Destroy one only when nobody waits in it.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <atomic>
#include <cstdint>
#include <utility>

/// A timeout without limit.
inline constexpr unsigned int XCInfinite = 0xFFFFFFFFu;

/// A recursive lock of one process, for short regions. Never throws.
class XC_API XCCriticalSection {
public:
    /// @param locked enter at once.
    explicit XCCriticalSection(bool locked = false) noexcept;
    ~XCCriticalSection();
    XCCriticalSection(XCCriticalSection const&) = delete;
    XCCriticalSection& operator=(XCCriticalSection const&) = delete;

    /// Waits until this thread owns the section; it may lock again what it owns.
    void Lock() noexcept;
    void lock() noexcept { Lock(); }
    void obtain() noexcept { Lock(); }
    /// By the thread that entered.
    void Unlock() noexcept;
    void unlock() noexcept { Unlock(); }
    void release() noexcept { Unlock(); }
    /// Takes the section if that needs no waiting. @return whether it did.
    [[nodiscard]] bool TryLock() noexcept;
    [[nodiscard]] bool try_lock() noexcept { return TryLock(); }
    /// 0: another thread holds the section; otherwise the recursion count while asking: 1 when it was free, more when
    /// the caller already held it.
    [[nodiscard]] unsigned int IsLocked() noexcept;

private:
    alignas(8) unsigned char m_section[40]; // a CRITICAL_SECTION
};

/// A recursive lock of the kernel, shared between processes when it has a name.
class XC_API XCMutex {
public:
    /// No name: the object belongs to this process.
    static XCString const defaultValue;

    /// @param name  opens the mutex of this name, or creates it; it may not contain a backslash after the "Local\" or
    ///              "Global\" in front.
    /// @param owned the caller owns the mutex at once, unless it already existed: then call lock.
    /// @throws XCWindowsLastErrorException when the system refuses.
    explicit XCMutex(XCString const& name = defaultValue, bool owned = false);
    ~XCMutex();
    XCMutex(XCMutex const&) = delete;
    XCMutex& operator=(XCMutex const&) = delete;

    /// Waits until this thread owns the mutex.
    /// @return false when the time ran out, and when the last owner ended without releasing it: what the mutex guards
    ///         may be half changed. In both cases the caller does not own it; after an abandoned mutex was reported
    ///         once, the next call can take it.
    [[nodiscard]] bool lock(unsigned int timeout);
    [[nodiscard]] bool Lock(unsigned int timeout) { return lock(timeout); }
    /// Waits without limit and owns the mutex afterwards, as the standard's guards expect it.
    /// @throws XCException when the last owner ended without releasing it; the caller does not own it then.
    void lock();
    /// Takes the mutex if that needs no waiting. @return whether it did; false for an abandoned mutex, too.
    [[nodiscard]] bool try_lock() { return lock(0); }
    /// lock without limit: false only for an abandoned mutex; unlock then throws.
    bool obtain() { return lock(XCInfinite); }
    /// Throws when the caller is not the owner.
    void unlock();
    void Unlock() { unlock(); }
    void release() { unlock(); }

private:
    void* m_handle;
};

/// An event that stays posted until it is reset, shared between processes when it has a name.
class XC_API XCEventSemaphore {
public:
    /// No name: the object belongs to this process.
    static XCString const defaultValue;

    /// @param name as for XCMutex. @param posted the state of a new event; one that already exists keeps its own.
    explicit XCEventSemaphore(XCString const& name = defaultValue, bool posted = false);
    ~XCEventSemaphore();
    XCEventSemaphore(XCEventSemaphore const&) = delete;
    XCEventSemaphore& operator=(XCEventSemaphore const&) = delete;

    /// Sets the event: waiting threads go on.
    void post();
    void Post() { post(); }
    /// Takes the event back: threads wait again.
    void reset();
    void Reset() { reset(); }
    /// Wakes those who wait at this moment and leaves the event unposted. The system may lose a waiter that it has
    /// interrupted: prefer post, or wait in slices as XCBaton does.
    void pulse();
    void Pulse() { pulse(); }
    /// The system's answer to the wait: 0 when posted, 258 when the time ran out.
    unsigned int wait(unsigned int timeout = XCInfinite);
    unsigned int Wait(unsigned int timeout = XCInfinite) { return wait(timeout); }
    /// Whether the event is posted at this moment.
    [[nodiscard]] bool posted();
    [[nodiscard]] bool Posted() { return posted(); }
    /// The event's handle; it stays the property of this object.
    [[nodiscard]] void* GetHandle() const noexcept { return m_handle; }

private:
    void* m_handle;
};

/// A critical section with an event: one thread at a time waits in it for a signal that others give.
///
/// The waiter locks, looks, and calls UnlockWait when there is nothing to do; whoever has something for it locks,
/// leaves it and calls PostUnlock. The event is reset on both sides of the wait: several posts may come home as one, so
/// lock and look again after each; and a second waiter would take the signal from the first, so use one for each. Both
/// calls leave the section once: enter it once, with Lock, for a guard would leave it a second time.
class XC_API XCSynchronizedCriticalSection {
public:
    XCSynchronizedCriticalSection() = default;

    /// Waits until this thread owns the section.
    void Lock() noexcept { m_section.Lock(); }
    void lock() noexcept { Lock(); }
    /// Gives the section back; by the thread that locked it.
    void Unlock() noexcept { m_section.Unlock(); }
    void unlock() noexcept { Unlock(); }
    /// Takes the section if that needs no waiting. @return whether it did.
    [[nodiscard]] bool TryLock() noexcept { return m_section.TryLock(); }
    [[nodiscard]] bool try_lock() noexcept { return TryLock(); }
    /// Posts the event, then leaves the section. The section is left in any case.
    void PostUnlock();
    /// Resets the event, leaves the section, waits without limit for the event and resets it. Returns without the
    /// section, also when it throws: lock again where it is needed.
    void UnlockWait();

private:
    XCCriticalSection m_section;
    XCEventSemaphore m_event;
};

/// Counts units that threads take and give back. Waiting is asking again every 10 ms, without an order.
///
///   state            Lock(n), TryLock(n)               Unlock(n)
///   count >= n       count - n                         count + n; overflow beyond the maximum throws
///   count <  n       Lock waits, TryLock is false      count + n; overflow beyond the maximum throws
///   n > maximum      Lock waits for ever: an error     overflow
class XC_API XCCountingSemaphore {
public:
    /// The maximum where none is given.
    enum : unsigned int { kMaximum = 2147483647 };

    /// @throws XCException when initial is greater than the maximum.
    explicit XCCountingSemaphore(unsigned int initial = 1) : XCCountingSemaphore(initial, kMaximum) {}
    /// @throws XCException when initial is greater than the maximum.
    XCCountingSemaphore(unsigned int initial, unsigned int maximum);
    ~XCCountingSemaphore();
    XCCountingSemaphore(XCCountingSemaphore const&) = delete;
    XCCountingSemaphore& operator=(XCCountingSemaphore const&) = delete;

    /// Takes n units, all at once; waits until there are as many.
    void Lock(unsigned int n = 1);
    void wait(unsigned int n = 1) { Lock(n); }
    /// Gives n units. @throws XCException when the count would exceed the maximum; the count stays.
    void Unlock(unsigned int n = 1);
    void post(unsigned int n = 1) { Unlock(n); }
    /// Takes n units if there are as many now.
    [[nodiscard]] bool TryLock(unsigned int n = 1);
    /// The units of this moment.
    [[nodiscard]] unsigned int GetCount() const;
    /// The maximum.
    [[nodiscard]] unsigned int GetSize() const;

private:
    void* m_mutex;
    std::uint32_t m_count;
    std::uint32_t m_maximum;
};

/// Lets the holders of numbered turns enter one by one, in the order 1, 2, 3 and so on.
///
///   current turn c   Lock(t), t <= c         Lock(c + 1)                       Lock(t), t > c + 1
///   free             returns at once,        enters: current turn is t         waits until turn t - 1 has been entered
///                    holds nothing                                             and left
///   held             returns at once,        waits for the holder's Unlock,    waits as above
///                    holds nothing           then enters
///   Unlock by the holder: wakes all waiters, free. Unlock by another: wakes the waiters, changes nothing.
///
/// A holder that ends without Unlock counts as having left. Each number is for one caller: of two that wait with the
/// same number the second also enters, perhaps after later turns, and sets the current turn back to its own.
class XC_API XCBaton {
public:
    XCBaton();
    /// Waits until the current holder has left.
    ~XCBaton();
    XCBaton(XCBaton const&) = delete;
    XCBaton& operator=(XCBaton const&) = delete;

    /// Enters as holder of a turn. @return false when that turn had already passed: the caller holds nothing.
    bool Lock(unsigned int turn);
    /// Ends the turn and wakes the waiters.
    void Unlock() noexcept;

private:
    void AwaitPulse() const;

    void* m_mutex;
    void* m_event;
    std::atomic<std::uint32_t> m_turn = 0;
};

namespace xc::sync {

// How a guard takes a lock (the answer is what it holds, 0 for nothing) and gives it back.
template <class Lock>
unsigned int Take(Lock& lock)
{
    lock.Lock();
    return 1;
}
XC_API unsigned int Take(XCMutex& mutex); // throws XCException for an abandoned mutex
inline unsigned int Take(XCMutex& mutex, unsigned int timeout)
{
    return mutex.lock(timeout) ? 1 : 0;
}
inline unsigned int Take(XCCountingSemaphore& semaphore, unsigned int n)
{
    semaphore.Lock(n);
    return n;
}
inline unsigned int Take(XCBaton& baton, unsigned int turn)
{
    return baton.Lock(turn) ? 1 : 0;
}
template <class Lock>
void Give(Lock& lock, unsigned int)
{
    lock.Unlock();
}
inline void Give(XCCountingSemaphore& semaphore, unsigned int n)
{
    semaphore.Unlock(n);
}

} // namespace xc::sync

/// Holds a lock until the end of its block. The lock's kind is deduced:
///
///     XCLockGuard guard(section);            // also for a synchronized section and for one unit of a semaphore
///     XCLockGuard guard(mutex);              // waits without limit; throws XCException for an abandoned mutex
///     XCLockGuard guard(mutex, 500u);        // at most 500 ms; then ask: if (guard.Holds()) ...
///     XCLockGuard guard(semaphore, 3u);      // three units
///     XCLockGuard guard(baton, 7u);          // turn 7; holds nothing when that turn had passed
template <class Lock>
class [[nodiscard]] XCLockGuard {
public:
    /// Locks. @param how further arguments of the lock's own operation, such as a number of milliseconds.
    template <class... How>
    explicit XCLockGuard(Lock& lock, How... how) : m_lock(lock), m_held(xc::sync::Take(lock, how...))
    {
    }
    ~XCLockGuard()
    {
        try {
            Release();
        } catch (...) { // given back by hand before: there is nothing left to give
        }
    }
    XCLockGuard(XCLockGuard const&) = delete;
    XCLockGuard& operator=(XCLockGuard const&) = delete;

    /// Whether the lock was taken.
    [[nodiscard]] bool Holds() const noexcept { return m_held != 0; }
    /// Gives the lock back before the end of the block; throws what the lock throws.
    void Release()
    {
        if (unsigned int const held = std::exchange(m_held, 0u)) xc::sync::Give(m_lock, held);
    }

private:
    Lock& m_lock;
    unsigned int m_held;
};
