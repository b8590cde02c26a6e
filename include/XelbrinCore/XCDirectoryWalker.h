// XCDirectoryWalker.h - the entries of a folder and of all folders below it, one after the other.
//
// WHAT     XCDirectoryWalker::Next delivers entry after entry; XCWalkOptions say which, in which order and how deep. All
//          entries of one folder come together, a folder's own entry before those in it. Whole folders are left out by
//          Skip or by XCWalkOptions::enter. XCDirectory::Walk is the same with a visitor.
// LINKS    A walk stays in its tree: symbolic links and folders that other folders are mounted in are delivered and not
//          entered, unless XCWalkLinks::Follow asks for it; each folder is then entered once, by whichever way it is
//          reached first, so that circles end. The root is entered even if it is a link.
// DEPTH    Folders wait in a queue, not on the stack. A folder of any depth is entered as long as the system opens
//          it: far down it is opened relative to a folder above it, so that the length of its path does not count.
// CHANGES  What appears or vanishes meanwhile may be delivered or not; a folder that vanishes before it is read is no
//          failure.
// COST     One call of the system for 64 KiB of entries, two to three more a folder; two strings an entry. By name costs
//          the sorting and the memory of the folder that is read.
// ERRORS   A folder that cannot be read is delivered once more, as an entry whose GetError is bad, and the walk goes on.
//          An exception of a filter leaves Next; the walk can go on after it.
// THREADS  One thread at a time uses a walker. Entries are values.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFileInfo.h>
#include <XelbrinCore/XCPath.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace xc::files {
class TreeWalk;
} // namespace xc::files
namespace xc::win32 {
struct TreeItem;
} // namespace xc::win32

/// An entry of a walk: what the folder tells about it, and where it stands.
class XC_API XCDirectoryEntry {
public:
    XCDirectoryEntry() noexcept = default;

    /// The last name of it.
    [[nodiscard]] XCString const& GetName() const noexcept { return m_name; }
    /// The folder that it stands in, absolute.
    [[nodiscard]] XCPath GetFolder() const { return m_folder; }
    /// Absolute, whatever the root was given as.
    [[nodiscard]] XCPath GetPath() const;
    /// From the root of the walk on: "a\b.txt".
    [[nodiscard]] XCString GetRelative() const;
    /// 1 for what stands in the root itself.
    [[nodiscard]] std::size_t GetDepth() const noexcept { return m_depth; }
    /// What the listing tells: no identity and no count of links; XCFileInfo::Get has those. Nothing for an entry with an
    /// error.
    [[nodiscard]] XCFileInfo const& GetInfo() const noexcept { return m_info; }
    /// Whether it is a folder, or a link to one.
    [[nodiscard]] bool IsFolder() const noexcept { return m_info.IsFolder(); }
    /// Whether it stands for another file or folder: by its tag, or since the system tells no tag. Other reparse points,
    /// such as the placeholders of files that are kept elsewhere, have a content of their own.
    [[nodiscard]] bool IsLink() const noexcept;
    /// Bad: this folder could not be read.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }

private:
    friend class xc::files::TreeWalk;

    void Set(XCString const& folder, std::size_t rootLength, std::size_t depth, xc::win32::TreeItem const& item);
    void Fail(std::wstring_view path, std::size_t rootLength, std::size_t depth, XCErrorID error);

    XCString m_folder;
    XCString m_name;
    std::size_t m_rootLength = 0; ///< units of the root's path
    std::size_t m_depth = 0;
    XCFileInfo m_info;
    XCErrorID m_error;
};

/// In which order the entries of a folder come.
enum class XCWalkOrder {
    AsGiven, ///< as the file system has them
    ByName   ///< by the units of their names; folders are entered in that order, too
};

/// Which reparse points a walk enters.
enum class XCWalkLinks {
    Stay,    ///< none
    Content, ///< folders with a content of their own, such as placeholders; reading them may fetch it. No links
    Follow   ///< links and mounted folders, too: the walk may leave the tree
};

/// Which entries a walk delivers.
struct XCWalkOptions {
    std::size_t depth = SIZE_MAX;             ///< 1: what stands in the root alone
    XCWalkOrder order = XCWalkOrder::AsGiven; ///< of the entries of a folder
    XCWalkLinks links = XCWalkLinks::Stay;    ///< which links are entered
    bool files = true;                        ///< whether files are delivered
    bool folders = true;                      ///< whether folders are delivered; they are entered all the same
    /// Files are delivered whose names match one of these, separated by ";": "*.cpp;*.h". "*" is any text, also with
    /// dots, "?" one unit; case does not count. Empty: all.
    XCString names = {};
    /// Whether to deliver what passes all others. Empty: yes.
    std::function<bool(XCDirectoryEntry const&)> filter = {};
    /// Whether to enter a folder that would be entered, asked before it is delivered. Empty: yes.
    std::function<bool(XCDirectoryEntry const&)> enter = {};
};

/// Walks a tree (see the head of this file).
class XC_API XCDirectoryWalker {
public:
    /// Nothing is open.
    XCDirectoryWalker() noexcept;
    ~XCDirectoryWalker();
    XCDirectoryWalker(XCDirectoryWalker const&) = delete;
    XCDirectoryWalker& operator=(XCDirectoryWalker const&) = delete;

    /// Begins a walk; one that was running ends. @return Bad when the root is not there, no folder or may not be read.
    XCErrorID Open(XCPath const& root, XCWalkOptions options = {});
    /// The next entry. @return false at the end, and when nothing is open.
    [[nodiscard]] bool Next(XCDirectoryEntry& entry);
    /// The folder that was delivered last is not entered; nothing for a file.
    void Skip() noexcept;

private:
    std::unique_ptr<xc::files::TreeWalk> m_walk;
};
