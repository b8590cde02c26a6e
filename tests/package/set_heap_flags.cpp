// set_heap_flags PROGRAM: heap checks for the program of that name, in this registry.
#include <windows.h>

#include <string>

int wmain(int count, wchar_t** arguments)
{
    if (count != 2) return 2;
    std::wstring const key =
        L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options\\" + std::wstring(arguments[1]);
    DWORD const flags = 0xF0; // tail, free, parameter and validation checks
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"GlobalFlag", REG_DWORD, &flags, sizeof flags) == 0 ? 0
                                                                                                                 : 1;
}
