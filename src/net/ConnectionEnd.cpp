// What a connection sends, and how it ends.
//
// The queue as a whole becomes the block under way; what is sent meanwhile collects in the queue, so that small pieces go
// out together. The block belongs to the system until its completion; a call that succeeds at once has none and gives it
// back at once. The end of the stream waits for both to be empty.
//
// Times are not kept by setting a timer with every byte: a timer that is called looks how long ago the last byte was, and
// goes on for the rest. So activity costs a look at the clock. Close brings a time of its own once the stream has ended:
// a peer that never ends its own must not hold the connection.
#include "net/Connection.h"

#include "errors/CoreError.h"
#include "net/NetErrors.h"
#include "net/ServerCore.h"
#include "win32/Clock.h"

#include <utility>

namespace xc::net {

namespace {

constexpr std::size_t kLargestSend = std::size_t{1} << 30;

} // namespace

// Writing ---------------------------------------------------------------------------------------------------------

XCErrorID Connection::Send(XCBytes bytes)
{
    std::lock_guard const hold(m_lock);
    if (m_dead || m_endAsked) return errors::MakeCoreError(XCErrSocketClosed);
    std::size_t const queued = m_queue.Size() + m_inFlight.Size();
    bool const full = queued >= m_server.Options().highWaterBytes || bytes.Size() > kLargestSend;
    if (full && queued > 0) m_wasFull = true;
    if (full) return QueueFull(m_peer, queued);
    m_queue.Append(bytes);
    if (queued + bytes.Size() >= m_server.Options().highWaterBytes) m_wasFull = true;
    if (m_busy) return XCErrorID::Success; // the thread that works sends it with the rest
    Flush();
    if (m_dead || m_drained) Kick();
    return XCErrorID::Success;
}

/// With the lock: begins to send the queue.
void Connection::Flush() noexcept
{
    while (!m_writing && !m_dead && !(m_queue.IsEmpty() && m_inFlight.IsEmpty())) {
        if (m_inFlight.IsEmpty()) m_inFlight.Swap(m_queue);
        WSABUF block{static_cast<ULONG>(m_inFlight.Size()), reinterpret_cast<char*>(m_inFlight.Data())};
        DWORD bytes = 0;
        m_writeOp.Renew();
        ++m_underWay;
        m_writing = true;
        AddRef();
        int const result = ::WSASend(m_socket.Get(), &block, 1, &bytes, 0, &m_writeOp, nullptr);
        unsigned long const error = result == 0 ? 0 : win32::SocketError();
        if (error == WSA_IO_PENDING || (error == 0 && !m_skipsPort)) return;
        --m_underWay;
        m_writing = false;
        Release(); // the caller has a reference of its own
        if (error != 0) return Fail(error);
        Sent(bytes);
    }
    FinishWriting();
}

/// With the lock: the system has taken bytes of the block under way.
void Connection::Sent(unsigned long bytes) noexcept
{
    m_server.counts.bytesSent.fetch_add(bytes, std::memory_order_relaxed);
    m_lastActive = win32::TickMs();
    if (bytes < m_inFlight.Size())
        m_inFlight.Erase(0, bytes);
    else
        m_inFlight.Clear();
    if (m_inFlight.IsEmpty() && m_queue.IsEmpty() && std::exchange(m_wasFull, false)) m_drained = true;
}

/// With the lock: ends the stream when everything is sent.
void Connection::FinishWriting() noexcept
{
    if (!m_endAsked || m_endSent || m_writing || m_dead) return;
    m_endSent = true;
    if (m_closing) m_lingerDue = win32::TickMs() + m_server.Options().lingerMs;
    if (::shutdown(m_socket.Get(), SD_SEND) != 0) Fail(win32::SocketError());
}

void Connection::EndWrite() noexcept
{
    std::lock_guard const hold(m_lock);
    m_endAsked = true;
    Kick();
}

std::size_t Connection::GetQueued() const noexcept
{
    std::lock_guard const hold(m_lock);
    return m_queue.Size() + m_inFlight.Size();
}

// The end ---------------------------------------------------------------------------------------------------------

void Connection::End(bool abortive) noexcept
{
    std::lock_guard const hold(m_lock);
    if (abortive) {
        Die(ErrorFrom([this] { return Cancelled(m_peer); }), true);
    } else if (!m_dead && !std::exchange(m_closing, true)) {
        m_endAsked = true;
        if (m_endSent) m_lingerDue = win32::TickMs() + m_server.Options().lingerMs;
    }
    Kick();
}

/// With the lock. After Close the peer may break off without harm: everything that matters has been sent.
void Connection::Fail(unsigned long error) noexcept
{
    bool const harmless = m_closing && m_endSent;
    XCErrorID const why = ErrorFrom([&] { return SocketFailure(XCErrSocketFailed, m_peer.AsString(), error); });
    Die(harmless ? XCErrorID() : why, false);
}

/// With the lock: no call of a handler but OnClose comes any more.
void Connection::Die(XCErrorID const& why, bool abortive) noexcept
{
    if (std::exchange(m_dead, true)) return;
    m_why = why;
    m_endAsked = true;
    if (abortive) m_socket.SetAbortive();
    if (m_underWay > 0) (void)::CancelIoEx(m_socket.Handle(), nullptr);
}

// Times -----------------------------------------------------------------------------------------------------------

/// With the lock: the earliest time at which something must end; 0: none.
std::uint64_t Connection::NextDue() const noexcept
{
    unsigned int const idle = m_server.Options().idleMs;
    std::uint64_t due = idle > 0 ? m_lastActive + idle : 0;
    for (std::uint64_t const other : {m_totalDue, m_lingerDue})
        if (other != 0 && (due == 0 || other < due)) due = other;
    return due;
}

/// With the lock, at the end of the work: the timer runs when there is a time. Only an earlier one, that of Close, starts
/// it again.
void Connection::Watch() noexcept
{
    std::uint64_t const due = m_dead ? 0 : NextDue();
    if (due == 0 || (!m_timer.IsNull() && m_lingerDue == 0)) return;
    XCErrorID const failure = ErrorFrom([this, due] { return StartTimer(due); });
    if (failure.Good()) return;
    Die(failure, true); // without a timer nothing would ever end a silent peer
    Kick();
}

XCErrorID Connection::StartTimer(std::uint64_t due)
{
    if (m_timer.IsNull()) {
        XCSmartPtr<Connection> const self(this);
        m_timer = new XCTimer([self] { self->CheckTimes(); });
    }
    std::uint64_t const now = win32::TickMs();
    return m_timer->Start(due > now ? due - now : 0);
}

/// On the timer's thread.
void Connection::CheckTimes() noexcept
{
    Hold hold(m_lock);
    std::uint64_t const due = NextDue();
    if (m_dead || due == 0 || m_timer.IsNull()) return;
    if (win32::TickMs() < due) {
        XCErrorID const failure = ErrorFrom([this, due] { return StartTimer(due); });
        if (failure.Bad()) Die(failure, true);
    } else {
        bool const lingered = m_closing && m_endSent;
        if (!lingered) m_server.counts.timedOut.fetch_add(1, std::memory_order_relaxed);
        Die(lingered ? XCErrorID() : ErrorFrom([] { return TimedOut(); }), !lingered);
    }
    if (m_dead) Kick();
}

} // namespace xc::net
