#include "win32/AppendToFile.h"

#include "win32/UniqueHandle.h"

namespace xc::win32 {

bool AppendToFile(wchar_t const* path, std::string_view bytes) noexcept
{
    // Append access alone makes the system write at the end of the file as it is at that moment.
    UniqueFile const file(::CreateFileW(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file || bytes.size() > MAXDWORD) return false;
    DWORD written = 0;
    DWORD const size = static_cast<DWORD>(bytes.size());
    return ::WriteFile(file.Get(), bytes.data(), size, &written, nullptr) && written == size;
}

bool IsDirectory(std::wstring const& path) noexcept
{
    DWORD const attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace xc::win32
