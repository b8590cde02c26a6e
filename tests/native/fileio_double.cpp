// Files and folders of the native builds, over POSIX.
#include "narrow_path.h"
#include "win32/AppendTurn.h"
#include "win32/FileSystem.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xc::win32 {

namespace {

unsigned long Verdict(int result) noexcept
{
    return result == 0 ? 0 : static_cast<unsigned long>(errno);
}

int FlagsOf(FileMode const& mode) noexcept
{
    using Access = FileMode::Access;
    using Start = FileMode::Start;
    bool const appends = mode.access == Access::Append || mode.access == Access::AppendAndRead;
    bool const both = mode.access == Access::ReadWrite || mode.access == Access::AppendAndRead;
    if (mode.access == Access::Facts) return O_RDONLY;
    int const access = both ? O_RDWR : mode.access == Access::Read ? O_RDONLY : O_WRONLY;
    int const start = mode.start == Start::Existing    ? 0
                      : mode.start == Start::CreateNew ? O_CREAT | O_EXCL
                      : mode.start == Start::Truncate  ? O_CREAT | O_TRUNC
                                                       : O_CREAT;
    return access | start | (appends ? O_APPEND : 0);
}

int Descriptor(void* handle) noexcept
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)) - 1; // null is none
}

std::string Current()
{
    char folder[4096];
    return ::getcwd(folder, sizeof folder) ? folder : "";
}

} // namespace

std::wstring AbsoluteName(std::wstring const& name)
{
    if (name.starts_with(L'/') || name.starts_with(L"C:\\")) return name;
    std::string const folder = Current() + "/";
    return std::wstring(folder.begin(), folder.end()) + name;
}

unsigned long File::Open(SystemPath const& path, FileMode const& mode) noexcept
{
    Close();
    if (path.ForSystem()[0] == L'|') return EINVAL; // what stands for a path with U+0000
    int const file = ::open(Narrow(path).c_str(), FlagsOf(mode), 0644);
    if (file < 0) return static_cast<unsigned long>(errno);
    m_handle = reinterpret_cast<void*>(std::intptr_t{file} + 1);
    return 0;
}

unsigned long File::Close() noexcept
{
    void* const handle = Release();
    return handle ? Verdict(::close(Descriptor(handle))) : 0;
}

std::size_t File::Read(void* to, std::size_t count, std::uint64_t position, unsigned long& error) noexcept
{
    ssize_t const done = ::pread(Descriptor(m_handle), to, count, static_cast<off_t>(position));
    error = Verdict(done < 0 ? -1 : 0);
    return done < 0 ? 0 : static_cast<std::size_t>(done);
}

std::size_t File::Write(std::string_view bytes, std::uint64_t position, unsigned long& error) noexcept
{
    ssize_t const done = ::pwrite(Descriptor(m_handle), bytes.data(), bytes.size(), static_cast<off_t>(position));
    error = Verdict(done < 0 ? -1 : 0);
    return done < 0 ? 0 : static_cast<std::size_t>(done);
}

std::size_t File::Append(std::string_view bytes, unsigned long& error) noexcept
{
    ssize_t const done = ::write(Descriptor(m_handle), bytes.data(), bytes.size());
    error = done < 0 ? static_cast<unsigned long>(errno) : static_cast<std::size_t>(done) < bytes.size() ? ENOSPC : 0;
    return done < 0 ? 0 : static_cast<std::size_t>(done);
}

unsigned long File::Flush() noexcept
{
    return 0; // nobody pulls the plug of a test
}

unsigned long File::SetSize(std::uint64_t size) noexcept
{
    return Verdict(::ftruncate(Descriptor(m_handle), static_cast<off_t>(size)));
}

namespace {

/// Locks of the open file, as the system's are: they stand between handles of one process, too.
unsigned long SetLock(void* handle, short kind, std::uint64_t offset, std::uint64_t length) noexcept
{
    struct flock range {};
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(offset);
    range.l_len = static_cast<off_t>(length);
    unsigned long const error = Verdict(::fcntl(Descriptor(handle), F_OFD_SETLK, &range));
    return error == EAGAIN || error == EACCES ? kErrorLocked : error;
}

} // namespace

unsigned long File::Lock(std::uint64_t offset, std::uint64_t length, bool exclusive) noexcept
{
    return SetLock(m_handle, exclusive ? F_WRLCK : F_RDLCK, offset, length);
}

unsigned long File::Unlock(std::uint64_t offset, std::uint64_t length) noexcept
{
    return SetLock(m_handle, F_UNLCK, offset, length);
}

bool Patience::GoesOn() noexcept
{
    ::usleep(1000);
    return tries < milliseconds;
}

bool IsInUse(unsigned long error) noexcept
{
    return error == ETXTBSY;
}

std::uint64_t File::Size(unsigned long& error) const noexcept
{
    struct stat facts {};
    error = Verdict(::fstat(Descriptor(m_handle), &facts));
    return static_cast<std::uint64_t>(facts.st_size);
}

unsigned long GetFacts(SystemPath const& path, FileFacts& facts) noexcept
{
    struct stat found;
    std::tm t{};
    if (::stat(Narrow(path).c_str(), &found) != 0) return static_cast<unsigned long>(errno);
    ::localtime_r(&found.st_mtime, &t);
    facts.attributes = found.st_mode;
    facts.isFolder = S_ISDIR(found.st_mode);
    facts.isReadOnly = (found.st_mode & S_IWUSR) == 0;
    facts.size = facts.isFolder ? 0 : static_cast<std::uint64_t>(found.st_size);
    facts.lastWriteDay = static_cast<std::uint32_t>((t.tm_year + 1900) * 10000 + (t.tm_mon + 1) * 100 + t.tm_mday);
    return 0;
}

bool Exists(SystemPath const& path) noexcept
{
    return ::access(Narrow(path).c_str(), F_OK) == 0;
}

bool IsFolder(SystemPath const& path) noexcept
{
    FileFacts facts;
    return GetFacts(path, facts) == 0 && facts.isFolder;
}

unsigned long RenameOver(SystemPath const& from, SystemPath const& to, Patience& patience) noexcept
{
    ++patience.tries;
    return Verdict(std::rename(Narrow(from).c_str(), Narrow(to).c_str()));
}

unsigned long RemoveFile(SystemPath const& path) noexcept
{
    return Verdict(::unlink(Narrow(path).c_str()));
}

unsigned long MakeFolder(SystemPath const& path)
{
    if (SystemPath const above = path.Folder(); !above.IsEmpty() && !IsFolder(above))
        if (unsigned long const error = MakeFolder(above)) return error;
    unsigned long const error = Verdict(::mkdir(Narrow(path).c_str(), 0755));
    return IsFolder(path) ? 0 : error;
}

unsigned long CreateLike(SystemPath const& path, SystemPath const&, File& file)
{
    return file.Open(path, {.access = FileMode::Access::Write, .start = FileMode::Start::CreateNew});
}

void CopyAttributes(SystemPath const&, SystemPath const&) noexcept {}

unsigned long ListFolder(SystemPath const& folder, std::wstring_view pattern, std::vector<FolderEntry>& entries)
{
    entries.clear();
    DIR* const open = ::opendir(Narrow(folder).c_str());
    if (!open) return static_cast<unsigned long>(errno);
    std::string const wanted(pattern.begin(), pattern.end());
    while (dirent const* const entry = ::readdir(open)) {
        std::string const name = entry->d_name;
        if (name == "." || name == ".." || ::fnmatch(wanted.c_str(), entry->d_name, 0) != 0) continue;
        entries.push_back({std::wstring(name.begin(), name.end()), entry->d_type == DT_DIR});
    }
    ::closedir(open);
    return 0;
}

SystemPath TempFolder()
{
    char const* const named = std::getenv("TMPDIR");
    std::string const folder = named ? named : "/tmp";
    return SystemPath(std::wstring(folder.begin(), folder.end()));
}

SystemPath WithLongNames(SystemPath const& path)
{
    return path;
}

// Appending is one step here: nobody has to take turns.
void AppendTurn::Open(void*) noexcept {}
void AppendTurn::Close() noexcept {}
bool AppendTurn::Take() noexcept
{
    return false;
}
void AppendTurn::Give(bool) noexcept {}

} // namespace xc::win32
