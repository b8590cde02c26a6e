// Connecting to one of several addresses.
//
// A name often has addresses of both versions of which one leads nowhere: no answer comes, and the system gives up after
// 20 seconds or more. So the next address does not wait for that: it joins after a head start, and at once when an
// earlier one has failed. The first connection wins; the other attempts are taken back and awaited, since the system
// writes into their memory until then. (RFC 8305 calls it happy eyeballs.)
//
// At most kMostAtOnce attempts run: the system waits for 64 things at a time, and one of them is the cancellation.
#include "net/ConnectRace.h"

#include "errors/CoreError.h"
#include "net/NetErrors.h"
#include "net/SystemAddress.h"
#include "win32/Clock.h"

#include <algorithm>

namespace xc::net {

namespace {

constexpr std::size_t kMostAtOnce = 60;

} // namespace

ConnectRace::~ConnectRace()
{
    for (auto const& attempt : m_running) (void)::CancelIoEx(attempt->socket.Handle(), &attempt->overlapped);
    for (auto const& attempt : m_running) {
        DWORD bytes = 0, flags = 0;
        (void)::WSAGetOverlappedResult(attempt->socket.Get(), &attempt->overlapped, &bytes, TRUE, &flags);
    }
}

void ConnectRace::Fail(XCSocketAddress const& address, unsigned long error)
{
    m_failure = SocketFailure(XCErrSocketCannotConnect, address.AsString(), error);
    m_nextAt = 0; // the next address need not wait for the rest of the head start
}

/// The call wants a socket that is bound already, to any address of its version.
unsigned long ConnectRace::Begin(Attempt& attempt)
{
    attempt.event.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!attempt.event) return win32::LastError();
    attempt.overlapped.hEvent = attempt.event.Get();
    XCIPVersion const version = attempt.address.GetAddress().GetVersion();
    SystemAddress any(XCSocketAddress(XCIPAddress::Any(version), 0)), peer(attempt.address);
    if (unsigned long const error = attempt.socket.Open(any.Family())) return error;
    if (::bind(attempt.socket.Get(), any.Get(), any.length) != 0) return win32::SocketError();
    LPFN_CONNECTEX const connect = win32::GetSocketCalls().connectEx;
    if (!connect) return WSAEOPNOTSUPP;
    DWORD sent = 0;
    bool const done =
        connect(attempt.socket.Get(), peer.Get(), peer.length, nullptr, 0, &sent, &attempt.overlapped) != FALSE;
    unsigned long const error = done ? 0 : win32::SocketError();
    return error == WSA_IO_PENDING ? 0 : error; // one that has ended already has its event set
}

void ConnectRace::StartNext()
{
    auto attempt = std::make_unique<Attempt>();
    attempt->address = m_addresses[m_next++];
    m_running.reserve(m_running.size() + 1);
    m_nextAt = win32::TickMs() + m_headStartMs;
    if (unsigned long const error = Begin(*attempt))
        Fail(attempt->address, error);
    else
        m_running.push_back(std::move(attempt));
}

/// Takes attempts out that have ended. @return whether one is connected.
bool ConnectRace::TakeEnded(win32::Socket& winner, XCSocketAddress& address)
{
    for (std::size_t i = 0; i < m_running.size();) {
        Attempt& attempt = *m_running[i];
        DWORD bytes = 0, flags = 0;
        bool const good =
            ::WSAGetOverlappedResult(attempt.socket.Get(), &attempt.overlapped, &bytes, FALSE, &flags) != FALSE;
        unsigned long error = good ? 0 : win32::SocketError();
        if (error == WSA_IO_INCOMPLETE) {
            ++i;
            continue;
        }
        // Until the socket knows that it is connected, it can neither be asked for its peer nor be shut down.
        if (error == 0 && ::setsockopt(attempt.socket.Get(), SOL_SOCKET, SO_UPDATE_CONNECT_CONTEXT, nullptr, 0) != 0)
            error = win32::SocketError();
        std::unique_ptr<Attempt> const ended = std::move(m_running[i]);
        m_running.erase(m_running.begin() + static_cast<std::ptrdiff_t>(i));
        if (error == 0) {
            winner = std::move(ended->socket);
            address = ended->address;
            return true;
        }
        Fail(ended->address, error);
    }
    return false;
}

unsigned int ConnectRace::WaitMs(Deadline const& deadline) const noexcept
{
    unsigned int const left = deadline.Left();
    if (m_next >= m_addresses.size() || m_running.size() >= kMostAtOnce) return left;
    std::uint64_t const now = win32::TickMs();
    return std::min(left, m_nextAt > now ? static_cast<unsigned int>(m_nextAt - now) : 0u);
}

XCErrorID ConnectRace::Run(Deadline const& deadline, XCCancellation const& cancel, win32::Socket& winner,
                           XCSocketAddress& address)
{
    for (;;) {
        bool const mayStart = m_next < m_addresses.size() && m_running.size() < kMostAtOnce;
        if (mayStart && (m_running.empty() || win32::TickMs() >= m_nextAt)) StartNext();
        if (m_running.empty() && m_next >= m_addresses.size()) return m_failure;
        // The cancellation comes first: of several reasons to wake, the system reports the one with the lowest place.
        HANDLE objects[kMostAtOnce + 1] = {cancel.GetHandle()};
        for (std::size_t i = 0; i < m_running.size(); ++i) objects[i + 1] = m_running[i]->event.Get();
        (void)::WaitForMultipleObjects(static_cast<DWORD>(m_running.size() + 1), objects, FALSE, WaitMs(deadline));
        if (cancel.IsCancelled()) return errors::MakeCoreError(XCErrSocketCancelled, m_addresses.front().AsString());
        if (TakeEnded(winner, address)) return XCErrorID::Success;
        // When the last attempt has failed in the last moment, its failure says more than the time.
        bool const over = m_running.empty() && m_next >= m_addresses.size();
        if (!over && deadline.Left() == 0) return TimedOut();
    }
}

std::vector<XCSocketAddress> InTurns(std::vector<XCSocketAddress> const& addresses)
{
    std::vector<XCSocketAddress> byVersion[2], inTurns;
    for (XCSocketAddress const& address : addresses)
        byVersion[address.GetAddress().GetVersion() != addresses.front().GetAddress().GetVersion()].push_back(address);
    for (std::size_t i = 0; inTurns.size() < addresses.size(); ++i)
        for (auto const& ofVersion : byVersion)
            if (i < ofVersion.size()) inTurns.push_back(ofVersion[i]);
    return inTurns;
}

} // namespace xc::net
