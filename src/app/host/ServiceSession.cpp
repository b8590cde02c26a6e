// The states of a service and the reports about them.
//
//   stopped -> starting -> running -> stopping -> stopped
//
// While it starts or stops the manager is told once a second that it goes on: each report has a higher check point and
// says when the next one comes at the latest. After the limit no more of them come, so that the manager sees a start
// that hangs; a stop that hangs ends the process, or the machine would wait for it. A service that starts takes no
// controls, which the manager knows from the report and refuses for it. The end is the last report: the manager may end
// the process after it, and a later report would be about nobody.
//
// Invariant: reports are made under the lock, so that they leave in the order of the states.
#include "app/host/ServiceSession.h"

#include <algorithm>

namespace xc::host {

namespace {

enum State : unsigned long { Stopped = 1, Starting = 2, Stopping = 3, Running = 4 };
enum Control : unsigned long { Stop = 1, Interrogate = 4, Shutdown = 5, PreShutdown = 15 };

constexpr unsigned long kAcceptStop = 0x1, kAcceptShutdown = 0x4, kAcceptPreShutdown = 0x100;
constexpr unsigned long kUnknownControl = 120;                  // ERROR_CALL_NOT_IMPLEMENTED
constexpr unsigned long kServiceSpecific = 1066;                // ERROR_SERVICE_SPECIFIC_ERROR
constexpr unsigned long kHintMs = 10 * ServiceSession::kTickMs; // a busy machine delays the ticks

} // namespace

void ServiceSession::Pend(unsigned long state, std::uint64_t now, unsigned int limitMs) noexcept
{
    m_report.state = state;
    m_report.accepted = 0;
    m_report.checkPoint = 1;
    m_report.hintMs = kHintMs;
    m_pendingUntil = now + limitMs;
    Tell();
}

void ServiceSession::Begin(std::uint64_t now) noexcept
{
    std::lock_guard const hold(m_lock);
    Pend(Starting, now, m_limits.startMs);
}

void ServiceSession::SetRunning() noexcept
{
    std::lock_guard const hold(m_lock);
    if (m_report.state != Starting) return;
    m_report = {};
    m_report.state = Running;
    m_report.accepted = kAcceptStop | kAcceptShutdown | kAcceptPreShutdown;
    Tell();
}

unsigned long ServiceSession::Control(unsigned long control, std::uint64_t now) noexcept
{
    bool const isStop = control == Stop || control == Shutdown || control == PreShutdown;
    if (!isStop && control != Interrogate) return kUnknownControl;
    {
        std::lock_guard const hold(m_lock);
        if (m_report.state == Stopped) return 0;
        if (!isStop) return Tell(), 0;
        // The limit of the first: a second stop, or the shutdown after it, gives no more time.
        if (m_report.state != Stopping)
            Pend(Stopping, now, control == Shutdown ? std::min(m_limits.stopMs, m_limits.shutdownMs) : m_limits.stopMs);
    }
    m_steps.RequestQuit();
    return 0;
}

bool ServiceSession::Tick(std::uint64_t now) noexcept
{
    std::lock_guard const hold(m_lock);
    if (m_report.state != Starting && m_report.state != Stopping) return false;
    if (now >= m_pendingUntil) return m_report.state == Stopping;
    ++m_report.checkPoint;
    Tell();
    return false;
}

void ServiceSession::End(unsigned int exitCode) noexcept
{
    std::lock_guard const hold(m_lock);
    if (m_report.state == Stopped) return;
    m_report = {};
    m_report.exitCode = exitCode == 0 ? 0 : kServiceSpecific;
    m_report.specificCode = exitCode;
    Tell();
}

} // namespace xc::host
