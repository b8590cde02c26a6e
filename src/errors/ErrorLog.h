// ErrorLog.h - the process's error log.
#pragma once

#include <XelbrinCore/XCError.h>

namespace xc::errors {

void SetErrorLogPath(XCString const& path);
XCString ErrorLogPath();

/// Appends one record: the time of the moment and the calling thread, the message, and the stack text unless empty.
/// False when nothing was written.
bool AppendToErrorLog(XCString const& message, XCString const& stack);

} // namespace xc::errors
