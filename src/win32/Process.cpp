// The process: how it ends, its environment, its modules' paths, and what can be asked about others by number.
//
// While a process ends, its other threads have been stopped wherever they stood, maybe with a lock in their hands. The
// system knows when that has begun; every lock and wait of the library asks here first and goes on without it. What
// must run at the end is registered with the process's own runtime, since the list of a library runs under the
// loader's lock.
//
// Numbers of processes come again. A process that may not be opened counts as alive, and one that started after the
// moment in question as another one: two seconds are allowed for file systems with coarse times. Texts of unknown
// length are asked for with growing buffers, because a length asked for before may have changed.
#include "win32/Process.h"

#include "win32/LastError.h"
#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <stdlib.h> // NOLINT(modernize-deprecated-headers): _onexit
#include <string_view>
#include <utility>
#include <windows.h>

namespace xc::win32 {

bool IsProcessEnding() noexcept
{
    using Ask = BOOLEAN(WINAPI*)();
    static constinit std::atomic<Ask> known{nullptr}; // no guard, which a thread might hold that was ended
    Ask ask = known.load(std::memory_order_relaxed);
    if (!ask) {
        ask = SystemFunction<Ask>(L"ntdll.dll", "RtlDllShutdownInProgress");
        known.store(ask, std::memory_order_relaxed);
    }
    return ask && ask();
}

namespace {

/// Asked once while the library is loaded: whoever asks first may be in a function that the system calls at the end of a
/// thread, with a lock of its own, and the search for the answer takes the loader's.
[[maybe_unused]] bool const g_askedAtLoading = IsProcessEnding();

} // namespace

bool PinLibrary() noexcept
{
    HMODULE pinned = nullptr;
    constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    return ::GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(&PinLibrary), &pinned) != 0;
}

std::optional<std::wstring> ReadEnvironment(wchar_t const* name)
{
    std::wstring value(64, L'\0');
    for (;;) {
        // A variable that is set to nothing also gives length 0; only the error tells it from one that is not set.
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

namespace {

/// Whether a list of directories between semicolons holds this one.
bool HoldsDirectory(std::wstring_view path, std::wstring const& directory)
{
    while (!path.empty()) {
        std::size_t const end = std::min(path.find(L';'), path.size());
        if (::CompareStringOrdinal(path.data(), static_cast<int>(end), directory.c_str(), -1, TRUE) == CSTR_EQUAL)
            return true;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return false;
}

} // namespace

bool AppendToSearchPath(std::wstring const& directory)
{
    std::wstring path = ReadEnvironment(L"PATH").value_or(L"");
    if (HoldsDirectory(path, directory)) return true;
    if (!path.empty() && path.back() != L';') path += L';';
    return ::SetEnvironmentVariableW(L"PATH", (path + directory).c_str()) != 0;
}

// The list of the process's runtime, not std::atexit: that is a list of this library's own, run under the loader's lock
// when the other threads are gone.
void CallAtExit(void (*function)())
{
    static void (*const call)() = function;
    static bool const registered = [] {
        auto const run = [] {
            // exit calls the list while all threads still run; a process that ends without it loses nothing that could
            // be saved.
            if (!IsProcessEnding()) call();
            return 0;
        };
        return PinLibrary() && ::_onexit(run);
    }();
    (void)registered;
}

std::wstring_view MachineMark() noexcept
{
    struct Mark {
        wchar_t digits[8];
        Mark() noexcept
        {
            KeepLastError const keep;
            wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = L"";
            DWORD length = static_cast<DWORD>(std::size(name));
            if (!::GetComputerNameW(name, &length)) length = 0;
            // The name itself may hold what file names may not.
            std::uint32_t hash = 2166136261; // FNV-1a
            for (DWORD i = 0; i < length; ++i) hash = (hash ^ name[i]) * 16777619;
            for (wchar_t& digit : digits) digit = L"0123456789abcdef"[std::exchange(hash, hash << 4) >> 28];
        }
    };
    static Mark const mark;
    return {mark.digits, std::size(mark.digits)};
}

unsigned long ProcessId() noexcept
{
    return ::GetCurrentProcessId();
}

unsigned long ThreadId() noexcept
{
    return ::GetCurrentThreadId();
}

bool IsProcessAlive(unsigned long id) noexcept
{
    KeepLastError const keep;
    UniqueKernelObject const process(::OpenProcess(SYNCHRONIZE, FALSE, id));
    if (!process) return ::GetLastError() != ERROR_INVALID_PARAMETER; // that is: no such process
    return ::WaitForSingleObject(process.Get(), 0) != WAIT_OBJECT_0;
}

bool StartedAfter(unsigned long id, std::uint64_t time) noexcept
{
    constexpr std::uint64_t kTwoSeconds = 20'000'000;
    KeepLastError const keep;
    UniqueKernelObject const process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    FILETIME started{}, ended{}, inSystem{}, inProgram{};
    if (!process || !::GetProcessTimes(process.Get(), &started, &ended, &inSystem, &inProgram)) return false;
    std::uint64_t const start = std::uint64_t{started.dwHighDateTime} << 32 | started.dwLowDateTime;
    return start > time + kTwoSeconds;
}

[[noreturn]] void EndProcessNow(unsigned int exitCode) noexcept
{
    for (;;) ::TerminateProcess(::GetCurrentProcess(), exitCode);
}

} // namespace xc::win32
