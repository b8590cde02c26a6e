// Listing and removing by handles. An entry is opened once, without following it if it is a link, and everything that
// decides about it is asked of that handle: a name could mean another entry from one call to the next.
//
// A folder is listed in blocks of 64 KiB by its handle. That costs as few calls as a search by name with large blocks,
// and the folder that is read is the one that was looked at. Folders far down are opened relative to a folder above
// them, by the system's own call for that: their whole path may be longer than any call by path takes.
#include "win32/TreeSteps.h"

#include "win32/LastError.h"

#include <cstring>
#include <functional>
#include <iterator>
#include <windows.h>
#include <winternl.h>

namespace xc::win32 {

namespace {

// Newer than the compiler's headers.
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
constexpr auto kFullFolderInfo = static_cast<FILE_INFO_BY_HANDLE_CLASS>(14);
constexpr ULONG kDelete = 0x1, kPosix = 0x2, kIgnoreReadOnly = 0x10;
constexpr NTSTATUS kStatusDeletePending = static_cast<NTSTATUS>(0xC0000056);
constexpr ULONG kOpenReparsePoint = 0x00200000;

/// An entry of a block, as the system lays it out.
struct FolderRecord {
    ULONG next;
    ULONG index;
    LARGE_INTEGER created, accessed, written, changed, size, allocated;
    ULONG attributes;
    ULONG nameBytes;
    ULONG tagOrExtras; ///< of a reparse point its tag
    wchar_t name[1];
};
static_assert(offsetof(FolderRecord, attributes) == 56 && offsetof(FolderRecord, name) == 68);

/// The system's innermost library is in every process and never unloaded: no reference to it need be held.
template <class Function>
Function Native(char const* name) noexcept
{
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name)));
}

/// The thread's last error, finer where the system knows more: a pending deletion is "access denied" by its number.
unsigned long OpeningError() noexcept
{
    unsigned long const error = LastError();
    static auto const status = Native<NTSTATUS(NTAPI*)()>("RtlGetLastNtStatus");
    bool const isPending = error == ERROR_ACCESS_DENIED && status && status() == kStatusDeletePending;
    return isPending ? static_cast<unsigned long>(kErrorDeletePending) : error;
}

/// Rights are asked for as few as the use needs: each further one may be what a file of somebody else refuses.
DWORD RightsOf(EntryAccess access) noexcept
{
    DWORD const use = access.remove ? DELETE : FILE_LIST_DIRECTORY;
    return use | FILE_READ_ATTRIBUTES | SYNCHRONIZE | (access.attributes ? FILE_WRITE_ATTRIBUTES : 0);
}

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

template <class Facts>
unsigned long AskFor(void* handle, FILE_INFO_BY_HANDLE_CLASS kind, Facts& facts) noexcept
{
    return ::GetFileInformationByHandleEx(handle, kind, &facts, sizeof facts) ? 0 : LastError();
}

template <class Facts>
unsigned long SetOn(void* handle, FILE_INFO_BY_HANDLE_CLASS kind, Facts& facts) noexcept
{
    return ::SetFileInformationByHandle(handle, kind, &facts, sizeof facts) ? 0 : LastError();
}

bool IsDots(std::wstring_view name) noexcept
{
    return name == L"." || name == L"..";
}

/// The listing's times and sizes may lag behind for files that are open; nothing here decides by them.
void AddItem(FolderRecord const& record, TreeBlock& block)
{
    std::wstring_view const name(record.name, record.nameBytes / sizeof(wchar_t));
    if (IsDots(name)) return;
    TreeItem& item = block.items.emplace_back();
    item.attributes = record.attributes;
    item.tag = item.IsReparsePoint() ? record.tagOrExtras : 0;
    item.name = name;
    item.size = item.IsFolder() ? 0 : static_cast<std::uint64_t>(record.size.QuadPart);
    item.created = record.created.QuadPart;
    item.accessed = record.accessed.QuadPart;
    item.written = record.written.QuadPart;
    item.changed = record.changed.QuadPart;
}

} // namespace

// Backup semantics open folders as well as files. Everything is shared unless it is asked for alone, so that a walk
// disturbs nobody.
unsigned long TreeSteps::Open(SystemPath const& path, EntryAccess access, void*& handle)
{
    DWORD const flags = FILE_FLAG_BACKUP_SEMANTICS | (access.through ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
    HANDLE const opened = ::CreateFileW(path.ForSystem(), RightsOf(access), access.alone ? 0 : kShareAll, nullptr,
                                        OPEN_EXISTING, flags, nullptr);
    if (opened == INVALID_HANDLE_VALUE) return OpeningError();
    handle = opened;
    return 0;
}

void TreeSteps::Close(void* handle) noexcept
{
    KeepLastError const keep;
    ::CloseHandle(handle);
}

unsigned long TreeSteps::Read(void* folder, TreeBlock& block)
{
    std::byte* const bytes = block.More();
    if (!::GetFileInformationByHandleEx(folder, kFullFolderInfo, bytes, TreeBlock::kBytes)) return LastError();
    for (std::byte const* at = bytes;;) {
        auto const* const record = reinterpret_cast<FolderRecord const*>(at);
        AddItem(*record, block);
        if (record->next == 0) return 0;
        at += record->next;
    }
}

unsigned long TreeSteps::Kind(void* handle, EntryKind& kind)
{
    FILE_ATTRIBUTE_TAG_INFO facts{};
    unsigned long const error = AskFor(handle, FileAttributeTagInfo, facts);
    kind = {facts.FileAttributes, facts.ReparseTag};
    return error;
}

unsigned long TreeSteps::KindOf(SystemPath const& path, EntryKind& kind)
{
    DWORD const attributes = ::GetFileAttributesW(path.ForSystem());
    if (attributes == INVALID_FILE_ATTRIBUTES) return LastError();
    kind = {attributes, 0};
    return 0;
}

// Closing a handle that is marked in the old way takes the name away only when it is the last one.
unsigned long TreeSteps::Dispose(void* handle, Disposal disposal)
{
    if (disposal == Disposal::AtClose) {
        FILE_DISPOSITION_INFO facts{TRUE};
        return SetOn(handle, FileDispositionInfo, facts);
    }
    ULONG flags = kDelete | kPosix | (disposal == Disposal::PosixAndReadOnly ? kIgnoreReadOnly : 0);
    return SetOn(handle, kDispositionEx, flags);
}

unsigned long TreeSteps::SetAttributes(void* handle, std::uint32_t attributes)
{
    FILE_BASIC_INFO facts{}; // times of 0 stay as they are
    facts.FileAttributes = attributes != 0 ? attributes : static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL);
    return SetOn(handle, FileBasicInfo, facts);
}

void TreeSteps::Pause(std::uint64_t milliseconds)
{
    ::Sleep(static_cast<DWORD>(milliseconds));
}

// The one call that takes a name relative to a handle; it is the system's own, below the calls by path.
unsigned long TreeSteps::OpenBelow(void* folder, std::wstring_view path, bool through, void*& handle)
{
    static auto const create = Native<decltype(&::NtCreateFile)>("NtCreateFile");
    std::wstring name(path);
    auto const bytes = static_cast<USHORT>(name.size() * sizeof(wchar_t));
    UNICODE_STRING text{bytes, bytes, name.data()};
    OBJECT_ATTRIBUTES object{};
    object.Length = sizeof object;
    object.RootDirectory = folder;
    object.ObjectName = &text;
    // Names are compared as the calls by path compare them.
    object.Attributes = OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK result{};
    ULONG const options = FILE_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_FOR_BACKUP_INTENT |
                          (through ? 0 : kOpenReparsePoint);
    HANDLE opened = nullptr;
    NTSTATUS const status =
        create(&opened, RightsOf({}), &object, &result, nullptr, 0, kShareAll, FILE_OPEN, options, nullptr, 0);
    static auto const number = Native<ULONG(NTAPI*)(NTSTATUS)>("RtlNtStatusToDosError");
    if (status < 0) return status == kStatusDeletePending ? static_cast<ULONG>(kErrorDeletePending) : number(status);
    handle = opened;
    return 0;
}

unsigned long TreeSteps::Identity(void* handle, EntryIdentity& identity)
{
    FILE_ID_INFO facts{};
    static_assert(sizeof facts.FileId == sizeof identity.file);
    if (unsigned long const error = AskFor(handle, FileIdInfo, facts)) return error;
    identity.volume = facts.VolumeSerialNumber;
    std::memcpy(identity.file.data(), &facts.FileId, sizeof facts.FileId);
    if (identity.volume != 0) return 0;
    // Volumes without a number would share the numbers of their files; the path without links tells them apart.
    std::wstring name;
    unsigned long const error = FinalName(handle, name);
    identity.volume = std::hash<std::wstring>()(name);
    return error;
}

/// The volume's number stands before the path on it: of the calls that tell a path, this one has no limit of length.
unsigned long TreeSteps::FinalName(void* handle, std::wstring& name)
{
    BY_HANDLE_FILE_INFORMATION volume;
    if (!::GetFileInformationByHandle(handle, &volume)) return LastError();
    std::vector<std::uint64_t> buffer(128);
    for (;;) {
        auto const size = static_cast<DWORD>(buffer.size() * sizeof buffer[0]);
        auto* const facts = reinterpret_cast<FILE_NAME_INFO*>(buffer.data());
        if (::GetFileInformationByHandleEx(handle, FileNameInfo, facts, size)) {
            name = std::to_wstring(volume.dwVolumeSerialNumber);
            name.append(facts->FileName, facts->FileNameLength / sizeof(wchar_t));
            return 0;
        }
        unsigned long const error = LastError();
        if (error != ERROR_MORE_DATA && error != ERROR_INSUFFICIENT_BUFFER) return error;
        // A few rounds reach the longest path.
        buffer.resize(buffer.size() * 4);
    }
}

// By the handle, so that the entry that was examined is the one that gets the new name.
unsigned long TreeSteps::Rename(void* handle, SystemPath const& to)
{
    std::wstring_view const name(to.ForSystem());
    // Words of eight bytes, for the alignment that the structure with its handle needs.
    std::vector<std::uint64_t> buffer((sizeof(FILE_RENAME_INFO) + (name.size() + 1) * sizeof(wchar_t)) / 8 + 1);
    auto* const facts = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
    facts->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
    std::memcpy(facts->FileName, name.data(), facts->FileNameLength);
    auto const size = static_cast<DWORD>(buffer.size() * sizeof buffer[0]);
    return ::SetFileInformationByHandle(handle, FileRenameInfo, facts, size) ? 0 : LastError();
}

} // namespace xc::win32
