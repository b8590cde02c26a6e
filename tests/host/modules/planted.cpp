// A library that somebody has put where it does not belong: it tells that it has run. Helper and module in one.
#include <windows.h>

extern "C" __declspec(dllexport) int HelperNumber()
{
    return 42;
}

extern "C" __declspec(dllexport) void* GetPlugInObject()
{
    return nullptr;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) ::SetEnvironmentVariableW(L"XC_PLANTED_RAN", L"yes");
    return TRUE;
}
