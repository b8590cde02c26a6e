#include "win32/Console.h"

#include "win32/LastError.h"

#include <algorithm>
#include <windows.h>

namespace xc::win32 {

namespace {

HANDLE StreamHandle(StandardStream stream) noexcept
{
    return ::GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

/// A piece that the console takes at once and that ends in no first half of a pair.
std::size_t ConsolePiece(wchar_t const* text, std::size_t count) noexcept
{
    constexpr std::size_t kMostAtOnce = 8000;
    if (count <= kMostAtOnce) return count;
    bool const splits = (text[kMostAtOnce - 1] & 0xFC00) == 0xD800;
    return kMostAtOnce - (splits ? 1 : 0);
}

} // namespace

bool IsConsole(StandardStream stream) noexcept
{
    KeepLastError const keep;
    DWORD mode = 0;
    return ::GetConsoleMode(StreamHandle(stream), &mode) != 0;
}

unsigned long WriteToConsole(StandardStream stream, wchar_t const* text, std::size_t count) noexcept
{
    while (count > 0) {
        DWORD written = 0;
        auto const piece = static_cast<DWORD>(ConsolePiece(text, count));
        if (!::WriteConsoleW(StreamHandle(stream), text, piece, &written, nullptr)) return LastError();
        if (written == 0) return ERROR_WRITE_FAULT;
        text += written;
        count -= written;
    }
    return 0;
}

unsigned long WriteToStream(StandardStream stream, char const* bytes, std::size_t count) noexcept
{
    constexpr std::size_t kMostAtOnce = 1u << 20;
    while (count > 0) {
        DWORD written = 0;
        auto const piece = static_cast<DWORD>(std::min(count, kMostAtOnce));
        if (!::WriteFile(StreamHandle(stream), bytes, piece, &written, nullptr)) return LastError();
        if (written == 0) return ERROR_WRITE_FAULT;
        bytes += written;
        count -= written;
    }
    return 0;
}

} // namespace xc::win32
