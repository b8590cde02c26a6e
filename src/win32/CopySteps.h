// CopySteps.h - the steps by which files, folders and links are copied and renamed, so that each can be answered
// otherwise; and the room on a volume.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include "win32/FileSystem.h"
#include "win32/TreeSteps.h"

#include <functional>
#include <memory>
#include <vector>

namespace xc::win32 {

/// Bytes of a file that are on the disk; the rest reads as zeros.
struct ByteRange {
    std::uint64_t begin = 0;
    std::uint64_t size = 0;
};

/// What a copy takes over besides the content. Instants are steps of 100 ns since 1601-01-01 UTC; 0: left as it is.
struct CopiedFacts {
    std::uint32_t attributes = 0;
    std::int64_t created = 0, accessed = 0, written = 0;
};

/// The steps of this system; tests derive from it what other systems answer. One thread at a time.
class CopySteps {
public:
    /// Is told of bytes that are done. @return false: the copy ends with kErrorAborted.
    using Told = std::function<bool(std::uint64_t bytes)>;

    CopySteps() = default;
    virtual ~CopySteps() = default;
    CopySteps(CopySteps const&) = delete;
    CopySteps& operator=(CopySteps const&) = delete;

    /// What stands at a path, by its name.
    virtual unsigned long Kind(SystemPath const& path, EntryKind& kind);
    /// Fails when the name is taken.
    virtual unsigned long MakeFolder(SystemPath const& path);
    /// Copies a file with everything that the system keeps with its content. The target must not be there; after an
    /// error it is not.
    virtual unsigned long CopyContent(SystemPath const& from, SystemPath const& to, Told const& told);
    /// The parts of a file with holes. kErrorNotSupported when it is to be copied as a whole: the file system does not
    /// tell, or the file has more than its content.
    virtual unsigned long Ranges(SystemPath const& from, std::uint64_t size, std::vector<ByteRange>& ranges);
    /// Copies these parts and leaves holes between them. The target as in CopyContent.
    virtual unsigned long CopyRanges(SystemPath const& from, SystemPath const& to, std::uint64_t size,
                                     std::vector<ByteRange> const& ranges, Told const& told);
    /// Makes a link that leads to where this one does, by the same words.
    virtual unsigned long CopyLink(SystemPath const& from, SystemPath const& to, bool isFolder);
    virtual unsigned long SetFacts(SystemPath const& path, CopiedFacts const& facts);
    /// Renames on one volume; kErrorNotSameDevice otherwise.
    virtual unsigned long Rename(SystemPath const& from, SystemPath const& to, bool replace, Patience& patience);
    /// A file, also one that is read-only.
    virtual unsigned long RemoveFile(SystemPath const& path);
};
/// Bytes of a volume.
struct VolumeRoom {
    std::uint64_t total = 0;     ///< of the volume, or of what the caller may use of it
    std::uint64_t free = 0;      ///< of the volume
    std::uint64_t available = 0; ///< for the caller
};
/// Of the volume of a folder.
unsigned long GetRoom(SystemPath const& folder, VolumeRoom& room) noexcept;

} // namespace xc::win32
