#include "win32/Process.h"

#include <stdlib.h> // NOLINT(modernize-deprecated-headers): _onexit
#include <windows.h>

namespace xc::win32 {

namespace {

/// Whether the other threads have been ended already, perhaps with locks in their hands.
bool IsProcessEnding() noexcept
{
    HMODULE const system = ::GetModuleHandleW(L"ntdll.dll");
    void* const found = reinterpret_cast<void*>(::GetProcAddress(system, "RtlDllShutdownInProgress"));
    auto* const ask = reinterpret_cast<BOOLEAN(WINAPI*)()>(found);
    return ask && ask();
}

} // namespace

std::optional<std::wstring> ReadEnvironment(wchar_t const* name)
{
    std::wstring value(64, L'\0');
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);
        DWORD const length = ::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        if (length == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
        bool const fits = length < value.size();
        value.resize(length);
        if (fits) return value;
    }
}

std::wstring ModulePath(void* module)
{
    std::wstring path(260, L'\0');
    for (;;) {
        DWORD const length =
            ::GetModuleFileNameW(static_cast<HMODULE>(module), path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2); // cut: the answer was as long as the buffer
    }
}

// The list of the process's runtime, not std::atexit: that is a list of this library's own, run under the loader's lock
// when the other threads are gone.
void CallAtExit(void (*function)())
{
    static void (*const call)() = function;
    static bool const registered = [] {
        HMODULE pinned = nullptr;
        ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                             reinterpret_cast<LPCWSTR>(&CallAtExit), &pinned);
        auto const run = [] {
            if (!IsProcessEnding()) call();
            return 0;
        };
        return pinned && ::_onexit(run);
    }();
    (void)registered;
}

unsigned long ProcessId() noexcept
{
    return ::GetCurrentProcessId();
}

unsigned long ThreadId() noexcept
{
    return ::GetCurrentThreadId();
}

} // namespace xc::win32
