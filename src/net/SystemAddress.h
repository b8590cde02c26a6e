// SystemAddress.h - addresses in the system's form. For .cpp files: it includes the system's headers.
#pragma once

#include <XelbrinCore/XCIPAddress.h>

#include "win32/Socket.h"

namespace xc::net {

/// An address as calls of the system take and give it.
struct SystemAddress {
    SOCKADDR_STORAGE storage{};
    int length = sizeof storage;

    SystemAddress() noexcept = default;
    explicit SystemAddress(XCSocketAddress const& address) noexcept;

    [[nodiscard]] sockaddr* Get() noexcept { return reinterpret_cast<sockaddr*>(&storage); }
    [[nodiscard]] int Family() const noexcept { return storage.ss_family; }
};

/// An address of another family becomes 0.0.0.0:0.
XCSocketAddress FromSystem(sockaddr const* address) noexcept;
/// The socket's own end, or its peer's; 0.0.0.0:0 when the system does not say.
XCSocketAddress LocalAddress(SOCKET socket) noexcept;
XCSocketAddress PeerAddress(SOCKET socket) noexcept;

} // namespace xc::net
