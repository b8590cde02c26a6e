#include "line_file.h"

#include <XelbrinCore/XCException.h>

#include <utility>
#include <windows.h>

LineFile::~LineFile()
{
    if (m_handle) ::CloseHandle(m_handle);
}

unsigned long LineFile::Open(XCString const& path)
{
    HANDLE const handle =
        ::CreateFileW(path.AsWChar(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return ::GetLastError();
    m_handle = handle;
    return 0;
}

std::uint64_t LineFile::Size() const noexcept
{
    LARGE_INTEGER size{};
    return ::GetFileSizeEx(m_handle, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

std::string LineFile::ReadLines()
{
    for (;;) {
        std::string chunk = std::move(m_rest);
        m_rest.clear();
        std::size_t const kept = chunk.size();
        chunk.resize(kept + kChunk);
        DWORD count = 0;
        if (!::ReadFile(m_handle, chunk.data() + kept, kChunk, &count, nullptr)) throw XCWindowsLastErrorException();
        chunk.resize(kept + count);

        std::size_t const lines = chunk.rfind('\n') + 1; // 0 when there is no line end
        if (lines == 0 && chunk.size() >= kChunk) return chunk;
        m_rest = chunk.substr(lines);
        chunk.resize(lines);
        if (lines != 0 || count == 0) return chunk;
    }
}

std::string LineFile::TakeRest()
{
    return std::exchange(m_rest, {});
}
