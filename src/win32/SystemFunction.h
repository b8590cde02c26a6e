// SystemFunction.h - functions that not every release of the system has, or whose library only some programs need.
#pragma once

#include <windows.h>

namespace xc::win32 {

/// Null when the module or the function is missing.
template <class Function>
Function SystemFunction(HMODULE module, char const* name) noexcept
{
    return module ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name))) : nullptr;
}

/// Of a module that every process has.
template <class Function>
Function SystemFunction(wchar_t const* module, char const* name) noexcept
{
    return SystemFunction<Function>(::GetModuleHandleW(module), name);
}

/// A library of the system's own folder, loaded at the first need; it stays.
inline HMODULE LoadSystemLibrary(wchar_t const* name) noexcept
{
    return ::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

} // namespace xc::win32
