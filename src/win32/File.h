// File.h - an open file: how it is opened and shared, reading and writing at positions, appending.
//
// Errors are the numbers of the operating system; 0 is success. One thread at a time uses an object, but for reads and
// writes at positions, which do not disturb one another.
#pragma once

#include "win32/SystemPath.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace xc::win32 {

/// How a file is opened.
struct FileMode {
    enum class Access {
        Read,
        Write,
        ReadWrite,
        Append,        ///< every write goes to the end as the system finds it then, whoever else appends
        AppendAndRead, ///< the same, and reading
        Facts,         ///< neither: facts about it alone, which no sharing forbids
    };
    enum class Start {
        Existing, ///< it must be there
        OpenOrCreate,
        CreateNew, ///< it must not be there
        Truncate,  ///< created, or emptied
    };
    /// What others may do with the file meanwhile: renaming and deleting count as Delete.
    enum Share : unsigned int { ShareNone = 0, ShareRead = 1, ShareWrite = 2, ShareDelete = 4, ShareAll = 7 };

    Access access = Access::Read;
    Start start = Start::Existing;
    unsigned int share = ShareAll;
    bool sequential = false;        ///< read from the beginning to the end
    bool folders = false;           ///< folders are opened, too
    bool links = false;             ///< a link is opened itself, not the file that it leads to
    void const* security = nullptr; ///< a security descriptor for a new file; null: as its folder says
};

/// Numbers of the system: no file is open, the bytes are locked by others, a position below 0.
inline constexpr unsigned long kErrorInvalidHandle = 6, kErrorLocked = 33, kErrorNegativeSeek = 131;

/// Owns an open file.
class File {
public:
    static constexpr std::size_t kLargestAppend = 1u << 30; ///< bytes for one call that appends

    File() noexcept = default;
    File(File&& other) noexcept : m_handle(other.Release()) {}
    File& operator=(File&& other) noexcept
    {
        if (this != &other) {
            Close();
            m_handle = other.Release();
        }
        return *this;
    }
    ~File() { Close(); }

    /// Closes what was open. On failure nothing is open.
    unsigned long Open(SystemPath const& path, FileMode const& mode) noexcept;
    /// Keeps the thread's last error.
    unsigned long Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_handle != nullptr; }
    [[nodiscard]] void* Handle() const noexcept { return m_handle; }
    /// Gives the handle away; null when nothing is open.
    [[nodiscard]] void* Release() noexcept { return std::exchange(m_handle, nullptr); }

    /// Reads from a position on. Returns the count of bytes: fewer than asked for at the end of the file, and when
    /// `error` is not 0.
    std::size_t Read(void* to, std::size_t count, std::uint64_t position, unsigned long& error) noexcept;
    /// Writes from a position on. Returns the count of bytes written; when it is less than asked for, `error` says why.
    std::size_t Write(std::string_view bytes, std::uint64_t position, unsigned long& error) noexcept;
    /// Writes at the end, in one call of the system for up to 1 GiB; for files opened to append.
    std::size_t Append(std::string_view bytes, unsigned long& error) noexcept;
    /// Waits until the disk holds what was written.
    unsigned long Flush() noexcept;
    /// Cuts the file, or makes it longer.
    unsigned long SetSize(std::uint64_t size) noexcept;
    /// Locks bytes against all other handles; kErrorLocked at once when one of them holds a part.
    unsigned long Lock(std::uint64_t offset, std::uint64_t length, bool exclusive) noexcept;
    /// Exactly a range that was locked.
    unsigned long Unlock(std::uint64_t offset, std::uint64_t length) noexcept;
    /// The size of the moment; 0 and an error when it cannot be had.
    std::uint64_t Size(unsigned long& error) const noexcept;

private:
    void* m_handle = nullptr;
};

} // namespace xc::win32
