// ConnectRace.h - a connection to the first of several addresses that answers.
#pragma once

#include <XelbrinCore/XCHost.h>
#include <XelbrinCore/XCIPAddress.h>

#include "net/SocketCore.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace xc::net {

/// The attempts of one Connect.
class ConnectRace {
public:
    ConnectRace(std::vector<XCSocketAddress> const& addresses, unsigned int headStartMs) noexcept
        : m_addresses(addresses), m_headStartMs(headStartMs)
    {
    }
    ~ConnectRace();
    ConnectRace(ConnectRace const&) = delete;
    ConnectRace& operator=(ConnectRace const&) = delete;

    /// @param winner the socket that is connected.  @param address its peer.
    XCErrorID Run(Deadline const& deadline, XCCancellation const& cancel, win32::Socket& winner,
                  XCSocketAddress& address);

private:
    struct Attempt {
        win32::Socket socket;
        OVERLAPPED overlapped{};
        win32::UniqueKernelObject event;
        XCSocketAddress address;
    };

    void StartNext();
    unsigned long Begin(Attempt& attempt);
    bool TakeEnded(win32::Socket& winner, XCSocketAddress& address);
    [[nodiscard]] unsigned int WaitMs(Deadline const& deadline) const noexcept;
    void Fail(XCSocketAddress const& address, unsigned long error);

    std::vector<XCSocketAddress> const& m_addresses;
    unsigned int const m_headStartMs;
    std::size_t m_next = 0;     // the address that is tried next
    std::uint64_t m_nextAt = 0; // when, in ticks of the system's milliseconds
    std::vector<std::unique_ptr<Attempt>> m_running;
    XCErrorID m_failure;
};

/// The versions in turns, the first one's first, each in its order.
std::vector<XCSocketAddress> InTurns(std::vector<XCSocketAddress> const& addresses);

} // namespace xc::net
