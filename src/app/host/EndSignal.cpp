// One rule for all ways in which the system asks a program to end: each becomes the request to quit.
//
// After Ctrl-C and Ctrl-Break the system waits for nothing: the handler returns and the program ends in its own time.
// After the others the process is gone as soon as the handler has returned, or when the system's patience is over. The
// handler therefore stays inside until the process has ended; the last tenth of the time, but at least a quarter of a
// second, is kept for what would be lost otherwise: the names of those who have not ended, and the logs. Then the
// process ends itself, with the exit code of a late end, in place of being killed with one of the system's.
//
// A service is told of the log-off of any user, and goes on; its shutdown is told by its manager, which waits longer.
#include "app/host/EndSignal.h"

#include <algorithm>

namespace xc::host {

namespace {

constexpr unsigned int kLeastRestMs = 250;

/// How long the program has before its last words.
unsigned int PatienceOf(unsigned int allowedMs) noexcept
{
    unsigned int const rest = std::max(allowedMs / 10, kLeastRestMs);
    return allowedMs > rest ? allowedMs - rest : 0;
}

} // namespace

void AnswerEndSignal(EndCause cause, EndSteps& steps) noexcept
{
    bool const isOfSession = cause == EndCause::LogOff || cause == EndCause::Shutdown;
    if (isOfSession && steps.IsService()) return;
    steps.RequestQuit();
    if (cause == EndCause::CtrlC || cause == EndCause::CtrlBreak) return;
    unsigned int const patience = PatienceOf(steps.AllowedMs(cause));
    steps.AwaitEnd(patience);
    steps.SayLate(cause, patience);
    steps.EndProcess();
}

} // namespace xc::host
