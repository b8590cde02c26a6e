// FileErrors.h - the errors of the room: each names the file, the system's number and its words.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCPath.h>

#include "win32/SystemPath.h"

namespace xc::files {

/// The failure of a call on a file; 0 is success. Messages show the absolute path.
XCErrorID FileError(XCCoreError code, win32::SystemPath const& path, unsigned long systemError);
/// The same for XCErrFileHeld, whose last parameter is the count of tries.
XCErrorID HeldError(win32::SystemPath const& path, unsigned long systemError, unsigned int tries);
/// A path that may not be created as it is.
XCErrorID NameError(XCPath const& path, XCString const& name, XCPathFault fault);

} // namespace xc::files
