// Accepting with calls that wait.
//
// Each Accept brings its own socket and memory, so that several threads may wait. A wait that ends with a connection in
// the same moment keeps it. Where the system has no handle for one more socket, the connection stays in the system's
// queue and the call fails after a pause: the usual loop around it then slows down instead of spinning.
#include <XelbrinCore/XCHost.h>
#include <XelbrinCore/XCSocket.h>

#include "net/Listening.h"
#include "net/NetErrors.h"
#include "net/SocketCore.h"

#include <algorithm>

using namespace xc::net;

namespace {

constexpr unsigned int kRestMs = 100;

/// Waits unless the socket is cancelled meanwhile.
void Rest(XCCancellation const& cancel, Deadline const& deadline) noexcept
{
    (void)::WaitForSingleObject(cancel.GetHandle(), std::min(kRestMs, deadline.Left()));
}

/// Accepts one connection into a place. The listener is held for its last step: its handle must not be another's then.
CallResult AcceptInto(SocketCore& core, AcceptPlace& place, Deadline const& deadline)
{
    XCSmartPtr<CountedSocket> const listener = core.Get();
    if (listener.IsNull()) return {CallResult::kClosed};
    SOCKET const handle = listener->socket.Get();
    CallResult result = core.Perform(deadline, [&](SOCKET socket, OVERLAPPED* overlapped) {
        return socket == handle ? place.Begin(socket, FamilyOf(socket), overlapped) : CallResult::kClosed;
    });
    if (result.error == 0) result.error = place.Finish(handle);
    return result;
}

} // namespace

XCServerSocket::XCServerSocket() : m_core(std::make_unique<SocketCore>()) {}
XCServerSocket::~XCServerSocket() = default;

XCErrorID XCServerSocket::Listen(XCSocketAddress const& address, XCBindMode mode, int backlog)
{
    xc::win32::Socket socket;
    unsigned long const error = OpenListener(address, mode == XCBindMode::Exclusive, backlog, socket);
    if (error != 0) return SocketFailure(XCErrSocketCannotListen, address.AsString(), error);
    // Errors name the port that was bound, which for 0 is the system's choice.
    XCString const name = LocalAddress(socket.Get()).AsString();
    m_core->Take(std::move(socket), name);
    return XCErrorID::Success;
}

XCErrorID XCServerSocket::Accept(XCSmartPtr<XCStreamSocket>& socket, unsigned int timeoutMs)
{
    Deadline const deadline(timeoutMs);
    socket.Clear();
    for (;;) {
        AcceptPlace place;
        CallResult const result = AcceptInto(*m_core, place, deadline);
        if (result.error != 0 && IsReset(result.error)) continue; // it left while it waited
        if (result.error != 0) {
            if (IsShortage(result.error)) Rest(m_core->Cancellation(), deadline);
            return m_core->Failure(XCErrSocketFailed, result.error);
        }
        // As for connections that were begun here; a failure costs time, not meaning.
        (void)place.socket.Set(IPPROTO_TCP, TCP_NODELAY, 1);
        XCSmartPtr<XCStreamSocket> const accepted(new XCStreamSocket);
        XCString const name = place.Peer().AsString();
        accepted->m_core->Take(std::move(place.socket), name);
        socket = accepted;
        return XCErrorID::Success;
    }
}

XCSocketAddress XCServerSocket::GetLocal() const
{
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    return socket.IsNull() ? XCSocketAddress() : LocalAddress(socket->socket.Get());
}

void XCServerSocket::Cancel() noexcept
{
    m_core->Cancel();
}

void XCServerSocket::ResetCancel() noexcept
{
    m_core->ResetCancel();
}

void XCServerSocket::Close() noexcept
{
    m_core->Close(false);
}
