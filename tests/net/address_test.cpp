// Addresses: spellings that mean one address, spellings that are refused with their place, and the canonical text.
#include "prelude.h"

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCIPAddress.h>

namespace {

using Text = wchar_t const*;

TEST(Address, ReadsAndWritesTheCanonicalForm)
{
    static constexpr Case<Text, Text> kCases[] = {
        {"version 4", L"192.0.2.255", L"192.0.2.255"},
        {"zeros are compressed", L"2001:db8:0:0:0:0:2:1", L"2001:db8::2:1"},
        {"the first of two equal runs", L"2001:db8:0:0:1:0:0:1", L"2001:db8::1:0:0:1"},
        {"the longer of two runs", L"2001:0:0:1:0:0:0:1", L"2001:0:0:1::1"},
        {"one zero group is written", L"2001:db8::1:1:1:1:1", L"2001:db8:0:1:1:1:1:1"},
        {"gap at the end", L"1:2:3:4:5:6:7::", L"1:2:3:4:5:6:7:0"},
        {"gap at the beginning", L"::2:3:4:5:6:7:8", L"0:2:3:4:5:6:7:8"},
        {"nothing but the gap", L"::", L"::"},
        {"zeros and capitals", L"00AB::000F", L"ab::f"},
        {"tail of version 4", L"64:ff9b::192.0.2.33", L"64:ff9b::c000:221"},
        {"mapped", L"::FFFF:c000:221", L"::ffff:192.0.2.33"},
        {"tail without gap", L"1:2:3:4:5:6:1.2.3.4", L"1:2:3:4:5:6:102:304"},
        {"scope", L"fe80::1%4294967295", L"fe80::1%4294967295"},
    };
    for (auto const& row : kCases) {
        XCIPAddress address, again;
        EXPECT_TRUE(XCIPAddress::FromString(row.given, address).Good()) << row.fault;
        EXPECT_EQ(address.AsString().AsUTF8(), XCString(row.expected).AsUTF8()) << row.fault;
        EXPECT_TRUE(XCIPAddress::FromString(address.AsString(), again).Good() && again == address) << row.fault;
    }
}

/// The position of the fault, from 1; 0 when the text was taken.
template <class Address>
long FaultOf(Text text)
{
    Address address;
    XCErrorID const error = Address::FromString(text, address);
    if (error.Good()) return 0;
    EXPECT_EQ(error, XCErrAddressText);
    EXPECT_EQ(address, Address());
    return *static_cast<long const*>(error->GetParameterValue(1));
}

TEST(Address, RefusesOddSpellings)
{
    static constexpr Case<Text, long> kCases[] = {
        {"nothing", L"", 1},
        {"three numbers mean an address elsewhere", L"127.1.1", 8},
        {"hexadecimal", L"0x7f.0.0.1", 2},
        {"octal", L"010.0.0.1", 1},
        {"a number too large", L"1.2.3.256", 7},
        {"wraps around 32 bits", L"1.2.3.4294967296", 7},
        {"five numbers", L"1.2.3.4.5", 8},
        {"blank", L"1.2.3.4 ", 8},
        {"digit of another script", L"1.2.3.\u0664", 7},
        {"two gaps", L"1::2::3", 6},
        {"three colons", L":::", 3},
        {"single colon at the start", L":1:2:3:4:5:6:7", 1},
        {"single colon at the end", L"1:2:3:4:5:6:7:", 15},
        {"seven groups", L"1:2:3:4:5:6:7", 14},
        {"nine groups", L"1:2:3:4:5:6:7:8:9", 16},
        {"gap for no group", L"1:2:3:4::5:6:7:8", 17},
        {"five digits", L"::12345", 7},
        {"tail in the middle", L"::1.2.3.4:5", 10},
        {"tail after seven groups", L"1:2:3:4:5:6:7:1.2.3.4", 15},
        {"scope 0", L"fe80::1%0", 9},
        {"name of a scope", L"fe80::1%eth0", 9},
        {"scope of version 4", L"1.2.3.4%1", 8},
        {"brackets without port", L"[::1]", 1},
    };
    for (auto const& row : kCases) EXPECT_EQ(FaultOf<XCIPAddress>(row.given), row.expected) << row.fault;
    static constexpr Case<Text, long> kPorts[] = {
        {"taken", L"1.2.3.4:65535", 0},
        {"taken, version 6", L"[fe80::1%3]:0", 0},
        {"no port", L"1.2.3.4", 8},
        {"empty port", L"1.2.3.4:", 9},
        {"port too large", L"1.2.3.4:65536", 9},
        {"zero before", L"1.2.3.4:080", 9},
        {"sign", L"1.2.3.4:+1", 9},
        {"no brackets", L"::1:80", 1},
        {"not closed", L"[::1:80", 8},
        {"version 4 in brackets", L"[1.2.3.4]:80", 9},
        {"no colon", L"[::1]80", 6},
        {"rest", L"[::1]:80/", 7},
    };
    for (auto const& row : kPorts) EXPECT_EQ(FaultOf<XCSocketAddress>(row.given), row.expected) << row.fault;
    XCSocketAddress address;
    ASSERT_TRUE(XCSocketAddress::FromString(L"[FE80:0::1%3]:443", address).Good());
    EXPECT_EQ(address.AsString().AsUTF8(), "[fe80::1%3]:443");
}

TEST(Address, KnowsItsKind)
{
    auto const kindOf = [](Text text) {
        XCIPAddress a;
        EXPECT_TRUE(XCIPAddress::FromString(text, a).Good()) << text;
        std::string kind;
        for (auto const& [is, letter] : std::initializer_list<std::pair<bool, char>>{{a.IsAny(), 'a'},
                                                                                     {a.IsLoopback(), 'l'},
                                                                                     {a.IsPrivate(), 'p'},
                                                                                     {a.IsLinkLocal(), 's'},
                                                                                     {a.IsMulticast(), 'm'}})
            if (is) kind += letter;
        return kind;
    };
    static constexpr Case<Text, char const*> kCases[] = {
        {"any", L"0.0.0.0", "a"},
        {"any, 6", L"::", "a"},
        {"any, mapped", L"::ffff:0.0.0.0", "a"},
        {"loopback", L"127.255.0.1", "l"},
        {"loopback, 6", L"::1", "l"},
        {"loopback past a filter", L"::ffff:127.0.0.1", "l"},
        {"private edge", L"172.31.255.255", "p"},
        {"not private", L"172.32.0.0", ""},
        {"private, mapped", L"::ffff:10.1.2.3", "p"},
        {"unique local", L"fdff::1", "p"},
        {"link", L"169.254.0.1", "s"},
        {"link, 6", L"febf::1", "s"},
        {"site", L"fec0::1", ""},
        {"group", L"239.1.1.1", "m"},
        {"group, 6", L"ff02::1", "m"},
    };
    for (auto const& row : kCases) EXPECT_EQ(kindOf(row.given), row.expected) << row.fault;
    XCIPAddress const four = XCIPAddress::V4(192, 168, 5, 130);
    EXPECT_TRUE(four.IsIn(XCIPAddress::V4(192, 168, 5, 128), 25));
    EXPECT_FALSE(four.IsIn(XCIPAddress::V4(192, 168, 5, 0), 25));
    EXPECT_FALSE(four.IsIn(four.Mapped(), 0) || four.IsIn(four, 33));
    EXPECT_TRUE(four.Mapped().IsMapped() && four.Mapped().Unmapped() == four && four < four.Mapped());
}

} // namespace
