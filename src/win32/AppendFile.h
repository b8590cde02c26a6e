// AppendFile.h - files that are only ever appended to.
#pragma once

#include "win32/AppendTurn.h"
#include "win32/File.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::win32 {

/// A file open for appending, shared for reading, writing and renaming by others. One thread at a time.
class AppendFile {
public:
    enum class Start { Append, Truncate };

    /// Creates the file when it is missing. Returns 0, or the number of the system's error.
    unsigned long Open(SystemPath const& path, Start start) noexcept;
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_file.IsOpen(); }
    /// Writes at the end of the file in one step, whoever else appends. Returns the count of bytes written; when it is
    /// less than asked for, `error` is the number of the system's error.
    std::size_t Write(std::string_view bytes, unsigned long& error) noexcept;
    /// The size of the moment; 0 when it cannot be had.
    [[nodiscard]] std::uint64_t Size() const noexcept { return m_file.Size(); }

private:
    File m_file;
    AppendTurn m_turn;
};

/// Appends the bytes in one write, whoever else appends, creating the file when it is missing. False: not, or not all of
/// it.
bool AppendToFile(SystemPath const& path, std::string_view bytes) noexcept;

} // namespace xc::win32
