#include "win32/Process.h"

#include <windows.h>

namespace xc::win32 {

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

unsigned long ProcessId() noexcept
{
    return ::GetCurrentProcessId();
}

unsigned long ThreadId() noexcept
{
    return ::GetCurrentThreadId();
}

} // namespace xc::win32
