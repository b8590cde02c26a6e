#include "machine.h"

#include "answers.h"

#include <XelbrinCore/XCDateTimeEx.h>
#include <windows.h>

namespace xc::evidence {

namespace {

#ifdef _UCRT
constexpr wchar_t const* kRuntime = L"UCRT";
#else
constexpr wchar_t const* kRuntime = L"msvcrt";
#endif

XCString RegistryText(wchar_t const* key, wchar_t const* value)
{
    wchar_t text[256] = {};
    DWORD size = sizeof text - sizeof(wchar_t);
    ::RegGetValueW(HKEY_LOCAL_MACHINE, key, value, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

DWORD RegistryNumber(wchar_t const* key, wchar_t const* value)
{
    DWORD number = 0;
    DWORD size = sizeof number;
    ::RegGetValueW(HKEY_LOCAL_MACHINE, key, value, RRF_RT_REG_DWORD, nullptr, &number, &size);
    return number;
}

template <class Function>
Function FromNtdll(char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), name)));
}

/// By RtlGetVersion: other calls answer with the version that a program says it knows.
XCString WindowsVersion()
{
    RTL_OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (auto const ask = FromNtdll<LONG(WINAPI*)(RTL_OSVERSIONINFOEXW*)>("RtlGetVersion")) ask(&version);
    constexpr wchar_t const* kKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    return Text(L"%lu.%lu.%lu.%lu, %ls %ls, %ls", version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
                RegistryNumber(kKey, L"UBR"), RegistryText(kKey, L"ProductName").AsWChar(),
                RegistryText(kKey, L"DisplayVersion").AsWChar(),
                version.wProductType == VER_NT_WORKSTATION ? L"workstation" : L"server");
}

XCString Processor()
{
    SYSTEM_INFO info = {};
    ::GetNativeSystemInfo(&info);
    XCString const name = RegistryText(L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", L"ProcessorNameString");
    return Text(L"%ls, %lu logical, architecture %u", name.AsWChar(), info.dwNumberOfProcessors,
                static_cast<unsigned int>(info.wProcessorArchitecture));
}

XCString Memory()
{
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof status;
    ::GlobalMemoryStatusEx(&status);
    return Text(L"%llu MB, %llu MB free", status.ullTotalPhys >> 20U, status.ullAvailPhys >> 20U);
}

XCString Languages()
{
    wchar_t user[LOCALE_NAME_MAX_LENGTH] = {};
    wchar_t system[LOCALE_NAME_MAX_LENGTH] = {};
    ::GetUserDefaultLocaleName(user, LOCALE_NAME_MAX_LENGTH);
    ::GetSystemDefaultLocaleName(system, LOCALE_NAME_MAX_LENGTH);
    return Text(L"user %ls, system %ls, user interface 0x%04X", user, system,
                static_cast<unsigned int>(::GetUserDefaultUILanguage()));
}

XCString KindOf(DWORD standard)
{
    HANDLE const handle = ::GetStdHandle(standard);
    DWORD mode = 0;
    if (::GetConsoleMode(handle, &mode)) return Text(L"console, mode 0x%lX", mode);
    return Text(L"file type %lu", ::GetFileType(handle));
}

XCString Console()
{
    bool const terminal = ::GetEnvironmentVariableW(L"WT_SESSION", nullptr, 0) != 0;
    return L"input: " + KindOf(STD_INPUT_HANDLE) + L"; output: " + KindOf(STD_OUTPUT_HANDLE) +
           (terminal ? L"; Windows Terminal" : L"");
}

XCString FileSystem(XCString const& folder)
{
    wchar_t root[MAX_PATH] = {};
    wchar_t name[64] = {};
    DWORD flags = 0;
    DWORD longest = 0;
    ::GetVolumePathNameW(folder.AsWChar(), root, MAX_PATH);
    ::GetVolumeInformationW(root, nullptr, 0, nullptr, &longest, &flags, name, 64);
    return Text(L"%ls, names of up to %lu units, flags 0x%08lX, drive type %u", name, longest, flags,
                ::GetDriveTypeW(root));
}

XCString Zone()
{
    DYNAMIC_TIME_ZONE_INFORMATION zone = {};
    ::GetDynamicTimeZoneInformation(&zone);
    return Text(L"%ls, %ld minutes west of UTC", zone.TimeZoneKeyName, zone.Bias);
}

} // namespace

XCString WineVersion()
{
    auto const ask = FromNtdll<char const*(CDECL*)()>("wine_get_version");
    XCString version;
    if (ask) (void)version.SetFromUTF8(ask());
    return version;
}

Facts DescribeMachine(XCString const& folder)
{
    XCString compiler;
    (void)compiler.SetFromUTF8(__VERSION__);
    bool const longPaths = RegistryNumber(L"SYSTEM\\CurrentControlSet\\Control\\FileSystem", L"LongPathsEnabled") != 0;
    return {
        {L"run", XCDateTimeEx::GetCurrentDateTime().AsString()},
        {L"Windows", WindowsVersion()},
        {L"Wine", WineVersion().IsNull() ? XCString(L"no") : WineVersion()},
        {L"processor", Processor()},
        {L"memory", Memory()},
        {L"code pages", Text(L"ANSI %u, OEM %u, console %u", ::GetACP(), ::GetOEMCP(), ::GetConsoleOutputCP())},
        {L"languages", Languages()},
        {L"console", Console()},
        {L"file system", FileSystem(folder)},
        {L"long paths for programs that ask", longPaths ? L"on" : L"off"},
        {L"time zone", Zone()},
        {L"compiler", compiler},
        {L"C library", kRuntime},
    };
}

} // namespace xc::evidence
