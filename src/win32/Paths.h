// Paths.h - what the file system says about paths.
#pragma once

#include <string>
#include <vector>

namespace xc::win32 {

bool IsDirectory(std::wstring const& path) noexcept;
bool IsFile(std::wstring const& path) noexcept;
/// Absolute and normalised ("." and ".." resolved, "/" as "\"), of any length; the path itself when the system refuses.
std::wstring FullPath(std::wstring const& path);
/// The names of the files in a directory that end in the extension (without regard to case), in ordinal order.
std::vector<std::wstring> FilesIn(std::wstring const& directory, std::wstring const& extension);
std::vector<std::wstring> DirectoriesIn(std::wstring const& directory);

/// Appends a directory to PATH of the process.
bool AppendToSearchPath(std::wstring const& directory);

} // namespace xc::win32
