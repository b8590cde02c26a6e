// Connections with calls that wait: each way in which a wait can end is told apart, wherever it is ended from.
#include "net/net_tools.h"

#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCHost.h>

#include "net/NetErrors.h"

using namespace xc_test;

namespace {

/// A read of the client while another thread does something.
std::string ReadDuring(Pair& pair, std::function<void()> const& act, unsigned int timeoutMs = kLongMs)
{
    char byte = 0;
    std::size_t got = 0;
    std::jthread const actor([&act] {
        std::this_thread::sleep_for(
            std::chrono::milliseconds(20)); // so that the read usually waits; either way is right
        act();
    });
    std::string const code = CodeOf(pair.client->Read(&byte, 1, got, timeoutMs));
    return code == "good" ? (got == 0 ? "end" : std::string(1, byte)) : code;
}

TEST(Socket, EndsOfAReadAreToldApart)
{
    using Act = std::function<void(Pair&)>;
    Case<Act, char const*> const kCases[] = {
        {"data", [](Pair& pair) { (void)pair.server->Write("x", 1); }, "x"},
        {"end of the stream alone", [](Pair& pair) { (void)pair.server->ShutdownWrite(); }, "end"},
        {"orderly close", [](Pair& pair) { pair.server->Close(); }, "end"},
        {"nothing", [](Pair&) {}, "time"},
        {"cancelled by another thread", [](Pair& pair) { pair.client->Cancel(); }, "cancelled"},
        {"closed by another thread", [](Pair& pair) { pair.client->Close(); }, "closed"},
        {"aborted by another thread", [](Pair& pair) { pair.client->Abort(); }, "closed"},
    };
    for (auto const& row : kCases) {
        Pair pair;
        unsigned int const timeoutMs = std::string_view(row.expected) == "time" ? 60 : kLongMs;
        EXPECT_EQ(ReadDuring(
                      pair, [&] { row.given(pair); }, timeoutMs),
                  row.expected)
            << row.fault;
    }
}

TEST(Socket, OptionsNeedAConnection)
{
    Pair pair;
    EXPECT_TRUE(pair.client->SetNoDelay(true).Good() && pair.client->SetKeepAlive(10'000, 1'000).Good());
    pair.client->Close();
    EXPECT_TRUE(CodeOf(pair.client->SetNoDelay(false)) == "closed" &&
                CodeOf(pair.client->SetKeepAlive(0, 0)) == "closed");
}

TEST(Socket, NumbersOfTheSystemBecomeResults)
{
    // Some systems show a reset as an end where it is read; the numbers of those that tell it are judged here.
    static constexpr Case<unsigned long, bool> kCases[] = {
        {"reset", 10054, true},     {"aborted", 10053, true},   {"late reset", 64, true},
        {"late abort", 1236, true}, {"no answer", 10060, true}, {"late time-out", 121, true},
        {"taken back", 995, false}, {"nothing", 0, false},      {"not connected", 10057, false},
    };
    for (auto const& row : kCases) EXPECT_EQ(xc::net::IsReset(row.given), row.expected) << row.fault;
    EXPECT_TRUE(xc::net::IsShortage(10055) && xc::net::IsShortage(10024) && !xc::net::IsShortage(10054));
}

TEST(Socket, AResetIsSeenByTheWriter)
{
    Pair pair;
    pair.server->Abort();
    XCErrorID result;
    for (int i = 0; i < 100 && result.Good(); ++i) result = pair.client->Write("x", 1, kLongMs);
    EXPECT_EQ(CodeOf(result), "reset");
}

TEST(Socket, EachDirectionEndsOnItsOwn)
{
    Pair pair;
    for (auto const& [from, to] : {std::pair(pair.client, pair.server), std::pair(pair.server, pair.client)}) {
        char text[8] = {};
        std::size_t got = 0;
        ASSERT_TRUE(from->Write("last", 4).Good() && from->ShutdownWrite().Good());
        ASSERT_TRUE(to->ReadFully(text, 4, got, kLongMs).Good());
        EXPECT_EQ(CodeOf(to->ReadFully(text, 4, got, kLongMs)), "ended");
        EXPECT_EQ(got, 0u);
    }
}

TEST(Socket, TimeAndCancelLoseNothing)
{
    Pair pair;
    char text[16] = {};
    std::size_t got = 0;
    EXPECT_EQ(CodeOf(pair.client->Read(text, sizeof text, got, 0)), "time");
    pair.client->Cancel();
    EXPECT_EQ(CodeOf(pair.client->Read(text, sizeof text, got)), "cancelled"); // also one that begins after it
    EXPECT_EQ(CodeOf(pair.client->Write("x", 1)), "cancelled");
    pair.client->ResetCancel();
    ASSERT_TRUE(pair.server->Write("abc", 3).Good());
    EXPECT_EQ(CodeOf(pair.client->ReadFully(text, 5, got, 50)), "time");
    EXPECT_EQ(std::string(text, got), "abc");
    // A peer that does not read: the write is given up, and what it has sent is what arrives.
    std::vector<char> const much(std::size_t{8} << 20, 'y');
    std::size_t done = 0, all = 0;
    EXPECT_EQ(CodeOf(pair.client->Write(much.data(), much.size(), 100, &done)), "time");
    ASSERT_TRUE(pair.client->ShutdownWrite().Good());
    for (std::vector<char> room(1 << 16); pair.server->Read(room.data(), room.size(), got, kLongMs).Good() && got > 0;)
        all += got;
    EXPECT_EQ(all, done);
}

TEST(Socket, AcceptEndsFromAnyThread)
{
    XCSmartPtr<XCServerSocket> const server(new XCServerSocket);
    XCSmartPtr<XCStreamSocket> accepted;
    EXPECT_EQ(CodeOf(server->Accept(accepted)), "closed");
    for (bool const close : {false, true}) {
        ASSERT_TRUE(server->Listen(kAnyPort).Good());
        EXPECT_EQ(CodeOf(server->Accept(accepted, 20)), "time");
        std::jthread const actor([&] { close ? server->Close() : server->Cancel(); });
        EXPECT_EQ(CodeOf(server->Accept(accepted)), close ? "closed" : "cancelled");
        server->ResetCancel();
    }
}

TEST(Socket, ListeningIsExclusiveAndForBothVersions)
{
    XCSmartPtr<XCServerSocket> const first(new XCServerSocket), thief(new XCServerSocket);
    ASSERT_TRUE(first->Listen(XCSocketAddress(XCIPAddress::Any(), 0)).Good());
    std::uint16_t const port = first->GetLocal().GetPort();
    for (XCBindMode const mode : {XCBindMode::Exclusive, XCBindMode::Shared})
        EXPECT_EQ(thief->Listen(XCSocketAddress(XCIPAddress::Any(XCIPVersion::V4), port), mode),
                  XCErrSocketCannotListen);
    for (XCIPVersion const version : {XCIPVersion::V4, XCIPVersion::V6}) {
        XCSmartPtr<XCStreamSocket> const client(new XCStreamSocket);
        XCSmartPtr<XCStreamSocket> accepted;
        XCErrorID const connected = client->Connect(XCSocketAddress(XCIPAddress::Loopback(version), port), kLongMs);
        if (version == XCIPVersion::V6 && connected.Bad()) continue; // a machine without it
        ASSERT_TRUE(connected.Good()) << CodeOf(connected);
        ASSERT_TRUE(first->Accept(accepted, kLongMs).Good());
        EXPECT_EQ(accepted->GetPeer().GetAddress().Unmapped(), XCIPAddress::Loopback(version));
    }
}

/// A port where nobody listens.
XCSocketAddress DeadEnd()
{
    XCSmartPtr<XCServerSocket> const server(new XCServerSocket);
    EXPECT_TRUE(server->Listen(kAnyPort).Good());
    return server->GetLocal();
}

/// A listener that is too busy to take one more: connecting gets no answer.
struct Silent {
    XCSmartPtr<XCServerSocket> server{new XCServerSocket};
    std::vector<XCSmartPtr<XCStreamSocket>> waiting;
    Silent()
    {
        EXPECT_TRUE(server->Listen(kAnyPort, XCBindMode::Exclusive, 1).Good());
        for (XCErrorID result; result.Good() && waiting.size() < 20; waiting.emplace_back(new XCStreamSocket))
            if (!waiting.empty()) result = waiting.back()->Connect(server->GetLocal(), 200);
    }
};

TEST(Socket, ConnectTriesAllAddresses)
{
    XCSmartPtr<XCServerSocket> const server(new XCServerSocket);
    ASSERT_TRUE(server->Listen(kAnyPort).Good());
    Silent const silent;
    XCSocketAddress const deaf = silent.server->GetLocal(), dead = DeadEnd(), good = server->GetLocal();
    struct Expected {
        char const* code;
        long leastMs, mostMs;
    };
    Case<std::vector<XCSocketAddress>, Expected> const kCases[] = {
        {"waits although all have failed", {dead, dead}, {"refused", 0, 2000}},
        {"a failure costs a head start", {dead, dead, dead, good}, {"good", 0, 740}},
        {"a silent one is waited for", {deaf, good}, {"good", 250, 2000}},
        {"the time of all is not one time", {deaf, deaf}, {"time", 600, 2500}},
    };
    for (auto const& row : kCases) {
        XCSmartPtr<XCStreamSocket> const client(new XCStreamSocket);
        auto const start = std::chrono::steady_clock::now();
        XCErrorID const result = client->Connect(row.given, 600);
        auto const took = std::chrono::steady_clock::now() - start;
        long const ms = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count());
        EXPECT_EQ(result == XCErrSocketCannotConnect ? "refused" : CodeOf(result), row.expected.code) << row.fault;
        EXPECT_TRUE(ms >= row.expected.leastMs - 20 && ms <= row.expected.mostMs) << row.fault << ": " << ms;
        EXPECT_TRUE(result.Bad() || client->GetPeer() == good) << row.fault;
    }
    XCSmartPtr<XCStreamSocket> const client(new XCStreamSocket);
    std::jthread const actor([&] { client->Cancel(); });
    EXPECT_EQ(CodeOf(client->Connect(deaf)), "cancelled");
}

TEST(Socket, NamesAreResolvedWithoutSurprises)
{
    std::vector<XCSocketAddress> addresses;
    for (wchar_t const* name : {L"localhost", L"LocalHost.", L"db.localhost"}) {
        ASSERT_TRUE(XCHost::Resolve(name, 80, addresses).Good()) << name;
        for (XCSocketAddress const& address : addresses) EXPECT_TRUE(address.GetAddress().IsLoopback()) << name;
    }
    for (wchar_t const* name : {L"127.1", L"0x7f.1", L"2130706433", L"010.0.0.1", L"1.2.3.4.", L"::1%eth0", L""})
        EXPECT_EQ(XCHost::Resolve(name, 80, addresses), XCErrAddressText) << name;
    EXPECT_TRUE(XCHost::Resolve(L"::1", 80, addresses).Good() && addresses.size() == 1);
    XCErrorID const own = XCHost::Resolve(XCHost::GetName(), 80, addresses, kLongMs); // asks the system
    EXPECT_TRUE(own.Good()) << CodeOf(own);
    XCString name = L"old";
    EXPECT_TRUE(XCHost::Reverse(XCIPAddress::Loopback(XCIPVersion::V6), name).Good() && name == L"localhost");
    EXPECT_TRUE(XCHost::Reverse(XCIPAddress::V4(192, 0, 2, 1), name, 50).Bad() && name.IsNull())
        << "for documents only";
    XCSmartPtr<XCCancellation> const cancel(new XCCancellation);
    if (!addresses.empty()) { // the same question back
        XCErrorID const reverse = XCHost::Reverse(addresses[0].GetAddress(), name, kLongMs);
        EXPECT_TRUE(reverse.Good() ? !name.IsNull() : reverse == XCErrHostNotFound && name.IsNull()) << CodeOf(reverse);
    }
    cancel->Cancel();
    XCErrorID const cancelled = XCHost::Resolve(XCHost::GetName(), 80, addresses, kLongMs, cancel);
    EXPECT_TRUE(cancelled.Good() || cancelled == XCErrSocketCancelled) << CodeOf(cancelled);
}

TEST(BufferedSocket, MessagesOfTypedValues)
{
    Pair pair;
    XCBufferedSocket client(pair.client), server(pair.server);
    XCDateEx const day(2024, 2, 29);
    ASSERT_TRUE(client.Put(std::uint16_t{0x1234}, XCString(L"caf\u00E9"), day, 0.5).Good());
    ASSERT_TRUE(client.Put(std::int64_t{-2}).Good());
    std::uint16_t number = 0;
    XCString text;
    XCDateEx date;
    double half = 0;
    std::int64_t last = 0;
    ASSERT_TRUE(server.Get(number, text, date, half).Good());
    ASSERT_TRUE(server.Get(last).Good()); // the first message did not take bytes of the second
    EXPECT_TRUE(number == 0x1234 && text == L"caf\u00E9" && date == day && half == 0.5 && last == -2);
    unsigned char raw[2] = {};
    std::size_t got = 0;
    ASSERT_TRUE(server.Put(std::uint16_t{0x1234}).Good() && pair.client->ReadFully(raw, 2, got, kLongMs).Good());
    EXPECT_TRUE(raw[0] == 0x12 && raw[1] == 0x34); // as networks have it
    ASSERT_TRUE(pair.client->Write("\x01", 1).Good() && pair.client->ShutdownWrite().Good());
    EXPECT_EQ(server.Get(number), XCErrDataPastEnd);
}

TEST(BufferedSocket, LinesAndTheirLimits)
{
    Pair pair;
    XCBufferedSocketOptions options;
    options.maxLineBytes = 8;
    options.bufferBytes = 256;
    XCBufferedSocket server(pair.server, options);
    std::string const sent = std::string("one\r\n\ntwo\nwith\rcr\n12345678\n\xC3\n123456789\nrest");
    ASSERT_TRUE(pair.client->Write(sent.data(), sent.size()).Good() && pair.client->ShutdownWrite().Good());
    XCString line;
    bool got = false;
    for (wchar_t const* expected : {L"one", L"", L"two", L"with\rcr", L"12345678"}) {
        ASSERT_TRUE(server.ReadLine(line, got).Good() && got);
        EXPECT_EQ(line, expected);
    }
    EXPECT_EQ(server.ReadLine(line, got), XCErrMalformedText);
    EXPECT_EQ(server.ReadLine(line, got), XCErrSocketLine);
    XCBuffer skipped;
    ASSERT_TRUE(server.ReadUntil({"89\n", 3}, skipped, 100, got).Good());
    EXPECT_EQ(server.ReadLine(line, got), XCErrSocketEnded);
}

TEST(BufferedSocket, AMessageHasOneDeadline)
{
    Pair pair;
    XCBufferedSocket server(pair.server);
    std::atomic<bool> over = false;
    std::jthread const trickle([&] { // each byte comes in time, the line does not
        while (!over && pair.client->Write("x", 1).Good()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    });
    server.SetDeadline(200);
    XCString line;
    bool got = false;
    EXPECT_EQ(CodeOf(server.ReadLine(line, got)), "time");
    over = true;
    server.SetDeadline(XCInfinite);
    EXPECT_FALSE(server.GetUnread().IsEmpty()); // nothing that came is lost
}

} // namespace
