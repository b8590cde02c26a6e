// OpenName.h - a caller's path in the form in which it is opened or created.
#pragma once

#include <XelbrinCore/XCFile.h>

#include "win32/SystemPath.h"

namespace xc::files {

/// Bad when a path with a fault would be created and nobody has asked for that.
XCErrorID NameToOpen(XCPath const& path, XCFileNames names, bool mayCreate, win32::SystemPath& system);

} // namespace xc::files
