// Socket.h - one owner for the system's sockets, and the few steps that all users of sockets share. For .cpp files: it
// includes the system's headers.
#pragma once

#include <winsock2.h>
// after winsock2.h
#include <mswsock.h>
#include <ws2tcpip.h>

#include "win32/LastError.h"

#include <utility>

namespace xc::win32 {

/// Owns a socket; closing keeps the thread's last error.
class Socket {
public:
    Socket() noexcept = default;
    explicit Socket(SOCKET socket) noexcept : m_socket(socket) {}
    Socket(Socket&& other) noexcept : m_socket(std::exchange(other.m_socket, INVALID_SOCKET)) {}
    Socket& operator=(Socket&& other) noexcept
    {
        if (this != &other) {
            Close();
            m_socket = std::exchange(other.m_socket, INVALID_SOCKET);
        }
        return *this;
    }
    ~Socket() { Close(); }

    [[nodiscard]] SOCKET Get() const noexcept { return m_socket; }
    [[nodiscard]] HANDLE Handle() const noexcept { return reinterpret_cast<HANDLE>(m_socket); }
    [[nodiscard]] bool IsOpen() const noexcept { return m_socket != INVALID_SOCKET; }
    void Close() noexcept
    {
        KeepLastError const keep;
        if (IsOpen()) ::closesocket(std::exchange(m_socket, INVALID_SOCKET));
    }

    /// Opens a stream socket for overlapped calls, which child processes do not inherit. @return the system's error.
    unsigned long Open(int family) noexcept;
    /// Sets an option that is a number. @return the system's error.
    unsigned long Set(int level, int option, int value) const noexcept;
    /// The next Close breaks the connection in place of ending it, so that the peer learns of it at once.
    void SetAbortive() const noexcept;

private:
    SOCKET m_socket = INVALID_SOCKET;
};

/// The calls that the socket library hands out on request.
struct SocketCalls {
    LPFN_ACCEPTEX acceptEx = nullptr;
    LPFN_CONNECTEX connectEx = nullptr;
    LPFN_GETACCEPTEXSOCKADDRS getAddresses = nullptr;
};

/// Makes the socket library ready for the process, once; it stays ready until the process ends. @return its error.
unsigned long StartSockets() noexcept;
/// Null members where the system does not have a call.
SocketCalls const& GetSocketCalls() noexcept;
/// The system's error of a completed call, from the status that stands in its structure.
unsigned long ErrorOfStatus(ULONG_PTR status) noexcept;
/// The error of the last call on a socket.
inline unsigned long SocketError() noexcept
{
    return static_cast<unsigned long>(::WSAGetLastError());
}

} // namespace xc::win32
