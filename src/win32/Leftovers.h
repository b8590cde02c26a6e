// Leftovers.h - the temporary files of ReplaceFileContents: their names, and those that killed writers left.
#pragma once

#include <string>
#include <string_view>

namespace xc::win32 {

/// "PATH.PROCESS-NUMBER.tmp": beside the file, owned by the process of that number.
std::wstring TemporaryName(std::wstring const& path, unsigned long process, unsigned int number);

/// Removes the temporary files of this file whose writer no longer runs. Never fails: a file that cannot be removed
/// stays.
/// @param path as the system takes it (SystemPath).
void RemoveLeftovers(std::wstring const& path);

} // namespace xc::win32
