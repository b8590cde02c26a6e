// Connection.h - a connection of a server.
#pragma once

#include <XelbrinCore/XCSocketServer.h>
#include <XelbrinCore/XCTimer.h>

#include "net/PortOperation.h"
#include "win32/SlimLock.h"

#include <memory>
#include <mutex>

namespace xc::net {

class ServerCore;

class Connection final : public XCConnection {
public:
    Connection(ServerCore& server, win32::Socket socket, XCSocketAddress const& peer, bool skipsPort) noexcept;
    ~Connection() override;

    /// On a thread of the server: makes the handler and begins.
    void Begin() noexcept;
    /// Ends it as Close, or breaks it.
    void End(bool abortive) noexcept;

    XCErrorID Send(XCBytes bytes) override;
    void EndWrite() noexcept override;
    void Close() noexcept override { End(false); }
    void Abort() noexcept override { End(true); }
    void SetReading(bool on) noexcept override;
    [[nodiscard]] std::size_t GetQueued() const noexcept override;
    [[nodiscard]] XCSocketAddress GetPeer() const noexcept override { return m_peer; }

    // The place in the server's list; with the server's lock.
    Connection* next = nullptr;
    Connection* previous = nullptr;

private:
    /// One of the three things of a connection that the port tells.
    struct Operation final : PortOperation {
        using Handler = void (Connection::*)(unsigned long error, unsigned long bytes) noexcept;
        Operation(Connection& of, Handler what) noexcept : owner(of), handler(what) {}
        void Complete(unsigned long error, unsigned long bytes) noexcept override { (owner.*handler)(error, bytes); }
        Connection& owner;
        Handler const handler;
    };
    using Hold = std::unique_lock<win32::SlimLock>;

    void OnReadDone(unsigned long error, unsigned long bytes) noexcept;
    void OnWriteDone(unsigned long error, unsigned long bytes) noexcept;
    void OnKick(unsigned long error, unsigned long bytes) noexcept;
    void Settle(Hold& hold) noexcept;
    void Work(Hold& hold) noexcept;
    bool Step(Hold& hold) noexcept;
    void StepRead(Hold& hold) noexcept;
    void StepEnd(Hold& hold) noexcept;
    template <class Call>
    void CallHandler(Hold& hold, Call call) noexcept;
    void TakeBytes(unsigned long error, unsigned long bytes) noexcept;
    bool ArmRead() noexcept;
    [[nodiscard]] bool MayRead() const noexcept;
    void ChooseBuffer();
    void DropBuffer() noexcept;
    void Flush() noexcept;
    void Sent(unsigned long bytes) noexcept;
    void FinishWriting() noexcept;
    void Fail(unsigned long error) noexcept;
    void Die(XCErrorID const& why, bool abortive) noexcept;
    void Kick() noexcept;
    void Watch() noexcept;
    XCErrorID StartTimer(std::uint64_t due);
    void CheckTimes() noexcept;
    [[nodiscard]] std::uint64_t NextDue() const noexcept;

    ServerCore& m_server; // a counted reference
    XCSocketAddress const m_peer;
    bool const m_skipsPort; // calls that succeed at once have no completion

    mutable win32::SlimLock m_lock; // guards all that follows; never held while a handler runs
    win32::Socket m_socket;
    XCSmartPtr<XCConnectionI> m_handler;
    Operation m_readOp, m_writeOp, m_kickOp;
    unsigned int m_underWay = 0; // operations whose completion has not come
    // What the thread that works on the connection looks at.
    bool m_busy = false, m_kicked = false, m_opened = false, m_dead = false, m_told = false;
    // Reading: under way, result at hand, switched off, no more from the peer.
    bool m_reading = false, m_readDone = false, m_paused = false, m_peerEnded = false;
    bool m_spoke = false;      // the peer has sent something since the last read without a buffer
    bool m_counted = false;    // the buffer is one of the server's budget
    unsigned int m_atOnce = 0; // reads in a row that the system answered at once
    unsigned long m_readBytes = 0, m_readError = 0;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    // Writing: what waits, and what the system has.
    bool m_writing = false, m_wasFull = false, m_drained = false;
    bool m_endAsked = false, m_endSent = false, m_closing = false;
    XCBuffer m_queue, m_inFlight;
    // Times, in the system's milliseconds; 0: none.
    std::uint64_t m_lastActive = 0, m_totalDue = 0, m_lingerDue = 0;
    XCSmartPtr<XCTimer> m_timer;
    XCErrorID m_why;
};

} // namespace xc::net
