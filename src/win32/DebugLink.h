// DebugLink.h - the file beside a module that its debug data were moved to, as the module names it.
#pragma once

#include <cstdint>
#include <string_view>

namespace xc::win32 {

struct DebugLink {
    std::string_view file; ///< a name without a folder; empty: none
    std::uint32_t checksum = 0;
};

/// What a module's section ".gnu_debuglink" says. A name that leads to another folder is none.
DebugLink ReadDebugLink(std::string_view section) noexcept;

/// The checksum of a debug file, of parts of it one after the other (CRC-32 of IEEE 802.3). @param before 0, then the
/// result of the part before.
std::uint32_t DebugChecksum(std::uint32_t before, std::string_view bytes) noexcept;

} // namespace xc::win32
