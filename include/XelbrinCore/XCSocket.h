// XCSocket.h - connections and the sockets that accept them, with calls that wait.
//
// WHAT     XCStreamSocket is a connection: it connects, reads, writes and ends. XCServerSocket listens and hands out
//          connections. XCBufferedSocket.h adds buffers, lines and typed values; XCSocketServer.h serves many
//          connections with few threads.
//
//              XCSmartPtr<XCStreamSocket> const socket(new XCStreamSocket);
//              XCErrorID fault = socket->Connect(L"localhost", 7000, 5000);
//              if (fault.Good()) fault = socket->Write("hello", 5, 1000);
//
// RESULTS  of a read or write, each of its own:
//              data             Good, and a count above 0
//              orderly end      Good, and a count of 0; ReadFully: XCErrSocketEnded
//              broken           XCErrSocketReset
//              time over        XCErrTimedOut: the connection is as before, nothing that came is lost
//              cancelled        XCErrSocketCancelled: as after XCErrTimedOut
//              closed here      XCErrSocketClosed
// HALVES   Each direction ends on its own. After ShutdownWrite the peer sees an orderly end and this side reads on;
//          after the peer's end this side may still write.
// CANCEL   Cancel ends the calls that wait, on any thread, and every later one until ResetCancel: a call that was just
//          about to wait cannot miss it.
// WRITING  A write that ran out of time or was cancelled has sent a part; `done` says how much, as far as the system
//          tells. Some systems cannot take back everything: go on with such a connection only where that is harmless.
// TIMES    Milliseconds; XCInfinite waits without limit, 0 asks once.
// LIFETIME Counted. The last release closes orderly: what was written is still delivered.
// COST     A call of the system each; a call that has to wait adds a wait. Sockets are not inherited by child processes.
// THREADS  Any thread may call anything: one reads, another writes, a third cancels or closes. Two that read at once get
//          alternate pieces. A handle that is closed is never used again for another socket while a call still has it.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCIPAddress.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace xc::net {
class SocketCore;
} // namespace xc::net

/// A connection (see the head of this file).
class XC_API XCStreamSocket : public XCRefCount {
public:
    /// How long an address has for itself before the next one is tried beside it.
    static constexpr unsigned int kHeadStartMs = 250;

    /// Not connected.
    XCStreamSocket();
    ~XCStreamSocket() override;
    XCStreamSocket(XCStreamSocket const&) = delete;
    XCStreamSocket& operator=(XCStreamSocket const&) = delete;

    /// Connects to an address. @return XCErrSocketCannotConnect, XCErrTimedOut, XCErrSocketCancelled.
    XCErrorID Connect(XCSocketAddress const& address, unsigned int timeoutMs = XCInfinite);
    /// Connects to the first of several addresses that answers. They are tried in their order, one more each time
    /// kHeadStartMs have passed or one has failed. @return the failure of the last one.
    XCErrorID Connect(std::vector<XCSocketAddress> const& addresses, unsigned int timeoutMs = XCInfinite);
    /// Resolves a name (XCHost) and connects; both within the time. The versions of the addresses take turns.
    XCErrorID Connect(XCString const& host, std::uint16_t port, unsigned int timeoutMs = XCInfinite);
    /// Whether there is a connection that was not closed here.
    [[nodiscard]] bool IsOpen() const noexcept;

    /// Reads what is there, at most `size` bytes, and waits for the first one. @param got 0 at the peer's end.
    XCErrorID Read(void* to, std::size_t size, std::size_t& got, unsigned int timeoutMs = XCInfinite);
    /// Reads exactly `size` bytes. @param got how many came, fewer only after a failure.
    XCErrorID ReadFully(void* to, std::size_t size, std::size_t& got, unsigned int timeoutMs = XCInfinite);
    /// Writes all the bytes. @param done how many were handed to the system; null if not wanted.
    XCErrorID Write(void const* from, std::size_t size, unsigned int timeoutMs = XCInfinite,
                    std::size_t* done = nullptr);
    /// Ends this side's stream after what was written.
    XCErrorID ShutdownWrite();

    /// Closes; calls on other threads end with XCErrSocketClosed. What was written is still delivered.
    void Close() noexcept;
    /// Breaks the connection: the peer sees a reset, and what is on its way is lost.
    void Abort() noexcept;
    /// Ends the calls of the moment and all later ones (CANCEL above).
    void Cancel() noexcept;
    /// Lets later calls wait again.
    void ResetCancel() noexcept;

    /// Small pieces are sent at once instead of being collected for a moment. New connections: on.
    XCErrorID SetNoDelay(bool on);
    /// Asks a silent peer for signs of life. @param idleMs silence before the first question; 0: never asks.
    XCErrorID SetKeepAlive(unsigned int idleMs, unsigned int intervalMs = 1000);
    /// The peer's address; 0.0.0.0:0 without a connection.
    [[nodiscard]] XCSocketAddress GetPeer() const;
    /// This side's address.
    [[nodiscard]] XCSocketAddress GetLocal() const;

private:
    friend class XCServerSocket;
    std::unique_ptr<xc::net::SocketCore> m_core;
};

/// Who else may listen on an address.
enum class XCBindMode {
    Exclusive, ///< nobody: another program cannot take the port, nor part of its connections
    Shared     ///< every program of the machine that says so as well; the system chooses who gets a connection
};

/// Listens and accepts.
class XC_API XCServerSocket : public XCRefCount {
public:
    /// Does not listen.
    XCServerSocket();
    ~XCServerSocket() override;
    XCServerSocket(XCServerSocket const&) = delete;
    XCServerSocket& operator=(XCServerSocket const&) = delete;

    /// Listens on an address. "::" takes connections of both versions, where the system has version 6.
    /// @param backlog connections that may wait to be accepted; 0: as many as the system allows.
    /// @return XCErrSocketCannotListen.
    XCErrorID Listen(XCSocketAddress const& address, XCBindMode mode = XCBindMode::Exclusive, int backlog = 0);
    /// Waits for a connection. Several threads may wait. A peer that left before it was accepted is passed over.
    /// @return XCErrTimedOut, XCErrSocketCancelled, XCErrSocketClosed; XCErrSocketFailed when the system has no handle
    ///         left: after a pause, so that a loop around this call does not spin, and the connection waits on.
    XCErrorID Accept(XCSmartPtr<XCStreamSocket>& socket, unsigned int timeoutMs = XCInfinite);
    /// The address with the port that the system chose.
    [[nodiscard]] XCSocketAddress GetLocal() const;
    /// Ends the waits of the moment and all later ones.
    void Cancel() noexcept;
    /// Lets later calls wait again.
    void ResetCancel() noexcept;
    /// Stops listening; waits end with XCErrSocketClosed.
    void Close() noexcept;

private:
    std::unique_ptr<xc::net::SocketCore> m_core;
};
