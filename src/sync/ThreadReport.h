// ThreadReport.h - stacks of threads as lines of text.
#pragma once

#include <XelbrinCore/XCThreadDump.h>

#include "win32/ThreadStacks.h"

#include <map>
#include <string>
#include <utility>

namespace xc::sync {

/// Names addresses, each once: most threads of a program wait in the same few places. One object for one report.
class FrameNames {
public:
    FrameNames();
    /// Empty when the address is in no module.
    std::wstring const& Of(void const* address, bool isReturn);

private:
    bool m_loaderFree;
    std::map<std::pair<void const*, bool>, std::wstring> m_names;
};

/// The frames, one a line, each beginning with four blanks; with the reason in place of them where there are none.
XCString FramesText(win32::ThreadStack const& stack, std::size_t maxFrames, FrameNames& names);

/// The stack of one thread, as FramesText; empty when it is no thread of the process.
XCString StackOfThread(unsigned long id);

} // namespace xc::sync
