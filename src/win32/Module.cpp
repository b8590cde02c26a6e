// Modules of the process: found by an address, loaded, pinned and freed. A handle is owned by exactly one Module;
// finding one by an address without owning it is ModuleAt. The last error of the caller survives a release.
#include "win32/Module.h"

#include "win32/LastError.h"

#include <atomic>
#include <memory>
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
    using Cookies = std::vector<DLL_DIRECTORY_COOKIE>;
    static std::atomic<Cookies*> current; // kept at the end: modules are loaded until then
    auto const takeOut = [](Cookies const& cookies) {
        KeepLastError const keep;
        for (DLL_DIRECTORY_COOKIE const cookie : cookies) ::RemoveDllDirectory(cookie);
    };
    auto added = std::make_unique<Cookies>();
    added->reserve(folders.size());
    for (SystemPath const& folder : folders) {
        if (DLL_DIRECTORY_COOKIE const cookie = ::AddDllDirectory(folder.ForSystem())) {
            added->push_back(cookie);
            continue;
        }
        unsigned long const error = LastError();
        takeOut(*added);
        failed = folder;
        return error;
    }
    if (!::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32)) {
        takeOut(*added);
        return LastError();
    }
    std::unique_ptr<Cookies> const earlier(current.exchange(added.release()));
    if (earlier) takeOut(*earlier);
    return 0;
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
