// programs.h - programs that are run to their end, or to the end of patience, whatever they do.
#pragma once

#include <XelbrinCore/XCString.h>

namespace xc::evidence {

struct Outcome {
    bool started = false;
    bool ended = false;         ///< of itself, before the time was over
    unsigned long exitCode = 0; ///< of a crash: the code of the exception, from 0xC0000000
    double seconds = 0;
};

/// Runs a program in a folder, its output and errors into a file. When the time is over, it and all processes that it
/// has started are ended.
Outcome RunProgram(XCString const& commandLine, XCString const& folder, XCString const& output, unsigned int timeoutMs);

/// How a program came to its end, for readers: "ended with 1", "crashed (0xC0000005)", "was ended after 300 seconds".
XCString Ending(Outcome const& outcome);

} // namespace xc::evidence
