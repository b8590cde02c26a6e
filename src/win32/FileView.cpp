// Views begin where the system lets them, at multiples of 64 KiB; the bytes before the part that was asked for are
// mapped along and not shown. The section needs no handle of its own: the view keeps it, and with it the file.
#include "win32/FileView.h"

#include "win32/LastError.h"
#include "win32/UniqueHandle.h"

namespace xc::win32 {

namespace {

constexpr std::uint64_t kGranule = 64 * 1024; // of every system for this processor

} // namespace

FileView::~FileView()
{
    KeepLastError const keep;
    if (m_base) ::UnmapViewOfFile(m_base);
}

unsigned long FileView::Map(void* file, bool writes, bool copies, std::uint64_t offset, std::size_t size) noexcept
{
    DWORD const protection = copies ? PAGE_WRITECOPY : writes ? PAGE_READWRITE : PAGE_READONLY;
    DWORD const access = copies ? FILE_MAP_COPY : writes ? FILE_MAP_WRITE : FILE_MAP_READ;
    // The size of the section is that of the file at this moment: a larger one would make the file longer.
    UniqueKernelObject const section(::CreateFileMappingW(file, nullptr, protection, 0, 0, nullptr));
    if (!section) return LastError();
    std::uint64_t const begin = offset - offset % kGranule;
    std::size_t const before = static_cast<std::size_t>(offset - begin);
    m_base = ::MapViewOfFile(section.Get(), access, static_cast<DWORD>(begin >> 32), static_cast<DWORD>(begin),
                             before + size);
    if (!m_base) return LastError();
    m_bytes = static_cast<char*>(m_base) + before;
    m_size = size;
    return 0;
}

unsigned long FileView::Flush() noexcept
{
    // A view of nothing has nothing to write.
    return !m_base || ::FlushViewOfFile(m_base, 0) ? 0 : LastError();
}

} // namespace xc::win32
