// Paths.h - what the file system says about paths.
#pragma once

#include <string>
#include <vector>

namespace xc::win32 {

bool IsDirectory(std::wstring const& path);
bool IsFile(std::wstring const& path);
/// Absolute and normalised ("." and ".." resolved, "/" as "\"), of any length; the path itself when the system refuses.
std::wstring FullPath(std::wstring const& path);
/// The path as the system takes it: absolute, since another thread may change the current folder between two steps;
/// a long one with the prefix that lifts the limit of its length.
std::wstring SystemPath(std::wstring const& path);
/// The names of the files in a directory that end in the extension (without regard to case), in ordinal order.
std::vector<std::wstring> FilesIn(std::wstring const& directory, std::wstring const& extension);
std::vector<std::wstring> DirectoriesIn(std::wstring const& directory);

/// Appends a directory to PATH of the process, unless it stands there already (compared without regard to case).
bool AppendToSearchPath(std::wstring const& directory);

} // namespace xc::win32
