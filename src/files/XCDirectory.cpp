// The public functions: paths become absolute once, the work is done by TreeWalk, TreeCopy and TreeRemoval over the
// system's steps, and numbers of the system become errors that name the path.
//
// A unique name is found by creating under names at random until one is free: the creation that fails when the name is
// taken is the one test that no other process can come between. Folders above a new one are made from the top down, and
// a folder that somebody else makes meanwhile is as good as an own one.
#include <XelbrinCore/XCDirectory.h>

#include "errors/CoreError.h"
#include "files/FileErrors.h"
#include "files/TreeCopy.h"
#include "files/TreeRemoval.h"
#include "files/TreeTally.h"
#include "files/UniqueName.h"

#include <utility>

using xc::files::FileError;
using xc::files::TreeError;
using xc::files::TreeTally;
using xc::win32::EntryKind;
using xc::win32::SystemPath;

namespace {

/// Makes the missing folders above a path and the folder itself, from the top, without recursion.
unsigned long MakeFolders(SystemPath const& path, SystemPath& failed)
{
    std::vector<SystemPath> missing;
    // From the path upwards, so that the usual case (the folder above is there) asks twice.
    for (SystemPath above = path; !above.IsEmpty() && !xc::win32::Exists(above); above = above.Folder())
        missing.push_back(above);
    for (; !missing.empty(); missing.pop_back()) {
        failed = missing.back();
        if (unsigned long const error = xc::win32::MakeFolder(failed)) return error;
    }
    failed = path;
    // What was there at the beginning may be a file.
    return xc::win32::IsFolder(path) ? 0 : static_cast<unsigned long>(xc::win32::kErrorNoFolder);
}

XCErrorID RemoveOne(XCPath const& path, xc::files::RemovalRules const& rules, bool isFolder)
{
    SystemPath const entry(path.View());
    xc::win32::TreeSteps steps;
    xc::files::TreeRemoval removal(steps, rules, {});
    return TreeError(XCErrTreeNotRemoved, entry, removal.RemoveOne(entry, isFolder));
}

template <class Work>
XCErrorID RunCopy(XCPath const& from, XCPath const& to, XCCopyOptions const& options, Work work)
{
    TreeTally tally(options.report, options.progress);
    xc::win32::CopySteps steps;
    xc::files::TreeCopy copy(steps, &xc::win32::SystemTreeSteps, options, tally);
    SystemPath const source(from.View());
    (copy.*work)(source, SystemPath(to.View()));
    return tally.Result(source);
}

} // namespace

// A link to a folder counts: entries can be made in it.
bool XCDirectory::Exists(XCPath const& path)
{
    return xc::win32::IsFolder(SystemPath(path.View()));
}

/// The name is judged before anything is made: a name that one program can make and the next cannot delete is refused,
/// unless the caller knows better.
XCErrorID XCDirectory::Create(XCPath const& path, bool anyName)
{
    XCString name;
    XCPathFault const fault = anyName ? XCPathFault::None : path.Check(&name);
    if (fault != XCPathFault::None) return xc::files::NameError(path, name, fault);
    SystemPath failed;
    unsigned long const error = MakeFolders(SystemPath(path.View()), failed);
    return FileError(XCErrFolderCannotCreate, failed, error);
}

XCErrorID XCDirectory::Remove(XCPath const& path)
{
    return RemoveOne(path, {}, true);
}

XCErrorID XCDirectory::RemoveFile(XCPath const& path, bool readOnlyToo, std::uint32_t patienceMs)
{
    return RemoveOne(path, {readOnlyToo, patienceMs}, false);
}

XCErrorID XCDirectory::RemoveTree(XCPath const& path, XCRemoveOptions const& options)
{
    TreeTally tally(options.report, options.progress);
    SystemPath const root(path.View());
    xc::win32::TreeSteps steps;
    bool isTold = false;
    auto const told = [&](SystemPath const& entry, EntryKind const& kind, unsigned long error) {
        isTold = isTold || error != 0;
        if (error == 0) tally.Done(kind);
        tally.Failed(TreeError(XCErrTreeNotRemoved, entry, error));
        return !tally.IsCancelled();
    };
    xc::files::RemovalRules const rules{options.readOnlyToo, options.patienceMs};
    unsigned long const error = xc::files::TreeRemoval(steps, rules, told).RemoveTree(root);
    // The root itself may fail before an entry is told.
    if (error != 0 && error != xc::win32::kErrorAborted && !isTold)
        tally.Failed(TreeError(XCErrTreeNotRemoved, root, error));
    return tally.Result(root);
}

XCErrorID XCDirectory::Copy(XCPath const& from, XCPath const& to, XCCopyOptions const& options)
{
    return RunCopy(from, to, options, &xc::files::TreeCopy::Copy);
}

XCErrorID XCDirectory::Move(XCPath const& from, XCPath const& to, XCCopyOptions const& options)
{
    return RunCopy(from, to, options, &xc::files::TreeCopy::Move);
}

XCErrorID XCDirectory::Walk(XCPath const& root, XCWalkOptions options,
                            std::function<XCWalkStep(XCDirectoryEntry const&)> const& visitor)
{
    XCDirectoryWalker walker;
    if (XCErrorID const failed = walker.Open(root, std::move(options)); failed.Bad()) return failed;
    XCDirectoryEntry entry;
    while (walker.Next(entry)) {
        XCWalkStep const step = visitor(entry);
        // Stopping is the visitor's wish and no failure.
        if (step == XCWalkStep::Stop) break;
        if (step == XCWalkStep::Skip) walker.Skip();
    }
    return XCErrorID::Success;
}

XCErrorID XCDirectory::Entries(XCPath const& folder, std::vector<XCDirectoryEntry>& entries, XCWalkOptions options)
{
    entries.clear();
    // A list of one folder in an order that does not depend on the file system.
    options.depth = 1;
    options.order = XCWalkOrder::ByName;
    XCDirectoryWalker walker;
    if (XCErrorID const failed = walker.Open(folder, std::move(options)); failed.Bad()) return failed;
    for (XCDirectoryEntry entry; walker.Next(entry);) {
        if (entry.GetError().Bad()) return entry.GetError();
        entries.push_back(entry);
    }
    return XCErrorID::Success;
}

XCPath XCDirectory::GetTemp()
{
    return XCString(xc::win32::TempFolder().Text());
}

XCPath XCDirectory::GetCurrent()
{
    // Made absolute by the system, which knows the current folder.
    return XCString(SystemPath(L".").Text());
}

XCErrorID XCDirectory::GetSpace(XCPath const& folder, XCDiskSpace& space)
{
    SystemPath const path(folder.View());
    xc::win32::VolumeRoom room;
    unsigned long const error = xc::win32::GetRoom(path, room);
    if (error == 0) space = {room.total, room.free, room.available};
    return FileError(XCErrFileFailed, path, error);
}

XCErrorID XCDirectory::CreateTemporary(XCPath const& parent, XCString const& prefix, XCPath& made)
{
    SystemPath path;
    xc::win32::CopySteps steps;
    auto const make = [&](SystemPath const& folder) { return steps.MakeFolder(folder); };
    unsigned long const error = xc::files::MakeUnique(SystemPath(parent.View()), prefix.View(), {}, path, make);
    if (error == 0) made = XCString(path.Text());
    return FileError(XCErrFolderCannotCreate, path, error);
}

XCErrorID XCDirectory::CreateTemporaryFile(XCPath const& parent, XCString const& prefix, XCString const& ending,
                                           XCPath& made)
{
    SystemPath path;
    auto const make = [](SystemPath const& name) {
        using xc::win32::FileMode;
        // The file is closed at once: it only has to exist, so that nobody else gets the name.
        return xc::win32::File().Open(name, {.access = FileMode::Access::Write, .start = FileMode::Start::CreateNew});
    };
    SystemPath const folder(parent.View());
    unsigned long const error = xc::files::MakeUnique(folder, prefix.View(), ending.View(), path, make);
    if (error == 0) made = XCString(path.Text());
    return FileError(XCErrFileCannotOpen, path, error);
}
