// StopDeadline.h - a host that was asked to end ends in time, whatever its modules do.
#pragma once

#include "errors/RunningCalls.h"

#include <memory>

namespace xc::host {

/// What a host does when one of its calls does not come back: on threads of the deadline, while the thread that was in
/// the call is held and touches nothing of the host any more.
class StopActions {
public:
    virtual ~StopActions() = default;
    /// Somebody does not answer: the exit code says so.
    virtual void SayLate() noexcept = 0;
    /// The plug-in of a held call stays, and its code.
    virtual void KeepLoaded(errors::CallNote const& call) noexcept = 0;
    /// Asks the plug-ins that the held thread has not come to.
    virtual void AskRest() noexcept = 0;
    /// Unloads in place of the host's thread.
    virtual void EndInstead() noexcept = 0;
    /// The thread that hands on the quit request; 0 while there is none.
    virtual unsigned long AskingThread() const noexcept = 0;
};

/// Watches the end of a host, from its construction on; all of its threads are there from the beginning, because in a
/// process whose loader hangs none can be started. One object a host, on the host's thread.
class StopDeadline {
public:
    /// @param deadlineMs how long a call may go on after the request to end; XCInfinite: reports on request alone.
    /// @throws XCException when a thread cannot be started.
    StopDeadline(unsigned int deadlineMs, StopActions& actions);
    ~StopDeadline();
    StopDeadline(StopDeadline const&) = delete;
    StopDeadline& operator=(StopDeadline const&) = delete;

    [[nodiscard]] unsigned int Milliseconds() const noexcept;
    /// The host's end has begun, whether it was asked for or not.
    void BeginEnd() noexcept;
    /// The deadline has passed, and those who are late have been named.
    [[nodiscard]] bool IsOver() const noexcept;
    /// The thread that hands on the quit request does not come back.
    [[nodiscard]] bool HoldsAskingThread() const noexcept;

    /// Asks the watching host of a process for a report. @return 0, or the number of the system's error.
    static unsigned long AskForReport(unsigned long process);

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace xc::host
