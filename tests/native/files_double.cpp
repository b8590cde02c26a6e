// Facts about files, locks and views of the native builds, over POSIX.
#include "narrow_path.h"
#include "win32/FileDetails.h"
#include "win32/FileView.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>

namespace xc::win32 {

namespace {

constexpr std::uint32_t kReadOnly = 0x1, kFolder = 0x10, kNormal = 0x80, kReparsePoint = 0x400;
constexpr std::uint32_t kSymbolicLink = 0xA000000C;

std::int64_t TicksOf(timespec const& time) noexcept
{
    return (time.tv_sec + 11'644'473'600) * 10'000'000 + time.tv_nsec / 100;
}

int DescriptorOf(void* handle) noexcept
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)) - 1;
}

unsigned long Fill(int result, struct stat const& found, FileDetails& details) noexcept
{
    if (result != 0) return static_cast<unsigned long>(errno);
    bool const isLink = S_ISLNK(found.st_mode);
    details.size = static_cast<std::uint64_t>(found.st_size);
    details.written = TicksOf(found.st_mtim);
    details.accessed = TicksOf(found.st_atim);
    details.created = details.changed = TicksOf(found.st_ctim);
    details.attributes = (S_ISDIR(found.st_mode) ? kFolder : kNormal) | ((found.st_mode & S_IWUSR) ? 0 : kReadOnly) |
                         (isLink ? kReparsePoint : 0);
    details.links = static_cast<std::uint32_t>(found.st_nlink);
    details.reparseTag = isLink ? kSymbolicLink : 0;
    details.volume = found.st_dev;
    std::memcpy(details.file, &found.st_ino, sizeof found.st_ino);
    return 0;
}

} // namespace

unsigned long GetDetails(SystemPath const& path, bool followLinks, FileDetails& details) noexcept
{
    struct stat found {};
    int const result = followLinks ? ::stat(Narrow(path).c_str(), &found) : ::lstat(Narrow(path).c_str(), &found);
    return Fill(result, found, details);
}

unsigned long GetDetails(void* handle, FileDetails& details) noexcept
{
    struct stat found {};
    return Fill(::fstat(DescriptorOf(handle), &found), found, details);
}

// Views -----------------------------------------------------------------------------------------------------------

FileView::~FileView()
{
    if (m_base)
        ::munmap(m_base, m_size + static_cast<std::size_t>(static_cast<char*>(m_bytes) - static_cast<char*>(m_base)));
}

unsigned long FileView::Map(void* file, bool writes, bool copies, std::uint64_t offset, std::size_t size) noexcept
{
    std::size_t const before = static_cast<std::size_t>(offset % 4096);
    int const protection = PROT_READ | (writes ? PROT_WRITE : 0);
    void* const base = ::mmap(nullptr, before + size, protection, copies ? MAP_PRIVATE : MAP_SHARED, DescriptorOf(file),
                              static_cast<off_t>(offset - before));
    if (base == MAP_FAILED) return static_cast<unsigned long>(errno);
    m_base = base;
    m_bytes = static_cast<char*>(base) + before;
    m_size = size;
    return 0;
}

unsigned long FileView::Flush() noexcept
{
    return 0; // all views and the file are one memory
}

} // namespace xc::win32
