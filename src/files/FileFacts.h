// FileFacts.h - the facts of the system as the public structure.
#pragma once

#include <XelbrinCore/XCFileInfo.h>

#include "win32/FileDetails.h"

namespace xc::files {

void FillInfo(win32::FileDetails const& details, XCFileInfo& info) noexcept;

} // namespace xc::files
