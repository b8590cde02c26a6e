// XCSocketServer.h - many connections served by few threads.
//
// WHAT     XCSocketServer listens, accepts and calls a handler of the program (XCConnectionI) for each thing that happens
//          on a connection. XCConnection is the handler's way to answer.
//
//              struct Echo : XCConnectionI {
//                  void OnData(XCConnection& peer, XCBytes bytes) override { (void)peer.Send(bytes); }
//              };
//              XCSmartPtr<XCSocketServer> const server(
//                  new XCSocketServer([](XCConnection&) { return XCSmartPtr<XCConnectionI>(new Echo); }));
//              XCErrorID const fault = server->Listen({XCIPAddress::Any(), 7});
//
// LIFE     of a connection, each line at most once but OnData and OnDrained:
//              accepted   the factory makes the handler; null refuses the connection
//              OnOpen     before everything else
//              OnData     bytes came; they are the handler's until it returns
//              OnDrained  everything queued has been handed to the system, after the queue was full
//              OnEnd      the peer has ended its stream; the default closes, another one may go on sending
//              OnClose    after everything else, with Success or the reason: XCErrSocketReset, XCErrTimedOut, ...
//          The calls of one connection come one after the other, on any thread of the server; those of different
//          connections at once.
// SENDING  Send copies into a queue and never waits. Within a handler the pieces are sent together at its return. At the
//          high-water mark Send takes nothing more (XCErrSocketQueueFull) until OnDrained, and the server reads nothing
//          from that peer: a slow reader costs bounded memory.
// CLOSING  Close sends what is queued, ends the stream, waits for the peer's end as long as `lingerMs`, and drops what
//          still comes. Abort breaks at once. An idle time and a total time close with XCErrTimedOut.
// MEMORY   A connection that is silent has no buffer: some 600 bytes of this library, and a timer of some 300 where there
//          are times. Those that have just spoken keep a buffer, `maxReadBuffers` of them at most.
// LIMITS   At `maxConnections` the server accepts no more; peers wait in the system's queue. When the system has no
//          handle left, accepting pauses and goes on later.
// THROWS   What a handler throws breaks its connection, is written to the error log and told as XCErrTaskFailed to
//          OnClose.
// STOP     Stop ends accepting, closes all connections as Close does, and breaks those that are left at the deadline.
//          When it has returned Good no handler runs or will run. The end of the server does the same without waiting.
// COST     Two calls of the system for a message that is answered: one to read, one to send; and a share of one that
//          fetches up to 16 events.
// THREADS  Everything here may be called from any thread, also from handlers.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCIPAddress.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCSocket.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace xc::net {
class ServerCore;
} // namespace xc::net

/// A connection of a server, as its handler sees it. Counted; it may be kept and used by other threads. After the end
/// every call is harmless.
class XC_API XCConnection : public XCRefCount {
public:
    ~XCConnection() override;
    /// Queues bytes. @return XCErrSocketQueueFull, or XCErrSocketClosed after Close, EndWrite and the connection's end;
    /// then nothing was taken.
    virtual XCErrorID Send(XCBytes bytes) = 0;
    /// Ends this side's stream after what is queued; reading goes on.
    virtual void EndWrite() noexcept = 0;
    /// Ends the connection after what is queued (CLOSING above).
    virtual void Close() noexcept = 0;
    /// Breaks the connection; the peer sees a reset.
    virtual void Abort() noexcept = 0;
    /// Stops or resumes reading: the peer's bytes wait in the system, and at its end the peer.
    virtual void SetReading(bool on) noexcept = 0;
    /// Bytes that wait to be handed to the system.
    [[nodiscard]] virtual std::size_t GetQueued() const noexcept = 0;
    /// The other end.
    [[nodiscard]] virtual XCSocketAddress GetPeer() const noexcept = 0;

protected:
    XCConnection() noexcept = default;
};

/// The program's part of a connection (LIFE in the head of this file). Counted; the server holds it until OnClose has
/// returned.
class XC_API XCConnectionI : public XCRefCount {
public:
    ~XCConnectionI() override;
    /// The connection is open.
    virtual void OnOpen(XCConnection& connection);
    /// Bytes came, one at least.
    virtual void OnData(XCConnection& connection, XCBytes bytes) = 0;
    /// The queue is empty again.
    virtual void OnDrained(XCConnection& connection);
    /// The peer has ended its stream. The default closes the connection.
    virtual void OnEnd(XCConnection& connection);
    /// The connection has ended. @param why Success after Close.
    virtual void OnClose(XCConnection& connection, XCErrorID const& why);

protected:
    XCConnectionI() noexcept = default;
};

/// How a server works. Times in milliseconds, 0: none.
struct XCSocketServerOptions {
    unsigned int threads = 2;                    ///< that run handlers
    std::size_t maxConnections = 10000;          ///< open at a time
    std::size_t highWaterBytes = 256 * 1024;     ///< queued for a peer, from which on Send takes nothing more
    std::size_t readBytes = 8 * 1024;            ///< the most that OnData gets at a time
    std::size_t maxReadBuffers = 1024;           ///< kept by connections that have just spoken
    unsigned int idleMs = 0;                     ///< without a byte in either direction
    unsigned int totalMs = 0;                    ///< from the accept to the end
    unsigned int lingerMs = 2000;                ///< how long Close waits for the peer's end; at least 1
    unsigned int accepts = 16;                   ///< connections that can come in at one moment
    XCBindMode bindMode = XCBindMode::Exclusive; ///< who else may listen on the addresses
    XCString name = L"sockets";                  ///< of the threads
};

/// Counts since the start of a server.
struct XCSocketServerStatistics {
    std::uint64_t accepted = 0;       ///< connections
    std::uint64_t acceptPauses = 0;   ///< how often accepting had to wait for handles
    std::uint64_t bytesRead = 0;      ///< handed to handlers
    std::uint64_t bytesSent = 0;      ///< handed to the system
    std::uint64_t timedOut = 0;       ///< connections ended by a time
    std::uint64_t failedHandlers = 0; ///< exceptions that left handlers
    std::size_t connections = 0;      ///< open at this moment
};

/// Serves connections (see the head of this file).
class XC_API XCSocketServer : public XCRefCount {
public:
    /// Makes the handler of a connection; runs on a thread of the server.
    using Factory = std::function<XCSmartPtr<XCConnectionI>(XCConnection&)>;

    /// Does nothing until Listen.
    explicit XCSocketServer(Factory factory, XCSocketServerOptions const& options = {});
    ~XCSocketServer() override;
    XCSocketServer(XCSocketServer const&) = delete;
    XCSocketServer& operator=(XCSocketServer const&) = delete;

    /// Listens on one address more. @param local receives the address with the port that the system chose; null if not
    /// wanted.  @return XCErrSocketCannotListen, XCErrNoThread, XCErrSocketClosed after Stop.
    XCErrorID Listen(XCSocketAddress const& address, XCSocketAddress* local = nullptr);
    /// Ends everything (STOP above). From a handler it does not wait.
    /// @return XCErrStillRunning when a handler has not returned in time.
    XCErrorID Stop(unsigned int timeoutMs = XCInfinite);
    /// Counts of the moment.
    [[nodiscard]] XCSocketServerStatistics GetStatistics() const;

private:
    xc::net::ServerCore* m_core; // a counted reference
};
