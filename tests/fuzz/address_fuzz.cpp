// Addresses: a text that is one is written in a form that reads back to it and stays.
#include "input.h"

namespace {

template <class Address>
void RoundTrip(XCString const& text)
{
    Address address, again;
    if (Address::FromString(text, address).Bad()) {
        Require(address == Address());
        return;
    }
    XCString const written = address.AsString();
    Require(Address::FromString(written, again).Good() && again == address && again.AsString() == written);
}

} // namespace

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    std::wstring units; // bytes as ASCII: the units that mean something
    for (std::size_t i = 0; i < size && i < 100; ++i) units += static_cast<wchar_t>(bytes[i]);
    XCString const text = Text(units);
    RoundTrip<XCIPAddress>(text);
    RoundTrip<XCSocketAddress>(text);
    XCIPAddress raw, read;
    if (!XCIPAddress::FromBytes({bytes, std::min<std::size_t>(size, 16)}, raw)) return;
    Require(XCIPAddress::FromString(raw.AsString(), read).Good() && read == raw);
}
