// CoverageCounters.cpp - the counters of a process that ends itself by force. Part of the library in a coverage build only.
//
// Counters are written when a process ends in order. A host that ends in spite of a module that hangs, and a process that
// its own fault handlers end, do it by TerminateProcess: what they reached until then would not count. So the beginning
// of that function is replaced by a jump to one that writes them first, on a thread that is waited for a short while: the
// process may hold the heap or the loader, and its end must not hang. On a heap that a module has damaged nothing is
// written. Each writes to a folder of its own, with a file "whole" at the end: a process that is killed meanwhile would
// leave half a file, and nothing more could be added to it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <windows.h>

extern "C" void __gcov_dump();

namespace {

using NtTerminate = LONG(WINAPI*)(HANDLE, LONG);
NtTerminate g_terminate = nullptr;

char g_folders[1024]; // read at the beginning: at the end the heap may be damaged

DWORD WINAPI WriteCounters(void*)
{
    if (!::HeapValidate(::GetProcessHeap(), 0, nullptr)) return 1;
    // With the time: numbers of processes come again.
    std::string const folder =
        g_folders + ("/" + std::to_string(::GetCurrentProcessId())) + "-" + std::to_string(::GetTickCount64());
    ::_putenv(("GCOV_PREFIX=" + folder).c_str());
    __gcov_dump();
    ::CloseHandle(::CreateFileA((folder + "/whole").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return 0;
}

BOOL WINAPI TerminateWithCounters(HANDLE process, UINT exitCode)
{
    constexpr DWORD kPatienceMs = 5000;
    if (::GetProcessId(process) == ::GetCurrentProcessId())
        if (HANDLE const thread = ::CreateThread(nullptr, 0, WriteCounters, nullptr, 0, nullptr))
            ::WaitForSingleObject(thread, kPatienceMs);
    return g_terminate(process, static_cast<LONG>(exitCode)) >= 0;
}

[[maybe_unused]] bool const g_isReplaced = [] {
    DWORD const length = ::GetEnvironmentVariableA("XC_FORCED_ENDS", g_folders, sizeof g_folders);
    if (length == 0 || length >= sizeof g_folders) return false;
    g_terminate = reinterpret_cast<NtTerminate>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtTerminateProcess")));
    auto* const code = reinterpret_cast<unsigned char*>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernelbase.dll"), "TerminateProcess")));
    DWORD before = 0;
    if (!g_terminate || !code || !::VirtualProtect(code, 12, PAGE_EXECUTE_READWRITE, &before)) return false;
    unsigned char jump[12] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; // mov rax, address; jmp rax
    auto const target = reinterpret_cast<std::uintptr_t>(&TerminateWithCounters);
    std::memcpy(jump + 2, &target, sizeof target);
    std::memcpy(code, jump, sizeof jump);
    return ::VirtualProtect(code, 12, before, &before) != 0;
}();

} // namespace
