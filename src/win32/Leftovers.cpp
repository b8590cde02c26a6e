// Temporary files that nobody will rename any more.
//
// A process that is killed between creating its temporary file and renaming it leaves the file. The name tells its
// process, so the next writer of the same file can ask whether that one still runs. Numbers of processes come again:
// a process that started after the file was last written is not its writer (with two seconds for file systems that
// keep times no finer). On a drive of another machine the number may be that of a process there; only a file of more
// than a day is a leftover then. A live writer is safe in every case while it writes: it shares the file with nobody,
// so that removing it fails. Cost: one search for the name in the folder.
#include "win32/Leftovers.h"

#include "win32/UniqueHandle.h"

#include <cstdint>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr std::wstring_view kEnding = L".tmp";
constexpr std::uint64_t kSecond = 10'000'000; // in units of a FILETIME

std::uint64_t TimeOf(FILETIME const& time) noexcept
{
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

/// Takes a decimal number off the front; false when there is none or it has more than 32 bits.
bool TakeNumber(std::wstring_view& text, std::uint64_t& number) noexcept
{
    std::size_t digits = 0;
    for (number = 0; digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9' && digits < 10; ++digits)
        number = number * 10 + static_cast<std::uint64_t>(text[digits] - L'0');
    text.remove_prefix(digits);
    return digits != 0 && number <= UINT32_MAX;
}

/// The process in the name of a temporary file of `target`; false for any other name.
bool ReadTemporaryName(std::wstring_view name, std::wstring_view target, DWORD& process) noexcept
{
    std::uint64_t owner = 0, number = 0;
    if (name.size() <= target.size() || name[target.size()] != L'.') return false;
    name.remove_prefix(target.size() + 1);
    if (!TakeNumber(name, owner) || !name.starts_with(L'-')) return false;
    name.remove_prefix(1);
    process = static_cast<DWORD>(owner);
    return TakeNumber(name, number) && name == kEnding;
}

bool IsOnOtherMachine(std::wstring const& path)
{
    if (path.starts_with(L"\\\\?\\UNC\\")) return true;
    bool const isLong = path.starts_with(L"\\\\?\\");
    if (!isLong && path.starts_with(L"\\\\")) return true;
    std::wstring const root = path.substr(isLong ? 4 : 0, 2) + L'\\';
    return ::GetDriveTypeW(root.c_str()) == DRIVE_REMOTE;
}

bool HasEnded(DWORD process, FILETIME const& lastWrite)
{
    UniqueHandle<KernelKind> const owner(
        ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, process));
    if (!owner) return ::GetLastError() == ERROR_INVALID_PARAMETER; // there is none
    if (::WaitForSingleObject(owner.Get(), 0) == WAIT_OBJECT_0) return true;
    FILETIME started{}, ended{}, inSystem{}, inProgram{};
    return ::GetProcessTimes(owner.Get(), &started, &ended, &inSystem, &inProgram) &&
           TimeOf(started) > TimeOf(lastWrite) + 2 * kSecond;
}

bool IsOlderThanADay(FILETIME const& lastWrite)
{
    constexpr std::uint64_t kDay = 24 * 3600 * kSecond;
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return TimeOf(now) > TimeOf(lastWrite) + kDay;
}

} // namespace

std::wstring TemporaryName(std::wstring const& path, unsigned long process, unsigned int number)
{
    return path + L'.' + std::to_wstring(process) + L'-' + std::to_wstring(number) + std::wstring(kEnding);
}

void RemoveLeftovers(std::wstring const& path)
{
    std::size_t const nameStart = path.find_last_of(L"\\/:") + 1; // 0 when there is no separator
    std::wstring_view const target = std::wstring_view(path).substr(nameStart);
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW((path + L".*" + std::wstring(kEnding)).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return;
    bool const remote = IsOnOtherMachine(path);
    do {
        DWORD process = 0;
        if (!ReadTemporaryName(entry.cFileName, target, process)) continue;
        if (remote ? !IsOlderThanADay(entry.ftLastWriteTime) : !HasEnded(process, entry.ftLastWriteTime)) continue;
        std::wstring const leftover = path.substr(0, nameStart) + entry.cFileName;
        ::SetFileAttributesW(leftover.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(leftover.c_str());
    } while (::FindNextFileW(search, &entry));
    ::FindClose(search);
}

} // namespace xc::win32
