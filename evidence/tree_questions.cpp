// Trees: deletions that free the name at once or with the last handle, links that are opened themselves, holes, depth.
// Wine knows none of these, so the removal's rules rest on the answers given here.
#include "answers.h"

#include <XelbrinCore/XCDirectory.h>

#include <cstdlib>
#include <string>
#include <windows.h>
#include <winioctl.h>

namespace xc::evidence {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

DWORD ErrorOf(BOOL succeeded)
{
    return succeeded ? 0 : ::GetLastError();
}

bool Exists(XCString const& path)
{
    return ::GetFileAttributesW(path.AsWChar()) != INVALID_FILE_ATTRIBUTES;
}

/// An entry that is open for the time of a question.
class Entry {
public:
    explicit Entry(XCString const& path, DWORD access = GENERIC_READ, DWORD creation = OPEN_EXISTING)
        : m_handle(::CreateFileW(path.AsWChar(), access, kShareAll, nullptr, creation,
                                 FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)),
          m_error(ErrorOf(m_handle != INVALID_HANDLE_VALUE))
    {
    }
    ~Entry()
    {
        if (m_error == 0) ::CloseHandle(m_handle);
    }
    Entry(Entry const&) = delete;
    Entry& operator=(Entry const&) = delete;

    HANDLE Get() const { return m_handle; }
    DWORD Error() const { return m_error; }
    /// Marks the entry for deletion. @param flags 0: in the old way, which waits for the last handle.
    DWORD Mark(ULONG flags) const
    {
        FILE_DISPOSITION_INFO old{TRUE};
        auto const newer = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
        return flags != 0 ? ErrorOf(::SetFileInformationByHandle(m_handle, newer, &flags, sizeof flags))
                          : ErrorOf(::SetFileInformationByHandle(m_handle, FileDispositionInfo, &old, sizeof old));
    }

private:
    HANDLE m_handle;
    DWORD m_error;
};

constexpr ULONG kPosix = 0x3, kPosixAndReadOnly = 0x13;

/// A folder with a file in it that somebody holds open.
struct HeldFile {
    explicit HeldFile(Asker const& asker) : folder(asker.folder + L"\\held"), path(folder + L"\\file")
    {
        ::CreateDirectoryW(folder.AsWChar(), nullptr);
        Entry const made(path, GENERIC_WRITE, CREATE_NEW);
    }
    XCString folder, path;
};

Answer PosixFreesName(Asker const& asker)
{
    HeldFile const file(asker);
    Entry const reader(file.path);
    {
        Entry const deleted(file.path, DELETE);
        if (DWORD const error = deleted.Mark(kPosix)) return Code(error, {});
    }
    bool const isFree = !Exists(file.path) && ::RemoveDirectoryW(file.folder.AsWChar());
    return Says(isFree, isFree ? L"free" : L"taken until the last handle is closed");
}

Answer PosixOfReadOnly(Asker const& asker)
{
    HeldFile const file(asker);
    ::SetFileAttributesW(file.path.AsWChar(), FILE_ATTRIBUTE_READONLY);
    Entry const deleted(file.path, DELETE);
    if (DWORD const error = deleted.Mark(kPosix); error != ERROR_ACCESS_DENIED) return Code(error, {});
    return Code(deleted.Mark(kPosixAndReadOnly), {0});
}

Answer PendingKeepsFolder(Asker const& asker)
{
    HeldFile const file(asker);
    Entry const reader(file.path);
    {
        Entry const deleted(file.path, DELETE);
        if (DWORD const error = deleted.Mark(0)) return Code(error, {});
    }
    return Code(ErrorOf(::RemoveDirectoryW(file.folder.AsWChar())), {ERROR_DIR_NOT_EMPTY});
}

Answer PendingIsDenied(Asker const& asker)
{
    HeldFile const file(asker);
    Entry const reader(file.path);
    {
        Entry const deleted(file.path, DELETE);
        if (DWORD const error = deleted.Mark(0)) return Code(error, {});
    }
    DWORD const error = Entry(file.path, DELETE).Error();
    auto const status = reinterpret_cast<LONG(WINAPI*)()>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlGetLastNtStatus")));
    auto const number = static_cast<unsigned long>(status ? status() : 0);
    return Says(error == ERROR_ACCESS_DENIED && number == 0xC0000056, Text(L"error %lu, status %lx", error, number));
}

Answer HeldIsMovedAside(Asker const& asker)
{
    HeldFile const file(asker);
    Entry const reader(file.path);
    XCString const aside = asker.folder + L"\\aside";
    if (DWORD const error = ErrorOf(::MoveFileExW(file.path.AsWChar(), aside.AsWChar(), 0))) return Code(error, {});
    return Code(ErrorOf(::RemoveDirectoryW(file.folder.AsWChar())), {0});
}

/// A tree with a junction to a folder outside of it.
struct Junction {
    explicit Junction(Asker const& asker)
        : tree(asker.folder + L"\\tree"), link(tree + L"\\junction"), outside(asker.folder + L"\\outside")
    {
        (void)XCDirectory::Create(tree);
        (void)XCDirectory::Create(outside + L"\\kept");
        XCString const command = L"mklink /J \"" + link + L"\" \"" + outside + L"\" >nul 2>nul";
        isMade = ::_wsystem(command.AsWChar()) == 0 && Exists(link);
    }
    XCString tree, link, outside;
    bool isMade = false;
};

Answer JunctionIsListed(Asker const& asker)
{
    Junction const made(asker);
    if (!made.isMade) return NotAsked(L"no junction can be made");
    std::vector<XCDirectoryEntry> entries;
    (void)XCDirectory::Entries(made.tree, entries);
    if (entries.size() != 1) return Says(false, L"not listed");
    XCFileInfo const& info = entries[0].GetInfo();
    return Says(entries[0].IsLink() && info.reparseTag == XCFileInfo::kMountPoint,
                Text(L"tag %lx", static_cast<unsigned long>(info.reparseTag)));
}

Answer JunctionIsRemovedItself(Asker const& asker)
{
    Junction const made(asker);
    if (!made.isMade) return NotAsked(L"no junction can be made");
    XCErrorID const removed = XCDirectory::RemoveTree(made.tree);
    bool const isKept = Exists(made.outside + L"\\kept");
    return Says(removed.Good() && isKept && !Exists(made.tree), isKept ? removed.AsString() : L"the target is gone");
}

Answer JunctionIsCopied(Asker const& asker)
{
    Junction const made(asker);
    if (!made.isMade) return NotAsked(L"no junction can be made");
    XCTreeReport report;
    XCErrorID const copied = XCDirectory::Copy(made.tree, asker.folder + L"\\copy", {.report = &report});
    bool const isLink = report.links == 1 && Exists(asker.folder + L"\\copy\\junction\\kept");
    return Says(copied.Good() && isLink, copied.Good() ? XCString(isLink ? L"a link" : L"no link") : copied.AsString());
}

Answer HolesAreKept(Asker const& asker)
{
    XCString const path = asker.folder + L"\\holes", copy = asker.folder + L"\\copy";
    {
        Entry const file(path, GENERIC_WRITE, CREATE_NEW);
        DWORD got = 0;
        LARGE_INTEGER end;
        end.QuadPart = 64 << 20;
        ::DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr);
        if (!::SetFilePointerEx(file.Get(), end, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.Get()))
            return NotAsked(L"no large file can be made");
    }
    XCErrorID const copied = XCDirectory::Copy(path, copy);
    if (copied.Bad()) return Says(false, copied.AsString());
    DWORD const bytes = ::GetCompressedFileSizeW(copy.AsWChar(), nullptr);
    return Says(bytes < 1 << 20, Text(L"%lu of 67108864 bytes on the disk", bytes));
}

/// Chains of 100 folders are moved into the end of longer ones, up to 5,000 folders and 40,000 units.
Answer DeepTreeIsRemoved(Asker const& asker)
{
    XCString const root = asker.folder + L"\\deep", part = asker.folder + L"\\part";
    XCString tail;
    for (int i = 0; i < 100; ++i) tail += L"\\sevenun";
    for (int i = 0; i < 50; ++i) {
        XCErrorID made = XCDirectory::Create(part + tail);
        if (made.Good() && i != 0) made = XCDirectory::Move(root, part + tail + L"\\sevenun");
        if (made.Good()) made = XCDirectory::Move(part, root);
        if (made.Bad()) return NotAsked(made.AsString());
    }
    std::size_t folders = 0, unread = 0;
    (void)XCDirectory::Walk(root, {}, [&](XCDirectoryEntry const& entry) {
        ++(entry.GetError().Good() ? folders : unread);
        return XCWalkStep::Continue;
    });
    XCErrorID const removed = XCDirectory::RemoveTree(root);
    XCString const walked = Text(L"; walked %lu", static_cast<unsigned long>(folders));
    return Says(removed.Good(), removed.AsString() + walked + (unread != 0 ? L", then too long" : L""));
}

} // namespace

std::vector<Question> TreeQuestions()
{
    return {
        {L"trees", L"A name is free at once while others have the file open", L"free", &PosixFreesName},
        {L"trees", L"The same for a read-only file", L"succeeds", &PosixOfReadOnly},
        {L"trees", L"A folder is removed while a deletion in it waits for a handle", L"error 145", &PendingKeepsFolder},
        {L"trees", L"A file is opened while its deletion waits", L"error 5, status c0000056", &PendingIsDenied},
        {L"trees", L"A folder is removed after an open file was moved out of it", L"succeeds", &HeldIsMovedAside},
        {L"trees", L"A junction is listed as a mount point", L"tag a0000003", &JunctionIsListed},
        {L"trees", L"A tree with a junction is removed", L"SUCCESS, and the target stays", &JunctionIsRemovedItself},
        {L"trees", L"A tree with a junction is copied", L"a link", &JunctionIsCopied},
        {L"trees", L"A file of 64 MiB without content is copied", L"less than 1 MiB on the disk", &HolesAreKept},
        {L"trees", L"A tree of 5,000 folders and 40,000 units is removed", L"SUCCESS", &DeepTreeIsRemoved},
    };
}

} // namespace xc::evidence
