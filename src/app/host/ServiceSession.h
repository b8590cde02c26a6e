// ServiceSession.h - the life of a service as its manager is told it, without the system.
#pragma once

#include "win32/ServiceManager.h"

#include <cstdint>
#include <mutex>

namespace xc::host {

/// Who is told, and who acts. The system's in XCService.cpp.
class ServiceSteps {
public:
    virtual ~ServiceSteps() = default;
    /// One report to the manager. Calls come one after the other.
    virtual void Report(win32::ServiceReport const& report) noexcept = 0;
    /// The manager wants the end.
    virtual void RequestQuit() noexcept = 0;
};

/// How long a service may take before it counts as hanging, in milliseconds.
struct ServiceLimits {
    unsigned int startMs;
    unsigned int stopMs;
    unsigned int shutdownMs; ///< when the machine goes down and the manager gives no more time
};

/// One service, from its start to its end. Any thread; a report that was begun first goes out first.
class ServiceSession {
public:
    ServiceSession(ServiceSteps& steps, ServiceLimits const& limits) noexcept : m_steps(steps), m_limits(limits) {}

    /// All times are ticks in milliseconds.
    void Begin(std::uint64_t now) noexcept;
    /// It is ready for work. Without effect when it stops already.
    void SetRunning() noexcept;
    /// What the manager sends. @return the answer to it: 0, or 120 for what the service does not know.
    unsigned long Control(unsigned long control, std::uint64_t now) noexcept;
    /// Tells that the start or stop goes on, as long as its limit has not passed. Once a second.
    /// @return true when the stop has passed its limit: the process is to be ended.
    [[nodiscard]] bool Tick(std::uint64_t now) noexcept;
    /// It has ended; nothing is told after that. @param exitCode 0, or a number of the program's.
    void End(unsigned int exitCode) noexcept;

    static constexpr unsigned int kTickMs = 1000;

private:
    void Pend(unsigned long state, std::uint64_t now, unsigned int limitMs) noexcept;
    void Tell() noexcept { m_steps.Report(m_report); }

    ServiceSteps& m_steps;
    ServiceLimits const m_limits;
    std::mutex m_lock;
    win32::ServiceReport m_report;
    std::uint64_t m_pendingUntil = 0;
};

} // namespace xc::host
