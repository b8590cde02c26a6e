// Copying of trees over the walk. A folder is delivered before its entries and is made at once; its times are set at the
// end, in reverse, since every entry that is made in it changes them. The target is checked for standing inside of the
// source by the identities of all folders above it: texts cannot tell.
//
// A file that replaces another is written under a name of its own in the same folder and renamed over it: the old or
// the new content stands there, whole, at every moment. A file that is new is written in place; after a failure nothing
// of it is left. The same holds for a move across volumes as a whole. Its copy grows beside the target and must be
// complete, links included, before it gets the target's name, and the source is removed after that.
#include "files/TreeCopy.h"

#include "errors/CoreError.h"
#include "files/TreeRemoval.h"
#include "files/TreeWalk.h"
#include "files/UniqueName.h"

#include <algorithm>
#include <utility>

namespace xc::files {

using win32::CopiedFacts;
using win32::EntryKind;
using win32::FileDetails;
using win32::SystemPath;

namespace {

constexpr wchar_t kPrefix[] = L"~copying-"; // of copies that are not complete

EntryKind KindOf(FileDetails const& details) noexcept
{
    return {details.attributes, details.reparseTag};
}

CopiedFacts FactsOf(XCFileInfo const& info) noexcept
{
    return {info.attributes, info.created.GetTicks(), info.accessed.GetTicks(), info.written.GetTicks()};
}

CopiedFacts FactsOf(FileDetails const& details) noexcept
{
    return {details.attributes, details.created, details.accessed, details.written};
}

XCFileInfo InfoOf(FileDetails const& details) noexcept
{
    XCFileInfo info;
    info.attributes = details.attributes;
    info.size = details.size;
    info.created = XCFileTime(details.created);
    info.accessed = XCFileTime(details.accessed);
    info.written = XCFileTime(details.written);
    return info;
}

} // namespace

TreeCopy::TreeCopy(win32::CopySteps& steps, TreeStepsMaker makeTreeSteps, XCCopyOptions const& options,
                   TreeTally& tally)
    : m_steps(steps), m_makeTreeSteps(std::move(makeTreeSteps)), m_options(options), m_tally(tally)
{
}

void TreeCopy::Fail(XCCoreError code, SystemPath const& path, unsigned long error)
{
    // A cancelled copy has no failure of its own.
    if (error != win32::kErrorAborted || !m_tally.IsCancelled()) m_tally.Failed(TreeError(code, path, error));
}

void TreeCopy::Copy(SystemPath const& from, SystemPath const& to)
{
    FileDetails source;
    EntryKind target;
    unsigned long error = win32::GetDetails(from, true, source);
    if (error != 0) return Fail(XCErrTreeNotCopied, from, error);
    if (KindOf(source).IsFolder()) return CopyTree(from, to, source);
    // Looked at before the bytes are counted, so that the error names the target and nothing is begun.
    if (m_options.existing == XCExisting::Refuse && m_steps.Kind(to, target) == 0)
        return Fail(XCErrTreeNotCopied, to, win32::kErrorFileExists);
    m_tally.SetRange(source.size + 1);
    TakeFile(from, to, InfoOf(source));
}

XCWalkOptions TreeCopy::WalkRules() const
{
    XCWalkOptions rules;
    rules.links = m_options.followLinks ? XCWalkLinks::Follow : XCWalkLinks::Content;
    return rules;
}

void TreeCopy::CopyTree(SystemPath const& from, SystemPath const& to, FileDetails const& root)
{
    if (!BeginTree(from, to, root)) return;
    TreeWalk walk(m_makeTreeSteps(), WalkRules());
    if (unsigned long const error = walk.Begin(from)) return Fail(XCErrTreeNotCopied, from, error);
    XCDirectoryEntry entry;
    while (!m_tally.IsCancelled() && walk.Next(entry)) {
        if (IsLeftOut(entry, walk)) continue;
        SystemPath const target = to.Child(entry.GetRelative().View());
        // A link that is not followed is an entry like a file, also one to a folder.
        bool const isFolder = entry.IsFolder() && (m_options.followLinks || !entry.IsLink());
        if (entry.GetError().Bad())
            m_tally.Failed(entry.GetError());
        else if (!isFolder)
            TakeEntry(entry, target);
        else if (!TakeFolder(target, FactsOf(entry.GetInfo())))
            walk.Skip();
    }
    FinishFolders();
}

/// By the caller's filter; a folder then with everything in it.
bool TreeCopy::IsLeftOut(XCDirectoryEntry const& entry, TreeWalk& walk) const
{
    bool const isLeftOut = m_options.filter && entry.GetError().Good() && !m_options.filter(entry);
    if (isLeftOut) walk.Skip();
    return isLeftOut;
}

/// Makes the folder of the copy.
bool TreeCopy::BeginTree(SystemPath const& from, SystemPath const& to, FileDetails const& root)
{
    EntryKind target;
    bool const isThere = m_steps.Kind(to, target) == 0;
    if (IsInside(from, to)) {
        m_tally.Failed(errors::MakeCoreError(XCErrTreeIntoItself, XCString(from.Text()), XCString(to.Text())));
    } else if (isThere && m_options.existing == XCExisting::Refuse) {
        Fail(XCErrTreeNotCopied, to, win32::kErrorFileExists);
    } else {
        // A walk of its own, paid only by those who look: without a total no bar can move.
        if (m_tally.HasProgress()) CountTree(from);
        return TakeFolder(to, FactsOf(root));
    }
    return false;
}

bool TreeCopy::IsInside(SystemPath const& from, SystemPath to)
{
    std::unique_ptr<win32::TreeSteps> const steps = m_makeTreeSteps();
    auto const identify = [&](SystemPath const& path, win32::EntryIdentity& identity) {
        win32::OpenEntry open(*steps);
        return open.Open(path, {.through = true}) == 0 && steps->Identity(open.Get(), identity) == 0;
    };
    win32::EntryIdentity source, above;
    if (!identify(from, source)) return false; // the copy itself will tell why
    // The target need not exist yet: its folders are looked at up to the root.
    for (; !to.IsEmpty(); to = to.Folder())
        if (identify(to, above) && above == source) return true;
    return false;
}

/// Bytes and entries, for the progress; what cannot be read is not counted.
void TreeCopy::CountTree(SystemPath const& from)
{
    TreeWalk walk(m_makeTreeSteps(), WalkRules());
    if (walk.Begin(from) != 0) return;
    std::uint64_t steps = 1;
    XCDirectoryEntry entry;
    while (!m_tally.IsCancelled() && walk.Next(entry))
        if (!IsLeftOut(entry, walk)) steps += 1 + entry.GetInfo().size;
    m_tally.SetRange(steps);
}

void TreeCopy::TakeEntry(XCDirectoryEntry const& entry, SystemPath const& to)
{
    SystemPath const from(entry.GetPath().View());
    XCFileInfo const& info = entry.GetInfo();
    if (!m_options.followLinks && entry.IsLink()) return TakeLink(from, to, {info.attributes, info.reparseTag});
    TakeFile(from, to, info);
}

/// The times follow at the end.
bool TreeCopy::TakeFolder(SystemPath const& to, CopiedFacts const& facts)
{
    if (unsigned long const error = MakeFolder(to)) {
        Fail(XCErrTreeNotCopied, to, error);
        return false;
    }
    m_made.push_back({to, facts});
    m_tally.Done({win32::kFolderBit, 0});
    return true;
}

/// A folder that is there is taken; a link in its place would lead the copy out of its tree.
unsigned long TreeCopy::MakeFolder(SystemPath const& to)
{
    unsigned long const error = m_steps.MakeFolder(to);
    EntryKind kind;
    // The attempt comes first and the question after it: between a question and an attempt another process could come.
    if (!win32::IsTaken(error) || m_options.existing == XCExisting::Refuse) return error;
    if (m_steps.Kind(to, kind) != 0 || !kind.IsFolder()) return win32::kErrorNoFolder;
    return kind.IsReparsePoint() && !m_made.empty() ? static_cast<unsigned long>(win32::kErrorLeadsElsewhere) : 0;
}

/// A link is not replaced: the old one may be the only trace of where it led.
void TreeCopy::TakeLink(SystemPath const& from, SystemPath const& to, EntryKind const& kind)
{
    EntryKind target;
    bool const isThere = m_steps.Kind(to, target) == 0;
    if (isThere && m_options.existing == XCExisting::Leave) return m_tally.Left();
    unsigned long const error =
        isThere ? static_cast<unsigned long>(win32::kErrorFileExists) : m_steps.CopyLink(from, to, kind.IsFolder());
    if (error != 0) return Fail(XCErrTreeNotCopied, isThere ? to : from, error);
    m_tally.Done(kind);
}

void TreeCopy::TakeFile(SystemPath const& from, SystemPath const& to, XCFileInfo const& info)
{
    bool isLeft = false;
    bool replaces = false;
    unsigned long error = FindPlace(to, isLeft, replaces);
    if (isLeft) return m_tally.Left();
    SystemPath written = to;
    auto const write = [&](SystemPath const& path) { return WriteFile(from, path, info); };
    if (error == 0) error = replaces ? MakeUnique(to.Folder(), kPrefix, {}, written, write) : write(to);
    if (error == 0 && replaces) {
        win32::Patience patience{m_options.patienceMs};
        error = m_steps.Rename(written, to, true, patience);
        // The copy under its own name is of use to nobody; the old file stands as it was.
        if (error != 0) (void)m_steps.RemoveFile(written);
    }
    if (error != 0) return Fail(XCErrTreeNotCopied, replaces ? to : from, error);
    m_tally.Done({}, info.size);
}

/// What becomes of a file that is there already.
unsigned long TreeCopy::FindPlace(SystemPath const& to, bool& isLeft, bool& replaces)
{
    EntryKind target;
    if (m_steps.Kind(to, target) != 0) return 0;
    isLeft = m_options.existing == XCExisting::Leave;
    replaces = m_options.existing == XCExisting::Replace;
    // A file never replaces a folder, whatever the rule says: too much would go.
    if (target.IsFolder()) return win32::kErrorFileExists;
    // Renaming over it would succeed on some systems, and the mark says that it should not.
    if (replaces && (target.attributes & win32::kReadOnlyBit) != 0) return win32::kErrorAccessDenied;
    return isLeft || replaces ? 0 : static_cast<unsigned long>(win32::kErrorFileExists);
}

/// After an error nothing of it is left, unless it was there before.
unsigned long TreeCopy::WriteFile(SystemPath const& from, SystemPath const& to, XCFileInfo const& info)
{
    if (unsigned long const error = WriteContent(from, to, info)) return error;
    unsigned long const error = m_steps.SetFacts(to, FactsOf(info));
    if (error != 0) (void)m_steps.RemoveFile(to);
    return error;
}

/// Holes are asked for only where the attributes tell of them: the question costs as much as a small file.
unsigned long TreeCopy::WriteContent(SystemPath const& from, SystemPath const& to, XCFileInfo const& info)
{
    std::uint64_t done = 0;
    auto const told = [&](std::uint64_t bytes) {
        done += bytes;
        m_tally.Step(bytes);
        return !m_tally.IsCancelled();
    };
    std::vector<win32::ByteRange> ranges;
    bool const hasHoles = (info.attributes & win32::kSparseBit) != 0 && m_steps.Ranges(from, info.size, ranges) == 0;
    unsigned long const error =
        hasHoles ? m_steps.CopyRanges(from, to, info.size, ranges, told) : m_steps.CopyContent(from, to, told);
    // Some systems do not tell of bytes on their way.
    if (error == 0) m_tally.Step(info.size - std::min(done, info.size));
    return error;
}

/// From the innermost out: setting the times of a folder is a change in none above it, but its making was.
void TreeCopy::FinishFolders()
{
    for (; !m_made.empty(); m_made.pop_back())
        Fail(XCErrTreeNotCopied, m_made.back().path, m_steps.SetFacts(m_made.back().path, m_made.back().facts));
}

void TreeCopy::Move(SystemPath const& from, SystemPath const& to)
{
    FileDetails source;
    EntryKind listed;
    unsigned long error = win32::GetDetails(from, false, source);
    if (error == 0) error = m_steps.Kind(from, listed);
    // Renaming would move the target of a link that cannot be opened itself.
    if (error == 0 && listed.IsReparsePoint() && !KindOf(source).IsReparsePoint()) error = win32::kErrorLeadsElsewhere;
    if (error == 0) error = RenameTo(from, to);
    // Renaming is tried first: it moves a whole tree at once, and only the system knows where volumes meet.
    if (error == win32::kErrorNotSameDevice) return MoveAcross(from, to, source);
    if (error != 0) return Fail(XCErrTreeNotMoved, from, error);
    m_tally.Done(KindOf(source), source.size);
}

/// A folder is never replaced.
unsigned long TreeCopy::RenameTo(SystemPath const& from, SystemPath const& to)
{
    EntryKind target;
    bool const isThere = m_steps.Kind(to, target) == 0;
    bool const replaces = m_options.existing == XCExisting::Replace && isThere && !target.IsFolder();
    win32::Patience patience{m_options.patienceMs};
    return m_steps.Rename(from, to, replaces, patience);
}

void TreeCopy::MoveAcross(SystemPath const& from, SystemPath const& to, FileDetails const& source)
{
    EntryKind target;
    bool const isThere = m_steps.Kind(to, target) == 0;
    if (isThere && (m_options.existing != XCExisting::Replace || target.IsFolder()))
        return Fail(XCErrTreeNotMoved, to, win32::kErrorAlreadyExists);
    // In the target's folder, so that the last step is a renaming on one volume.
    SystemPath const copy = to.Folder().Child(UniqueName(kPrefix));
    XCErrorID failure = CopyWhole(from, copy, source);
    if (failure.Good()) failure = TreeError(XCErrTreeNotMoved, from, RenameTo(copy, to));
    if (failure.Good())
        failure = RemoveWhole(from, KindOf(source));
    else
        // Anything incomplete goes again; the source has not been touched.
        (void)RemoveWhole(copy, KindOf(source));
    m_tally.Failed(failure);
}

/// A copy with all links, and with times and attributes; Bad unless all of it is there.
XCErrorID TreeCopy::CopyWhole(SystemPath const& from, SystemPath const& to, FileDetails const& source)
{
    if (KindOf(source).IsLink())
        return TreeError(XCErrTreeNotMoved, from, m_steps.CopyLink(from, to, KindOf(source).IsFolder()));
    XCCopyOptions const options;
    XCTreeReport report;
    TreeTally tally(&report, m_options.progress);
    // Its own rules and tally: a move leaves nothing out, and its failures must decide here, not only be counted.
    TreeCopy(m_steps, m_makeTreeSteps, options, tally).Copy(from, to);
    m_tally.Add(report);
    return tally.Result(from);
}

XCErrorID TreeCopy::RemoveWhole(SystemPath const& path, EntryKind const& kind)
{
    if (!kind.IsFolder()) return TreeError(XCErrTreeNotRemoved, path, m_steps.RemoveFile(path));
    std::unique_ptr<win32::TreeSteps> const steps = m_makeTreeSteps();
    // Renaming would have moved read-only entries, too.
    RemovalRules const rules{.readOnlyToo = true, .patienceMs = m_options.patienceMs};
    XCErrorID first;
    TreeRemoval removal(*steps, rules, [&](SystemPath const& left, EntryKind const&, unsigned long error) {
        if (error != 0 && first.Good()) first = TreeError(XCErrTreeNotRemoved, left, error);
        return true;
    });
    unsigned long const error = removal.RemoveTree(path);
    return first.Bad() || error == 0 ? first : TreeError(XCErrTreeNotRemoved, path, error);
}

} // namespace xc::files
