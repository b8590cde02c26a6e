// TreeWalk.h - the walk over a tree, by steps that can be answered otherwise.
#pragma once

#include <XelbrinCore/XCDirectoryWalker.h>

#include "files/NamePattern.h"
#include "win32/TreeSteps.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace xc::files {

class TreeWalk {
public:
    TreeWalk(std::unique_ptr<win32::TreeSteps> steps, XCWalkOptions options);

    /// 0, or the number of the system.
    unsigned long Begin(win32::SystemPath const& root);
    bool Next(XCDirectoryEntry& entry);
    void Skip() noexcept;

private:
    using Handle = std::shared_ptr<win32::OpenEntry>;

    /// A folder that waits, or that is being read.
    struct Folder {
        std::wstring path;
        std::size_t depth = 0; ///< of the entries in it
        bool through = false;  ///< a reparse point that is entered
        Handle anchor;         ///< a folder above it, which its path is opened from; null: opened by the whole path
        std::size_t below = 0; ///< the part of the path that begins below the anchor
    };

    [[nodiscard]] unsigned long OpenFolder(win32::OpenEntry& open) const;
    [[nodiscard]] bool IsUnwanted(win32::OpenEntry const& open, unsigned long& error);
    unsigned long Enter(Folder folder);
    bool EnterNext(XCDirectoryEntry& entry);
    unsigned long ReadMore();
    void SortItems();
    bool DeliverNext(XCDirectoryEntry& entry);
    bool Deliver(win32::TreeItem const& item, XCDirectoryEntry& entry);
    [[nodiscard]] bool IsEntered(win32::TreeItem const& item) const noexcept;
    void Push(win32::TreeItem const& item);
    void LeaveFolder() noexcept;
    bool Fail(XCDirectoryEntry& entry, unsigned long error);

    std::unique_ptr<win32::TreeSteps> m_steps; ///< ends after the handles
    XCWalkOptions m_options;
    NamePattern m_names;
    std::size_t m_rootLength = 0;

    std::vector<Folder> m_pending; ///< the last one is next
    std::size_t m_firstOwn = 0;    ///< those from here on stand in the folder that is read
    bool m_canSkip = false;        ///< the last one is the folder that was delivered last
    std::set<win32::EntryIdentity> m_entered;

    Folder m_folder;
    XCString m_folderText; ///< its path, shared by the entries
    Handle m_open;         ///< null: read to its end
    win32::TreeBlock m_block;
    std::vector<win32::TreeItem const*> m_sorted;
    std::size_t m_at = 0;
};

} // namespace xc::files
