// own_file.h - the name under which a test has copied this module, which tells it what to be.
#pragma once

#include <string>
#include <windows.h>

/// Without folder and extension.
inline std::wstring const& OwnFile()
{
    static std::wstring const name = [] {
        HMODULE self = nullptr;
        wchar_t path[1024] = L"";
        ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             reinterpret_cast<LPCWSTR>(&OwnFile), &self);
        ::GetModuleFileNameW(self, path, 1024);
        std::wstring const text = path;
        return text.substr(text.find_last_of(L'\\') + 1, text.rfind(L'.') - text.find_last_of(L'\\') - 1);
    }();
    return name;
}
