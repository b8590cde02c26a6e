// A server: one completion port, the threads that take from it, the accepts that feed it, and the list of connections.
//
// Some accepts are always under way, so that a burst of connections finds places without a wait for a thread; each one
// that completes is replaced before its connection is served. Their number and that of the connections together stay
// below the limit, so that none is accepted to be refused. When an accept cannot begin (no handles, no memory), a timer
// tries again after a pause; the peers wait in the system's queue, and nothing spins.
//
// The end: listeners close, which completes their accepts; connections close or break, which completes their operations;
// the last completion finds the server empty and wakes the threads with packets of their own. So the threads go after
// everything that could still call a handler. The last one destroys the factory before it is counted as gone: the code of
// the factory may be a module's, which is unloaded as soon as Stop has returned, while that thread still holds the core.
//
// Locks: a connection may hold its own lock and ask for the server's; the server never asks for a connection's below its
// own.
#include "net/ServerCore.h"

#include "errors/CoreError.h"
#include "net/Connection.h"
#include "net/NetErrors.h"
#include "win32/Process.h"
#include "work/OwnThread.h"

#include <algorithm>
#include <utility>

namespace xc::net {

namespace {

constexpr unsigned int kPauseMs = 100;
/// Events that a thread fetches at a time: fewer calls under load, and not so many that others wait long for the first.
constexpr unsigned long kFetch = 16;
/// After the deadline: how long nothing may end before a handler is taken to be stuck.
constexpr std::uint32_t kBreakMs = 500;

XCSocketServerOptions Checked(XCSocketServerOptions options)
{
    options.threads = std::clamp(options.threads, 1u, 64u);
    options.accepts = std::clamp(options.accepts, 1u, 1024u);
    options.readBytes = std::clamp<std::size_t>(options.readBytes, 256, std::size_t{1} << 20);
    options.lingerMs = std::max(options.lingerMs, 1u);
    return options;
}

/// Whether a call on the socket that ends at once may go without a completion: not where somebody stands between the
/// socket and the system.
bool IsPlainSocket(SOCKET socket) noexcept
{
    WSAPROTOCOL_INFOW info{};
    int size = sizeof info;
    return ::getsockopt(socket, SOL_SOCKET, SO_PROTOCOL_INFOW, reinterpret_cast<char*>(&info), &size) == 0 &&
           (info.dwServiceFlags1 & XP1_IFS_HANDLES) != 0;
}

} // namespace

/// An accept under way; holds server and listener.
struct ServerCore::Accept final : PortOperation {
    Accept(ServerCore& owner, XCSmartPtr<Listener> const& of) : server(&owner), listener(of) {}
    void Complete(unsigned long error, unsigned long) noexcept override
    {
        std::unique_ptr<Accept> const self(this);
        server->OnAccept(*this, error);
    }
    XCSmartPtr<ServerCore> server;
    XCSmartPtr<Listener> listener;
    AcceptPlace place;
};

ServerCore::ServerCore(XCSocketServer::Factory factory, XCSocketServerOptions const& options)
    : m_options(Checked(options)), m_factory(std::move(factory))
{
}

ServerCore::~ServerCore() = default;

bool ServerCore::TakeBuffer() noexcept
{
    if (m_readBuffers.fetch_add(1, std::memory_order_relaxed) < m_options.maxReadBuffers) return true;
    GiveBuffer();
    return false;
}

unsigned long ServerCore::Post(PortOperation& operation) noexcept
{
    return ::PostQueuedCompletionStatus(m_port.Get(), 0, 0, &operation) ? 0 : win32::LastError();
}

// Threads ---------------------------------------------------------------------------------------------------------

/// Makes the port and the threads at first use.
XCErrorID ServerCore::StartThreads()
{
    Hold hold(m_lock);
    if (m_stopping) return errors::MakeCoreError(XCErrSocketClosed);
    if (m_port) return XCErrorID::Success;
    m_port.Reset(::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, m_options.threads));
    if (!m_port) return SocketFailure(XCErrSocketFailed, m_options.name, win32::LastError());
    m_threadIds.reserve(m_options.threads);
    XCErrorID failure;
    for (unsigned int i = 0; i < m_options.threads && failure.Good(); ++i) {
        ++m_threads;
        failure = work::StartThreadOf(*this, &ServerCore::Loop, m_options.name);
        if (failure.Bad()) --m_threads;
    }
    // The first failure ends the attempt: where one thread finds no memory, the next would not either.
    if (m_threads > 0) return XCErrorID::Success; // fewer threads than asked for serve as well
    m_port.Reset();
    return failure;
}

/// What each thread does.
void ServerCore::Loop() noexcept
{
    {
        Hold const hold(m_lock);
        m_threadIds.push_back(win32::ThreadId());
    }
    OVERLAPPED_ENTRY entries[kFetch];
    for (bool goesOn = true; goesOn;) {
        ULONG count = 0;
        if (!::GetQueuedCompletionStatusEx(m_port.Get(), entries, kFetch, &count, INFINITE, FALSE)) count = 0;
        for (ULONG i = 0; i < count; ++i)
            if (entries[i].lpOverlapped) Dispatch(entries[i]);
        Hold const hold(m_lock);
        goesOn = !(m_stopping && IsEmpty());
    }
    LeaveLoop();
}

/// The server is empty and stops: no thread comes after the last one, and no handler is made any more.
void ServerCore::LeaveLoop() noexcept
{
    XCSocketServer::Factory factory;
    Hold hold(m_lock);
    if (m_threads == 1) {
        factory.swap(m_factory);
        hold.unlock();
        factory = nullptr; // code of the program, and so without the lock
        hold.lock();
    }
    std::erase(m_threadIds, win32::ThreadId());
    --m_threads;
    WakeThreads(); // a packet that was for another thread may have been among those fetched here
    m_change.WakeAll();
}

void ServerCore::Dispatch(OVERLAPPED_ENTRY const& entry) noexcept
{
    auto* const operation = static_cast<PortOperation*>(entry.lpOverlapped);
    unsigned long error = 0;
    // The system's own status has another numbering; the library that opened the socket translates it.
    if (entry.lpOverlapped->Internal != 0) error = win32::ErrorOfStatus(entry.lpOverlapped->Internal);
    operation->Complete(error, entry.dwNumberOfBytesTransferred);
}

/// With the lock: once the server is empty, each thread gets a packet that says so.
void ServerCore::WakeThreads() noexcept
{
    if (!m_stopping || !IsEmpty() || !m_port) return;
    for (unsigned int i = 0; i < m_threads; ++i) (void)::PostQueuedCompletionStatus(m_port.Get(), 0, 0, nullptr);
}

bool ServerCore::IsOwnThread() const noexcept
{
    return std::find(m_threadIds.begin(), m_threadIds.end(), win32::ThreadId()) != m_threadIds.end();
}

// Accepting -------------------------------------------------------------------------------------------------------

XCErrorID ServerCore::Listen(XCSocketAddress const& address, XCSocketAddress* local)
{
    XCSmartPtr<Listener> const listener(new Listener);
    unsigned long error = OpenListener(address, m_options.bindMode == XCBindMode::Exclusive, 0, listener->socket);
    if (error != 0) return SocketFailure(XCErrSocketCannotListen, address.AsString(), error);
    if (XCErrorID const failure = StartThreads(); failure.Bad()) return failure;
    listener->family = FamilyOf(listener->socket.Get());
    XCSocketAddress const bound = LocalAddress(listener->socket.Get());
    listener->name = bound.AsString();
    if (!::CreateIoCompletionPort(listener->socket.Handle(), m_port.Get(), 0, 0))
        return SocketFailure(XCErrSocketCannotListen, listener->name, win32::LastError());
    {
        Hold const hold(m_lock);
        if (m_stopping) return errors::MakeCoreError(XCErrSocketClosed);
        m_listeners.push_back(listener);
    }
    if (local) *local = bound;
    ArmAccepts();
    return XCErrorID::Success;
}

/// A listener that wants one accept more, which is then counted as under way; null: none.
XCSmartPtr<ServerCore::Listener> ServerCore::NextToArm() noexcept
{
    Hold const hold(m_lock);
    if (m_stopping || !m_retry.IsNull() || m_connectionCount + m_accepts >= m_options.maxConnections) return {};
    for (XCSmartPtr<Listener> const& listener : m_listeners) {
        if (listener->armed >= m_options.accepts) continue;
        ++listener->armed;
        ++m_accepts;
        return listener;
    }
    return {};
}

bool ServerCore::IsStopping() const noexcept
{
    Hold const hold(m_lock);
    return m_stopping;
}

/// Has as many accepts under way as there should be.
void ServerCore::ArmAccepts() noexcept
{
    for (XCSmartPtr<Listener> listener = NextToArm(); !listener.IsNull(); listener = NextToArm()) {
        if (Arm(listener) == 0) {
            // Stop cancels the accepts that have begun; one that begins just then would never complete.
            if (IsStopping()) (void)::CancelIoEx(listener->socket.Handle(), nullptr);
            continue;
        }
        {
            Hold const hold(m_lock);
            --listener->armed;
            --m_accepts;
            WakeThreads();
        }
        return PauseAccepting();
    }
}

unsigned long ServerCore::Arm(XCSmartPtr<Listener> const& listener) noexcept
try {
    auto accept = std::make_unique<Accept>(*this, listener);
    // A call that succeeds at once has its completion on the port as well: listeners do not skip it. One that has begun
    // may complete on another thread before the call returns, and is no longer ours then.
    Accept* const begun = accept.release();
    unsigned long const error = begun->place.Begin(listener->socket.Get(), listener->family, begun);
    if (error == 0 || error == WSA_IO_PENDING) return 0;
    accept.reset(begun);
    return error;
} catch (...) {
    return kErrorNotEnoughMemory;
}

void ServerCore::PauseAccepting() noexcept
try {
    counts.acceptPauses.fetch_add(1, std::memory_order_relaxed);
    XCSmartPtr<ServerCore> const self(this);
    XCSmartPtr<XCTimer> const retry(new XCTimer([self] {
        XCSmartPtr<XCTimer> over;
        {
            Hold const hold(self->m_lock);
            over = std::move(self->m_retry);
        }
        self->ArmAccepts();
    }));
    {
        Hold const hold(m_lock);
        if (m_stopping || !m_retry.IsNull()) return;
        m_retry = retry;
    }
    if (retry->Start(kPauseMs).Good()) return;
    Hold const hold(m_lock);
    m_retry.Clear(); // the next connection that goes tries again
} catch (...) {      // no memory for a timer: the same
}

void ServerCore::OnAccept(Accept& accept, unsigned long error) noexcept
{
    bool admitted = false, retry = error != 0 && !IsReset(error);
    {
        Hold const hold(m_lock);
        --accept.listener->armed;
        --m_accepts;
        admitted = error == 0 && !m_stopping;
        if (admitted) ++m_connectionCount; // the place is taken before another accept could take it
        retry = retry && !m_stopping;
        WakeThreads();
    }
    if (retry)
        PauseAccepting();
    else
        ArmAccepts();
    if (admitted) Admit(accept);
}

/// Gives the socket to the port. @return whether it is served.
bool ServerCore::Adopt(win32::Socket& socket, bool& skipsPort) const noexcept
{
    if (!::CreateIoCompletionPort(socket.Handle(), m_port.Get(), 0, 0)) return false;
    // No event is signalled either: nobody waits for the handle itself.
    constexpr UCHAR kModes = FILE_SKIP_COMPLETION_PORT_ON_SUCCESS | FILE_SKIP_SET_EVENT_ON_HANDLE;
    skipsPort = IsPlainSocket(socket.Get()) && ::SetFileCompletionNotificationModes(socket.Handle(), kModes);
    (void)socket.Set(IPPROTO_TCP, TCP_NODELAY, 1);
    return true;
}

/// Serves an accepted connection, whose place in the count is taken.
void ServerCore::Admit(Accept& accept) noexcept
{
    bool skipsPort = false;
    XCSmartPtr<Connection> connection;
    try {
        if (accept.place.Finish(accept.listener->socket.Get()) == 0 && Adopt(accept.place.socket, skipsPort)) {
            XCSocketAddress const peer = accept.place.Peer();
            connection = new Connection(*this, std::move(accept.place.socket), peer, skipsPort);
        }
    } catch (...) { // no memory: the peer sees its connection end
    }
    bool stopping = false;
    {
        Hold const hold(m_lock);
        stopping = m_stopping;
        if (connection.IsNull()) {
            --m_connectionCount;
            return WakeThreads();
        }
        connection->AddRef(); // the list's
        connection->next = m_first;
        if (m_first) m_first->previous = connection;
        m_first = connection;
    }
    counts.accepted.fetch_add(1, std::memory_order_relaxed);
    if (stopping) connection->End(true); // it was not in the list when Stop went through it
    connection->Begin();
}

void ServerCore::Remove(Connection& connection) noexcept
{
    {
        Hold const hold(m_lock);
        (connection.previous ? connection.previous->next : m_first) = connection.next;
        if (connection.next) connection.next->previous = connection.previous;
        --m_connectionCount;
        WakeThreads();
        m_change.WakeAll();
    }
    connection.Release(); // its caller holds it, too
    ArmAccepts();
}

// The end ---------------------------------------------------------------------------------------------------------

/// Ends listening: the accepts complete.
void ServerCore::CloseListeners() noexcept
{
    std::vector<XCSmartPtr<Listener>> listeners;
    XCSmartPtr<XCTimer> retry;
    {
        Hold const hold(m_lock);
        m_stopping = true;
        listeners.swap(m_listeners);
        retry = std::move(m_retry);
        WakeThreads();
    }
    for (XCSmartPtr<Listener> const& listener : listeners) (void)::CancelIoEx(listener->socket.Handle(), nullptr);
    if (!retry.IsNull()) retry->Cancel();
}

void ServerCore::EndConnections(bool abortive)
{
    std::vector<XCSmartPtr<Connection>> all;
    {
        Hold const hold(m_lock);
        all.reserve(m_connectionCount);
        for (Connection* connection = m_first; connection; connection = connection->next) all.emplace_back(connection);
    }
    for (XCSmartPtr<Connection> const& connection : all) connection->End(abortive);
}

XCErrorID ServerCore::Stop(std::uint32_t timeoutMs)
{
    CloseListeners();
    auto const isOver = [this] { return m_threads == 0; };
    if (timeoutMs > 0) {
        EndConnections(false);
        Hold const hold(m_lock);
        if (IsOwnThread()) return XCErrorID::Success;
        if (work::WaitUntil(m_change, m_lock, work::Deadline(timeoutMs), isOver)) return XCErrorID::Success;
    }
    // The deadline has passed. Broken connections end within milliseconds each, unless a handler is stuck.
    EndConnections(true);
    Hold const hold(m_lock);
    if (IsOwnThread()) return XCErrorID::Success;
    for (std::size_t before = SIZE_MAX; timeoutMs > 0 && !isOver() && m_connectionCount < before;) {
        before = m_connectionCount;
        (void)work::WaitUntil(m_change, m_lock, work::Deadline(kBreakMs), isOver);
    }
    return isOver() ? XCErrorID() : errors::MakeCoreError(XCErrStillRunning, m_options.name, XCString(L"a handler"));
}

XCSocketServerStatistics ServerCore::Statistics() const
{
    XCSocketServerStatistics all;
    all.accepted = counts.accepted;
    all.acceptPauses = counts.acceptPauses;
    all.bytesRead = counts.bytesRead;
    all.bytesSent = counts.bytesSent;
    all.timedOut = counts.timedOut;
    all.failedHandlers = counts.failed;
    Hold const hold(m_lock);
    all.connections = m_connectionCount;
    return all;
}

} // namespace xc::net
