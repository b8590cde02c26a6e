#include <XelbrinCore/XCAppTimer.h>

#include <XelbrinCore/XCApplication.h>

XCAppTimer::~XCAppTimer() = default;

bool XCAppTimer::IsWanted() const
{
    return !XCApplication::IsExitRequested();
}
