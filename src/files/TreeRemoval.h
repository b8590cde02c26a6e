// TreeRemoval.h - removing folders with everything in them, by steps that can be answered otherwise.
#pragma once

#include "win32/TreeSteps.h"

#include <functional>
#include <string>
#include <vector>

namespace xc::files {

struct RemovalRules {
    bool readOnlyToo = false;    ///< entries that are read-only are removed, too
    unsigned int patienceMs = 0; ///< waiting in all, for entries that others hold
};

class TreeRemoval {
public:
    /// Is told of every entry that is removed (error 0) or stays. @return false: the removal ends.
    using Told = std::function<bool(win32::SystemPath const& path, win32::EntryKind const& kind, unsigned long error)>;

    TreeRemoval(win32::TreeSteps& steps, RemovalRules rules, Told told);

    /// 0, or the first error; kErrorAborted when it was ended.
    unsigned long RemoveTree(win32::SystemPath const& root);
    /// One file or link, or one folder without entries: whichever is asked for.
    unsigned long RemoveOne(win32::SystemPath const& path, bool isFolder);

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    struct Entry {
        win32::SystemPath path;
        std::wstring finalName; ///< where a handle must lead to; empty: not known
        win32::EntryKind kind;  ///< as listed
        bool isRoot = false;
    };
    /// A folder that is to be removed.
    struct Node {
        Entry entry;
        std::size_t parent = kNone;  ///< on the stack
        bool isListed = false;       ///< its files are gone, its folders lie above it on the stack
        bool hasLeft = false;        ///< an entry has stayed, and was told
        unsigned long listError = 0; ///< 0: it was read
    };

    unsigned long Begin(win32::SystemPath const& root, bool isFolder, Entry& entry);
    [[nodiscard]] bool LeavesFolder(win32::SystemPath const& path);
    void ListTop();
    unsigned long ReadAll(Entry const& folder);
    void Take(std::size_t parent, win32::TreeItem const& item);
    void Push(std::size_t parent, Entry entry);
    void RemoveTop();
    bool MoveUp(Entry& folder);
    unsigned long Remove(Entry const& entry);
    unsigned long TryRemove(Entry const& entry);
    unsigned long RemoveAtClose(win32::OpenEntry const& open, Entry const& entry, win32::EntryKind const& kind,
                                bool isShared);
    unsigned long MarkAtClose(win32::OpenEntry const& open, win32::EntryKind const& kind);
    unsigned long Examine(win32::OpenEntry const& open, Entry const& entry, win32::EntryKind& kind);
    void Tell(std::size_t parent, Entry const& entry, unsigned long error);
    bool Wait();

    win32::TreeSteps& m_steps;
    RemovalRules m_rules;
    Told m_told;
    bool m_posix = true; ///< as far as is known
    win32::SystemPath m_root;
    std::vector<Node> m_stack;
    win32::TreeBlock m_block;
    unsigned long m_first = 0;
    bool m_isStopped = false;
    std::uint64_t m_waitedMs = 0;
};

} // namespace xc::files
