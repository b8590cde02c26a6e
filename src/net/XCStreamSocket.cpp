// Connections with calls that wait: each public call is one or more overlapped calls of the core (SocketCore.cpp), which
// decides how they end.
//
// Large writes go in pieces: the system locks the memory of a whole call, and a call that is given up can tell the bytes
// of finished pieces exactly.
//
// A time is that of a whole public call, however many of the system's it makes: each gets what is left. The four ends of
// a call stay four results: the peer's orderly end is success with no bytes (of ReadFully an error, since bytes are
// missing), a reset is the peer's failure, a time that is over and a cancellation leave the connection as it is, and the
// caller may go on with it.
#include <XelbrinCore/XCHost.h>
#include <XelbrinCore/XCSocket.h>

#include "data/DataErrors.h"
#include "net/ConnectRace.h"
#include "net/NetErrors.h"
#include "net/SocketCore.h"
#include "net/SystemAddress.h"

#include <algorithm>

using namespace xc::net;

namespace {

constexpr std::size_t kLargestRead = std::size_t{1} << 30, kLargestWrite = 64 * 1024;

/// The result of a call of Winsock that gives 0 or SOCKET_ERROR.
unsigned long ErrorOf(int result) noexcept
{
    return result == 0 ? 0 : xc::win32::SocketError();
}

WSABUF BufferOf(void const* bytes, std::size_t size) noexcept
{
    return {static_cast<ULONG>(size), const_cast<char*>(static_cast<char const*>(bytes))};
}

} // namespace

XCStreamSocket::XCStreamSocket() : m_core(std::make_unique<SocketCore>()) {}
XCStreamSocket::~XCStreamSocket() = default;

XCErrorID XCStreamSocket::Connect(XCSocketAddress const& address, unsigned int timeoutMs)
{
    return Connect(std::vector<XCSocketAddress>{address}, timeoutMs);
}

XCErrorID XCStreamSocket::Connect(std::vector<XCSocketAddress> const& addresses, unsigned int timeoutMs)
{
    if (addresses.empty()) return SocketFailure(XCErrSocketCannotConnect, {}, WSAEADDRNOTAVAIL);
    if (unsigned long const error = xc::win32::StartSockets())
        return SocketFailure(XCErrSocketCannotConnect, addresses.front().AsString(), error);
    // The core is touched only when there is a winner: until then an older connection of this object stays usable.
    ConnectRace race(addresses, kHeadStartMs);
    xc::win32::Socket winner;
    XCSocketAddress address;
    XCErrorID const result = race.Run(Deadline(timeoutMs), m_core->Cancellation(), winner, address);
    if (result.Bad()) return result;
    // Requests wait for their answers: a small one that waits for more to send with it costs the peer's delay.
    (void)winner.Set(IPPROTO_TCP, TCP_NODELAY, 1);
    m_core->Take(std::move(winner), address.AsString());
    return XCErrorID::Success;
}

XCErrorID XCStreamSocket::Connect(XCString const& host, std::uint16_t port, unsigned int timeoutMs)
{
    Deadline const deadline(timeoutMs);
    std::vector<XCSocketAddress> addresses;
    // One time and one cancellation for both parts: the caller cannot know which of them takes long.
    XCErrorID const found = XCHost::Resolve(host, port, addresses, timeoutMs, &m_core->Cancellation());
    return found.Bad() ? found : Connect(InTurns(addresses), deadline.Left());
}

bool XCStreamSocket::IsOpen() const noexcept
{
    return !m_core->Get().IsNull();
}

XCErrorID XCStreamSocket::Read(void* to, std::size_t size, std::size_t& got, unsigned int timeoutMs)
{
    got = 0;
    // The system would wait for data here, and its result would look like the end of the stream.
    if (size == 0) return XCErrorID::Success;
    WSABUF buffer = BufferOf(to, std::min(size, kLargestRead));
    CallResult const result = m_core->Perform(Deadline(timeoutMs), [&buffer](SOCKET socket, OVERLAPPED* overlapped) {
        DWORD bytes = 0, flags = 0;
        return ErrorOf(::WSARecv(socket, &buffer, 1, &bytes, &flags, overlapped, nullptr));
    });
    // Bytes that came in the moment of a failure are a result; the failure comes again.
    got = result.bytes;
    return got > 0 ? XCErrorID() : m_core->Failure(XCErrSocketFailed, result.error);
}

XCErrorID XCStreamSocket::ReadFully(void* to, std::size_t size, std::size_t& got, unsigned int timeoutMs)
{
    Deadline const deadline(timeoutMs);
    for (got = 0; got < size;) {
        std::size_t piece = 0;
        XCErrorID const result = Read(static_cast<char*>(to) + got, size - got, piece, deadline.Left());
        if (result.Bad()) return result;
        if (piece == 0) // the peer has ended in the middle of what was announced
            return xc::errors::MakeCoreError(XCErrSocketEnded, m_core->Name(), xc::data::NumberParameter(got));
        got += piece;
    }
    return XCErrorID::Success;
}

XCErrorID XCStreamSocket::Write(void const* from, std::size_t size, unsigned int timeoutMs, std::size_t* done)
{
    Deadline const deadline(timeoutMs); // of all pieces together
    std::size_t written = 0;
    unsigned long error = 0;
    while (written < size && error == 0) {
        WSABUF buffer = BufferOf(static_cast<char const*>(from) + written, std::min(size - written, kLargestWrite));
        CallResult const result = m_core->Perform(deadline, [&buffer](SOCKET socket, OVERLAPPED* overlapped) {
            DWORD bytes = 0;
            return ErrorOf(::WSASend(socket, &buffer, 1, &bytes, 0, overlapped, nullptr));
        });
        written += result.bytes;
        error = result.error;
    }
    // Told after a failure as well: the caller may go on after these bytes, or knows what the peer can have seen.
    if (done) *done = written;
    return written == size ? XCErrorID() : m_core->Failure(XCErrSocketFailed, error);
}

XCErrorID XCStreamSocket::ShutdownWrite()
{
    // The pointer keeps the handle open until the call returns, whoever closes the socket meanwhile.
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    if (socket.IsNull()) return m_core->Failure(XCErrSocketFailed, CallResult::kClosed);
    return m_core->Failure(XCErrSocketFailed, ErrorOf(::shutdown(socket->socket.Get(), SD_SEND)));
}

void XCStreamSocket::Close() noexcept
{
    m_core->Close(false);
}

void XCStreamSocket::Abort() noexcept
{
    m_core->Close(true);
}

void XCStreamSocket::Cancel() noexcept
{
    m_core->Cancel();
}

void XCStreamSocket::ResetCancel() noexcept
{
    m_core->ResetCancel();
}

XCErrorID XCStreamSocket::SetNoDelay(bool on)
{
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    unsigned long const error =
        socket.IsNull() ? CallResult::kClosed : socket->socket.Set(IPPROTO_TCP, TCP_NODELAY, on);
    return m_core->Failure(XCErrSocketFailed, error);
}

XCErrorID XCStreamSocket::SetKeepAlive(unsigned int idleMs, unsigned int intervalMs)
{
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    if (socket.IsNull()) return m_core->Failure(XCErrSocketFailed, CallResult::kClosed);
    // The one form that every release of the system knows.
    tcp_keepalive values{idleMs > 0 ? 1ul : 0ul, idleMs, intervalMs};
    DWORD got = 0;
    return m_core->Failure(XCErrSocketFailed, ErrorOf(::WSAIoctl(socket->socket.Get(), SIO_KEEPALIVE_VALS, &values,
                                                                 sizeof values, nullptr, 0, &got, nullptr, nullptr)));
}

XCSocketAddress XCStreamSocket::GetPeer() const
{
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    return socket.IsNull() ? XCSocketAddress() : PeerAddress(socket->socket.Get());
}

XCSocketAddress XCStreamSocket::GetLocal() const
{
    XCSmartPtr<CountedSocket> const socket = m_core->Get();
    return socket.IsNull() ? XCSocketAddress() : LocalAddress(socket->socket.Get());
}
