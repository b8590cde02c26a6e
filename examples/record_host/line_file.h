// line_file.h - a file read in chunks of whole lines.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <string>

/// A file that another program may be writing, renaming or deleting at the same time.
class LineFile {
public:
    LineFile() noexcept = default;
    ~LineFile();
    LineFile(LineFile const&) = delete;
    LineFile& operator=(LineFile const&) = delete;

    /// @return 0, or the system's error.
    unsigned long Open(XCString const& path);
    /// The bytes of the file as it is now; 0 where the system does not tell, as of a pipe.
    [[nodiscard]] std::uint64_t Size() const noexcept;
    /// Gives the next chunk of whole lines; empty when there is none yet. A line that is longer than a chunk is cut.
    /// @throws XCWindowsLastErrorException when the file cannot be read.
    std::string ReadLines();
    /// Gives what stands after the last line end.
    std::string TakeRest();

private:
    static constexpr unsigned long kChunk = 64 * 1024;

    void* m_handle = nullptr;
    std::string m_rest;
};
