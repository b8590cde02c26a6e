// Removal of a tree. Folders stand on a stack of their own; one that comes up for the first time is listed, its files
// are removed and its folders are put above it, so that it comes up again when it is empty.
//
// Nothing outside of the tree is ever removed, by this invariant: an entry is opened without following links, and the
// handle is asked where it leads; only a handle that leads to the path where the entry was listed is marked. That holds
// for links of every kind, for a folder that is exchanged for a link between two calls, and on systems that follow a
// link whatever they are asked. A link that cannot be opened itself stays, and is told.
//
// An entry is removed in the way that frees its name at once, even while others have it open. File systems that do not
// know that way free the name with the last handle, and the folder could not be removed so long. There an entry is
// opened so that it belongs to the removal alone, which tells that closing frees the name. If others have it open, it
// is renamed into the root of the tree first: then only the root waits for them. What was renamed and cannot be marked
// gets its name back. A folder that is not empty is listed again until the patience ends, and is then told.
//
// Paths grow with the depth and end above 32,767 units. A folder too far down is renamed into the root before it is
// listed: paths stay short, and the work per entry does not depend on the depth.
#include "files/TreeRemoval.h"

#include "files/UniqueName.h"
#include "win32/FileSystem.h"

#include <utility>

namespace xc::files {

using win32::Disposal;

namespace {

constexpr std::size_t kMoveUpFrom = 1000;  // units of a path below the root
constexpr std::uint64_t kPauseMs = 10;     // between two tries
constexpr wchar_t kAside[] = L"~removed-"; // names of entries that were renamed into the root

/// Whether a way to remove is not known: the system or the file system is older than it.
bool IsUnknown(unsigned long error) noexcept
{
    constexpr unsigned long kInvalidFunction = 1;
    return error == win32::kErrorInvalidParameter || error == win32::kErrorNotSupported || error == kInvalidFunction;
}

std::wstring Below(std::wstring const& folder, std::wstring_view name)
{
    if (folder.empty()) return {};
    std::wstring path = folder;
    if (path.back() != L'\\') path += L'\\';
    return path.append(name);
}

} // namespace

TreeRemoval::TreeRemoval(win32::TreeSteps& steps, RemovalRules rules, Told told)
    : m_steps(steps), m_rules(rules), m_told(std::move(told))
{
}

unsigned long TreeRemoval::Begin(win32::SystemPath const& root, bool isFolder, Entry& entry)
{
    entry.path = root;
    entry.isRoot = true;
    if (unsigned long const error = m_steps.KindOf(root, entry.kind)) return error;
    if (isFolder == entry.kind.IsFolder()) return 0;
    return isFolder ? win32::kErrorNoFolder : win32::kErrorAccessDenied; // as the system's own calls answer
}

unsigned long TreeRemoval::RemoveOne(win32::SystemPath const& path, bool isFolder)
{
    Entry entry;
    unsigned long const error = Begin(path, isFolder, entry);
    if (error != 0) return error;
    return LeavesFolder(path) ? static_cast<unsigned long>(win32::kErrorLeadsElsewhere) : Remove(entry);
}

/// Whether opening a name ends in another folder than the one it stands in. The name itself says nothing: it may be
/// given in another case, or by its short form.
bool TreeRemoval::LeavesFolder(win32::SystemPath const& path)
{
    auto const finalName = [this](win32::SystemPath const& of, bool remove) {
        win32::OpenEntry open(m_steps);
        std::wstring name;
        bool const isKnown =
            open.Open(of, {.through = !remove, .remove = remove}) == 0 && m_steps.FinalName(open.Get(), name) == 0;
        return isKnown ? name : std::wstring();
    };
    std::wstring const name = finalName(path, true);
    std::wstring const folder = finalName(path.Folder(), false);
    // Without both names nothing can be told; the removal's own check of the entry remains.
    if (name.empty() || folder.empty()) return false;
    return name.substr(0, name.find_last_of(L'\\') + 1) != Below(folder, {});
}

unsigned long TreeRemoval::RemoveTree(win32::SystemPath const& root)
{
    Entry entry;
    if (unsigned long const error = Begin(root, true, entry)) return error;
    // The root decides where every handle must lead to.
    win32::OpenEntry open(m_steps);
    win32::EntryKind kind;
    unsigned long error = open.Open(root, {});
    if (error == 0) error = m_steps.Kind(open.Get(), kind);
    if (error != 0) return error;
    // Some file systems tell no names; links are then told by their attributes alone.
    if (m_steps.FinalName(open.Get(), entry.finalName) != 0) entry.finalName.clear();
    // A handle on the root would keep it from being removed at the end.
    open.Close();
    if (entry.kind.IsReparsePoint() && (kind.IsLink() || !kind.IsReparsePoint())) {
        // A root that is a link itself goes alone: its target is another tree.
        Tell(kNone, entry, Remove(entry));
        return m_first;
    }
    entry.kind = kind;
    m_root = root;
    Push(kNone, std::move(entry));
    while (!m_stack.empty() && !m_isStopped) m_stack.back().isListed ? RemoveTop() : ListTop();
    return m_isStopped ? static_cast<unsigned long>(win32::kErrorAborted) : m_first;
}

void TreeRemoval::ListTop()
{
    std::size_t const top = m_stack.size() - 1;
    // Before the reading: a folder that cannot be listed is still tried to be removed, which tells why it stays.
    m_stack[top].isListed = true;
    m_stack[top].listError = ReadAll(m_stack[top].entry);
    for (win32::TreeItem const& item : m_block.items) {
        if (m_isStopped) return;
        Take(top, item);
    }
}

unsigned long TreeRemoval::ReadAll(Entry const& folder)
{
    m_block.Clear();
    win32::OpenEntry open(m_steps);
    win32::EntryKind kind;
    if (unsigned long const error = open.Open(folder.path, {})) return error;
    if (unsigned long const error = Examine(open, folder, kind)) return error;
    if (kind.IsLink()) return 0; // exchanged for a link, which is removed as it is
    unsigned long error = 0;
    // Read to the end before anything is removed: a listing that goes on during removals may leave entries out.
    while ((error = m_steps.Read(open.Get(), m_block)) == 0) {
    }
    return error == win32::kErrorNoMoreFiles ? 0 : error;
}

void TreeRemoval::Take(std::size_t parent, win32::TreeItem const& item)
{
    Entry const& folder = m_stack[parent].entry;
    Entry entry{folder.path.Child(item.name), Below(folder.finalName, item.name), item};
    if (item.IsFolder() && !item.IsLink())
        Push(parent, std::move(entry));
    else
        Tell(parent, entry, Remove(entry));
}

void TreeRemoval::Push(std::size_t parent, Entry entry)
{
    // Renamed into the root, its parent is the root: that one cannot go before it.
    if (entry.path.Text().size() > m_root.Text().size() + kMoveUpFrom && MoveUp(entry)) parent = 0;
    m_stack.push_back({.entry = std::move(entry), .parent = parent});
}

/// Renames a folder into the root. What cannot be renamed is removed where it stands.
bool TreeRemoval::MoveUp(Entry& folder)
{
    win32::OpenEntry open(m_steps);
    win32::EntryKind kind;
    if (open.Open(folder.path, {.remove = true}) != 0 || Examine(open, folder, kind) != 0) return false;
    win32::SystemPath to;
    auto const rename = [&](win32::SystemPath const& path) { return m_steps.Rename(open.Get(), path); };
    if (MakeUnique(m_root, kAside, {}, to, rename) != 0) return false;
    folder.finalName = Below(m_stack.front().entry.finalName, to.FileName());
    folder.path = std::move(to);
    return true;
}

void TreeRemoval::RemoveTop()
{
    Node& node = m_stack.back();
    unsigned long error = Remove(node.entry);
    if (error == win32::kErrorFolderNotEmpty && !node.hasLeft && node.listError == 0 && Wait()) {
        node.isListed = false; // entries have come meanwhile, or wait for their last handles
        return;
    }
    Node const done = std::move(node);
    m_stack.pop_back();
    // "Not empty" would hide why its entries were never seen.
    if (error != 0 && done.listError != 0) error = done.listError;
    // The entries that are left in the folder were told one by one; the folder itself adds nothing.
    bool const isTold = error == win32::kErrorFolderNotEmpty && done.hasLeft;
    if (!isTold) Tell(done.parent, done.entry, error);
    if (error != 0 && done.parent != kNone) m_stack[done.parent].hasLeft = true;
}

void TreeRemoval::Tell(std::size_t parent, Entry const& entry, unsigned long error)
{
    if (error != 0 && m_first == 0) m_first = error;
    if (error != 0 && parent != kNone) m_stack[parent].hasLeft = true;
    if (m_told && !m_told(entry.path, entry.kind, error)) m_isStopped = true;
}

/// 0 also when it has vanished.
unsigned long TreeRemoval::Remove(Entry const& entry)
{
    for (;;) {
        unsigned long const error = TryRemove(entry);
        if (win32::IsGone(error)) return 0;
        if (error != win32::kErrorSharing || !Wait()) return error;
    }
}

unsigned long TreeRemoval::TryRemove(Entry const& entry)
{
    win32::OpenEntry open(m_steps);
    win32::EntryAccess access{.remove = true, .alone = !m_posix, .attributes = m_rules.readOnlyToo};
    unsigned long error = open.Open(entry.path, access);
    // Others have it open: then closing will not free its name, which RemoveAtClose makes up for.
    bool const isShared = error == win32::kErrorSharing && access.alone;
    if (isShared) {
        access.alone = false;
        error = open.Open(entry.path, access);
    }
    win32::EntryKind kind;
    if (error == 0) error = Examine(open, entry, kind);
    if (error != 0) return error;
    if (!m_posix) return RemoveAtClose(open, entry, kind, isShared);
    Disposal const disposal = m_rules.readOnlyToo ? Disposal::PosixAndReadOnly : Disposal::Posix;
    error = m_steps.Dispose(open.Get(), disposal);
    if (!IsUnknown(error)) return error;
    // Learnt once for the whole tree, which mostly lies on one file system. The entry must be opened anew, to belong to
    // the removal alone.
    m_posix = false;
    open.Close();
    return TryRemove(entry);
}

/// The handle leads to the entry that was listed, or to nothing that may be removed.
unsigned long TreeRemoval::Examine(win32::OpenEntry const& open, Entry const& entry, win32::EntryKind& kind)
{
    if (unsigned long const error = m_steps.Kind(open.Get(), kind)) return error;
    if (entry.kind.IsLink() && !kind.IsReparsePoint()) return win32::kErrorLeadsElsewhere;
    if (entry.finalName.empty()) return 0;
    std::wstring name;
    if (unsigned long const error = m_steps.FinalName(open.Get(), name)) return error;
    return name == entry.finalName ? 0 : static_cast<unsigned long>(win32::kErrorLeadsElsewhere);
}

unsigned long TreeRemoval::RemoveAtClose(win32::OpenEntry const& open, Entry const& entry, win32::EntryKind const& kind,
                                         bool isShared)
{
    win32::SystemPath aside;
    auto const rename = [&](win32::SystemPath const& path) { return m_steps.Rename(open.Get(), path); };
    bool const isAside = isShared && !entry.isRoot && MakeUnique(m_root, kAside, {}, aside, rename) == 0;
    unsigned long const error = MarkAtClose(open, kind);
    if (error != 0 && isAside) (void)m_steps.Rename(open.Get(), entry.path);
    return error;
}

unsigned long TreeRemoval::MarkAtClose(win32::OpenEntry const& open, win32::EntryKind const& kind)
{
    unsigned long error = m_steps.Dispose(open.Get(), Disposal::AtClose);
    bool const isProtected = error == win32::kErrorAccessDenied && (kind.attributes & win32::kReadOnlyBit) != 0;
    if (!isProtected || !m_rules.readOnlyToo) return error;
    if (m_steps.SetAttributes(open.Get(), kind.attributes & ~win32::kReadOnlyBit) != 0) return error;
    error = m_steps.Dispose(open.Get(), Disposal::AtClose);
    // An entry that stays keeps the mark that it had.
    if (error != 0) (void)m_steps.SetAttributes(open.Get(), kind.attributes);
    return error;
}

bool TreeRemoval::Wait()
{
    // One patience for the whole removal: a tree full of open files would otherwise wait for each of them.
    if (m_waitedMs + kPauseMs > m_rules.patienceMs) return false;
    m_steps.Pause(kPauseMs);
    m_waitedMs += kPauseMs;
    return true;
}

} // namespace xc::files
