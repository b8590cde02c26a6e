// Calls on sockets that wait.
//
// Every call is an overlapped one with an event, begun under the core's lock and awaited without it. Cancel sets its mark
// under the same lock and then ends all calls of the socket: a call begun before the mark is ended by the system, one
// that comes after it sees the mark. Nothing is lost by that: a call that has got bytes in the same moment completes
// with them, and its result is theirs.
//
// The memory of a call belongs to the system until its completion has come. A call that is given up is therefore
// cancelled and then awaited, without a limit: the system always completes cancelled calls on sockets. The call holds
// the socket, so that Close from another thread ends the call and the handle outlives it.
#include "net/SocketCore.h"

#include "errors/CoreError.h"
#include "net/NetErrors.h"

#include <utility>

namespace xc::net {

SocketCore::SocketCore() = default;

SocketCore::~SocketCore()
{
    Close(false);
}

void SocketCore::Take(win32::Socket socket, XCString const& name)
{
    Close(false);
    XCSmartPtr<CountedSocket> const taken(new CountedSocket(std::move(socket)));
    std::lock_guard const hold(m_lock);
    m_socket = taken;
    m_name = name;
}

XCSmartPtr<CountedSocket> SocketCore::Get() const
{
    std::lock_guard const hold(m_lock);
    return m_socket;
}

XCString SocketCore::Name() const
{
    std::lock_guard const hold(m_lock);
    return m_name;
}

XCErrorID SocketCore::Failure(XCCoreError otherwise, unsigned long error) const
{
    if (error == CallResult::kTimedOut) return TimedOut();
    if (error == CallResult::kClosed) return errors::MakeCoreError(XCErrSocketClosed);
    return SocketFailure(otherwise, Name(), error);
}

void SocketCore::Close(bool abortive) noexcept
{
    XCSmartPtr<CountedSocket> closed; // the handle goes after the lock, or with the last call
    std::lock_guard const hold(m_lock);
    closed = std::move(m_socket);
    if (closed.IsNull()) return;
    if (abortive) closed->socket.SetAbortive();
    (void)::CancelIoEx(closed->socket.Handle(), nullptr);
}

void SocketCore::Cancel() noexcept
{
    std::lock_guard const hold(m_lock);
    m_cancelled = true;
    m_cancellation->Cancel();
    if (!m_socket.IsNull()) (void)::CancelIoEx(m_socket->socket.Handle(), nullptr);
}

void SocketCore::ResetCancel() noexcept
{
    std::lock_guard const hold(m_lock);
    m_cancelled = false;
    m_cancellation->Reset();
}

/// With the lock. @return why the call cannot begin.
unsigned long SocketCore::Prepare(Call& call)
{
    if (m_socket.IsNull()) return CallResult::kClosed;
    if (m_cancelled) return kErrorOperationAborted;
    if (m_events.empty()) {
        call.event.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        if (!call.event) return win32::LastError();
    } else {
        call.event = std::move(m_events.back());
        m_events.pop_back();
    }
    call.socket = m_socket;
    call.overlapped.hEvent = call.event.Get(); // the system resets it when the call begins
    return 0;
}

CallResult SocketCore::Await(Call& call, unsigned long error, Deadline const& deadline)
{
    bool timedOut = false;
    if (error == WSA_IO_PENDING) {
        if (::WaitForSingleObject(call.event.Get(), deadline.Left()) == WAIT_TIMEOUT) {
            timedOut = true;
            (void)::CancelIoEx(call.socket->socket.Handle(), &call.overlapped);
        }
        DWORD bytes = 0, flags = 0;
        bool const good = ::WSAGetOverlappedResult(call.socket->socket.Get(), &call.overlapped, &bytes, TRUE, &flags);
        error = good ? 0 : win32::SocketError();
    }
    CallResult result{error, static_cast<std::size_t>(call.overlapped.InternalHigh)};
    if (error == kErrorOperationAborted) result.error = WhyAborted(timedOut);
    GiveBack(std::move(call.event));
    return result;
}

/// Close and Cancel from another thread look alike to the system.
unsigned long SocketCore::WhyAborted(bool timedOut) const
{
    std::lock_guard const hold(m_lock);
    if (m_socket.IsNull()) return CallResult::kClosed;
    if (m_cancelled) return kErrorOperationAborted;
    return timedOut ? CallResult::kTimedOut : kErrorOperationAborted;
}

void SocketCore::GiveBack(win32::UniqueKernelObject event)
{
    constexpr std::size_t kKept = 2; // a reader and a writer
    std::lock_guard const hold(m_lock);
    if (event && m_events.size() < kKept) m_events.push_back(std::move(event));
}

} // namespace xc::net
