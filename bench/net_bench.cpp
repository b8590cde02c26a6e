// Rows of networking: echo round trips over the loopback address, beside libuv, Asio and the bare calls. Each server has one thread, and
// the same client drives them: it sends one message on each connection, then reads one from each.
#if __has_include(<boost/asio/io_context.hpp>) // before windows.h, whose sockets it does not take
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#define XC_HAS_ASIO
#endif

#include <XelbrinCore/XCIPAddress.h>
#include <XelbrinCore/XCSocketServer.h>

#include <benchmark/benchmark.h>
#include <future>
#include <memory>
#include <thread>
#include <uv.h> // includes windows.h
#include <vector>

namespace {

constexpr int kMessage = 64;

/// Connections of the system's own, with calls that wait.
class Clients {
public:
    Clients(std::uint16_t port, std::size_t count) : m_sockets(count)
    {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = ::htons(port);
        to.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        int const on = 1;
        for (SOCKET& socket : m_sockets) {
            socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
            m_good = m_good && ::connect(socket, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
            (void)::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char const*>(&on), sizeof on);
        }
    }
    ~Clients()
    {
        for (SOCKET const socket : m_sockets) (void)::closesocket(socket);
    }
    Clients(Clients const&) = delete;
    Clients& operator=(Clients const&) = delete;

    /// A round trip on each connection. @return false when one broke.
    bool Round()
    {
        char message[kMessage] = "echo";
        for (SOCKET const socket : m_sockets) m_good = m_good && ::send(socket, message, kMessage, 0) == kMessage;
        for (SOCKET const socket : m_sockets)
            for (int got = 0, piece = 0; m_good && got < kMessage; got += piece) {
                piece = ::recv(socket, message, kMessage - got, 0);
                m_good = piece > 0;
            }
        return m_good;
    }

private:
    std::vector<SOCKET> m_sockets;
    bool m_good = true;
};

void Drive(benchmark::State& state, std::uint16_t port)
{
    Clients clients(port, static_cast<std::size_t>(state.range(0)));
    bool good = clients.Round(); // also waits until all are accepted
    for (auto _ : state) good = good && clients.Round();
    if (!good) state.SkipWithError("a connection broke");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

struct Echo final : XCConnectionI {
    void OnData(XCConnection& peer, XCBytes bytes) override { (void)peer.Send(bytes); }
};

void EchoRoundTrips_XCSocketServer(benchmark::State& state)
{
    XCSocketServerOptions options;
    options.threads = 1;
    XCSmartPtr<XCSocketServer> const server(
        new XCSocketServer([](XCConnection&) { return XCSmartPtr<XCConnectionI>(new Echo); }, options));
    XCSocketAddress where;
    if (server->Listen(XCSocketAddress(XCIPAddress::Loopback(), 0), &where).Bad()) return state.SkipWithError("listen");
    Drive(state, where.GetPort());
    (void)server->Stop(5000);
}
BENCHMARK(EchoRoundTrips_XCSocketServer)->Arg(1)->Arg(64)->Arg(512)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// What the system itself takes: a completion port and its calls, nothing counted, limited or timed.
class BareEcho {
public:
    BareEcho() : m_listener(::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED))
    {
        sockaddr_in where{};
        where.sin_family = AF_INET;
        where.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        int length = sizeof where;
        (void)::bind(m_listener, reinterpret_cast<sockaddr*>(&where), length);
        (void)::listen(m_listener, SOMAXCONN);
        (void)::getsockname(m_listener, reinterpret_cast<sockaddr*>(&where), &length);
        m_port = ::ntohs(where.sin_port);
        m_accepts = std::thread([this] { Accept(); });
        m_serves = std::thread([this] { Serve(); });
    }
    ~BareEcho()
    {
        (void)::closesocket(m_listener);
        m_accepts.join();
        (void)::PostQueuedCompletionStatus(m_completions, 0, 0, nullptr);
        m_serves.join();
        (void)::CloseHandle(m_completions);
    }
    BareEcho(BareEcho const&) = delete;
    BareEcho& operator=(BareEcho const&) = delete;
    [[nodiscard]] std::uint16_t Port() const { return m_port; }

private:
    struct Peer {
        SOCKET socket;
        OVERLAPPED reads{}, writes{};
        DWORD bytes = 0;
        char room[8192];
    };

    void Accept()
    {
        int const on = 1;
        for (SOCKET socket; (socket = ::accept(m_listener, nullptr, nullptr)) != INVALID_SOCKET;) {
            (void)::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char const*>(&on), sizeof on);
            m_peers.push_back(std::make_unique<Peer>(socket));
            HANDLE const handle = reinterpret_cast<HANDLE>(socket);
            (void)::CreateIoCompletionPort(handle, m_completions, reinterpret_cast<ULONG_PTR>(m_peers.back().get()), 0);
            (void)::SetFileCompletionNotificationModes(handle, FILE_SKIP_COMPLETION_PORT_ON_SUCCESS);
            GoOn(*m_peers.back());
        }
    }
    void Serve()
    {
        for (DWORD bytes = 0;;) {
            ULONG_PTR key = 0;
            OVERLAPPED* done = nullptr;
            BOOL const good = ::GetQueuedCompletionStatus(m_completions, &bytes, &key, &done, INFINITE);
            if (!done) return;
            auto& peer = *reinterpret_cast<Peer*>(key);
            if (!good || (done == &peer.reads && bytes == 0)) {
                (void)::closesocket(peer.socket);
            } else if (done == &peer.reads ? Write(peer, bytes) : true)
                GoOn(peer);
        }
    }
    /// @return whether it has ended at once.
    static bool Write(Peer& peer, DWORD bytes)
    {
        WSABUF block{bytes, peer.room};
        peer.writes = {};
        return ::WSASend(peer.socket, &block, 1, &bytes, 0, &peer.writes, nullptr) == 0;
    }
    static void GoOn(Peer& peer)
    {
        for (bool atOnce = true; atOnce;) {
            WSABUF block{sizeof peer.room, peer.room};
            DWORD flags = 0;
            peer.reads = {};
            atOnce = ::WSARecv(peer.socket, &block, 1, &peer.bytes, &flags, &peer.reads, nullptr) == 0 &&
                     peer.bytes > 0 && Write(peer, peer.bytes);
        }
    }

    HANDLE m_completions = ::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    SOCKET m_listener;
    std::uint16_t m_port = 0;
    std::vector<std::unique_ptr<Peer>> m_peers;
    std::thread m_accepts, m_serves;
};

void EchoRoundTrips_bare(benchmark::State& state)
{
    WSADATA data;
    (void)::WSAStartup(MAKEWORD(2, 2), &data);
    {
        BareEcho const server;
        Drive(state, server.Port());
    }
    (void)::WSACleanup();
}
BENCHMARK(EchoRoundTrips_bare)->Arg(1)->Arg(64)->Arg(512)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// An echo server of libuv in its usual form: reads into a block, writes a copy, frees it when it is written.
class UvEcho {
public:
    UvEcho()
    {
        std::promise<std::uint16_t> port;
        std::future<std::uint16_t> known = port.get_future();
        m_thread = std::thread([this, &port] { Run(port); });
        m_port = known.get();
    }
    ~UvEcho()
    {
        (void)uv_async_send(&m_stop);
        m_thread.join();
    }
    UvEcho(UvEcho const&) = delete;
    UvEcho& operator=(UvEcho const&) = delete;
    [[nodiscard]] std::uint16_t Port() const { return m_port; }

private:
    struct Write {
        uv_write_t request;
        std::vector<char> bytes;
    };

    void Run(std::promise<std::uint16_t>& port)
    {
        (void)uv_loop_init(&m_loop);
        (void)uv_async_init(&m_loop, &m_stop, [](uv_async_t* stop) {
            uv_walk(
                stop->loop,
                [](uv_handle_t* handle, void*) {
                    uv_close(handle, [](uv_handle_t* closed) {
                        if (closed->data) delete static_cast<uv_tcp_t*>(closed->data);
                    });
                },
                nullptr);
        });
        m_stop.data = nullptr;
        (void)uv_tcp_init(&m_loop, &m_listener);
        m_listener.data = nullptr;
        sockaddr_in where{};
        (void)uv_ip4_addr("127.0.0.1", 0, &where);
        (void)uv_tcp_bind(&m_listener, reinterpret_cast<sockaddr*>(&where), 0);
        (void)uv_listen(reinterpret_cast<uv_stream_t*>(&m_listener), 512, OnConnection);
        int length = sizeof where;
        (void)uv_tcp_getsockname(&m_listener, reinterpret_cast<sockaddr*>(&where), &length);
        port.set_value(::ntohs(where.sin_port));
        (void)uv_run(&m_loop, UV_RUN_DEFAULT);
        (void)uv_loop_close(&m_loop);
    }
    static void OnConnection(uv_stream_t* listener, int)
    {
        auto* const peer = new uv_tcp_t;
        (void)uv_tcp_init(listener->loop, peer);
        peer->data = peer;
        (void)uv_accept(listener, reinterpret_cast<uv_stream_t*>(peer));
        (void)uv_tcp_nodelay(peer, 1);
        (void)uv_read_start(
            reinterpret_cast<uv_stream_t*>(peer),
            [](uv_handle_t*, std::size_t, uv_buf_t* block) {
                static char room[8192];
                *block = uv_buf_init(room, sizeof room);
            },
            OnRead);
    }
    static void OnRead(uv_stream_t* peer, ssize_t count, uv_buf_t const* block)
    {
        if (count < 0 && !uv_is_closing(reinterpret_cast<uv_handle_t*>(peer)))
            uv_close(reinterpret_cast<uv_handle_t*>(peer),
                     [](uv_handle_t* closed) { delete static_cast<uv_tcp_t*>(closed->data); });
        if (count <= 0) return;
        auto* const write = new Write{{}, std::vector<char>(block->base, block->base + count)};
        write->request.data = write;
        uv_buf_t const out = uv_buf_init(write->bytes.data(), static_cast<unsigned int>(count));
        (void)uv_write(&write->request, peer, &out, 1,
                       [](uv_write_t* request, int) { delete static_cast<Write*>(request->data); });
    }

    uv_loop_t m_loop{};
    uv_async_t m_stop{};
    uv_tcp_t m_listener{};
    std::thread m_thread;
    std::uint16_t m_port = 0;
};

void EchoRoundTrips_libuv(benchmark::State& state)
{
    UvEcho const server;
    Drive(state, server.Port());
}
BENCHMARK(EchoRoundTrips_libuv)->Arg(1)->Arg(64)->Arg(512)->UseRealTime()->Unit(benchmark::kMicrosecond);

#if defined(XC_HAS_ASIO)
using boost::asio::ip::tcp;
using boost::system::error_code;

/// An echo session of Asio in its usual form: it lives as long as one of its calls is under way.
class AsioSession : public std::enable_shared_from_this<AsioSession> {
public:
    explicit AsioSession(tcp::socket socket) : m_socket(std::move(socket)) {}
    void Read()
    {
        m_socket.async_read_some(boost::asio::buffer(m_room),
                                 [self = shared_from_this()](error_code error, std::size_t count) {
                                     if (!error) self->Write(count);
                                 });
    }

private:
    void Write(std::size_t count)
    {
        boost::asio::async_write(m_socket, boost::asio::buffer(m_room, count),
                                 [self = shared_from_this()](error_code error, std::size_t) {
                                     if (!error) self->Read();
                                 });
    }

    tcp::socket m_socket;
    char m_room[8192];
};

void AcceptNext(tcp::acceptor& acceptor)
{
    acceptor.async_accept([&acceptor](error_code error, tcp::socket socket) {
        if (error) return;
        socket.set_option(tcp::no_delay(true), error);
        std::make_shared<AsioSession>(std::move(socket))->Read();
        AcceptNext(acceptor);
    });
}

void EchoRoundTrips_asio(benchmark::State& state)
{
    boost::asio::io_context context(1);
    tcp::acceptor acceptor(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
    AcceptNext(acceptor);
    std::thread server([&context] { context.run(); });
    Drive(state, acceptor.local_endpoint().port());
    context.stop();
    server.join();
}
BENCHMARK(EchoRoundTrips_asio)->Arg(1)->Arg(64)->Arg(512)->UseRealTime()->Unit(benchmark::kMicrosecond);
#endif

} // namespace
