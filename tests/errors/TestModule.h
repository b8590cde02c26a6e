// TestModule.h - the test module, loaded once.
#pragma once

#include <string>
#include <windows.h>

/// With a separator at the end.
inline std::wstring TestModuleFolder()
{
    wchar_t path[1024] = L"";
    ::GetModuleFileNameW(nullptr, path, 1024);
    std::wstring name(path);
    name.resize(name.find_last_of(L'\\') + 1);
    return name + L"modules\\";
}

inline HMODULE TestModule()
{
    static HMODULE const module =
        ::LoadLibraryExW((TestModuleFolder() + L"errors_module.osx").c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    return module;
}

template <class Function>
Function TestModuleFunction(char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(TestModule(), name)));
}
