// EndSignal.h - what the system's wish to end the program leads to.
#pragma once

namespace xc::host {

/// How the system asks.
enum class EndCause {
    CtrlC,     ///< somebody at the console
    CtrlBreak, ///< the same, or a parent process
    Close,     ///< the console is closed
    LogOff,    ///< the user of the session leaves; in a service: any user
    Shutdown   ///< the machine goes down
};

/// What the answer is made of. The system's in QuitSignal.cpp.
class EndSteps {
public:
    virtual ~EndSteps() = default;
    /// Whether the process is a service, whose end is the business of its manager.
    virtual bool IsService() const noexcept = 0;
    virtual void RequestQuit() noexcept = 0;
    /// How long the system waits for the answer before it ends the process, in milliseconds.
    virtual unsigned int AllowedMs(EndCause cause) const noexcept = 0;
    /// Waits on this thread for the end of the process, which ends this thread, too. Returns when the time is over.
    virtual void AwaitEnd(unsigned int milliseconds) noexcept = 0;
    /// Names who has not ended, and writes the logs out.
    virtual void SayLate(EndCause cause, unsigned int milliseconds) noexcept = 0;
    /// Ends the process, before the system does.
    virtual void EndProcess() noexcept = 0;
};

/// Answers on the thread of the system's handler. Returns at once where the system does not wait for the end.
void AnswerEndSignal(EndCause cause, EndSteps& steps) noexcept;

} // namespace xc::host
