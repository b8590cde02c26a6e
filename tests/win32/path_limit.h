// path_limit.h - Windows' limit of paths for the calls of the library, where the system of the tests has none; calls are
// counted.
#pragma once

#include "prelude.h"
#include "sync/import_patch.h"

namespace win32_test {

inline int g_long = 0;     ///< calls with the long form
inline int g_bypasses = 0; ///< calls with a path over the limit and without the long form, or relative

inline bool IsRelative(wchar_t const* path) noexcept
{
    return path[0] != L'\\' && (path[0] == 0 || path[1] != L':');
}

inline bool IsRefused(wchar_t const* path) noexcept
{
    if (std::wcsncmp(path, L"\\\\?\\", 4) == 0)
        ++g_long;
    else if (std::wcslen(path) + 1 > MAX_PATH - 12 || IsRelative(path)) { // the limit of folders, the lower one
        ++g_bypasses;
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return true;
    }
    return false;
}

/// Stands for a call whose first argument is a path.
template <auto Function, auto Failure, class... Rest>
auto WINAPI Limited(wchar_t const* path, Rest... rest) -> decltype(Function(path, rest...))
{
    return IsRefused(path) ? decltype(Function(path, rest...))(Failure) : Function(path, rest...);
}

template <auto Function, auto Failure, class Result, class... Rest>
void* StandIn(Result(WINAPI*)(wchar_t const*, Rest...))
{
    return reinterpret_cast<void*>(
        static_cast<Result(WINAPI*)(wchar_t const*, Rest...)>(&Limited<Function, Failure, Rest...>));
}

inline HANDLE WINAPI LimitedCreate(wchar_t const* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                                   DWORD start, DWORD flags, HANDLE model)
{
    return IsRefused(path) ? INVALID_HANDLE_VALUE : ::CreateFileW(path, access, share, security, start, flags, model);
}

inline HANDLE WINAPI LimitedFind(wchar_t const* path, WIN32_FIND_DATAW* entry)
{
    return IsRefused(path) ? INVALID_HANDLE_VALUE : ::FindFirstFileW(path, entry);
}

inline BOOL WINAPI LimitedMove(wchar_t const* from, wchar_t const* to, DWORD flags)
{
    return IsRefused(from) || IsRefused(to) ? FALSE : ::MoveFileExW(from, to, flags);
}

inline BOOL WINAPI LimitedCopy(wchar_t const* from, wchar_t const* to, LPPROGRESS_ROUTINE told, void* data,
                               BOOL* cancel, DWORD flags)
{
    return IsRefused(from) || IsRefused(to) ? FALSE : ::CopyFileExW(from, to, told, data, cancel, flags);
}

/// Windows' limit for the library, as long as it lives.
class Limit {
#define XC_LIMIT(function, failure)                                                                                    \
    {                                                                                                                  \
#function, StandIn < &::function, failure>(&::function)                                                        \
    }
    sync_test::ImportPatch m_patches[11] = {
        {"CreateFileW", reinterpret_cast<void*>(&LimitedCreate)},
        {"FindFirstFileW", reinterpret_cast<void*>(&LimitedFind)},
        {"MoveFileExW", reinterpret_cast<void*>(&LimitedMove)},
        {"CopyFileExW", reinterpret_cast<void*>(&LimitedCopy)},
        XC_LIMIT(GetFileAttributesW, INVALID_FILE_ATTRIBUTES),
        XC_LIMIT(GetFileAttributesExW, FALSE),
        XC_LIMIT(SetFileAttributesW, FALSE),
        XC_LIMIT(CreateDirectoryW, FALSE),
        XC_LIMIT(GetFileSecurityW, FALSE),
        XC_LIMIT(DeleteFileW, FALSE),
        XC_LIMIT(GetDiskFreeSpaceExW, FALSE),
    };
#undef XC_LIMIT
};

} // namespace win32_test
