// The beginning of the socket library and the opening of sockets.
//
// The library counts its beginnings and ends, and its last end closes all sockets of the process. An end from a static
// destructor would come while threads may still use sockets, or when the system has already ended them; so there is one
// beginning and no end: the process's own end closes everything.
#include "win32/Socket.h"

#include "win32/SystemFunction.h"

namespace xc::win32 {

namespace {

unsigned long Start() noexcept
{
    WSADATA data;
    return static_cast<unsigned long>(::WSAStartup(MAKEWORD(2, 2), &data));
}

template <class Call>
void Ask(SOCKET socket, GUID id, Call& call) noexcept
{
    DWORD got = 0;
    if (::WSAIoctl(socket, SIO_GET_EXTENSION_FUNCTION_POINTER, &id, sizeof id, &call, sizeof call, &got, nullptr,
                   nullptr) != 0)
        call = nullptr;
}

SocketCalls AskForCalls() noexcept
{
    SocketCalls calls;
    Socket socket;
    // Any socket tells them; they serve all versions of the protocol.
    if (socket.Open(AF_INET) != 0 && socket.Open(AF_INET6) != 0) return calls;
    Ask(socket.Get(), WSAID_ACCEPTEX, calls.acceptEx);
    Ask(socket.Get(), WSAID_CONNECTEX, calls.connectEx);
    Ask(socket.Get(), WSAID_GETACCEPTEXSOCKADDRS, calls.getAddresses);
    return calls;
}

} // namespace

unsigned long StartSockets() noexcept
{
    static unsigned long const error = Start();
    return error;
}

SocketCalls const& GetSocketCalls() noexcept
{
    static SocketCalls const calls = AskForCalls();
    return calls;
}

unsigned long ErrorOfStatus(ULONG_PTR status) noexcept
{
    using Translate = ULONG(WINAPI*)(LONG);
    static auto const translate = SystemFunction<Translate>(L"ntdll.dll", "RtlNtStatusToDosError");
    return translate ? translate(static_cast<LONG>(status)) : ERROR_GEN_FAILURE;
}

unsigned long Socket::Open(int family) noexcept
{
    Close();
    if (unsigned long const error = StartSockets()) return error;
    m_socket =
        ::WSASocketW(family, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    return IsOpen() ? 0 : SocketError();
}

unsigned long Socket::Set(int level, int option, int value) const noexcept
{
    bool const set = ::setsockopt(m_socket, level, option, reinterpret_cast<char const*>(&value), sizeof value) == 0;
    return set ? 0 : SocketError();
}

void Socket::SetAbortive() const noexcept
{
    LINGER const now{1, 0};
    (void)::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<char const*>(&now), sizeof now);
}

} // namespace xc::win32
