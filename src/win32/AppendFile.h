// AppendFile.h - files that are only ever appended to, line by line.
//
// What a full disk or the end of a process cut is not continued by another record: a file that ends inside a line gets a
// line feed first. That is looked at under the turn, at the first write after opening and after a writer that left its
// record unfinished; otherwise a write costs nothing more.
#pragma once

#include "win32/AppendTurn.h"
#include "win32/File.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::win32 {

/// Where a write was cut: how much of its last line is in the file, and the size of the file then.
struct AppendCut {
    std::size_t bytes = 0; ///< 0: nothing was cut
    std::uint64_t fileSize = 0;
};

/// A file open for appending, shared for reading, writing and renaming by others. One thread at a time.
class AppendFile {
public:
    enum class Start {
        Append,
        Continue, ///< the same, but the end of the file is as the caller wants it
        Truncate
    };

    /// Creates the file when it is missing. Returns 0, or the number of the system's error.
    unsigned long Open(SystemPath const& path, Start start) noexcept;
    void Close() noexcept;
    [[nodiscard]] bool IsOpen() const noexcept { return m_file.IsOpen(); }
    /// Writes at the end of the file in one step, whoever else appends. Returns how many of the bytes are in the file;
    /// when it is less than all, `error` is the number of the system's error.
    /// @param cut the bytes begin with a line that was cut. It is continued when nobody has written since; otherwise it
    ///            is repeated whole on a line of its own.
    std::size_t Write(std::string_view bytes, AppendCut const& cut, unsigned long& error) noexcept;
    /// The size of the moment, with the line feed that the next write puts first; 0 when it cannot be had.
    [[nodiscard]] std::uint64_t Size() const noexcept;

private:
    [[nodiscard]] bool EndsInsideLine(std::uint64_t size) const noexcept;

    mutable File m_file;
    AppendTurn m_turn;
    bool m_looksFirst = false; ///< the end of the file was not looked at yet
};

/// Appends the bytes in one write, whoever else appends, creating the file when it is missing. False: not, or not all of
/// it.
bool AppendToFile(SystemPath const& path, std::string_view bytes) noexcept;

} // namespace xc::win32
