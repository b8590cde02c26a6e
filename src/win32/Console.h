// Console.h - the standard streams of the process, looked up at each call: programs redirect them while they run.
#pragma once

#include <cstddef>
#include <string_view>

namespace xc::win32 {

enum class StandardStream { Output, Error };

/// Whether the stream is a console, which takes UTF-16; anything else takes bytes.
[[nodiscard]] bool IsConsole(StandardStream stream) noexcept;

/// Whether the stream is a console that takes control sequences, which is turned on where it can be.
[[nodiscard]] bool TakesSequences(StandardStream stream) noexcept;

/// The columns of the console's window; 0 when the stream is none.
[[nodiscard]] std::size_t ConsoleColumns(StandardStream stream) noexcept;

/// Writes the whole text; pairs of surrogates are not taken apart. 0, or the number of the system's error.
unsigned long WriteToConsole(StandardStream stream, wchar_t const* text, std::size_t count) noexcept;
/// The same to a handle that was a standard stream; to anything but a console as UTF-8.
unsigned long WriteText(void* handle, std::wstring_view text);
unsigned long WriteToStream(StandardStream stream, char const* bytes, std::size_t count) noexcept;

} // namespace xc::win32
