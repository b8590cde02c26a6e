// ServerCore.h - the completion port of a server, its threads, listeners and connections.
#pragma once

#include <XelbrinCore/XCSocketServer.h>
#include <XelbrinCore/XCTimer.h>

#include "net/Listening.h"
#include "net/PortOperation.h"
#include "win32/SlimLock.h"
#include "win32/UniqueHandle.h"
#include "work/Executor.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace xc::net {

class Connection;

/// Kept alive by its public object, its threads, its connections and its accepts.
class ServerCore final : public XCRefCount {
public:
    ServerCore(XCSocketServer::Factory factory, XCSocketServerOptions const& options);
    ~ServerCore() override;

    XCErrorID Listen(XCSocketAddress const& address, XCSocketAddress* local);
    XCErrorID Stop(std::uint32_t timeoutMs);
    [[nodiscard]] XCSocketServerStatistics Statistics() const;

    // For connections.
    [[nodiscard]] XCSocketServerOptions const& Options() const noexcept { return m_options; }
    [[nodiscard]] XCSmartPtr<XCConnectionI> NewHandler(XCConnection& connection) { return m_factory(connection); }
    [[nodiscard]] bool TakeBuffer() noexcept;
    void GiveBuffer() noexcept { m_readBuffers.fetch_sub(1, std::memory_order_relaxed); }
    /// Hands an operation to a thread of the server. @return the system's error.
    unsigned long Post(PortOperation& operation) noexcept;
    void Remove(Connection& connection) noexcept;

    struct Counts {
        std::atomic<std::uint64_t> accepted{0}, acceptPauses{0}, bytesRead{0}, bytesSent{0}, timedOut{0}, failed{0};
    };
    Counts counts;

private:
    struct Listener : XCRefCount {
        win32::Socket socket;
        XCString name;
        int family = 0;
        unsigned int armed = 0; // accepts under way; with the server's lock
    };
    struct Accept;
    using Hold = std::unique_lock<win32::SlimLock>;

    XCErrorID StartThreads();
    void Loop() noexcept;
    void LeaveLoop() noexcept;
    void Dispatch(OVERLAPPED_ENTRY const& entry) noexcept;
    void ArmAccepts() noexcept;
    unsigned long Arm(XCSmartPtr<Listener> const& listener) noexcept;
    XCSmartPtr<Listener> NextToArm() noexcept;
    void OnAccept(Accept& accept, unsigned long error) noexcept;
    void Admit(Accept& accept) noexcept;
    void PauseAccepting() noexcept;
    [[nodiscard]] bool Adopt(win32::Socket& socket, bool& skipsPort) const noexcept;
    void CloseListeners() noexcept;
    void EndConnections(bool abortive);
    [[nodiscard]] bool IsEmpty() const noexcept { return m_connectionCount == 0 && m_accepts == 0; }
    void WakeThreads() noexcept;
    bool IsOwnThread() const noexcept;
    [[nodiscard]] bool IsStopping() const noexcept;

    XCSocketServerOptions const m_options;
    XCSocketServer::Factory m_factory; // goes with the last thread, before Stop returns
    win32::UniqueKernelObject m_port;
    std::atomic<std::size_t> m_readBuffers{0};

    mutable win32::SlimLock m_lock; // guards all that follows; a connection's lock may be held above it, never below
    win32::SlimSignal m_change;
    std::vector<XCSmartPtr<Listener>> m_listeners;
    Connection* m_first = nullptr;
    std::size_t m_connectionCount = 0;
    unsigned int m_accepts = 0; // under way
    std::vector<unsigned long> m_threadIds;
    unsigned int m_threads = 0;
    bool m_stopping = false;
    XCSmartPtr<XCTimer> m_retry; // accepting goes on; null: not pausing
};

} // namespace xc::net
