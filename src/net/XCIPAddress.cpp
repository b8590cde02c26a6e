// Addresses as values.
//
// An address of version 4 inside one of version 6 is judged as the address of version 4 that it stands for: a filter that
// asks for loopback must not be passed by "::ffff:127.0.0.1". A socket that serves both versions shows all its peers of
// version 4 in that form, so the questions would otherwise have two answers for one peer. Comparison and IsIn do not do
// so: there the two forms are two addresses, and a caller who means both says Unmapped.
//
// The bytes stand in the order of the network, as every protocol and the system's calls have them; a prefix is then a
// comparison of leading bits, whatever the machine's own order.
#include <XelbrinCore/XCIPAddress.h>

#include "errors/CoreError.h"
#include "net/AddressBits.h"
#include "net/AddressText.h"

#include <algorithm>
#include <initializer_list>

using namespace xc::net;

namespace {

XCErrorID TextError(XCString const& text, AddressFault const& fault)
{
    return xc::errors::MakeCoreError(XCErrAddressText, text, static_cast<long>(fault.at + 1), XCString(fault.expected));
}

/// A prefix of an address of version 4: the leading bits of the networks that the registries have set apart.
struct Prefix {
    std::uint8_t bytes[4];
    unsigned int bits;
};

/// Whether an address, mapped or not, has one of the prefixes of version 4, or (of version 6) the one given.
bool HasPrefix(XCIPAddress const& address, std::initializer_list<Prefix> v4, std::uint8_t v6First,
               std::uint8_t v6Second, unsigned int v6Bits) noexcept
{
    XCIPAddress const plain = address.Unmapped();
    std::uint8_t const* const bytes = plain.GetBytes().Data();
    if (plain.GetVersion() == XCIPVersion::V4)
        return std::any_of(v4.begin(), v4.end(),
                           [bytes](Prefix const& prefix) { return SameBits(bytes, prefix.bytes, prefix.bits); });
    std::uint8_t const v6[2] = {v6First, v6Second};
    return SameBits(bytes, v6, v6Bits);
}

} // namespace

// Made from bytes and texts ------------------------------------------------------------------------------------------

XCIPAddress XCIPAddress::V4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) noexcept
{
    XCIPAddress address;
    address.m_bytes = {a, b, c, d};
    return address;
}

bool XCIPAddress::FromBytes(XCBytes bytes, XCIPAddress& address, std::uint32_t scope) noexcept
{
    if (bytes.Size() != 4 && bytes.Size() != 16) return false;
    XCIPAddress made;
    made.m_version = bytes.Size() == 4 ? XCIPVersion::V4 : XCIPVersion::V6;
    std::copy(bytes.begin(), bytes.end(), made.m_bytes.begin());
    // Addresses of version 4 have no scope: one given all the same would make two equal addresses differ.
    if (made.m_version == XCIPVersion::V6) made.m_scope = scope;
    address = made;
    return true;
}

XCErrorID XCIPAddress::FromString(XCString const& text, XCIPAddress& address)
{
    std::uint8_t bytes[16] = {};
    std::uint32_t scope = 0;
    // One colon decides: no address of version 4 has one, and every one of version 6 has two.
    bool const isV6 = text.View().find(L':') != std::wstring_view::npos;
    AddressFault const fault = isV6 ? ReadV6(text.View(), bytes, scope) : ReadV4(text.View(), bytes);
    if (fault.expected) return TextError(text, fault);
    (void)FromBytes({bytes, isV6 ? std::size_t{16} : 4}, address, scope);
    return XCErrorID::Success;
}

XCIPAddress XCIPAddress::Any(XCIPVersion version) noexcept
{
    XCIPAddress address;
    address.m_version = version;
    return address;
}

XCIPAddress XCIPAddress::Loopback(XCIPVersion version) noexcept
{
    if (version == XCIPVersion::V4) return V4(127, 0, 0, 1);
    XCIPAddress address = Any(version); // version 6 has one loopback address, version 4 a whole network
    address.m_bytes[15] = 1;
    return address;
}

XCString XCIPAddress::AsString() const
{
    return m_version == XCIPVersion::V4 ? WriteV4(m_bytes.data()) : WriteV6(m_bytes.data(), m_scope);
}

// Kinds of addresses, each judged by what a mapped one stands for ----------------------------------------------------

bool XCIPAddress::IsAny() const noexcept
{
    XCIPAddress const plain = Unmapped();
    return std::all_of(plain.m_bytes.begin(), plain.m_bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool XCIPAddress::IsLoopback() const noexcept
{
    XCIPAddress const plain = Unmapped();
    if (plain.m_version == XCIPVersion::V4) return plain.m_bytes[0] == 127;
    return plain.m_bytes == Loopback(XCIPVersion::V6).m_bytes;
}

bool XCIPAddress::IsPrivate() const noexcept
{
    // RFC 1918, and for version 6 the unique local addresses of RFC 4193.
    return HasPrefix(*this, {{{10, 0, 0, 0}, 8}, {{172, 16, 0, 0}, 12}, {{192, 168, 0, 0}, 16}}, 0xFC, 0, 7);
}

bool XCIPAddress::IsLinkLocal() const noexcept
{
    // RFC 3927 and RFC 4291: valid on one wire alone, where each machine may have given itself one.
    return HasPrefix(*this, {{{169, 254, 0, 0}, 16}}, 0xFE, 0x80, 10);
}

bool XCIPAddress::IsMulticast() const noexcept
{
    return HasPrefix(*this, {{{224, 0, 0, 0}, 4}}, 0xFF, 0, 8);
}

bool XCIPAddress::IsMapped() const noexcept
{
    return m_version == XCIPVersion::V6 && IsMappedV4(m_bytes.data());
}

XCIPAddress XCIPAddress::Unmapped() const noexcept
{
    return IsMapped() ? V4(m_bytes[12], m_bytes[13], m_bytes[14], m_bytes[15]) : *this;
}

XCIPAddress XCIPAddress::Mapped() const noexcept
{
    if (m_version == XCIPVersion::V6) return *this;
    XCIPAddress address = Any(XCIPVersion::V6);
    std::copy(std::begin(kMappedPrefix), std::end(kMappedPrefix), address.m_bytes.begin());
    std::copy(m_bytes.begin(), m_bytes.begin() + 4, address.m_bytes.begin() + 12);
    return address;
}

bool XCIPAddress::IsIn(XCIPAddress const& prefix, unsigned int bits) const noexcept
{
    return m_version == prefix.m_version && bits <= Size() * 8 && SameBits(m_bytes.data(), prefix.m_bytes.data(), bits);
}

XCErrorID XCSocketAddress::FromString(XCString const& text, XCSocketAddress& address)
{
    // Without brackets the port of an address of version 6 could be its last group: they are not optional.
    std::wstring_view const all = text.View();
    bool const bracketed = all.starts_with(L"[");
    std::size_t const end = bracketed ? all.find(L']') : all.find(L':');
    if (end == std::wstring_view::npos)
        return TextError(text, {all.size(), bracketed ? L"\"]\"" : L"a colon and a port"});
    std::size_t at = bracketed ? end + 1 : end;
    std::uint8_t bytes[16] = {};
    std::uint32_t scope = 0, port = 0;
    AddressFault fault = bracketed ? ReadV6(all.substr(1, end - 1), bytes, scope) : ReadV4(all.substr(0, end), bytes);
    if (fault.expected) return TextError(text, {fault.at + (bracketed ? 1 : 0), fault.expected});
    // The position in the error is that of the whole text, of which the address was a part.
    if (at >= all.size() || all[at] != L':') return TextError(text, {at, L"a colon and a port"});
    std::size_t const start = ++at;
    if (!ReadDecimal(all, at, 65535, port) || at < all.size())
        return TextError(text, {start, L"a port from 0 to 65535"});
    XCIPAddress read;
    (void)XCIPAddress::FromBytes({bytes, bracketed ? std::size_t{16} : 4}, read, scope);
    address = XCSocketAddress(read, static_cast<std::uint16_t>(port));
    return XCErrorID::Success;
}

XCString XCSocketAddress::AsString() const
{
    XCString const host = m_address.AsString();
    std::wstring const port = WriteDecimal(m_port);
    if (m_address.GetVersion() == XCIPVersion::V4) return host + L":" + port;
    return XCString(L"[") + host + L"]:" + port;
}
