// FileDetails.h - all that the system tells about a file or folder.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include "win32/SystemPath.h"

#include <cstdint>

namespace xc::win32 {

/// Instants are steps of 100 ns since 1601-01-01 UTC. What a file system does not keep is 0.
struct FileDetails {
    std::uint64_t size = 0;
    std::int64_t created = 0, accessed = 0, written = 0, changed = 0;
    std::uint32_t attributes = 0, links = 0, reparseTag = 0;
    std::uint64_t volume = 0;
    std::uint8_t file[16] = {}; ///< the number of the file on its volume
};

unsigned long GetDetails(SystemPath const& path, bool followLinks, FileDetails& details) noexcept;
/// Of an open file or folder.
unsigned long GetDetails(void* handle, FileDetails& details) noexcept;

} // namespace xc::win32
