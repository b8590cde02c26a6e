// Writing to consoles and streams. A console takes units and shows them whatever its code page; a stream takes bytes.
// Both take only so much at a time: a console refuses large writes altogether, so that text goes to it in pieces, none
// of which ends inside a surrogate pair. A write of nothing without an error is taken for one, or the loop would never
// end.
#include "win32/Console.h"

#include "win32/LastError.h"

#include <algorithm>
#include <string>
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
    // Older systems share 64 KiB between all writers of a console.
    constexpr std::size_t kMostAtOnce = 8000;
    if (count <= kMostAtOnce) return count;
    bool const splits = (text[kMostAtOnce - 1] & 0xFC00) == 0xD800;
    return kMostAtOnce - (splits ? 1 : 0);
}

/// Writes all of it, in pieces that `write` takes at once; `write` tells how much it has written.
template <class Unit, class PieceOf, class Write>
unsigned long WriteAll(Unit const* data, std::size_t count, PieceOf pieceOf, Write write) noexcept
{
    while (count > 0) {
        DWORD written = 0;
        if (!write(data, static_cast<DWORD>(pieceOf(data, count)), &written)) return LastError();
        if (written == 0) return ERROR_WRITE_FAULT;
        data += written;
        count -= written;
    }
    return 0;
}

unsigned long WriteUnits(HANDLE console, wchar_t const* text, std::size_t count) noexcept
{
    return WriteAll(text, count, ConsolePiece, [console](wchar_t const* piece, DWORD units, DWORD* written) {
        return ::WriteConsoleW(console, piece, units, written, nullptr);
    });
}

unsigned long WriteBytes(HANDLE handle, char const* bytes, std::size_t count) noexcept
{
    static constexpr std::size_t kMostAtOnce = 1u << 20;
    auto const piece = [](char const*, std::size_t rest) { return std::min(rest, kMostAtOnce); };
    return WriteAll(bytes, count, piece, [handle](char const* from, DWORD size, DWORD* written) {
        return ::WriteFile(handle, from, size, written, nullptr);
    });
}

/// A console has a mode, a file or pipe has none: the one question that tells them apart on every release.
bool IsConsoleHandle(HANDLE handle) noexcept
{
    KeepLastError const keep;
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != 0;
}

} // namespace

bool IsConsole(StandardStream stream) noexcept
{
    return IsConsoleHandle(StreamHandle(stream));
}

// Consoles of systems that know no control sequences refuse the mode.
bool TakesSequences(StandardStream stream) noexcept
{
    constexpr DWORD kWanted = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
    KeepLastError const keep;
    HANDLE const handle = StreamHandle(stream);
    DWORD mode = 0;
    if (!::GetConsoleMode(handle, &mode)) return false;
    // Asked before it is set: the mode belongs to the console, which other programs share.
    return (mode & kWanted) == kWanted || ::SetConsoleMode(handle, mode | kWanted);
}

std::size_t ConsoleColumns(StandardStream stream) noexcept
{
    KeepLastError const keep;
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!::GetConsoleScreenBufferInfo(StreamHandle(stream), &info)) return 0;
    // The window and not the buffer, which may be wider than anybody sees.
    return static_cast<std::size_t>(std::max(info.srWindow.Right - info.srWindow.Left + 1, 1));
}

unsigned long WriteToConsole(StandardStream stream, wchar_t const* text, std::size_t count) noexcept
{
    return WriteUnits(StreamHandle(stream), text, count);
}

unsigned long WriteText(void* handle, std::wstring_view text)
{
    if (IsConsoleHandle(handle)) return WriteUnits(handle, text.data(), text.size());
    std::string bytes(text.size() * 3, '\0'); // most that a unit takes
    int const size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                           static_cast<int>(bytes.size()), nullptr, nullptr);
    return WriteBytes(handle, bytes.data(), static_cast<std::size_t>(size));
}

unsigned long WriteToStream(StandardStream stream, char const* bytes, std::size_t count) noexcept
{
    return WriteBytes(StreamHandle(stream), bytes, count);
}

} // namespace xc::win32
