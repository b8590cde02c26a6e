#include "win32/FileIo.h"

#include "win32/UniqueHandle.h"

#include <algorithm>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr DWORD kLargestStep = 1u << 28; // bytes for one call of the system

/// The path as the system takes it: absolute, since another thread may change the current folder between two steps;
/// a long one with the prefix that lifts the limit of its length.
std::wstring SystemPath(std::wstring const& path)
{
    constexpr std::size_t kSafeLength = 240; // leaves room for the ending of a temporary file
    DWORD const length = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (length == 0 || path.starts_with(L"\\\\?\\")) return path;
    std::wstring full(length, L'\0');
    full.resize(::GetFullPathNameW(path.c_str(), length, full.data(), nullptr));
    if (full.size() < kSafeLength) return full;
    return full.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

class SystemSteps final : public ReplaceSteps {
public:
    unsigned long Create(std::wstring const& target, std::wstring& temporary) override;
    unsigned long Write(std::string_view bytes) override;
    unsigned long Flush() override { return ::FlushFileBuffers(m_file.Get()) ? 0 : LastError(); }
    unsigned long Close() override
    {
        HANDLE const file = m_file.Release();
        return ::CloseHandle(file) ? 0 : LastError();
    }
    unsigned long Replace(std::wstring const& temporary, std::wstring const& target) override;
    void Remove(std::wstring const& temporary) noexcept override { ::DeleteFileW(temporary.c_str()); }

private:
    UniqueFile m_file;
};

unsigned long SystemSteps::Create(std::wstring const& target, std::wstring& temporary)
{
    // The process owns names with its number; a file left by a crashed one of the same number is stepped over.
    std::wstring const stem = SystemPath(target) + L"." + std::to_wstring(::GetCurrentProcessId()) + L"-";
    constexpr unsigned int kMostTries = 1000;
    for (unsigned int i = 0; i < kMostTries; ++i) {
        temporary = stem + std::to_wstring(i) + L".tmp";
        m_file.Reset(
            ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (m_file) return 0;
        unsigned long const error = LastError();
        if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) return error;
    }
    return ERROR_FILE_EXISTS;
}

unsigned long SystemSteps::Write(std::string_view bytes)
{
    while (!bytes.empty()) {
        DWORD const step = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), kLargestStep));
        DWORD written = 0;
        if (!::WriteFile(m_file.Get(), bytes.data(), step, &written, nullptr)) return LastError();
        if (written == 0) return ERROR_DISK_FULL;
        bytes.remove_prefix(written);
    }
    return 0;
}

/// Replacing keeps the target's access rights and attributes; a target that does not exist is renamed into place.
unsigned long ReplaceOnce(wchar_t const* temporary, wchar_t const* target)
{
    if (::ReplaceFileW(target, temporary, nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr)) return 0;
    unsigned long const error = LastError();
    if (error != ERROR_FILE_NOT_FOUND) return error;
    return ::MoveFileExW(temporary, target, MOVEFILE_WRITE_THROUGH) ? 0 : LastError();
}

unsigned long SystemSteps::Replace(std::wstring const& temporary, std::wstring const& target)
{
    // Virus scanners and indexers open fresh files for a moment: those are waited for.
    constexpr int kTries = 5;
    constexpr DWORD kPause = 20; // milliseconds
    std::wstring const path = SystemPath(target);
    for (int i = 1;; ++i) {
        unsigned long const error = ReplaceOnce(temporary.c_str(), path.c_str());
        bool const inUse = error == ERROR_SHARING_VIOLATION || error == ERROR_UNABLE_TO_REMOVE_REPLACED;
        if (!inUse || i == kTries) return error;
        ::Sleep(kPause);
    }
}

} // namespace

unsigned long ReadWholeFile(std::wstring const& path, std::string& bytes)
{
    UniqueFile const file(::CreateFileW(SystemPath(path).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file) return LastError();
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.Get(), &size)) return LastError();
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    std::size_t count = 0;
    for (DWORD read = 1; count < bytes.size() && read != 0; count += read) {
        DWORD const step = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - count, kLargestStep));
        if (!::ReadFile(file.Get(), bytes.data() + count, step, &read, nullptr)) return LastError();
    }
    bytes.resize(count); // shorter when the file shrank meanwhile
    return 0;
}

std::unique_ptr<ReplaceSteps> SystemReplaceSteps()
{
    return std::make_unique<SystemSteps>();
}

} // namespace xc::win32
