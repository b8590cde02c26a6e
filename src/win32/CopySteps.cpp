// Copying by the system's own call, which knows more of a file than its bytes: named streams, extended attributes, and
// on some file systems copies that share blocks or never leave the server. It writes the holes of a sparse file as
// zeros, though. A file with holes and nothing but its content is therefore copied by ranges: what is on the disk is
// read and written, the rest is a hole in the copy, too. A file that has both keeps its streams and loses its holes.
//
// Creation and access times are not taken over by the system's call; all times are set after it, with the attributes,
// in one step, so that a read-only copy is complete before it is read-only.
#include "win32/CopySteps.h"

#include "win32/File.h"
#include "win32/LastError.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <windows.h>
#include <winioctl.h>

namespace xc::win32 {

namespace {

constexpr std::size_t kChunk = 1 << 20;
/// The attributes that somebody sets. The others tell how a volume keeps the file (compressed, sparse, encrypted),
/// which the target's volume decides for itself.
constexpr DWORD kTakenOver = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                             FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

/// An open file or folder for the calls that are made on handles.
class Opened {
public:
    Opened(SystemPath const& path, DWORD rights)
        : m_handle(::CreateFileW(path.ForSystem(), rights, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                 nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                 nullptr)),
          m_error(m_handle == INVALID_HANDLE_VALUE ? LastError() : 0)
    {
    }
    ~Opened()
    {
        KeepLastError const keep;
        if (m_error == 0) ::CloseHandle(m_handle);
    }
    Opened(Opened const&) = delete;
    Opened& operator=(Opened const&) = delete;

    [[nodiscard]] HANDLE Get() const noexcept { return m_handle; }
    [[nodiscard]] unsigned long Error() const noexcept { return m_error; }

private:
    HANDLE m_handle;
    unsigned long m_error;
};

/// Carries the bytes that are done from the system's call to the caller; exceptions wait until the call is over.
struct Telling {
    CopySteps::Told const& told;
    std::uint64_t done = 0;
    std::exception_ptr thrown = nullptr;

    bool UpTo(std::uint64_t bytes)
    {
        // Bytes count once, should the system tell of them again.
        std::uint64_t const more = bytes - std::min(done, bytes);
        done += more;
        return !told || told(more);
    }
};

/// Runs inside the system's call, which no exception may cross: one is kept, ends the copy, and goes on after it.
DWORD CALLBACK OnCopied(LARGE_INTEGER /*total*/, LARGE_INTEGER /*done*/, LARGE_INTEGER /*streamSize*/,
                        LARGE_INTEGER streamDone, DWORD stream, DWORD /*reason*/, HANDLE /*from*/, HANDLE /*to*/,
                        LPVOID data)
{
    auto& telling = *static_cast<Telling*>(data);
    try {
        if (stream != 1) return PROGRESS_CONTINUE; // the content alone has the size that callers know
        return telling.UpTo(static_cast<std::uint64_t>(streamDone.QuadPart)) ? PROGRESS_CONTINUE : PROGRESS_CANCEL;
    } catch (...) {
        telling.thrown = std::current_exception();
        return PROGRESS_CANCEL;
    }
}

/// A folder or file without any is no failure here: nothing is lost by a copy of ranges then.
bool HasNamedStreams(SystemPath const& path)
{
    WIN32_FIND_STREAM_DATA stream;
    HANDLE const search = ::FindFirstStreamW(path.ForSystem(), FindStreamInfoStandard, &stream, 0);
    if (search == INVALID_HANDLE_VALUE) return false;
    bool const more = ::FindNextStreamW(search, &stream) != FALSE;
    ::FindClose(search);
    return more;
}

unsigned long Control(HANDLE handle, DWORD code, void* in, std::size_t inBytes, void* out = nullptr,
                      std::size_t outBytes = 0, DWORD* got = nullptr) noexcept
{
    DWORD ignored = 0;
    BOOL const done = ::DeviceIoControl(handle, code, in, static_cast<DWORD>(inBytes), out,
                                        static_cast<DWORD>(outBytes), got ? got : &ignored, nullptr);
    return done ? 0 : LastError();
}

LARGE_INTEGER Large(std::uint64_t value) noexcept
{
    LARGE_INTEGER large;
    large.QuadPart = static_cast<LONGLONG>(value);
    return large;
}

/// The copy of ranges over two open files, a megabyte at a time, so that a cancellation is seen soon.
unsigned long CopyParts(File& from, File& to, std::vector<ByteRange> const& ranges, Telling& telling)
{
    std::string buffer(kChunk, '\0');
    for (ByteRange const& range : ranges) {
        std::uint64_t const end = range.begin + range.size;
        for (std::uint64_t at = range.begin; at < end;) {
            unsigned long error = 0;
            auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, end - at));
            std::size_t const got = from.Read(buffer.data(), step, at, error);
            if (error == 0) to.Write(std::string_view(buffer).substr(0, got), at, error);
            if (error != 0) return error;
            if (got == 0) break; // shorter meanwhile
            at += got;
            if (!telling.UpTo(at)) return kErrorAborted;
        }
    }
    return 0;
}

} // namespace

unsigned long CopySteps::Kind(SystemPath const& path, EntryKind& kind)
{
    DWORD const attributes = ::GetFileAttributesW(path.ForSystem());
    if (attributes == INVALID_FILE_ATTRIBUTES) return LastError();
    kind = {attributes, 0};
    return 0;
}

unsigned long CopySteps::MakeFolder(SystemPath const& path)
{
    return ::CreateDirectoryW(path.ForSystem(), nullptr) ? 0 : LastError();
}

unsigned long CopySteps::CopyContent(SystemPath const& from, SystemPath const& to, Told const& told)
{
    Telling telling{told};
    BOOL const done =
        ::CopyFileExW(from.ForSystem(), to.ForSystem(), &OnCopied, &telling, nullptr, COPY_FILE_FAIL_IF_EXISTS);
    unsigned long const error = done ? 0 : LastError();
    // After the system has removed the incomplete copy, as it does for a cancelled one.
    if (telling.thrown) std::rethrow_exception(telling.thrown);
    return error;
}

// A time of 0 is left as the system has set it: not every file system keeps all of them.
unsigned long CopySteps::SetFacts(SystemPath const& path, CopiedFacts const& facts)
{
    Opened const file(path, FILE_WRITE_ATTRIBUTES);
    if (file.Error() != 0) return file.Error();
    FILE_BASIC_INFO basic{};
    basic.CreationTime.QuadPart = facts.created;
    basic.LastAccessTime.QuadPart = facts.accessed;
    basic.LastWriteTime.QuadPart = facts.written;
    basic.FileAttributes = facts.attributes & kTakenOver;
    // Zero would mean "leave as they are", and an attribute of the new file would stay.
    if (basic.FileAttributes == 0) basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
    return ::SetFileInformationByHandle(file.Get(), FileBasicInfo, &basic, sizeof basic) ? 0 : LastError();
}

unsigned long CopySteps::Rename(SystemPath const& from, SystemPath const& to, bool replace, Patience& patience)
{
    if (replace) return RenameOver(from, to, patience);
    return ::MoveFileExW(from.ForSystem(), to.ForSystem(), 0) ? 0 : LastError();
}

unsigned long CopySteps::RemoveFile(SystemPath const& path)
{
    return win32::RemoveFile(path);
}

// The system fills a buffer of ranges and says that there are more; the next question begins after the last of them.
unsigned long CopySteps::Ranges(SystemPath const& from, std::uint64_t size, std::vector<ByteRange>& ranges)
{
    ranges.clear();
    Opened const file(from, GENERIC_READ);
    if (file.Error() != 0) return file.Error();
    // A copy of ranges would lose them; the caller takes the system's copy then.
    if (HasNamedStreams(from)) return kErrorNotSupported;
    FILE_ALLOCATED_RANGE_BUFFER asked{Large(0), Large(size)};
    for (;;) {
        FILE_ALLOCATED_RANGE_BUFFER found[256];
        DWORD bytes = 0;
        unsigned long const error =
            Control(file.Get(), FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, found, sizeof found, &bytes);
        bool const isPart = error == ERROR_MORE_DATA;
        if (error != 0 && !isPart) return kErrorNotSupported;
        for (std::size_t i = 0; i < bytes / sizeof found[0]; ++i)
            ranges.push_back({static_cast<std::uint64_t>(found[i].FileOffset.QuadPart),
                              static_cast<std::uint64_t>(found[i].Length.QuadPart)});
        if (!isPart || ranges.empty()) return 0;
        std::uint64_t const next = ranges.back().begin + ranges.back().size;
        asked = {Large(next), Large(size - std::min(next, size))};
    }
}

// The length is set first: what is never written between the ranges is a hole, or zeros where holes are not known.
unsigned long CopySteps::CopyRanges(SystemPath const& from, SystemPath const& to, std::uint64_t size,
                                    std::vector<ByteRange> const& ranges, Told const& told)
{
    File source, target;
    if (unsigned long const error = source.Open(from, {.sequential = true})) return error;
    unsigned long error = target.Open(to, {.access = FileMode::Access::Write, .start = FileMode::Start::CreateNew});
    if (error != 0) return error;
    Telling telling{told};
    error = Control(target.Handle(), FSCTL_SET_SPARSE, nullptr, 0);
    FILE_END_OF_FILE_INFO end{Large(size)};
    if (error == 0 && !::SetFileInformationByHandle(target.Handle(), FileEndOfFileInfo, &end, sizeof end))
        error = LastError();
    try {
        if (error == 0) error = CopyParts(source, target, ranges, telling);
        if (error == 0 && !telling.UpTo(size)) error = kErrorAborted;
    } catch (...) {
        target.Close();
        win32::RemoveFile(to);
        throw;
    }
    // Network file systems report writes that failed late only here.
    unsigned long const closing = target.Close();
    if (error == 0) error = closing;
    if (error != 0) win32::RemoveFile(to);
    return error;
}

/// A folder or an empty file is made and becomes a link by the words of the first one.
unsigned long CopySteps::CopyLink(SystemPath const& from, SystemPath const& to, bool isFolder)
{
    std::vector<std::byte> words(MAXIMUM_REPARSE_DATA_BUFFER_SIZE);
    DWORD size = 0;
    {
        Opened const link(from, FILE_READ_ATTRIBUTES);
        if (link.Error() != 0) return link.Error();
        unsigned long const error =
            Control(link.Get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, words.data(), words.size(), &size);
        // A system that follows links whatever it is asked has opened the target.
        if (error != 0) return error == ERROR_NOT_A_REPARSE_POINT ? static_cast<DWORD>(kErrorLeadsElsewhere) : error;
    }
    File file;
    unsigned long error = isFolder
                              ? MakeFolder(to)
                              : file.Open(to, {.access = FileMode::Access::Write, .start = FileMode::Start::CreateNew});
    if (error != 0) return error;
    file.Close();
    {
        Opened const link(to, GENERIC_WRITE);
        error = link.Error() != 0 ? link.Error() : Control(link.Get(), FSCTL_SET_REPARSE_POINT, words.data(), size);
    }
    if (error == 0) return 0;
    if (isFolder)
        ::RemoveDirectoryW(to.ForSystem());
    else
        win32::RemoveFile(to);
    return error;
}

unsigned long GetRoom(SystemPath const& folder, VolumeRoom& room) noexcept
{
    ULARGE_INTEGER available, total, free;
    if (!::GetDiskFreeSpaceExW(folder.ForSystem(), &available, &total, &free)) return LastError();
    room = {total.QuadPart, free.QuadPart, available.QuadPart};
    return 0;
}

} // namespace xc::win32
