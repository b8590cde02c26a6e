// ErrorLog.h - the process's error log.
#pragma once

#include <XelbrinCore/XCError.h>

#include <string>

namespace xc::errors {

/// The folder that TMP or TMPDIR names, the first that exists; else ".".
std::wstring TemporaryFolder();

/// The log of a module in a folder: its file name without the last four units, and "-ERROR.LOG".
XCString ErrorLogIn(std::wstring const& folder, std::wstring const& module);

/// In place of the log of the program in its temporary folder.
void SetErrorLogPath(XCString const& path);
XCString ErrorLogPath();

/// Appends one record: the time of the moment and the calling thread, the message, and the stack text unless empty.
/// False when nothing was written.
bool AppendToErrorLog(XCString const& message, XCString const& stack);

} // namespace xc::errors
