// Addresses between the library's form and the system's.
//
// Structures are copied, never cast in place: the system's addresses may stand at any alignment inside what a call has
// filled, and reading one through a pointer of another type is undefined. Ports change their order of bytes here and
// nowhere else. An address of a family that the library does not know becomes an empty one: a name may have such
// addresses besides those that can be used.
#include "net/SystemAddress.h"

#include <cstring>

namespace xc::net {

SystemAddress::SystemAddress(XCSocketAddress const& address) noexcept
{
    XCIPAddress const& ip = address.GetAddress();
    if (ip.GetVersion() == XCIPVersion::V4) {
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_port = ::htons(address.GetPort());
        std::memcpy(&v4.sin_addr, ip.GetBytes().Data(), sizeof v4.sin_addr);
        std::memcpy(&storage, &v4, sizeof v4);
        length = sizeof v4;
        return;
    }
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = ::htons(address.GetPort());
    v6.sin6_scope_id = ip.GetScope();
    std::memcpy(&v6.sin6_addr, ip.GetBytes().Data(), sizeof v6.sin6_addr);
    std::memcpy(&storage, &v6, sizeof v6);
    length = sizeof v6;
}

XCSocketAddress FromSystem(sockaddr const* address) noexcept
{
    XCIPAddress ip;
    if (address->sa_family == AF_INET) {
        sockaddr_in v4;
        std::memcpy(&v4, address, sizeof v4);
        (void)XCIPAddress::FromBytes({&v4.sin_addr, 4}, ip);
        return {ip, ::ntohs(v4.sin_port)};
    }
    if (address->sa_family != AF_INET6) return {};
    sockaddr_in6 v6;
    std::memcpy(&v6, address, sizeof v6);
    (void)XCIPAddress::FromBytes({&v6.sin6_addr, 16}, ip, v6.sin6_scope_id);
    return {ip, ::ntohs(v6.sin6_port)};
}

XCSocketAddress LocalAddress(SOCKET socket) noexcept
{
    // Known once the socket is bound; a listener that asked for port 0 learns here which one it got.
    SystemAddress address;
    return ::getsockname(socket, address.Get(), &address.length) == 0 ? FromSystem(address.Get()) : XCSocketAddress();
}

XCSocketAddress PeerAddress(SOCKET socket) noexcept
{
    // Of a connection that was reset the system no longer knows the peer.
    SystemAddress address;
    return ::getpeername(socket, address.Get(), &address.length) == 0 ? FromSystem(address.Get()) : XCSocketAddress();
}

} // namespace xc::net
