// Rotation.h - when a log file is put aside, and how: name, name.1, name.2, ... the oldest with the highest number.
#pragma once

#include "log/SecondStamp.h"
#include "win32/SystemPath.h"

#include <cstdint>

namespace xc::log {

/// The rule and the state of one rotating file.
class Rotation {
public:
    /// @param maxBytes 0: no limit of size.   @param daily a new file with the first record of a local day.
    /// @param keep how many files are put aside, at least 1.
    Rotation(std::uint64_t maxBytes, bool daily, unsigned int keep) noexcept
        : m_maxBytes(maxBytes), m_daily(daily), m_keep(keep == 0 ? 1 : keep)
    {
    }

    /// A file with records belongs to the day of its last change, an empty one to today.
    void OnOpened(win32::SystemPath const& path, std::uint64_t size);
    /// Whether a record must go into a fresh file. A file without records is never put aside.
    [[nodiscard]] bool IsDue(std::uint64_t fileSize, std::uint64_t recordSize) noexcept;
    /// Renames the closed file and its predecessors. 0, or the number of the system's error: then the present file is
    /// to be used on, and IsDue says no for a while. Nothing is renamed over a file that is to be kept.
    unsigned long Rotate(win32::SystemPath const& path);

private:
    static constexpr std::uint64_t kRetryMs = 1000;
    [[nodiscard]] unsigned int FirstFree(win32::SystemPath const& path) const;

    std::uint64_t m_maxBytes;
    bool m_daily;
    unsigned int m_keep;
    std::uint32_t m_fileDay = 0;
    std::uint64_t m_notBefore = 0;
    SecondStamp m_clock;
};

} // namespace xc::log
