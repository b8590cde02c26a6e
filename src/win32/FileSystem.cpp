// Files and folders by path. Every path is absolute and in the form that the system takes without its length limit
// (SystemPath). The names of a folder come back sorted, because the file systems deliver them in orders of their own.
//
// Answers are numbers of errors, 0 for success, and nothing throws but for want of memory. Questions about a file are
// one call each; between two of them anything may have happened to it, so callers act on the answer of the action, not
// of the question before it.
#include "win32/FileSystem.h"

#include "win32/LastError.h"

#include <algorithm>
#include <memory>
#include <windows.h>

namespace xc::win32 {

std::wstring AbsoluteName(std::wstring const& name)
{
    // Enough for nearly every name, and no limit: a longer one takes a second call.
    std::wstring full(260, L'\0');
    for (;;) {
        DWORD const length = ::GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        // A name that the system cannot make absolute goes on as it is, and the call that uses it says why.
        if (length == 0) return name;
        // When it does not, the length includes the terminator, and another round has the room.
        bool const fits = length < full.size();
        full.resize(length);
        if (fits) return full;
    }
}

namespace {

std::uint64_t Ticks(FILETIME const& time) noexcept
{
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::uint32_t LocalDay(FILETIME const& time) noexcept
{
    SYSTEMTIME utc;
    SYSTEMTIME local;
    // By the rules of that day, not by today's offset: a file of last summer keeps its day in winter.
    bool const known = ::FileTimeToSystemTime(&time, &utc) && ::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    return known ? local.wYear * 10000u + local.wMonth * 100u + local.wDay : 0;
}

} // namespace

unsigned long GetFacts(SystemPath const& path, FileFacts& facts) noexcept
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExW(path.ForSystem(), GetFileExInfoStandard, &data)) return LastError();
    facts.attributes = data.dwFileAttributes;
    facts.isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    facts.isReadOnly = (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    facts.size = facts.isFolder ? 0 : (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
    facts.lastWriteDay = LocalDay(data.ftLastWriteTime);
    return 0;
}

bool Exists(SystemPath const& path) noexcept
{
    return ::GetFileAttributesW(path.ForSystem()) != INVALID_FILE_ATTRIBUTES;
}

bool IsFolder(SystemPath const& path) noexcept
{
    DWORD const attributes = ::GetFileAttributesW(path.ForSystem());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFile(SystemPath const& path) noexcept
{
    DWORD const attributes = ::GetFileAttributesW(path.ForSystem());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool Patience::GoesOn() noexcept
{
    constexpr DWORD kLongestPause = 32; // milliseconds
    std::uint64_t const now = ::GetTickCount64();
    if (begin == 0) begin = now;
    // The time runs from the first failure on, not from the making of the object: a try that succeeds asks no clock.
    bool const endless = milliseconds == kEndless;
    if (!endless && now - begin >= milliseconds) return false;
    // 1, 2, 4 milliseconds and so on: what is held for moments is free soon, and a long wait costs few tries.
    DWORD const pause = std::min(kLongestPause, 1ul << std::min(tries, 6u) >> 1);
    ::Sleep(endless ? pause : std::min(pause, static_cast<DWORD>(milliseconds - (now - begin))));
    return true;
}

bool IsInUse(unsigned long error) noexcept
{
    switch (error) {
    case ERROR_ACCESS_DENIED: // the target is open without leave to delete it
    case ERROR_SHARING_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_UNABLE_TO_REMOVE_REPLACED:
    case ERROR_UNABLE_TO_MOVE_REPLACEMENT:
    case ERROR_UNABLE_TO_MOVE_REPLACEMENT_2: return true;
    default: return false;
    }
}

unsigned long RenameOver(SystemPath const& from, SystemPath const& to, Patience& patience) noexcept
{
    for (;;) {
        ++patience.tries;
        // Written through, so that after the return a power failure cannot bring the old contents back.
        if (::MoveFileExW(from.ForSystem(), to.ForSystem(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return 0;
        unsigned long const error = LastError();
        // Scanners and indexers open new files for moments, without leave to rename them.
        if (!IsInUse(error) || !patience.GoesOn()) return error;
    }
}

unsigned long EnterFolder(SystemPath const& path) noexcept
{
    return ::SetCurrentDirectoryW(path.ForSystem()) ? 0 : ::GetLastError();
}

unsigned long RemoveFile(SystemPath const& path) noexcept
{
    if (::DeleteFileW(path.ForSystem())) return 0;
    unsigned long const error = LastError();
    FileFacts facts;
    // Only the read-only mark is worth a second try; every other refusal keeps its number.
    if (error != ERROR_ACCESS_DENIED || GetFacts(path, facts) != 0 || !facts.isReadOnly || facts.isFolder) return error;
    // The mark protects from writing, not from removal by whoever may change it.
    ::SetFileAttributesW(path.ForSystem(), facts.attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    return ::DeleteFileW(path.ForSystem()) ? 0 : LastError();
}

unsigned long MakeFolder(SystemPath const& path)
{
    FileFacts facts;
    if (GetFacts(path, facts) == 0) return facts.isFolder ? 0 : static_cast<unsigned long>(ERROR_DIRECTORY);
    // The depth of this recursion is that of the folders which are missing.
    if (SystemPath const above = path.Folder(); !above.IsEmpty() && !IsFolder(above))
        if (unsigned long const error = MakeFolder(above)) return error;
    if (::CreateDirectoryW(path.ForSystem(), nullptr)) return 0;
    unsigned long const error = LastError();
    return error == ERROR_ALREADY_EXISTS ? 0 : error; // another process was faster
}

unsigned long CreateLike(SystemPath const& path, SystemPath const& model, File& file)
{
    DWORD size = 0;
    // A file that replaces another keeps the rights that somebody has given it, not those of the folder.
    ::GetFileSecurityW(model.ForSystem(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<unsigned char> rights(size);
    // The first call tells the size alone. Without the right to read them the folder's own rights are taken.
    bool const known =
        size != 0 && ::GetFileSecurityW(model.ForSystem(), DACL_SECURITY_INFORMATION, rights.data(), size, &size);
    return file.Open(path, {.access = FileMode::Access::Write,
                            .start = FileMode::Start::CreateNew,
                            .share = FileMode::ShareNone,
                            .security = known ? rights.data() : nullptr});
}

/// Failures are left out: a content that is saved with other attributes is better than one that is not saved.
void CopyAttributes(SystemPath const& from, SystemPath const& to) noexcept
{
    DWORD const attributes = ::GetFileAttributesW(from.ForSystem());
    if (attributes != INVALID_FILE_ATTRIBUTES) ::SetFileAttributesW(to.ForSystem(), attributes);
}

unsigned long ListFolder(SystemPath const& folder, std::wstring_view pattern, std::vector<FolderEntry>& entries)
{
    entries.clear();
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW(folder.Child(pattern).ForSystem(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        unsigned long const error = LastError();
        return error == ERROR_FILE_NOT_FOUND ? 0 : error; // nothing matches
    }
    auto const close = [](void* handle) { ::FindClose(handle); };
    // The list may run out of memory while it grows.
    std::unique_ptr<void, decltype(close)> const owner(search, close);
    do {
        std::wstring name = entry.cFileName;
        bool const isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        // The folder itself and the one above are in every listing.
        if (name != L"." && name != L"..") entries.push_back({std::move(name), isFolder, Ticks(entry.ftLastWriteTime)});
    } while (::FindNextFileW(search, &entry));
    unsigned long const error = LastError();
    std::sort(entries.begin(), entries.end(),
              [](FolderEntry const& a, FolderEntry const& b) { return a.name < b.name; });
    return error == ERROR_NO_MORE_FILES ? 0 : error;
}

namespace {

bool EndsIn(std::wstring const& name, std::wstring const& extension)
{
    // The system's own pattern "*.osx" would also match longer extensions, by the short names of old.
    return name.size() >= extension.size() && ::CompareStringOrdinal(name.c_str() + (name.size() - extension.size()),
                                                                     -1, extension.c_str(), -1, TRUE) == CSTR_EQUAL;
}

/// A folder that cannot be read has no entries.
template <class Wanted>
std::vector<std::wstring> NamesIn(SystemPath const& folder, Wanted wanted)
{
    std::vector<FolderEntry> entries;
    ListFolder(folder, L"*", entries);
    std::vector<std::wstring> names;
    for (FolderEntry& entry : entries)
        if (wanted(entry)) names.push_back(std::move(entry.name));
    return names;
}

} // namespace

std::vector<std::wstring> FilesIn(SystemPath const& folder, std::wstring const& extension)
{
    return NamesIn(folder, [&](FolderEntry const& entry) { return !entry.isFolder && EndsIn(entry.name, extension); });
}

std::vector<std::wstring> FoldersIn(SystemPath const& folder)
{
    return NamesIn(folder, [](FolderEntry const& entry) { return entry.isFolder; });
}

SystemPath TempFolder()
{
    std::wstring folder(260, L'\0');
    for (;;) {
        DWORD const length = ::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
        bool const fits = length < folder.size();
        folder.resize(length);
        if (fits) break;
    }
    // "C:\" keeps its separator, without which it would be the drive's current folder.
    while (folder.size() > 3 && folder.back() == L'\\') folder.pop_back();
    return SystemPath(folder);
}

SystemPath WithLongNames(SystemPath const& path)
{
    // A name that cannot be resolved (the file may have gone) stays as it is.
    DWORD const size = ::GetLongPathNameW(path.ForSystem(), nullptr, 0);
    std::wstring name(size, L'\0');
    DWORD const length = ::GetLongPathNameW(path.ForSystem(), name.data(), size);
    if (length == 0 || length >= size) return path;
    name.resize(length);
    return SystemPath(name);
}

} // namespace xc::win32
