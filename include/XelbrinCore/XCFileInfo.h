// XCFileInfo.h - the facts about a file or folder: size, times, attributes, identity, links.
//
// WHAT     XCFileInfo is a plain structure that XCFileInfo::Get and XCFile::GetInfo fill; XCFileTime is an instant to
//          100 nanoseconds, as file systems keep it; XCFileIdentity tells two files apart whatever they are called.
// COST     Get: one opening of the file without access to its content, and two to three calls of the system.
// ERRORS   Returned, with the path, number and words of the system. Facts that a file system does not keep are 0.
// THREADS  Values.
#pragma once

#include <XelbrinCore/XCDateTimeEx.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>

#include <array>
#include <compare>
#include <cstdint>

class XCPath;

/// An instant of a file system: steps of 100 nanoseconds since 1601-01-01 00:00 UTC. 0: none is kept.
class XC_API XCFileTime {
public:
    constexpr XCFileTime() noexcept = default;
    /// From the system's count.
    constexpr explicit XCFileTime(std::int64_t ticks) noexcept : m_ticks(ticks) {}
    /// The instant and the steps of 100 ns (0 to 9999) after its millisecond. A value that is not valid, or before
    /// 1601, gives none; a date without a time is its midnight.
    explicit XCFileTime(XCDateTimeEx const& instant, unsigned int rest = 0) noexcept;

    /// The system's count.
    [[nodiscard]] constexpr std::int64_t GetTicks() const noexcept { return m_ticks; }
    /// Whether an instant is known.
    [[nodiscard]] constexpr bool IsKnown() const noexcept { return m_ticks > 0; }
    /// The instant, cut to the millisecond; null when none is known or its year is past 9999.
    [[nodiscard]] XCDateTimeEx GetDateTime() const noexcept;
    /// What GetDateTime cuts off: steps of 100 ns, 0 to 9999.
    [[nodiscard]] constexpr unsigned int GetRest() const noexcept
    {
        return IsKnown() ? static_cast<unsigned int>(m_ticks % 10'000) : 0;
    }
    friend constexpr auto operator<=>(XCFileTime const&, XCFileTime const&) noexcept = default;

private:
    std::int64_t m_ticks = 0;
};

/// Which file it is: equal for two names of one file, as long as it exists. Ordered, for use as a key.
struct XCFileIdentity {
    std::uint64_t volume = 0;            ///< the serial number of the volume
    std::array<std::uint8_t, 16> file{}; ///< the file's number on it; 64 bits of it where the system has no more
    /// Whether the file system has told one.
    [[nodiscard]] bool IsKnown() const noexcept { return *this != XCFileIdentity(); }
    friend auto operator<=>(XCFileIdentity const&, XCFileIdentity const&) noexcept = default;
};

/// What is known about a file or folder.
struct XC_API XCFileInfo {
    /// The bits of `attributes`, as the system numbers them.
    enum Attribute : std::uint32_t {
        ReadOnly = 0x1,
        Hidden = 0x2,
        System = 0x4,
        Folder = 0x10,
        Archive = 0x20,
        Device = 0x40,
        Normal = 0x80,
        Temporary = 0x100,
        Sparse = 0x200,
        ReparsePoint = 0x400, ///< `reparseTag` tells of which kind
        Compressed = 0x800,
        Offline = 0x1000,
        NotIndexed = 0x2000,
        Encrypted = 0x4000
    };
    /// The `reparseTag` of a symbolic link.
    static constexpr std::uint32_t kSymbolicLink = 0xA000000C;
    /// The `reparseTag` of a junction or a volume in a folder.
    static constexpr std::uint32_t kMountPoint = 0xA0000003;

    std::uint64_t size = 0;       ///< bytes; 0 for a folder
    XCFileTime created;           ///< when it was made
    XCFileTime accessed;          ///< when it was last read; many systems keep it coarsely, or not at all
    XCFileTime written;           ///< when its content last changed
    XCFileTime changed;           ///< when anything about it last changed
    std::uint32_t attributes = 0; ///< bits of Attribute, and what newer systems add
    std::uint32_t links = 0;      ///< names that the file has; 0: not known
    std::uint32_t reparseTag = 0; ///< 0 for what is no reparse point
    XCFileIdentity identity;      ///< which file it is

    /// Whether it is a folder, or a link to one.
    [[nodiscard]] bool IsFolder() const noexcept { return (attributes & Folder) != 0; }
    /// Whether it may not be written.
    [[nodiscard]] bool IsReadOnly() const noexcept { return (attributes & ReadOnly) != 0; }
    /// Whether it leads elsewhere: a symbolic link, or a folder that another is mounted in.
    [[nodiscard]] bool IsLink() const noexcept { return reparseTag == kSymbolicLink || reparseTag == kMountPoint; }

    /// Fills `info`. @param followLinks false: the facts of the link itself.
    /// @return Bad when there is nothing at the path or it may not be looked at; `info` is then as it was.
    static XCErrorID Get(XCPath const& path, XCFileInfo& info, bool followLinks = true);
};
