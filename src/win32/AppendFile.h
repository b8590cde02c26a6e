// AppendFile.h - files that are only ever appended to, and the few operations on their names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace xc::win32 {

/// A file open for appending, shared for reading, writing and renaming by others. One thread at a time.
class AppendFile {
public:
    enum class Start { Append, Truncate };

    AppendFile() noexcept;
    ~AppendFile();
    AppendFile(AppendFile const&) = delete;
    AppendFile& operator=(AppendFile const&) = delete;

    /// Creates the file when it is missing. Returns 0, or the number of the system's error.
    unsigned long Open(std::wstring const& path, Start start);
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept;
    /// Writes at the end of the file in one step, whoever else appends. Returns the count of bytes written; when it is
    /// less than asked for, `error` is the number of the system's error.
    std::size_t Write(char const* bytes, std::size_t count, unsigned long& error) noexcept;
    /// The size of the moment; 0 when it cannot be had.
    [[nodiscard]] std::uint64_t Size() const noexcept;

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
};

/// Renames, over an existing file too, when both are on one volume. 0, or the number of the system's error.
unsigned long RenameFile(std::wstring const& from, std::wstring const& to) noexcept;
unsigned long RemoveFile(std::wstring const& path) noexcept;
[[nodiscard]] bool FileExists(std::wstring const& path) noexcept;
/// The local day of the last change, as year * 10000 + month * 100 + day; 0 when there is no such file.
[[nodiscard]] std::uint32_t LastWriteDay(std::wstring const& path) noexcept;
/// Creates a folder and the folders above it. 0 also when it is there already, else the number of the system's error.
unsigned long MakeFolder(std::wstring const& path);
/// The folder for temporary files, without a separator at its end; empty when there is none.
std::wstring GetTempFolder();

/// The path with every short (8.3) name in it made long; the path itself when that cannot be had.
std::wstring LongPath(std::wstring const& path);

/// Milliseconds since some moment, in steps of about 16; costs next to nothing.
std::uint64_t CoarseMilliseconds() noexcept;

} // namespace xc::win32
