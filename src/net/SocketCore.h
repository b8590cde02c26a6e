// SocketCore.h - a socket whose calls can wait, be timed and be ended from any thread.
#pragma once

#include <XelbrinCore/XCHost.h>
#include <XelbrinCore/XCIPAddress.h>
#include <XelbrinCore/XCRefCount.h>

#include "win32/SlimLock.h"
#include "win32/Socket.h"
#include "win32/UniqueHandle.h"
#include "work/Executor.h"

#include <mutex>
#include <vector>

namespace xc::net {

using work::Deadline;

/// A socket that stays open as long as a call uses it.
struct CountedSocket : XCRefCount {
    explicit CountedSocket(win32::Socket opened) noexcept : socket(std::move(opened)) {}
    win32::Socket socket;
};

/// How a call ended. Beside the system's numbers two of our own.
struct CallResult {
    static constexpr unsigned long kTimedOut = 0xE0000001, kClosed = 0xE0000002;
    unsigned long error = 0;
    std::size_t bytes = 0; ///< also after a failure
};

class SocketCore {
public:
    SocketCore();
    ~SocketCore();
    SocketCore(SocketCore const&) = delete;
    SocketCore& operator=(SocketCore const&) = delete;

    /// Takes an open socket over; what was there is closed. @param name as errors show it.
    void Take(win32::Socket socket, XCString const& name);
    /// The socket; null when it is not open.
    [[nodiscard]] XCSmartPtr<CountedSocket> Get() const;
    [[nodiscard]] XCString Name() const;
    [[nodiscard]] XCErrorID Failure(XCCoreError otherwise, unsigned long error) const;
    [[nodiscard]] XCCancellation const& Cancellation() const noexcept { return *m_cancellation; }

    void Close(bool abortive) noexcept;
    void Cancel() noexcept;
    void ResetCancel() noexcept;

    /// Begins an overlapped call and waits for its end. Whatever ends the wait, the call's memory is free to go when
    /// this returns: a call that is given up is cancelled and its completion awaited.
    /// @param begin gets socket and structure, returns 0, WSA_IO_PENDING or the system's error; called with the lock.
    template <class Begin>
    CallResult Perform(Deadline const& deadline, Begin begin)
    {
        Call call;
        unsigned long const error = Enter(call, begin);
        return Await(call, error, deadline);
    }

private:
    struct Call {
        OVERLAPPED overlapped{};
        XCSmartPtr<CountedSocket> socket;
        win32::UniqueKernelObject event;
    };

    template <class Begin>
    unsigned long Enter(Call& call, Begin& begin)
    {
        std::lock_guard const hold(m_lock);
        if (unsigned long const error = Prepare(call)) return error;
        return begin(call.socket->socket.Get(), &call.overlapped);
    }
    unsigned long Prepare(Call& call);
    CallResult Await(Call& call, unsigned long error, Deadline const& deadline);
    unsigned long WhyAborted(bool timedOut) const;
    void GiveBack(win32::UniqueKernelObject event);

    mutable win32::SlimLock m_lock; // guards all that follows
    XCSmartPtr<CountedSocket> m_socket;
    XCString m_name;
    bool m_cancelled = false;
    std::vector<win32::UniqueKernelObject> m_events; // of calls that have ended; one for each direction
    XCSmartPtr<XCCancellation> const m_cancellation{new XCCancellation};
};

} // namespace xc::net
