// The standard streams of the native builds, over POSIX.
#include "win32/Console.h"

#include <cerrno>
#include <unistd.h>

namespace xc::win32 {

bool IsConsole(StandardStream) noexcept
{
    return false;
}

bool TakesSequences(StandardStream) noexcept
{
    return false;
}

std::size_t ConsoleColumns(StandardStream) noexcept
{
    return 0;
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
