// The timer of an application: one that stops being wanted as soon as anything in the process has asked for the end.
//
// The question is asked by the timer itself before each call, so nobody has to find and stop the timers of a program
// that is about to end, and a call that is under way is left to finish. The request belongs to the process and not to
// one application, which is why the timer needs no reference to any: it can outlive the application that made it.
#include <XelbrinCore/XCAppTimer.h>

#include <XelbrinCore/XCApplication.h>

XCAppTimer::~XCAppTimer() = default;

bool XCAppTimer::IsWanted() const
{
    return !XCApplication::IsExitRequested();
}
