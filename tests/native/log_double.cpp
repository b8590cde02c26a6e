// Files, folders and standard streams of the native builds, over POSIX.
#include "narrow_path.h"
#include "win32/AppendFile.h"
#include "win32/Console.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xc::win32 {

namespace {

unsigned long Verdict(int result) noexcept
{
    return result == 0 ? 0 : static_cast<unsigned long>(errno);
}

} // namespace

struct AppendFile::Handle {
    int fd = -1;
    ~Handle()
    {
        if (fd >= 0) ::close(fd);
    }
};

AppendFile::AppendFile() noexcept = default;
AppendFile::~AppendFile() = default;

unsigned long AppendFile::Open(std::wstring const& path, Start start)
{
    Close();
    auto handle = std::make_unique<Handle>();
    int const flags = O_WRONLY | O_APPEND | O_CREAT | (start == Start::Truncate ? O_TRUNC : 0);
    handle->fd = ::open(Narrow(path).c_str(), flags, 0644);
    if (handle->fd < 0) return static_cast<unsigned long>(errno);
    m_handle = std::move(handle);
    return 0;
}

void AppendFile::Close() noexcept
{
    m_handle.reset();
}

bool AppendFile::IsOpen() const noexcept
{
    return m_handle != nullptr;
}

std::size_t AppendFile::Write(char const* bytes, std::size_t count, unsigned long& error) noexcept
{
    ssize_t const written = ::write(m_handle->fd, bytes, count);
    error = written < 0 ? static_cast<unsigned long>(errno) : ENOSPC;
    return written < 0 ? 0 : static_cast<std::size_t>(written);
}

std::uint64_t AppendFile::Size() const noexcept
{
    struct stat facts;
    return m_handle && ::fstat(m_handle->fd, &facts) == 0 ? static_cast<std::uint64_t>(facts.st_size) : 0;
}

unsigned long RenameFile(std::wstring const& from, std::wstring const& to) noexcept
{
    return Verdict(std::rename(Narrow(from).c_str(), Narrow(to).c_str()));
}

unsigned long RemoveFile(std::wstring const& path) noexcept
{
    return Verdict(::unlink(Narrow(path).c_str()));
}

bool FileExists(std::wstring const& path) noexcept
{
    return ::access(Narrow(path).c_str(), F_OK) == 0;
}

std::uint32_t LastWriteDay(std::wstring const& path) noexcept
{
    struct stat facts;
    std::tm t{};
    if (::stat(Narrow(path).c_str(), &facts) != 0 || !::localtime_r(&facts.st_mtime, &t)) return 0;
    return static_cast<std::uint32_t>((t.tm_year + 1900) * 10000 + (t.tm_mon + 1) * 100 + t.tm_mday);
}

unsigned long MakeFolder(std::wstring const& path)
{
    std::size_t const cut = path.find_last_of(L'/');
    if (cut != std::wstring::npos && cut > 0)
        if (unsigned long const error = MakeFolder(path.substr(0, cut))) return error;
    if (::mkdir(Narrow(path).c_str(), 0755) == 0) return 0;
    auto const error = static_cast<unsigned long>(errno);
    struct stat facts;
    return ::stat(Narrow(path).c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) ? 0 : error;
}

std::wstring GetTempFolder()
{
    char const* const named = std::getenv("TMPDIR");
    std::string const folder = named ? named : "/tmp";
    return std::wstring(folder.begin(), folder.end());
}

std::wstring LongPath(std::wstring const& path)
{
    return path;
}

std::uint64_t CoarseMilliseconds() noexcept
{
    std::timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

bool IsConsole(StandardStream) noexcept
{
    return false;
}

unsigned long WriteToConsole(StandardStream, wchar_t const*, std::size_t) noexcept
{
    return ENOTTY;
}

unsigned long WriteToStream(StandardStream stream, char const* bytes, std::size_t count) noexcept
{
    int const fd = stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
    return ::write(fd, bytes, count) == static_cast<ssize_t>(count) ? 0 : static_cast<unsigned long>(errno);
}

} // namespace xc::win32
