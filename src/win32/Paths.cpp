#include "win32/Paths.h"

#include "win32/Process.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <windows.h>

namespace xc::win32 {

bool IsDirectory(std::wstring const& path)
{
    DWORD const attributes = ::GetFileAttributesW(SystemPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFile(std::wstring const& path)
{
    DWORD const attributes = ::GetFileAttributesW(SystemPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::wstring FullPath(std::wstring const& path)
{
    std::wstring full(260, L'\0');
    for (;;) {
        DWORD const length = ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) return path;
        bool const fits = length < full.size();
        full.resize(length);
        if (fits) return full;
    }
}

std::wstring SystemPath(std::wstring const& path)
{
    constexpr std::size_t kSafeLength = 240; // leaves room for the ending of a temporary file
    if (path.empty() || path.starts_with(L"\\\\?\\")) return path;
    std::wstring full = FullPath(path);
    if (full.size() < kSafeLength) return full;
    return full.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

namespace {

bool EndsIn(std::wstring const& name, std::wstring const& extension)
{
    return name.size() >= extension.size() && ::CompareStringOrdinal(name.c_str() + (name.size() - extension.size()),
                                                                     -1, extension.c_str(), -1, TRUE) == CSTR_EQUAL;
}

/// The entries of a directory, files or directories, without "." and "..", sorted.
std::vector<std::wstring> EntriesOf(std::wstring const& directory, bool directories)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW(SystemPath(directory + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return names;
    auto const close = [](void* handle) { ::FindClose(handle); };
    std::unique_ptr<void, decltype(close)> const owner(search, close);
    do {
        std::wstring const name = entry.cFileName;
        bool const isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (isDirectory == directories && name != L"." && name != L"..") names.push_back(name);
    } while (::FindNextFileW(search, &entry));
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

std::vector<std::wstring> FilesIn(std::wstring const& directory, std::wstring const& extension)
{
    std::vector<std::wstring> names = EntriesOf(directory, false);
    std::erase_if(names, [&](std::wstring const& name) { return !EndsIn(name, extension); });
    return names;
}

std::vector<std::wstring> DirectoriesIn(std::wstring const& directory)
{
    return EntriesOf(directory, true);
}

namespace {

/// Whether a list of directories between semicolons holds this one.
bool HoldsDirectory(std::wstring_view path, std::wstring const& directory)
{
    while (!path.empty()) {
        std::size_t const end = std::min(path.find(L';'), path.size());
        if (::CompareStringOrdinal(path.data(), static_cast<int>(end), directory.c_str(), -1, TRUE) == CSTR_EQUAL)
            return true;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

} // namespace

bool AppendToSearchPath(std::wstring const& directory)
{
    std::wstring path = ReadEnvironment(L"PATH").value_or(L"");
    if (HoldsDirectory(path, directory)) return true;
    if (!path.empty() && path.back() != L';') path += L';';
    return ::SetEnvironmentVariableW(L"PATH", (path + directory).c_str()) != 0;
}

} // namespace xc::win32
