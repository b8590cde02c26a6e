// Messages about the log itself, on the standard streams.
//
// They are written past all channels, since the channels are what may have failed. A console takes UTF-16 units; a
// stream that was redirected takes UTF-8, like every file of the library.
#include "log/Tell.h"

#include "text/Utf8.h"
#include "win32/Console.h"

#include <exception>
#include <string>

namespace xc::log {

namespace {

void Tell(win32::StandardStream stream, std::wstring_view text) noexcept
try {
    std::wstring const line = std::wstring(text) + L'\n';
    std::string bytes;
    text::AppendUtf8(bytes, line);
    if (win32::IsConsole(stream))
        win32::WriteToConsole(stream, line.data(), line.size());
    else
        win32::WriteToStream(stream, bytes.data(), bytes.size());
} catch (std::exception const&) { // a message that finds no memory is dropped
}

} // namespace

void TellOutput(std::wstring_view text) noexcept
{
    Tell(win32::StandardStream::Output, text);
}

void TellError(std::wstring_view text) noexcept
{
    Tell(win32::StandardStream::Error, text);
}

} // namespace xc::log
