// Files: where Wine has no limits, keeps no locks and promises links that it does not make.
#include "answers.h"

#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCSaveFile.h>
#include <algorithm>
#include <cstring>
#include <windows.h>

namespace xc::evidence {

namespace {

/// A file that is open for the time of a question.
class Opened {
public:
    explicit Opened(XCString const& path, DWORD access = GENERIC_READ | GENERIC_WRITE, DWORD share = 0,
                    DWORD creation = OPEN_ALWAYS, DWORD flags = FILE_ATTRIBUTE_NORMAL)
        : m_handle(::CreateFileW(path.AsWChar(), access, share, nullptr, creation, flags, nullptr)),
          m_error(m_handle == INVALID_HANDLE_VALUE ? ::GetLastError() : 0)
    {
    }
    ~Opened() { Close(); }
    Opened(Opened const&) = delete;
    Opened& operator=(Opened const&) = delete;

    HANDLE Get() const { return m_handle; }
    DWORD Error() const { return m_error; }
    void Close()
    {
        if (m_handle != INVALID_HANDLE_VALUE) ::CloseHandle(m_handle);
        m_handle = INVALID_HANDLE_VALUE;
    }
    DWORD Write(char const* text) const
    {
        DWORD written = 0;
        return ErrorOf(::WriteFile(m_handle, text, static_cast<DWORD>(std::strlen(text)), &written, nullptr));
    }
    static DWORD ErrorOf(BOOL succeeded) { return succeeded ? 0 : ::GetLastError(); }

private:
    HANDLE m_handle;
    DWORD m_error;
};

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool Exists(XCString const& path)
{
    return ::GetFileAttributesW(path.AsWChar()) != INVALID_FILE_ATTRIBUTES;
}

/// A folder whose full name has more than `units` units, made by long names.
XCString DeepFolder(Asker const& asker, std::size_t units)
{
    XCString path = asker.folder;
    while (path.Length() < units) {
        path += L"\\" + XCString(std::wstring(60, L'd'));
        ::CreateDirectoryW((L"\\\\?\\" + path).AsWChar(), nullptr);
    }
    return path;
}

Answer LongPlainPath(Asker const& asker)
{
    Opened const file(DeepFolder(asker, 300) + L"\\plain.txt");
    return Code(file.Error(), {ERROR_PATH_NOT_FOUND, ERROR_FILENAME_EXCED_RANGE});
}

Answer LongPrefixedPath(Asker const& asker)
{
    return Code(Opened(L"\\\\?\\" + DeepFolder(asker, 300) + L"\\prefixed.txt").Error(), {0});
}

Answer LongPathOfLibrary(Asker const& asker)
{
    XCString const path = DeepFolder(asker, 300) + L"\\settings.ini";
    XCSmartPtr<XCConfigFile> const settings(new XCConfigFile(path));
    settings->SetLong(L"Limits", L"Workers", 8);
    XCErrorID const saved = settings->Save();
    if (saved.Bad()) return Says(false, saved.AsString());
    return Says(Exists(L"\\\\?\\" + path), L"saved");
}

Answer LongPlainFolder(Asker const& asker)
{
    XCString path = asker.folder + L"\\";
    while (path.Length() < 250) path += L'f';
    return Code(Opened::ErrorOf(::CreateDirectoryW(path.AsWChar(), nullptr)), {ERROR_FILENAME_EXCED_RANGE});
}

Answer DeleteWhileMapped(Asker const& asker)
{
    XCString const path = asker.folder + L"\\mapped.txt";
    Opened file(path, GENERIC_READ | GENERIC_WRITE, kShareAll);
    file.Write("mapped");
    HANDLE const mapping = ::CreateFileMappingW(file.Get(), nullptr, PAGE_READONLY, 0, 0, nullptr);
    void* const view = mapping ? ::MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0) : nullptr;
    if (!view) return NotAsked(L"no view of the file");
    file.Close();
    DWORD const error = Opened::ErrorOf(::DeleteFileW(path.AsWChar()));
    ::UnmapViewOfFile(view);
    ::CloseHandle(mapping);
    return Code(error, {ERROR_ACCESS_DENIED, ERROR_USER_MAPPED_FILE});
}

Answer CreateWhileDeleted(Asker const& asker)
{
    XCString const path = asker.folder + L"\\pending.txt";
    Opened const first(path, GENERIC_READ, kShareAll);
    if (!::DeleteFileW(path.AsWChar())) return NotAsked(L"the file cannot be deleted");
    return Code(Opened(path, GENERIC_WRITE, kShareAll, CREATE_NEW).Error(), {0, ERROR_ACCESS_DENIED});
}

Answer WriteIntoLock(Asker const& asker)
{
    XCString const path = asker.folder + L"\\locked.txt";
    Opened const owner(path, GENERIC_READ | GENERIC_WRITE, kShareAll);
    owner.Write("0123456789");
    if (!::LockFile(owner.Get(), 0, 0, 10, 0)) return NotAsked(L"no lock");
    return Code(Opened(path, GENERIC_READ | GENERIC_WRITE, kShareAll).Write("x"), {ERROR_LOCK_VIOLATION});
}

Answer AlternateStream(Asker const& asker)
{
    Opened const stream(asker.folder + L"\\host.txt:part");
    if (stream.Error() != 0) return Code(stream.Error(), {});
    bool const host = Exists(asker.folder + L"\\host.txt");
    return Says(host, host ? L"a stream of host.txt" : L"a file of another name");
}

Answer SymbolicLink(Asker const& asker)
{
    XCString const link = asker.folder + L"\\link";
    if (!::CreateSymbolicLinkW(link.AsWChar(), L"target.txt", 2)) // 2: without privilege in developer mode
        return Code(::GetLastError(), {ERROR_PRIVILEGE_NOT_HELD});
    DWORD const attributes = ::GetFileAttributesW(link.AsWChar());
    bool const made = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
    return Says(made, made ? L"a link" : L"reports success and makes nothing");
}

Answer DriveOfFolder(Asker const& asker)
{
    wchar_t root[MAX_PATH] = {};
    ::GetVolumePathNameW(asker.folder.AsWChar(), root, MAX_PATH);
    UINT const type = ::GetDriveTypeW(root);
    return Says(type == DRIVE_FIXED, Text(L"%ls has type %u", root, type));
}

Answer DriveThatIsNot(Asker const& /*asker*/)
{
    DWORD const used = ::GetLogicalDrives();
    for (wchar_t letter = L'Z'; letter > L'C'; --letter) {
        if (used >> (letter - L'A') & 1) continue;
        wchar_t const root[] = {letter, L':', L'\\', 0};
        UINT const type = ::GetDriveTypeW(root);
        return Says(type == DRIVE_NO_ROOT_DIR, Text(L"%ls has type %u", root, type));
    }
    return NotAsked(L"every letter is a drive");
}

Answer DiskFull(Asker const& asker)
{
    ULARGE_INTEGER free = {};
    if (!::GetDiskFreeSpaceExW(asker.folder.AsWChar(), nullptr, nullptr, &free))
        return NotAsked(L"no free space known");
    Opened const file(asker.folder + L"\\huge.bin", GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS,
                      FILE_FLAG_DELETE_ON_CLOSE);
    LARGE_INTEGER size;
    size.QuadPart = static_cast<LONGLONG>(free.QuadPart + (1ULL << 30U));
    if (!::SetFilePointerEx(file.Get(), size, nullptr, FILE_BEGIN)) return NotAsked(L"no such position");
    return Code(Opened::ErrorOf(::SetEndOfFile(file.Get())), {ERROR_DISK_FULL});
}

Answer ReplaceOpenFile(Asker const& asker)
{
    XCString const target = asker.folder + L"\\target.txt";
    XCString const fresh = asker.folder + L"\\fresh.txt";
    Opened(fresh).Write("fresh");
    Opened const reader(target, GENERIC_READ, FILE_SHARE_READ);
    BOOL const done = ::ReplaceFileW(target.AsWChar(), fresh.AsWChar(), nullptr, 0, nullptr, nullptr);
    return Code(Opened::ErrorOf(done), {ERROR_SHARING_VIOLATION, ERROR_UNABLE_TO_REMOVE_REPLACED});
}

Answer MoveOverOpenFile(Asker const& asker)
{
    XCString const target = asker.folder + L"\\target.txt";
    XCString const fresh = asker.folder + L"\\fresh.txt";
    Opened(fresh).Write("fresh");
    Opened const reader(target, GENERIC_READ, FILE_SHARE_READ);
    BOOL const done = ::MoveFileExW(fresh.AsWChar(), target.AsWChar(), MOVEFILE_REPLACE_EXISTING);
    return Code(Opened::ErrorOf(done), {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION});
}

Answer DeleteOnClose(Asker const& asker)
{
    XCString const path = asker.folder + L"\\short-lived.txt";
    Opened(path, GENERIC_WRITE, 0, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE).Write("x");
    return Says(!Exists(path), Exists(path) ? L"the file is still there" : L"the file is gone");
}

Answer UnalignedUnbuffered(Asker const& asker)
{
    Opened const file(asker.folder + L"\\unbuffered.bin", GENERIC_WRITE, 0, CREATE_NEW, FILE_FLAG_NO_BUFFERING);
    return Code(file.Write("abc"), {ERROR_INVALID_PARAMETER});
}

Answer FolderAsFile(Asker const& asker)
{
    return Code(Opened(asker.folder, GENERIC_READ, kShareAll, OPEN_EXISTING).Error(), {ERROR_ACCESS_DENIED});
}

Answer TwoAppenders(Asker const& asker)
{
    XCString const path = asker.folder + L"\\appended.txt";
    Opened const one(path, FILE_APPEND_DATA, kShareAll);
    Opened const two(path, FILE_APPEND_DATA, kShareAll);
    for (int i = 0; i < 100; ++i) {
        one.Write("first ");
        two.Write("second ");
    }
    WIN32_FILE_ATTRIBUTE_DATA facts = {};
    ::GetFileAttributesExW(path.AsWChar(), GetFileExInfoStandard, &facts);
    return Says(facts.nFileSizeLow == 1300, Text(L"%lu of 1300 bytes", facts.nFileSizeLow));
}

Answer MoveOverMappedFile(Asker const& asker)
{
    XCString const target = asker.folder + L"\\target.txt";
    XCString const fresh = asker.folder + L"\\fresh.txt";
    Opened(fresh).Write("fresh");
    XCSmartPtr<XCFile> file;
    XCSmartPtr<XCFileMap> map;
    if (XCSaveFile::Save(target, std::string_view("old")).Bad()) return NotAsked(L"no file");
    if (XCFile::Open(target, XCFileMode::ToRead(), file).Bad() || file->Map(XCFileMapAccess::Read, map).Bad())
        return NotAsked(L"no view of the file");
    file.Clear();
    BOOL const done = ::MoveFileExW(fresh.AsWChar(), target.AsWChar(), MOVEFILE_REPLACE_EXISTING);
    return Code(Opened::ErrorOf(done), {ERROR_ACCESS_DENIED, ERROR_USER_MAPPED_FILE});
}

Answer CutMappedFile(Asker const& asker)
{
    XCString const path = asker.folder + L"\\mapped.txt";
    XCSmartPtr<XCFile> file;
    XCSmartPtr<XCFileMap> map;
    if (XCSaveFile::Save(path, std::string_view("mapped")).Bad()) return NotAsked(L"no file");
    if (XCFile::Open(path, XCFileMode::ToUpdate(), file).Bad() || file->Map(XCFileMapAccess::Read, map).Bad())
        return NotAsked(L"no view of the file");
    XCErrorID const cut = file->SetSize(0);
    long number = 0;
    if (cut.Bad()) number = *static_cast<long const*>(cut->GetParameterValue(1));
    return Code(static_cast<unsigned long>(number), {ERROR_USER_MAPPED_FILE});
}

/// A save over a file that a reader keeps to itself for a while.
Answer SaveOverHeldFile(Asker const& asker)
{
    XCString const path = asker.folder + L"\\held.txt";
    if (XCSaveFile::Save(path, std::string_view("old")).Bad()) return NotAsked(L"no file");
    Opened reader(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    XCSaveFile save(path);
    unsigned int tries = 0;
    XCErrorID const written = save.WriteText(L"new");
    XCErrorID const held = save.Commit(100, &tries);
    reader.Close();
    XCErrorID const saved = save.Commit(100);
    bool const asAssumed = written.Good() && held == XCErrFileHeld && tries > 1 && saved.Good();
    return Says(asAssumed, Text(L"%lu after %u tries, then %lu", static_cast<unsigned long>(held), tries,
                                static_cast<unsigned long>(saved)));
}

/// A name with a dot at its end, made by the long form, is what the folder lists.
Answer LiteralName(Asker const& asker)
{
    XCFileMode mode = XCFileMode::ToCreate();
    mode.names = XCFileNames::Literal;
    XCSmartPtr<XCFile> file;
    XCErrorID const made = XCFile::Open(asker.folder + L"\\name.", mode, file);
    if (made.Bad()) return Says(false, made.AsString());
    file.Clear();
    bool const literal = Exists(L"\\\\?\\" + asker.folder + L"\\name.");
    bool const plain = Exists(asker.folder + L"\\name");
    ::DeleteFileW((L"\\\\?\\" + asker.folder + L"\\name.").AsWChar());
    return Says(literal && !plain, literal ? L"\"name.\"" : L"another name");
}

Answer ReservedName(Asker const& asker)
{
    wchar_t full[MAX_PATH] = {};
    XCString const path = asker.folder + L"\\nul";
    ::GetFullPathNameW(path.AsWChar(), MAX_PATH, full, nullptr);
    bool const isDevice = XCPath(full).GetKind() == XCPathKind::Device;
    XCSmartPtr<XCFile> file;
    XCErrorID const created = XCFile::Open(path, XCFileMode::ToCreate(), file);
    return Says(created == XCErrFileName,
                Text(L"error %lu; to the system it is %ls", static_cast<unsigned long>(created),
                     isDevice ? L"a device" : L"a file"));
}

} // namespace

std::vector<Question> FileQuestions()
{
    return {
        {L"files", L"A plain path of more than 300 units is created", L"error 3 or 206", &LongPlainPath},
        {L"files", L"The same path after \\\\?\\ is created", L"succeeds", &LongPrefixedPath},
        {L"files", L"The library saves a configuration file there", L"saved", &LongPathOfLibrary},
        {L"files", L"A folder with a plain path of 250 units is created", L"error 206", &LongPlainFolder},
        {L"files", L"A file is deleted while a view of it is mapped", L"error 5 or 1224", &DeleteWhileMapped},
        {L"files", L"A name is created again while its deletion waits for a handle", L"succeeds, or error 5",
         &CreateWhileDeleted},
        {L"files", L"Another handle writes into a locked range", L"error 33", &WriteIntoLock},
        {L"files", L"\"host.txt:part\" is written", L"a stream of host.txt", &AlternateStream},
        {L"files", L"A symbolic link is made", L"a link, or error 1314", &SymbolicLink},
        {L"files", L"The drive of this folder", L"type 3, a fixed disk", &DriveOfFolder},
        {L"files", L"A letter without a drive", L"type 1, no such root", &DriveThatIsNot},
        {L"files", L"A file is made longer than the free space", L"error 112", &DiskFull},
        {L"files", L"A file is replaced that a reader keeps to itself", L"error 32 or 1175", &ReplaceOpenFile},
        {L"files", L"A file is moved over one that a reader keeps to itself", L"error 5 or 32", &MoveOverOpenFile},
        {L"files", L"FILE_FLAG_DELETE_ON_CLOSE", L"the file is gone", &DeleteOnClose},
        {L"files", L"Three bytes are written with FILE_FLAG_NO_BUFFERING", L"error 87", &UnalignedUnbuffered},
        {L"files", L"A folder is opened without FILE_FLAG_BACKUP_SEMANTICS", L"error 5", &FolderAsFile},
        {L"files", L"A file is moved over one that is shown in memory", L"error 5 or 1224", &MoveOverMappedFile},
        {L"files", L"A file that is shown in memory is cut", L"error 1224", &CutMappedFile},
        {L"files", L"The library saves over a file that a reader keeps to itself", L"1205 after some tries, then 0",
         &SaveOverHeldFile},
        {L"files", L"\"name.\" is created to the letter", L"\"name.\"", &LiteralName},
        {L"files", L"The library creates \"nul\" in a folder", L"error 1204", &ReservedName},
        {L"files", L"Two handles append in turn", L"1300 of 1300 bytes", &TwoAppenders},
    };
}

} // namespace xc::evidence
