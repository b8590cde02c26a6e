// XCDirectory.h - folders: made, listed, walked, copied, moved and removed with everything in them.
//
// WHAT     All functions of XCDirectory are static and take paths; nothing is kept between them. XCDirectoryWalker.h has
//          the walk as an object.
// LINKS    A removal never follows a link: neither one that stands in the tree, nor one that somebody puts there while
//          it runs. Every entry is opened itself, and what the handle leads to decides. A link that the system cannot
//          open itself stays and is told (XCErrTreeLink). A copy makes links anew, by the same words, and never writes
//          through a link that stands in the target.
// FAILURES Those of single entries do not end an operation on a tree: the rest is done, the first failure is returned,
//          and XCTreeReport has all of them. What vanishes meanwhile is no failure.
// MOVING   Move renames where that is possible. To another volume the copy is complete, under a name of its own beside
//          the target, before it gets the target's name, and the source is removed last: at every moment one of the two
//          is whole.
// COST     That of the calls of the system; no memory and no stack grows with the depth of a tree.
// ERRORS   Returned, with the path, number and words of the system.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCDirectoryWalker.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCPath.h>
#include <XelbrinCore/XCProgress.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/// What an operation on a tree has done.
struct XCTreeReport {
    /// So many failures are kept; the rest is counted.
    static constexpr std::size_t kMostFailures = 100;

    std::uint64_t files = 0;         ///< files that are done
    std::uint64_t folders = 0;       ///< folders that are done
    std::uint64_t links = 0;         ///< links that are done
    std::uint64_t bytes = 0;         ///< sizes of the files that were copied
    std::uint64_t left = 0;          ///< files of the target that were left as they were
    std::uint64_t failed = 0;        ///< failures
    std::vector<XCErrorID> failures; ///< the first of them
};

/// What becomes of files of the target that are there already.
enum class XCExisting {
    Refuse,  ///< the operation fails when the target is there
    Replace, ///< replaced in one step, each when its copy is complete; folders are merged
    Leave    ///< left as they are, and counted; folders are merged
};

/// How a tree is removed.
struct XCRemoveOptions {
    bool readOnlyToo = false;              ///< entries that are read-only are removed, too
    std::uint32_t patienceMs = 500;        ///< waiting in all, for entries that others hold
    XCSmartPtr<XCProgressI> progress = {}; ///< is stepped for each entry, and may cancel; null: none
    XCTreeReport* report = nullptr;        ///< receives what was done; null if not wanted
};

/// How a file or tree is copied or moved.
struct XCCopyOptions {
    XCExisting existing = XCExisting::Refuse; ///< a folder is never replaced by a file, nor a file by a folder
    bool followLinks = false;                 ///< links are copied as what they lead to; ignored by Move
    std::uint32_t patienceMs = 500;           ///< waiting for a target that others hold, for each file
    /// Entries for which it is false are left out, folders with everything in them. Empty: none. Ignored by Move.
    std::function<bool(XCDirectoryEntry const&)> filter = {};
    XCSmartPtr<XCProgressI> progress = {}; ///< gets a range of bytes and entries, and may cancel; null: none
    XCTreeReport* report = nullptr;        ///< receives what was done; null if not wanted
};

/// Bytes of a volume.
struct XCDiskSpace {
    std::uint64_t total = 0;     ///< of the volume, or of the caller's quota
    std::uint64_t free = 0;      ///< that nobody uses
    std::uint64_t available = 0; ///< that the caller may use
};

/// What a visitor wants next.
enum class XCWalkStep {
    Continue, ///< the next entry
    Skip,     ///< nothing of this folder
    Stop      ///< no more
};

/// Work on folders (see the head of this file).
class XC_API XCDirectory {
public:
    XCDirectory() = delete;

    /// Whether a folder is at the path, or a link to one.
    [[nodiscard]] static bool Exists(XCPath const& path);
    /// Makes the folder and those above it that are missing; success also when it is there.
    /// @return XCErrFileName for a name that XCPath::Check refuses, unless `anyName`.
    static XCErrorID Create(XCPath const& path, bool anyName = false);
    /// Removes an empty folder, or a link to a folder. @return Bad also when nothing is there.
    static XCErrorID Remove(XCPath const& path);
    /// Removes a file, or a link to a file; its name is free afterwards, where the file system allows that also while
    /// others have it open. @param patienceMs waiting while others do not share it. @return Bad also when nothing is there.
    static XCErrorID RemoveFile(XCPath const& path, bool readOnlyToo = false, std::uint32_t patienceMs = 0);
    /// Removes a folder with everything in it; of a link, the link. Paths may be as long as they are: folders far down
    /// are renamed into the root first, under names that begin with "~removed-". So are entries that others have open,
    /// where the file system frees a name only with the last handle. What then cannot be removed stays there.
    /// @return Bad also when nothing is there; XCErrTreeStopped when it was cancelled.
    static XCErrorID RemoveTree(XCPath const& path, XCRemoveOptions const& options = {});
    /// Copies a file or a folder with everything in it to a path, not into a folder of that path. Times and attributes
    /// are kept, holes of files where the system tells of them, named streams where the file system has them.
    /// @return XCErrTreeIntoItself for a target inside of the source; XCErrTreeStopped when it was cancelled.
    static XCErrorID Copy(XCPath const& from, XCPath const& to, XCCopyOptions const& options = {});
    /// Moves a file, a folder or a link to a path, whatever volume that is on. Existing files can be replaced, folders
    /// are neither replaced nor merged.
    static XCErrorID Move(XCPath const& from, XCPath const& to, XCCopyOptions const& options = {});

    /// Calls a visitor for each entry, as XCDirectoryWalker delivers them. @return Bad when the root cannot be read.
    static XCErrorID Walk(XCPath const& root, XCWalkOptions options,
                          std::function<XCWalkStep(XCDirectoryEntry const&)> const& visitor);
    /// The entries of a folder, without those below it, by name.
    static XCErrorID Entries(XCPath const& folder, std::vector<XCDirectoryEntry>& entries, XCWalkOptions options = {});

    /// The folder for temporary files; empty when the system names none.
    [[nodiscard]] static XCPath GetTemp();
    /// The current folder of the process, which any thread may change.
    [[nodiscard]] static XCPath GetCurrent();
    /// The room on the volume of a folder.
    static XCErrorID GetSpace(XCPath const& folder, XCDiskSpace& space);

    /// Makes a new folder under a name that nobody else has: the prefix and twelve letters and digits.
    /// @param made receives its path, absolute.
    static XCErrorID CreateTemporary(XCPath const& parent, XCString const& prefix, XCPath& made);
    /// The same with an empty file. @param ending is added to the name, such as ".tmp".
    static XCErrorID CreateTemporaryFile(XCPath const& parent, XCString const& prefix, XCString const& ending,
                                         XCPath& made);
};
