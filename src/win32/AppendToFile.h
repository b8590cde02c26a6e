// AppendToFile.h - whole records at the end of a file that others append to as well.
#pragma once

#include <string>
#include <string_view>

namespace xc::win32 {

/// Appends the bytes in one write, whoever else appends, creating the file when it is missing. False: not, or not all of it.
bool AppendToFile(std::wstring const& path, std::string_view bytes);

bool IsDirectory(std::wstring const& path) noexcept;

} // namespace xc::win32
