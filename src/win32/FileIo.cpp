#include "win32/FileIo.h"

#include "win32/Leftovers.h"
#include "win32/Paths.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <vector>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr DWORD kLargestStep = 1u << 28; // bytes for one call of the system

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
    void Remove(std::wstring const& temporary) noexcept override
    {
        ::SetFileAttributesW(temporary.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(temporary.c_str());
    }

private:
    UniqueFile m_file;
};

/// Who may do what with the file, as a security descriptor; empty when there is none to be had.
std::vector<unsigned char> AccessRights(std::wstring const& path)
{
    DWORD size = 0;
    ::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<unsigned char> rights(size);
    bool const known =
        size != 0 && ::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, rights.data(), size, &size);
    if (!known) rights.clear();
    return rights;
}

unsigned long SystemSteps::Create(std::wstring const& target, std::wstring& temporary)
{
    // The process owns names with its number; a file left by a crashed one of the same number is stepped over.
    std::wstring const path = SystemPath(target);
    DWORD const attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)) return ERROR_ACCESS_DENIED;
    RemoveLeftovers(path);
    std::vector<unsigned char> rights = AccessRights(path);
    SECURITY_ATTRIBUTES security{sizeof security, rights.empty() ? nullptr : rights.data(), FALSE};
    constexpr unsigned int kMostTries = 1000;
    for (unsigned int i = 0; i < kMostTries; ++i) {
        temporary = TemporaryName(path, ::GetCurrentProcessId(), i);
        m_file.Reset(
            ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, &security, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
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

unsigned long SystemSteps::Replace(std::wstring const& temporary, std::wstring const& target)
{
    std::wstring const path = SystemPath(target);
    DWORD const attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) // hidden, not indexed and the like stay
        ::SetFileAttributesW(temporary.c_str(), attributes);

    // A rename that replaces is the one call that never leaves the name without a file. Virus scanners and indexers
    // open fresh files for a moment: those are waited for.
    constexpr int kTries = 5;
    constexpr DWORD kPause = 20; // milliseconds
    for (int i = 1;; ++i) {
        if (::MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return 0;
        unsigned long const error = LastError();
        bool const inUse = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
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
