// Modules of the process: found by an address, loaded, pinned and freed. A handle is owned by exactly one Module;
// finding one by an address without owning it is ModuleAt. The last error of the caller survives a release.
#include "win32/Module.h"

#include "win32/LastError.h"

#include <windows.h>

namespace xc::win32 {

void* ModuleAt(void const* address) noexcept
{
    KeepLastError const keep;
    HMODULE handle = nullptr;
    // Counting would keep the module loaded for who only asks.
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    return ::GetModuleHandleExW(kFlags, static_cast<LPCWSTR>(address), &handle) ? handle : nullptr;
}

unsigned long RestrictSearch(std::vector<SystemPath> const& folders, SystemPath& failed)
{
    std::vector<DLL_DIRECTORY_COOKIE> added;
    for (SystemPath const& folder : folders) {
        added.push_back(::AddDllDirectory(folder.ForSystem()));
        if (added.back()) continue;
        unsigned long const error = LastError();
        failed = folder;
        added.pop_back();
        for (DLL_DIRECTORY_COOKIE const cookie : added) ::RemoveDllDirectory(cookie);
        return error;
    }
    return ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32) ? 0 : LastError();
}

Module Module::Load(SystemPath const& path, bool restricted)
{
    constexpr DWORD kRestricted =
        LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32;
    // A failing load must return, not show a box that nobody sees on a server.
    DWORD before = 0;
    ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before);
    HMODULE const handle =
        ::LoadLibraryExW(path.ForSystem(), nullptr, restricted ? kRestricted : LOAD_WITH_ALTERED_SEARCH_PATH);
    KeepLastError const keep;
    ::SetThreadErrorMode(before, nullptr);
    return Module(handle);
}

Module Module::OfAddress(void const* address) noexcept
{
    HMODULE handle = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<LPCWSTR>(address), &handle);
    return Module(handle);
}

void* Module::Find(char const* name) const noexcept
{
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

void Module::Free() noexcept
{
    if (!m_handle) return;
    KeepLastError const keep;
    ::FreeLibrary(static_cast<HMODULE>(std::exchange(m_handle, nullptr)));
}

} // namespace xc::win32
