// Entries keep the text of their folder, shared by all entries of it, and their name. Their path is put together when
// it is asked for: most walks look at the name and the facts alone, and far down a path has thousands of units.
//
// A folder that cannot be listed is delivered as an entry with its error, so that a walk never ends early and a caller
// decides what a failure means.
#include <XelbrinCore/XCDirectoryWalker.h>

#include "files/FileErrors.h"
#include "files/TreeWalk.h"

#include <algorithm>

namespace {

XCString Below(XCString const& folder, XCString const& name)
{
    if (name.IsNull()) return folder;
    std::wstring path(folder.View());
    if (!path.empty() && path.back() != L'\\') path += L'\\';
    return XCString(path.append(name.View()));
}

} // namespace

XCPath XCDirectoryEntry::GetPath() const
{
    return Below(m_folder, m_name);
}

XCString XCDirectoryEntry::GetRelative() const
{
    XCString const path = Below(m_folder, m_name);
    // The root may end with a separator, as that of a drive does, or not: one that is left over goes.
    std::wstring_view relative = path.View().substr(std::min(m_rootLength, path.Length()));
    if (relative.starts_with(L'\\')) relative.remove_prefix(1);
    return XCString(relative);
}

// One rule for walks, copies and removals.
bool XCDirectoryEntry::IsLink() const noexcept
{
    return xc::win32::EntryKind{m_info.attributes, m_info.reparseTag}.IsLink();
}

void XCDirectoryEntry::Set(XCString const& folder, std::size_t rootLength, std::size_t depth,
                           xc::win32::TreeItem const& item)
{
    m_folder = folder;
    m_name = XCString(item.name);
    m_rootLength = rootLength;
    m_depth = depth;
    m_info.size = item.size;
    m_info.created = XCFileTime(item.created);
    m_info.accessed = XCFileTime(item.accessed);
    m_info.written = XCFileTime(item.written);
    m_info.changed = XCFileTime(item.changed);
    m_info.attributes = item.attributes;
    m_info.reparseTag = item.tag;
    m_error = XCErrorID::Success;
}

void XCDirectoryEntry::Fail(std::wstring_view path, std::size_t rootLength, std::size_t depth, XCErrorID error)
{
    xc::win32::TreeItem folder;
    folder.attributes = xc::win32::kFolderBit;
    // The root itself is its own folder, with no name below it.
    std::size_t const end = depth == 0 ? path.size() : path.find_last_of(L'\\');
    folder.name = depth == 0 ? std::wstring_view() : path.substr(end + 1);
    Set(XCString(path.substr(0, end)), rootLength, depth, folder);
    m_error = std::move(error);
}

XCDirectoryWalker::XCDirectoryWalker() noexcept = default;
XCDirectoryWalker::~XCDirectoryWalker() = default;

XCErrorID XCDirectoryWalker::Open(XCPath const& root, XCWalkOptions options)
{
    // First, so that a walker that fails to open does not go on with the tree before.
    m_walk.reset();
    auto walk = std::make_unique<xc::files::TreeWalk>(xc::win32::SystemTreeSteps(), std::move(options));
    xc::win32::SystemPath const path(root.View());
    unsigned long const error = walk->Begin(path);
    if (error == 0) m_walk = std::move(walk);
    return xc::files::FileError(XCErrFolderCannotRead, path, error);
}

bool XCDirectoryWalker::Next(XCDirectoryEntry& entry)
{
    return m_walk && m_walk->Next(entry);
}

void XCDirectoryWalker::Skip() noexcept
{
    if (m_walk) m_walk->Skip();
}
