// A connection of a server.
//
// Events come from everywhere: completions on the server's threads, Send and Close on any, times on the timer's. They
// change the state under the lock; the calls of handlers come from one thread at a time, the one that finds m_busy unset
// and sets it. It works through the state (Step) until nothing is left to do, gives the lock back for each call, and an
// event that comes meanwhile is found by the next step. Threads that are not the server's post a kick to the port in
// place of working themselves.
//
// Memory: everything under way (read, write, kick) holds a reference and is counted in m_underWay. A connection that dies
// cancels what is under way and closes its handle only when the last completion has come, so that no completion can
// find freed memory and no call another socket with the same number.
//
// Reading: a silent connection waits with a read of no bytes, which needs no buffer. When that ends, or the peer has just
// spoken, the next read brings a buffer: one call of the system for a message.
#include "net/Connection.h"

#include "net/NetErrors.h"
#include "net/ServerCore.h"
#include "win32/Clock.h"
#include "work/Executor.h"

#include <algorithm>
#include <utility>

namespace xc::net {

namespace {

/// Reads in a row that the system answers at once, before other connections get their turn. A client that answers
/// quickly always has the next request there: with 16 of them the slowest of 64 waited for seconds, and the gain of more
/// than four was a twentieth.
constexpr unsigned int kMostReadsInARow = 4;

} // namespace

Connection::Connection(ServerCore& server, win32::Socket socket, XCSocketAddress const& peer, bool skipsPort) noexcept
    : m_server(server), m_peer(peer), m_skipsPort(skipsPort), m_socket(std::move(socket)),
      m_readOp(*this, &Connection::OnReadDone), m_writeOp(*this, &Connection::OnWriteDone),
      m_kickOp(*this, &Connection::OnKick), m_lastActive(win32::TickMs())
{
    m_server.AddRef();
}

Connection::~Connection()
{
    m_server.Release();
}

void Connection::Begin() noexcept
{
    Hold hold(m_lock);
    m_busy = true;
    if (unsigned int const total = m_server.Options().totalMs) m_totalDue = m_lastActive + total;
    Work(hold);
}

// Events ----------------------------------------------------------------------------------------------------------

void Connection::OnReadDone(unsigned long error, unsigned long bytes) noexcept
{
    XCSmartPtr<Connection> const self(this);
    Release(); // the reference of the operation
    Hold hold(m_lock);
    --m_underWay;
    m_reading = false;
    m_atOnce = 0;
    TakeBytes(error, bytes);
    Settle(hold);
}

void Connection::OnWriteDone(unsigned long error, unsigned long bytes) noexcept
{
    XCSmartPtr<Connection> const self(this);
    Release();
    Hold hold(m_lock);
    --m_underWay;
    m_writing = false;
    Sent(bytes);
    if (error != 0) Fail(error);
    Settle(hold);
}

void Connection::OnKick(unsigned long, unsigned long) noexcept
{
    XCSmartPtr<Connection> const self(this);
    Release();
    Hold hold(m_lock);
    --m_underWay;
    m_kicked = false;
    m_atOnce = 0;
    Settle(hold);
}

/// On a thread of the server, with the lock: works, unless another thread does.
void Connection::Settle(Hold& hold) noexcept
{
    if (std::exchange(m_busy, true)) return;
    Work(hold);
}

/// With the lock, from any thread: has a thread of the server look at the state, unless one does.
void Connection::Kick() noexcept
{
    if (m_busy || m_kicked || m_told) return;
    m_kicked = true;
    ++m_underWay;
    AddRef();
    m_kickOp.Renew();
    if (m_server.Post(m_kickOp) == 0) return;
    // Out of memory in the system: the next completion or time finds the state.
    m_kicked = false;
    --m_underWay;
    Release();
}

// The work --------------------------------------------------------------------------------------------------------

void Connection::Work(Hold& hold) noexcept
{
    while (Step(hold)) {
    }
    m_busy = false;
    Watch();
}

/// One thing that is to be done. @return false when nothing is left.
bool Connection::Step(Hold& hold) noexcept
{
    if (m_dead) {
        if (m_underWay > 0 || m_told) return false;
        StepEnd(hold);
        return true;
    }
    if (!std::exchange(m_opened, true)) {
        CallHandler(hold, [this] {
            m_handler = m_server.NewHandler(*this);
            if (m_handler.IsNull()) return Abort();
            m_handler->OnOpen(*this);
        });
        return true;
    }
    if (std::exchange(m_readDone, false)) {
        StepRead(hold);
        return true;
    }
    if (std::exchange(m_drained, false)) {
        CallHandler(hold, [this] { m_handler->OnDrained(*this); });
        return true;
    }
    Flush();
    if (m_drained || m_dead) return true;
    // Both directions have ended: closing now loses nothing.
    if (m_closing && m_endSent && m_peerEnded) {
        Die({}, false);
        return true;
    }
    return ArmRead();
}

void Connection::StepRead(Hold& hold) noexcept
{
    if (m_readError != 0) return Fail(m_readError);
    if (m_readBytes == 0 && m_buffer) { // an orderly end; without a buffer it only says that something is there
        m_peerEnded = true;
        DropBuffer();
        if (!m_closing) CallHandler(hold, [this] { m_handler->OnEnd(*this); });
        return;
    }
    m_spoke = true;
    if (m_readBytes == 0) return;
    m_server.counts.bytesRead.fetch_add(m_readBytes, std::memory_order_relaxed);
    XCBytes const bytes(m_buffer.get(), m_readBytes);
    if (!m_closing) CallHandler(hold, [this, bytes] { m_handler->OnData(*this, bytes); });
    if (m_counted) return;
    DropBuffer(); // it is none of the budget: it was for this read alone
    m_spoke = false;
}

/// The last thing: no completion is on its way.
void Connection::StepEnd(Hold& hold) noexcept
{
    // The handle goes before the handler is told: whoever learns of the end may connect again at once, also where the
    // number of connections is limited.
    m_told = true;
    m_socket.Close();
    DropBuffer();
    m_queue.Clear();
    m_inFlight.Clear();
    XCSmartPtr<XCTimer> timer = std::move(m_timer);
    if (!m_handler.IsNull()) CallHandler(hold, [this] { m_handler->OnClose(*this, m_why); });
    XCSmartPtr<XCConnectionI> handler = std::move(m_handler);
    hold.unlock(); // the timer may be asking for the lock while its end is awaited
    if (!timer.IsNull()) timer->Cancel();
    timer.Clear();
    handler.Clear();
    m_server.Remove(*this);
    hold.lock();
}

/// Calls without the lock. An exception breaks the connection.
template <class Call>
void Connection::CallHandler(Hold& hold, Call call) noexcept
{
    hold.unlock();
    XCErrorID failure;
    try {
        call();
    } catch (...) {
        failure = work::FailureOfTask();
        m_server.counts.failed.fetch_add(1, std::memory_order_relaxed);
        work::NoteFailure(m_server.Options().name, failure);
    }
    hold.lock();
    if (failure.Bad()) Die(failure, true);
}

// Reading ---------------------------------------------------------------------------------------------------------

/// With the lock: the result of a read that has ended.
void Connection::TakeBytes(unsigned long error, unsigned long bytes) noexcept
{
    m_readDone = true;
    m_readError = error;
    m_readBytes = bytes;
    m_lastActive = win32::TickMs();
}

bool Connection::MayRead() const noexcept
{
    bool const full = m_queue.Size() + m_inFlight.Size() >= m_server.Options().highWaterBytes;
    return !m_reading && !m_peerEnded && (m_closing || (!m_paused && !full));
}

/// Decides whether the next read brings a buffer.
void Connection::ChooseBuffer()
{
    if (m_buffer || !m_spoke) return;
    m_buffer = std::make_unique_for_overwrite<std::uint8_t[]>(m_server.Options().readBytes);
    m_counted = m_server.TakeBuffer();
}

void Connection::DropBuffer() noexcept
{
    m_buffer.reset();
    if (std::exchange(m_counted, false)) m_server.GiveBuffer();
}

/// @return whether a result is at hand, or the connection has died.
bool Connection::ArmRead() noexcept
{
    if (!MayRead()) return false;
    if (m_atOnce >= kMostReadsInARow) {
        m_busy = false; // so that the kick is posted
        Kick();
        m_busy = true;
        return false;
    }
    try {
        ChooseBuffer();
    } catch (...) {
        Die(work::FailureOfTask(), true);
        return true;
    }
    WSABUF place{m_buffer ? static_cast<ULONG>(m_server.Options().readBytes) : 0,
                 reinterpret_cast<char*>(m_buffer.get())};
    DWORD bytes = 0, flags = 0;
    m_readOp.Renew();
    ++m_underWay;
    m_reading = true;
    AddRef();
    int const result = ::WSARecv(m_socket.Get(), &place, 1, &bytes, &flags, &m_readOp, nullptr);
    unsigned long const error = result == 0 ? 0 : win32::SocketError();
    if (error == WSA_IO_PENDING || (error == 0 && !m_skipsPort)) return false;
    --m_underWay;
    m_reading = false;
    Release();
    ++m_atOnce;
    TakeBytes(error, bytes);
    return true;
}

void Connection::SetReading(bool on) noexcept
{
    std::lock_guard const hold(m_lock);
    m_paused = !on;
    if (on) Kick();
}

} // namespace xc::net
