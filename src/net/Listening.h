// Listening.h - opening sockets that listen, and the memory of one accept. For .cpp files.
#pragma once

#include "net/SystemAddress.h"
#include "win32/Socket.h"

namespace xc::net {

/// Opens, binds and listens. @param exclusive nobody else may use the address.  @return the system's error.
unsigned long OpenListener(XCSocketAddress const& address, bool exclusive, int backlog, win32::Socket& socket);

/// What the system fills while it accepts; the socket becomes the connection.
struct AcceptPlace {
    static constexpr DWORD kAddressRoom =
        sizeof(SOCKADDR_STORAGE) + 16; // the system wants 16 bytes more than an address
    win32::Socket socket;
    char addresses[2 * kAddressRoom];

    /// Begins to accept. @return 0, WSA_IO_PENDING or the system's error.
    unsigned long Begin(SOCKET listener, int family, OVERLAPPED* overlapped);
    /// After the completion: the socket learns whose connection it is. @return the system's error.
    unsigned long Finish(SOCKET listener);
    /// After the completion.
    [[nodiscard]] XCSocketAddress Peer() const noexcept;
};

/// The family of a socket, which its connections share.
int FamilyOf(SOCKET socket) noexcept;

} // namespace xc::net
