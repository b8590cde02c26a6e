// The walk: folders wait in a stack of their own, the first-named on top, so that neither the depth of the tree nor the
// number of its folders costs stack, and the memory is that of the siblings along one path.
//
// A folder is opened by its absolute path as long as that is short. A tree of depth 5,000 has paths that no call takes.
// There the handle of a folder some 1,000 units above is kept as an anchor and its descendants are opened relative to
// it; an anchor is closed when the last folder below it has been read. So few folders are open at any time, where a
// handle for each level would keep all of them from being renamed.
//
// Links are told by the listing. Between the listing and the reading a folder may be exchanged for a link: the handle
// is asked again, and a folder that has become a link, a file or nothing is passed over as one that has vanished.
// Circles can only come from links; where these are followed every folder is entered once, by its identity.
#include "files/TreeWalk.h"

#include "files/FileErrors.h"

#include <algorithm>

namespace xc::files {

namespace {

// Units of a path below the root or an anchor that are opened in one call. Calls take 32,767 units, but a file system
// may take less: 4,095 bytes are known, for which a unit may need three.
constexpr std::size_t kAnchorEvery = 1000;

} // namespace

TreeWalk::TreeWalk(std::unique_ptr<win32::TreeSteps> steps, XCWalkOptions options)
    : m_steps(std::move(steps)), m_options(std::move(options)), m_names(m_options.names.View())
{
}

unsigned long TreeWalk::Begin(win32::SystemPath const& root)
{
    Folder folder{.path = root.Text(), .depth = 1, .through = true, .anchor = nullptr};
    // The separator after a drive belongs to its name.
    while (folder.path.ends_with(L'\\') && !folder.path.ends_with(L":\\")) folder.path.pop_back();
    m_rootLength = folder.path.size();
    unsigned long const error = Enter(std::move(folder));
    return error == 0 && !m_open ? static_cast<unsigned long>(win32::kErrorNoFolder) : error;
}

unsigned long TreeWalk::OpenFolder(win32::OpenEntry& open) const
{
    if (!m_folder.anchor) return open.Open(win32::SystemPath(m_folder.path), {.through = m_folder.through});
    std::wstring_view const below = std::wstring_view(m_folder.path).substr(m_folder.below);
    return open.OpenBelow(*m_folder.anchor, below, m_folder.through);
}

/// Whether it is no folder any more, has become a link, or was entered before.
bool TreeWalk::IsUnwanted(win32::OpenEntry const& open, unsigned long& error)
{
    win32::EntryKind kind;
    error = m_steps->Kind(open.Get(), kind);
    if (error != 0) return false;
    if (!kind.IsFolder() || (!m_folder.through && kind.IsReparsePoint())) return true;
    if (m_options.links != XCWalkLinks::Follow) return false;
    win32::EntryIdentity identity;
    error = m_steps->Identity(open.Get(), identity);
    return error == 0 && !m_entered.insert(identity).second;
}

/// 0 also when the folder is passed over: nothing is open then.
unsigned long TreeWalk::Enter(Folder folder)
{
    LeaveFolder();
    m_folder = std::move(folder);
    auto open = std::make_shared<win32::OpenEntry>(*m_steps);
    if (unsigned long const error = OpenFolder(*open)) return error;
    unsigned long error = 0;
    if (IsUnwanted(*open, error) || error != 0) return error;
    m_folderText = XCString(m_folder.path);
    m_open = std::move(open);
    if (m_options.order == XCWalkOrder::AsGiven) return 0;
    while ((error = ReadMore()) == 0) {
    }
    SortItems();
    return error == win32::kErrorNoMoreFiles ? 0 : error;
}

void TreeWalk::SortItems()
{
    m_sorted.clear();
    for (win32::TreeItem const& item : m_block.items) m_sorted.push_back(&item);
    std::sort(m_sorted.begin(), m_sorted.end(),
              [](win32::TreeItem const* a, win32::TreeItem const* b) { return a->name < b->name; });
}

/// By name the whole folder was read when it was entered; otherwise a block replaces the one before.
unsigned long TreeWalk::ReadMore()
{
    if (!m_open) return win32::kErrorNoMoreFiles;
    if (m_options.order == XCWalkOrder::AsGiven) {
        m_block.Clear();
        m_at = 0;
    }
    return m_steps->Read(m_open->Get(), m_block);
}

void TreeWalk::LeaveFolder() noexcept
{
    m_open.reset();
    m_block.Clear();
    m_sorted.clear();
    m_at = 0;
    // The stack gives back the last one first.
    std::reverse(m_pending.begin() + static_cast<std::ptrdiff_t>(m_firstOwn), m_pending.end());
    m_firstOwn = m_pending.size();
}

bool TreeWalk::Next(XCDirectoryEntry& entry)
{
    for (;;) {
        m_canSkip = false;
        if (DeliverNext(entry)) return true;
        unsigned long const error = ReadMore();
        if (error == 0) continue;
        LeaveFolder();
        if (Fail(entry, error)) return true;
        if (m_pending.empty()) return false;
        if (EnterNext(entry)) return true;
    }
}

/// The next entry that is wanted, of those that have been read.
bool TreeWalk::DeliverNext(XCDirectoryEntry& entry)
{
    bool const isSorted = m_options.order == XCWalkOrder::ByName;
    while (m_at < m_block.items.size()) {
        win32::TreeItem const& item = isSorted ? *m_sorted[m_at] : m_block.items[m_at];
        ++m_at;
        if (Deliver(item, entry)) return true;
    }
    return false;
}

/// Whether `entry` tells of a folder that cannot be read.
bool TreeWalk::EnterNext(XCDirectoryEntry& entry)
{
    Folder folder = std::move(m_pending.back());
    m_pending.pop_back();
    m_firstOwn = m_pending.size();
    unsigned long const error = Enter(std::move(folder));
    return error != 0 && Fail(entry, error);
}

/// Not of an end, and not of a folder that has vanished.
bool TreeWalk::Fail(XCDirectoryEntry& entry, unsigned long error)
{
    if (error == win32::kErrorNoMoreFiles || win32::IsGone(error)) return false;
    LeaveFolder();
    entry.Fail(m_folder.path, m_rootLength, m_folder.depth - 1,
               FileError(XCErrFolderCannotRead, win32::SystemPath(m_folder.path), error));
    return true;
}

bool TreeWalk::IsEntered(win32::TreeItem const& item) const noexcept
{
    if (!item.IsFolder() || m_folder.depth >= m_options.depth) return false;
    if (!item.IsReparsePoint()) return true;
    return m_options.links == XCWalkLinks::Follow || (m_options.links == XCWalkLinks::Content && !item.IsLink());
}

bool TreeWalk::Deliver(win32::TreeItem const& item, XCDirectoryEntry& entry)
{
    bool const isEntered = IsEntered(item);
    bool const isWanted = item.IsFolder() ? m_options.folders : m_options.files && m_names.Matches(item.name);
    if (!isWanted && !isEntered) return false;
    if (isWanted || m_options.enter) entry.Set(m_folderText, m_rootLength, m_folder.depth, item);
    bool const isDelivered = isWanted && (!m_options.filter || m_options.filter(entry));
    if (isEntered && (!m_options.enter || m_options.enter(entry))) {
        Push(item);
        m_canSkip = isDelivered;
    }
    return isDelivered;
}

void TreeWalk::Push(win32::TreeItem const& item)
{
    Folder& child = m_pending.emplace_back();
    child.path.reserve(m_folder.path.size() + 1 + item.name.size());
    child.path = m_folder.path;
    if (child.path.back() != L'\\') child.path += L'\\';
    std::size_t const nameAt = child.path.size();
    child.path += item.name;
    child.depth = m_folder.depth + 1;
    child.through = item.IsReparsePoint();
    bool const needsAnchor = child.path.size() - std::max(m_folder.below, m_rootLength) > kAnchorEvery;
    child.anchor = needsAnchor ? m_open : m_folder.anchor;
    child.below = needsAnchor ? nameAt : m_folder.below;
}

void TreeWalk::Skip() noexcept
{
    if (m_canSkip) m_pending.pop_back();
    m_canSkip = false;
}

} // namespace xc::files
