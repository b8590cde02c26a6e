// XCIPAddress.h - addresses of the Internet protocols as values, with and without a port.
//
// WHAT     XCIPAddress is an address of version 4 or 6, XCSocketAddress the same with a port. XCHost.h makes addresses
//          from names.
//
//              XCSocketAddress address;
//              if (XCErrorID const fault = XCSocketAddress::FromString(L"[::1]:8080", address); fault.Bad()) return fault;
//
// TEXT     Read strictly: an address has one meaning everywhere or is refused. "127.1", "010.0.0.1" and "0x7f.0.0.1",
//          which other programs read as different addresses, are errors. Version 6 takes every form of its standard,
//          with a version 4 tail and with the number of a scope ("fe80::1%3"). Written in the canonical form of RFC
//          5952, so that equal addresses are equal texts.
// COST     A small value; nothing allocates but texts and errors.
// ORDER    Version 4 before version 6, then by number, then by scope.
// ERRORS   XCErrAddressText names the text, the position of the fault and the thing that was expected there.
// THREADS  As for an int.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <array>
#include <compare>
#include <cstdint>

/// The versions of the Internet protocol.
enum class XCIPVersion : unsigned char {
    V4, ///< four bytes
    V6  ///< sixteen bytes
};

/// An address of version 4 or 6.
class XC_API XCIPAddress {
public:
    /// 0.0.0.0
    XCIPAddress() noexcept = default;
    /// An address of version 4 by its four numbers.
    static XCIPAddress V4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) noexcept;
    /// From 4 or 16 bytes as they stand in packets. @return false, and `address` as it was, for any other count.
    /// @param scope the number of a network interface; only for version 6.
    static bool FromBytes(XCBytes bytes, XCIPAddress& address, std::uint32_t scope = 0) noexcept;
    /// Reads the whole text (TEXT above). Bad, and `address` as it was: anything else.
    static XCErrorID FromString(XCString const& text, XCIPAddress& address);

    /// Every address of the machine, for listening: 0.0.0.0 or "::".
    static XCIPAddress Any(XCIPVersion version = XCIPVersion::V6) noexcept;
    /// The machine itself: 127.0.0.1 or "::1".
    static XCIPAddress Loopback(XCIPVersion version = XCIPVersion::V4) noexcept;

    /// The version.
    [[nodiscard]] XCIPVersion GetVersion() const noexcept { return m_version; }
    /// 4 or 16 bytes; as long as this object lives.
    [[nodiscard]] XCBytes GetBytes() const noexcept { return {m_bytes.data(), Size()}; }
    /// The number of the network interface that the address belongs to; 0: none is named.
    [[nodiscard]] std::uint32_t GetScope() const noexcept { return m_scope; }
    /// "192.0.2.1", "2001:db8::1", "::ffff:192.0.2.1", "fe80::1%3".
    [[nodiscard]] XCString AsString() const;

    // What an address is for. An address of version 4 inside one of version 6 (IsMapped) is judged as version 4.
    /// 0.0.0.0 or "::".
    [[nodiscard]] bool IsAny() const noexcept;
    /// 127.0.0.0/8 or "::1".
    [[nodiscard]] bool IsLoopback() const noexcept;
    /// Not routed on the Internet: 10/8, 172.16/12, 192.168/16, fc00::/7.
    [[nodiscard]] bool IsPrivate() const noexcept;
    /// Of one network segment: 169.254/16, fe80::/10.
    [[nodiscard]] bool IsLinkLocal() const noexcept;
    /// Of a group of receivers: 224/4, ff00::/8.
    [[nodiscard]] bool IsMulticast() const noexcept;
    /// Whether it is an address of version 4 in the form of version 6, as dual-stack sockets show them.
    [[nodiscard]] bool IsMapped() const noexcept;
    /// The address of version 4 where IsMapped, else the address itself.
    [[nodiscard]] XCIPAddress Unmapped() const noexcept;
    /// The form of version 6; itself where it is of that version.
    [[nodiscard]] XCIPAddress Mapped() const noexcept;
    /// Whether the first `bits` bits are those of a prefix. False for addresses of two versions, and for more bits than
    /// an address has. Scopes are not compared.
    [[nodiscard]] bool IsIn(XCIPAddress const& prefix, unsigned int bits) const noexcept;

    friend bool operator==(XCIPAddress const& a, XCIPAddress const& b) noexcept = default;
    friend auto operator<=>(XCIPAddress const& a, XCIPAddress const& b) noexcept = default;

private:
    [[nodiscard]] std::size_t Size() const noexcept { return m_version == XCIPVersion::V4 ? 4 : 16; }

    XCIPVersion m_version = XCIPVersion::V4;
    std::array<std::uint8_t, 16> m_bytes{}; // in packet order; the rest is 0 for version 4
    std::uint32_t m_scope = 0;
};

/// An address with a port.
class XC_API XCSocketAddress {
public:
    /// 0.0.0.0:0
    XCSocketAddress() noexcept = default;
    /// @param port 0 lets the system choose one, when listening.
    XCSocketAddress(XCIPAddress const& address, std::uint16_t port) noexcept : m_address(address), m_port(port) {}
    /// Reads "192.0.2.1:80" and "[2001:db8::1]:80". Bad, and `address` as it was: anything else, a missing port too.
    static XCErrorID FromString(XCString const& text, XCSocketAddress& address);

    /// The address without the port.
    [[nodiscard]] XCIPAddress const& GetAddress() const noexcept { return m_address; }
    /// 0 to 65535.
    [[nodiscard]] std::uint16_t GetPort() const noexcept { return m_port; }
    /// The form that FromString reads.
    [[nodiscard]] XCString AsString() const;

    friend bool operator==(XCSocketAddress const& a, XCSocketAddress const& b) noexcept = default;
    friend auto operator<=>(XCSocketAddress const& a, XCSocketAddress const& b) noexcept = default;

private:
    XCIPAddress m_address;
    std::uint16_t m_port = 0;
};
