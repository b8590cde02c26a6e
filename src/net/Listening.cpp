// Sockets that listen.
//
// Exclusive is the default because this system lets a second program bind the same port unless the first one forbids
// it, and then hands connections to either. A socket of version 6 takes both versions only where it is told so before it
// is bound; the system's own default is version 6 alone.
#include "net/Listening.h"

namespace xc::net {

unsigned long OpenListener(XCSocketAddress const& address, bool exclusive, int backlog, win32::Socket& socket)
{
    SystemAddress place(address);
    if (unsigned long const error = socket.Open(place.Family())) return error;
    // Without the first option the address would be open to thieves: a failure to set it is a failure to listen.
    unsigned long error = socket.Set(SOL_SOCKET, exclusive ? SO_EXCLUSIVEADDRUSE : SO_REUSEADDR, 1);
    if (error == 0 && place.Family() == AF_INET6) error = socket.Set(IPPROTO_IPV6, IPV6_V6ONLY, 0);
    if (error == 0 && ::bind(socket.Get(), place.Get(), place.length) != 0) error = win32::SocketError();
    if (error == 0 && ::listen(socket.Get(), backlog > 0 ? backlog : SOMAXCONN) != 0) error = win32::SocketError();
    if (error != 0) socket.Close();
    return error;
}

unsigned long AcceptPlace::Begin(SOCKET listener, int family, OVERLAPPED* overlapped)
{
    if (unsigned long const error = socket.Open(family)) return error;
    LPFN_ACCEPTEX const accept = win32::GetSocketCalls().acceptEx;
    if (!accept) return WSAEOPNOTSUPP;
    DWORD got = 0;
    // No bytes are awaited: a peer that says nothing would keep its connection from being seen.
    bool const done =
        accept(listener, socket.Get(), addresses, 0, kAddressRoom, kAddressRoom, &got, overlapped) != FALSE;
    return done ? 0 : win32::SocketError();
}

unsigned long AcceptPlace::Finish(SOCKET listener)
{
    bool const done = ::setsockopt(socket.Get(), SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT,
                                   reinterpret_cast<char const*>(&listener), sizeof listener) == 0;
    return done ? 0 : win32::SocketError();
}

XCSocketAddress AcceptPlace::Peer() const noexcept
{
    LPFN_GETACCEPTEXSOCKADDRS const read = win32::GetSocketCalls().getAddresses;
    if (!read) return PeerAddress(socket.Get());
    sockaddr *local = nullptr, *remote = nullptr;
    int localLength = 0, remoteLength = 0;
    read(const_cast<char*>(addresses), 0, kAddressRoom, kAddressRoom, &local, &localLength, &remote, &remoteLength);
    return remote ? FromSystem(remote) : XCSocketAddress();
}

int FamilyOf(SOCKET socket) noexcept
{
    SystemAddress address;
    return ::getsockname(socket, address.Get(), &address.length) == 0 ? address.Family() : AF_INET;
}

} // namespace xc::net
