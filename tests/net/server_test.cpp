// The server of many connections: nothing lost or doubled whatever is closed from where, and bounds that hold against
// peers that read slowly, say nothing or never end.
#include "net/net_tools.h"
#include "sync/import_patch.h"

#include <XelbrinCore/XCSocketServer.h>

using namespace xc_test;

namespace {

/// A handler from functions; what is missing is the default.
struct Handler : XCConnectionI {
    std::function<void(XCConnection&)> open, drained, end;
    std::function<void(XCConnection&, XCBytes)> data;
    std::function<void(XCErrorID const&)> close;

    void OnOpen(XCConnection& connection) override
    {
        if (open) open(connection);
    }
    void OnData(XCConnection& connection, XCBytes bytes) override
    {
        if (data) data(connection, bytes);
    }
    void OnDrained(XCConnection& connection) override
    {
        if (drained) drained(connection);
    }
    void OnEnd(XCConnection& connection) override { end ? end(connection) : XCConnectionI::OnEnd(connection); }
    void OnClose(XCConnection&, XCErrorID const& why) override
    {
        if (close) close(why);
    }
};

/// A server on a port of its own; every connection gets a copy of one handler's functions.
struct Server {
    Handler all;
    XCSmartPtr<XCSocketServer> server;
    XCSocketAddress address;
    std::shared_ptr<int> code = std::make_shared<int>(); // of a module, say: the factory refers to it

    explicit Server(std::function<void(Handler&)> const& set, XCSocketServerOptions const& options = {})
    {
        set(all);
        server = new XCSocketServer(
            [this, code = code](XCConnection&) {
                XCSmartPtr<Handler> const handler(new Handler);
                handler->open = all.open;
                handler->drained = all.drained;
                handler->end = all.end;
                handler->data = all.data;
                handler->close = all.close;
                return XCSmartPtr<XCConnectionI>(handler);
            },
            options);
        EXPECT_TRUE(server->Listen(kAnyPort, &address).Good());
    }
    ~Server()
    {
        EXPECT_TRUE(server->Stop(kLongMs).Good());
        EXPECT_EQ(code.use_count(), 1);
    }
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    [[nodiscard]] XCSmartPtr<XCStreamSocket> NewClient() const
    {
        XCSmartPtr<XCStreamSocket> const client(new XCStreamSocket);
        EXPECT_TRUE(client->Connect(address, kLongMs).Good());
        return client;
    }
};

void Echo(Handler& handler)
{
    handler.data = [](XCConnection& peer, XCBytes bytes) { (void)peer.Send(bytes); };
}

bool WaitFor(std::function<bool()> const& holds)
{
    for (int i = 0; i < 2000 && !holds(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return holds();
}

TEST(SocketServer, EchoesUntilThePeersEnd)
{
    std::atomic<int> closed = 0, bad = 0;
    Server const server([&](Handler& handler) {
        Echo(handler);
        handler.close = [&](XCErrorID const& why) { ++closed, bad += why.Bad(); };
    });
    std::vector<XCSmartPtr<XCStreamSocket>> clients(50);
    for (auto& client : clients) client = server.NewClient();
    for (int round = 0; round < 5; ++round) {
        for (auto const& client : clients) ASSERT_TRUE(client->Write("0123456789", 10).Good());
        for (auto const& client : clients) {
            char text[10];
            std::size_t got = 0;
            ASSERT_TRUE(client->ReadFully(text, 10, got, kLongMs).Good());
            ASSERT_EQ(std::string(text, 10), "0123456789");
        }
    }
    for (auto const& client : clients) {
        char byte;
        std::size_t got = 1;
        ASSERT_TRUE(client->Write("z", 1).Good() && client->ShutdownWrite().Good());
        ASSERT_TRUE(client->Read(&byte, 1, got, kLongMs).Good() && got == 1); // sent although the peer had ended
        ASSERT_TRUE(client->Read(&byte, 1, got, kLongMs).Good() && got == 0);
    }
    EXPECT_TRUE(WaitFor([&] { return closed == 50; })) << closed;
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(server.server->GetStatistics().connections, 0u);
}

TEST(SocketServer, ASlowReaderCostsBoundedMemory)
{
    XCSocketServerOptions options;
    options.highWaterBytes = 64 * 1024;
    static constexpr std::size_t kAll = std::size_t{32} << 20;
    std::atomic<std::size_t> sent = 0, refused = 0, most = 0, drained = 0;
    auto const fill = [&](XCConnection& peer) {
        static char const block[16 * 1024] = {};
        while (sent < kAll) {
            most = std::max(most.load(), peer.GetQueued());
            if (peer.Send({block, sizeof block}) == XCErrSocketQueueFull) return void(++refused);
            sent += sizeof block;
        }
        peer.Close();
    };
    Server const server(
        [&](Handler& handler) {
            handler.open = fill;
            handler.drained = [&](XCConnection& peer) { ++drained, fill(peer); };
        },
        options);
    XCSmartPtr<XCStreamSocket> const client = server.NewClient();
    EXPECT_TRUE(WaitFor([&] { return refused > 0; }));
    std::vector<char> room(1 << 20);
    std::size_t all = 0, got = 1;
    while (got > 0 && client->Read(room.data(), room.size(), got, kLongMs).Good()) all += got;
    EXPECT_EQ(all, kAll);
    EXPECT_LE(most, options.highWaterBytes + 16 * 1024);
    EXPECT_GT(drained, 0u);
}

TEST(SocketServer, EndsAreTold)
{
    using Act = std::function<void(XCStreamSocket&)>;
    struct Row {
        std::function<void(Handler&)> set;
        Act act;
    };
    Case<Row, char const*> const kCases[] = {
        {"silent", {[](Handler&) {}, [](XCStreamSocket&) {}}, "time"},
        {"trickles past the total time",
         {[](Handler&) {},
          [](XCStreamSocket& client) {
              while (client.Write("x", 1).Good()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
          }},
         "time"},
        {"ends", {[](Handler&) {}, [](XCStreamSocket& client) { (void)client.ShutdownWrite(); }}, "good"},
        {"closed by the handler, and stays",
         {[](Handler& h) { h.open = [](XCConnection& c) { c.Close(); }; }, [](XCStreamSocket&) {}},
         "good"},
        {"broken by the handler",
         {[](Handler& h) { h.open = [](XCConnection& c) { c.Abort(); }; }, [](XCStreamSocket&) {}},
         "cancelled"},
        {"handler throws",
         {[](Handler& h) { h.open = [](XCConnection&) { throw std::runtime_error("no"); }; }, [](XCStreamSocket&) {}},
         "The task failed: no"},
    };
    XCSocketServerOptions options;
    options.idleMs = 150;
    options.totalMs = 400;
    options.lingerMs = 50;
    for (auto const& row : kCases) {
        std::mutex lock;
        std::string why;
        Server const server(
            [&](Handler& handler) {
                row.given.set(handler);
                handler.close = [&](XCErrorID const& error) {
                    std::lock_guard const hold(lock);
                    why += CodeOf(error);
                };
            },
            options);
        XCSmartPtr<XCStreamSocket> const client = server.NewClient();
        row.given.act(*client);
        EXPECT_TRUE(WaitFor([&] {
            std::lock_guard const hold(lock);
            return !why.empty();
        })) << row.fault;
        std::lock_guard const hold(lock);
        EXPECT_EQ(why, row.expected) << row.fault;
    }
}

TEST(SocketServer, AcceptsNoMoreThanItsLimit)
{
    XCSocketServerOptions options;
    options.maxConnections = 3;
    std::atomic<int> open = 0, most = 0;
    Server const server(
        [&](Handler& handler) {
            handler.open = [&](XCConnection& peer) {
                most = std::max(most.load(), ++open);
                (void)peer.Send({"!", 1});
            };
            handler.close = [&](XCErrorID const&) { --open; };
        },
        options);
    std::vector<XCSmartPtr<XCStreamSocket>> clients(8);
    for (auto& client : clients) client = server.NewClient(); // the others wait in the system's queue
    for (auto const& client : clients) {
        char byte;
        std::size_t got = 0;
        EXPECT_TRUE(client->Read(&byte, 1, got, kLongMs).Good());
        client->Close();
    }
    EXPECT_EQ(most, 3);
}

using SocketCall = std::uintptr_t(int family, int type, int protocol, void* info, unsigned int group, DWORD flags);
SocketCall* g_socket = nullptr;
std::atomic<int> g_refusals = 0; ///< of sockets for the server
std::thread::id g_clientsThread;

std::uintptr_t RefuseSocket(int family, int type, int protocol, void* info, unsigned int group, DWORD flags)
{
    if (std::this_thread::get_id() == g_clientsThread || g_refusals-- <= 0)
        return g_socket(family, type, protocol, info, group, flags);
    ::SetLastError(10024); // too many open sockets
    return UINTPTR_MAX;
}

// One place for a connection, and no socket for the next: those who come meanwhile wait, and are served.
TEST(SocketServer, GoesOnWhenTheSystemHasSocketsAgain)
{
    g_clientsThread = std::this_thread::get_id();
    g_refusals = 3;
    XCSocketServerOptions options;
    options.accepts = 1;
    Server const server(Echo, options);
    sync_test::ImportPatch const patch("WSASocketW", &RefuseSocket);
    g_socket = reinterpret_cast<SocketCall*>(patch.Original());
    for (int i = 0; i < 4; ++i) {
        char byte = 0;
        std::size_t got = 0;
        XCSmartPtr<XCStreamSocket> const client = server.NewClient();
        EXPECT_TRUE(client->Write("z", 1).Good() && client->Read(&byte, 1, got, kLongMs).Good() && byte == 'z');
    }
    EXPECT_EQ(server.server->GetStatistics().acceptPauses, 3u);
}

TEST(SocketServer, StopSendsAndThenNothingRuns)
{
    std::atomic<int> calls = 0;
    auto server = std::make_unique<Server>([&](Handler& handler) {
        handler.open = [&](XCConnection& peer) { ++calls, (void)peer.Send({"bye", 3}); };
        handler.close = [&](XCErrorID const&) { ++calls; };
    });
    XCSmartPtr<XCStreamSocket> const polite = server->NewClient(), rude = server->NewClient();
    ASSERT_TRUE(WaitFor([&] { return calls == 2; }));
    std::jthread const reader([&] {
        char text[8];
        std::size_t got = 0;
        EXPECT_TRUE(polite->ReadFully(text, 3, got, kLongMs).Good() && polite->Read(text, 1, got, kLongMs).Good());
        polite->Close();
    });
    EXPECT_TRUE(server->server->Stop(300).Good()); // the rude one does not end: it is broken at the deadline
    EXPECT_EQ(calls.exchange(0), 4);
    EXPECT_EQ(server->server->Listen(kAnyPort), XCErrSocketClosed);
    server.reset();
    EXPECT_EQ(calls, 0);
}

/// The byte at a position of a stream; a piece that is lost, doubled or moved does not fit.
char ByteAt(std::uint64_t position)
{
    return static_cast<char>((position * 2654435761u) >> 13);
}

/// Sends pieces of the stream until somebody ends it, then its end. @return how many bytes were sent.
std::uint64_t SendStream(XCStreamSocket& socket, std::mt19937& random, std::atomic<bool> const& over)
{
    std::uint64_t at = 0;
    while (!over && at < (std::uint64_t{1} << 22)) {
        std::string piece(1 + random() % 5000, '\0');
        for (std::size_t i = 0; i < piece.size(); ++i) piece[i] = ByteAt(at + i);
        std::size_t done = 0;
        XCErrorID const result = socket.Write(piece.data(), piece.size(), random() % 50, &done);
        at += done;
        if (result.Bad() && result != XCErrTimedOut && result != XCErrSocketCancelled) return at;
    }
    (void)socket.ShutdownWrite();
    return at;
}

/// Reads the echo, with times and cancellations in between. @return the bytes that fit; -1 when one does not.
std::int64_t ReadStream(XCStreamSocket& socket, std::mt19937& random, bool& ended)
{
    std::int64_t at = 0;
    std::vector<char> room(8192);
    for (std::size_t got = 0;;) {
        XCErrorID const result = socket.Read(room.data(), 1 + random() % room.size(), got, random() % 50);
        for (std::size_t i = 0; i < got; ++i, ++at)
            if (room[i] != ByteAt(static_cast<std::uint64_t>(at))) return -1;
        ended = result.Good() && got == 0;
        if (ended) return at;
        if (result.Bad() && result != XCErrTimedOut && result != XCErrSocketCancelled) return at;
    }
}

struct Tally {
    std::atomic<std::uint64_t> wrong{0}, lost{0}, whole{0}, cut{0}, bytes{0};
};

/// One connection: a writer, a reader, and somebody who cancels and perhaps closes.
void Disturb(XCSocketAddress const& address, unsigned int seed, Tally& tally)
{
    std::mt19937 random(seed);
    XCSmartPtr<XCStreamSocket> const socket(new XCStreamSocket);
    if (socket->Connect(address, kLongMs).Bad()) return;
    unsigned int const end = random() % 4; // 0, 1: nobody closes
    std::atomic<bool> over = false;
    std::uint64_t sent = 0;
    std::int64_t back = 0;
    bool ended = false;
    {
        std::jthread const writer([&, r = std::mt19937(seed + 1)]() mutable { sent = SendStream(*socket, r, over); });
        std::jthread const reader([&, r = std::mt19937(seed + 2)]() mutable { back = ReadStream(*socket, r, ended); });
        for (unsigned int i = random() % 20; i > 0; --i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 10));
            socket->Cancel();
            std::this_thread::yield();
            socket->ResetCancel();
        }
        if (end == 2) socket->Close();
        if (end == 3) socket->Abort();
        over = true;
    }
    if (back < 0 || static_cast<std::uint64_t>(std::max<std::int64_t>(back, 0)) > sent) ++tally.wrong;
    if (ended && static_cast<std::uint64_t>(back) != sent) ++tally.lost;
    if (end < 2 && !ended) ++tally.lost; // nobody has closed it
    ++(ended ? tally.whole : tally.cut);
    tally.bytes += sent;
}

// XC_NET_SECONDS: how long; 2 without it.
TEST(SocketServer, RandomClosingAndCancellingLosesNothing)
{
    char const* const wish = std::getenv("XC_NET_SECONDS");
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(wish ? std::atoi(wish) : 2);
    XCSocketServerOptions options;
    options.highWaterBytes = std::size_t{1} << 30; // this echo has no way to wait
    Server const server(Echo, options);
    Tally tally;
    {
        std::vector<std::jthread> workers;
        for (unsigned int worker = 0; worker < 4; ++worker)
            workers.emplace_back([&, worker] {
                for (unsigned int i = 0; std::chrono::steady_clock::now() < end; ++i)
                    Disturb(server.address, worker * 1000003 + i * 7, tally);
            });
    }
    EXPECT_EQ(tally.wrong, 0u);
    EXPECT_EQ(tally.lost, 0u);
    EXPECT_GT(tally.whole, 0u);
    std::printf("%llu whole, %llu cut, %llu bytes\n", static_cast<unsigned long long>(tally.whole),
                static_cast<unsigned long long>(tally.cut), static_cast<unsigned long long>(tally.bytes));
}

} // namespace
