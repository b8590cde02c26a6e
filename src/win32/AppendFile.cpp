#include "win32/AppendFile.h"

#include "win32/AppendTurn.h"
#include "win32/UniqueHandle.h"

#include <windows.h>

namespace xc::win32 {

struct AppendFile::Handle {
    UniqueFile file;
    AppendTurn turn;
};

AppendFile::AppendFile() noexcept = default;
AppendFile::~AppendFile() = default;

unsigned long AppendFile::Open(std::wstring const& path, Start start)
{
    Close();
    auto handle = std::make_unique<Handle>();
    handle->file.Reset(::CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                     start == Start::Truncate ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                     nullptr));
    if (!handle->file) return LastError();
    handle->turn.Open(handle->file.Get());
    m_handle = std::move(handle);
    return 0;
}

void AppendFile::Close() noexcept
{
    m_handle.reset();
}

bool AppendFile::IsOpen() const noexcept
{
    return m_handle != nullptr;
}

std::size_t AppendFile::Write(char const* bytes, std::size_t count, unsigned long& error) noexcept
{
    constexpr std::size_t kMostAtOnce = 1u << 30;
    DWORD written = 0;
    auto const wanted = static_cast<DWORD>(count < kMostAtOnce ? count : kMostAtOnce);
    m_handle->turn.Take();
    BOOL const done = ::WriteFile(m_handle->file.Get(), bytes, wanted, &written, nullptr);
    error = done ? ERROR_DISK_FULL : LastError(); // a short write without an error: no room
    m_handle->turn.Give();
    return written;
}

std::uint64_t AppendFile::Size() const noexcept
{
    LARGE_INTEGER size;
    return m_handle && ::GetFileSizeEx(m_handle->file.Get(), &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

unsigned long RenameFile(std::wstring const& from, std::wstring const& to) noexcept
{
    return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : LastError();
}

unsigned long RemoveFile(std::wstring const& path) noexcept
{
    return ::DeleteFileW(path.c_str()) ? 0 : LastError();
}

bool FileExists(std::wstring const& path) noexcept
{
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::uint32_t LastWriteDay(std::wstring const& path) noexcept
{
    WIN32_FILE_ATTRIBUTE_DATA facts;
    SYSTEMTIME utc;
    SYSTEMTIME local;
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &facts) ||
        !::FileTimeToSystemTime(&facts.ftLastWriteTime, &utc) ||
        !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return 0;
    return local.wYear * 10000u + local.wMonth * 100u + local.wDay;
}

unsigned long MakeFolder(std::wstring const& path)
{
    DWORD const attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? 0 : static_cast<unsigned long>(ERROR_DIRECTORY);
    std::size_t const cut = path.find_last_of(L"\\/");
    if (cut != std::wstring::npos && cut > 0 && path[cut - 1] != L':')
        if (unsigned long const error = MakeFolder(path.substr(0, cut))) return error;
    if (::CreateDirectoryW(path.c_str(), nullptr)) return 0;
    unsigned long const error = LastError();
    return error == ERROR_ALREADY_EXISTS ? 0 : error; // another process was faster
}

std::wstring GetTempFolder()
{
    std::wstring folder(260, L'\0');
    for (;;) {
        DWORD const length = ::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
        bool const fits = length < folder.size();
        folder.resize(length);
        if (fits) break;
    }
    while (folder.size() > 3 && folder.back() == L'\\') folder.pop_back();
    return folder;
}

std::wstring LongPath(std::wstring const& path)
{
    DWORD const size = ::GetLongPathNameW(path.c_str(), nullptr, 0);
    std::wstring name(size, L'\0');
    DWORD const length = ::GetLongPathNameW(path.c_str(), name.data(), size);
    if (length == 0 || length >= size) return path;
    name.resize(length);
    return name;
}

std::uint64_t CoarseMilliseconds() noexcept
{
    return ::GetTickCount64();
}

} // namespace xc::win32
