// set_heap_flags PROGRAM [threads]: heap checks for the program of that name, in this registry.
//
// Each call can look at the whole heap or at its own block alone. Wine looks at the whole without keeping other threads
// out of blocks that they are giving back: where many allocate, it takes some of these for damaged and fails the call
// (19 of such calls in a minute of eight threads that use nothing but the heap). With "threads" each block is looked at
// when it is given back.
#include <windows.h>

#include <string>
#include <string_view>

int wmain(int count, wchar_t** arguments)
{
    bool const manyThreads = count == 3 && std::wstring_view(arguments[2]) == L"threads";
    if (count != 2 && !manyThreads) return 2;
    std::wstring const key =
        L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options\\" + std::wstring(arguments[1]);
    DWORD const flags = manyThreads ? 0x70 : 0xF0; // tail, free and parameter checks; the whole heap
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"GlobalFlag", REG_DWORD, &flags, sizeof flags) == 0 ? 0
                                                                                                                 : 1;
}
