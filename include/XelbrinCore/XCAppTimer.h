// XCAppTimer.h - a timer that ends when the application is asked to exit.
//
// WHAT     An XCTimer (XCTimer.h) that looks at the quit flag of the process (XCApplication::IsExitRequested) before each
//          call: once the flag is set no further call begins, and the timer is no longer pending.
// COST     One question to the system for each call. Nothing waits for the flag: a request ends a timer when it becomes
//          due, and Cancel ends it at once.
// THREADS  As XCTimer.
#pragma once

#include <XelbrinCore/XCTimer.h>

/// A timer of the application (see the head of this file).
class XC_API XCAppTimer : public XCTimer {
public:
    /// As an XCTimer is made.
    using XCTimer::XCTimer;
    ~XCAppTimer() override;

protected:
    bool IsWanted() const override;
};
