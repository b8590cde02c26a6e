// One file: open, read and write at a position, append, flush.
//
// Reading and writing take their position with the call, so that a file has no place of its own that two threads could
// move. Appending leaves the place to the system, which moves every such write to the end in one step. The right to
// append without the right to write is what makes that hold between processes, too. Errors are numbers of the system,
// and a short write is one: the system reports a full disk now and then by writing less.
#include "win32/File.h"

#include "win32/LastError.h"

#include <algorithm>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr std::size_t kLargestStep = 1u << 28; // bytes for one call of the system at a position

DWORD AccessOf(FileMode::Access access) noexcept
{
    // Not FILE_WRITE_DATA, which GENERIC_WRITE holds: with it the system would write at a position.
    constexpr DWORD kAppend = FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
    switch (access) {
    case FileMode::Access::Read: return GENERIC_READ;
    case FileMode::Access::Write: return GENERIC_WRITE;
    case FileMode::Access::ReadWrite: return GENERIC_READ | GENERIC_WRITE;
    case FileMode::Access::Append: return kAppend;
    case FileMode::Access::AppendAndRead: return kAppend | FILE_READ_DATA;
    case FileMode::Access::Facts: return FILE_READ_ATTRIBUTES;
    }
    return 0;
}

DWORD StartOf(FileMode::Start start) noexcept
{
    switch (start) {
    case FileMode::Start::Existing: return OPEN_EXISTING;
    case FileMode::Start::OpenOrCreate: return OPEN_ALWAYS;
    case FileMode::Start::CreateNew: return CREATE_NEW;
    case FileMode::Start::Truncate: return CREATE_ALWAYS;
    }
    return 0;
}

DWORD FlagsOf(FileMode const& mode) noexcept
{
    return (mode.sequential ? FILE_FLAG_SEQUENTIAL_SCAN : FILE_ATTRIBUTE_NORMAL) |
           (mode.folders ? FILE_FLAG_BACKUP_SEMANTICS : 0) | (mode.links ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
}

static_assert(FileMode::ShareRead == FILE_SHARE_READ && FileMode::ShareWrite == FILE_SHARE_WRITE &&
              FileMode::ShareDelete == FILE_SHARE_DELETE);

/// On a handle that was not opened for overlapped calls the structure carries the position alone, and the call returns
/// when it is done.
OVERLAPPED At(std::uint64_t position) noexcept
{
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    return place;
}

} // namespace

unsigned long File::Open(SystemPath const& path, FileMode const& mode) noexcept
{
    Close();
    // Handles are not inherited: a child process that held one would keep the file from being renamed or removed.
    SECURITY_ATTRIBUTES security{sizeof security, const_cast<void*>(mode.security), FALSE};
    HANDLE const handle = ::CreateFileW(path.ForSystem(), AccessOf(mode.access), mode.share, &security,
                                        StartOf(mode.start), FlagsOf(mode), nullptr);
    if (handle == INVALID_HANDLE_VALUE) return LastError();
    m_handle = handle;
    return 0;
}

unsigned long File::Close() noexcept
{
    HANDLE const handle = Release();
    // Closing comes after a failure as a rule, whose number the caller still wants.
    KeepLastError const keep;
    return !handle || ::CloseHandle(handle) ? 0 : LastError();
}

std::size_t File::Read(void* to, std::size_t count, std::uint64_t position, unsigned long& error) noexcept
{
    error = 0;
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED place = At(position + done);
        DWORD read = 0;
        auto const step = static_cast<DWORD>(std::min(count - done, kLargestStep));
        if (!::ReadFile(m_handle, static_cast<char*>(to) + done, step, &read, &place)) {
            error = LastError();
            // The end is no failure: less was read than asked for, which the count tells.
            if (error == ERROR_HANDLE_EOF) error = 0;
            break;
        }
        if (read == 0) break;
        done += read;
    }
    return done;
}

std::size_t File::Write(std::string_view bytes, std::uint64_t position, unsigned long& error) noexcept
{
    error = 0;
    std::size_t done = 0;
    while (done < bytes.size() && error == 0) {
        OVERLAPPED place = At(position + done);
        DWORD written = 0;
        auto const step = static_cast<DWORD>(std::min(bytes.size() - done, kLargestStep));
        if (!::WriteFile(m_handle, bytes.data() + done, step, &written, &place))
            error = LastError();
        else if (written == 0)
            error = ERROR_DISK_FULL;
        done += written;
    }
    return done;
}

std::size_t File::Append(std::string_view bytes, unsigned long& error) noexcept
{
    DWORD written = 0;
    // One call, so that the record stays whole; what is above the limit counts as a short write.
    auto const step = static_cast<DWORD>(std::min(bytes.size(), kLargestAppend));
    BOOL const done = ::WriteFile(m_handle, bytes.data(), step, &written, nullptr);
    error = done ? ERROR_DISK_FULL : LastError(); // a short write without an error: no room
    if (written == bytes.size()) error = 0;
    return written;
}

unsigned long File::Flush() noexcept
{
    return ::FlushFileBuffers(m_handle) ? 0 : LastError();
}

unsigned long File::SetSize(std::uint64_t size) noexcept
{
    // By a fact of the file: the older way moves the file's own position first.
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    return ::SetFileInformationByHandle(m_handle, FileEndOfFileInfo, &end, sizeof end) ? 0 : LastError();
}

unsigned long File::Lock(std::uint64_t offset, std::uint64_t length, bool exclusive) noexcept
{
    // Without waiting: a wait on this handle could not be ended, and would keep the file from being closed.
    OVERLAPPED place = At(offset);
    DWORD const flags = LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0u);
    auto const low = static_cast<DWORD>(length), high = static_cast<DWORD>(length >> 32);
    return ::LockFileEx(m_handle, flags, 0, low, high, &place) ? 0 : LastError();
}

unsigned long File::Unlock(std::uint64_t offset, std::uint64_t length) noexcept
{
    OVERLAPPED place = At(offset);
    auto const low = static_cast<DWORD>(length), high = static_cast<DWORD>(length >> 32);
    return ::UnlockFileEx(m_handle, 0, low, high, &place) ? 0 : LastError();
}

std::uint64_t File::Size(unsigned long& error) const noexcept
{
    LARGE_INTEGER size{};
    error = ::GetFileSizeEx(m_handle, &size) ? 0 : LastError();
    return error == 0 ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

} // namespace xc::win32
