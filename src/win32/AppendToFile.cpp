#include "win32/AppendToFile.h"

#include "win32/AppendFile.h"

#include <windows.h>

namespace xc::win32 {

bool AppendToFile(std::wstring const& path, std::string_view bytes)
{
    AppendFile file;
    if (file.Open(path, AppendFile::Start::Append) != 0) return false;
    unsigned long error = 0;
    return file.Write(bytes.data(), bytes.size(), error) == bytes.size();
}

bool IsDirectory(std::wstring const& path) noexcept
{
    DWORD const attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace xc::win32
