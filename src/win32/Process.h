// Process.h - what the process tells about itself: environment, module paths, identifiers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace xc::win32 {

/// The value of an environment variable; nothing when it is not defined (an empty one is defined).
std::optional<std::wstring> ReadEnvironment(wchar_t const* name);

/// The full path of a loaded module, of any length; null is the program itself. Empty when the system refuses.
std::wstring ModulePath(void* module = nullptr);

/// Appends a directory to PATH of the process, unless it stands there already (compared without regard to case).
bool AppendToSearchPath(std::wstring const& directory);

/// Calls a function of the library when the program exits, as long as the other threads still run: after `main` and at
/// exit(), not at ExitProcess. The library stays loaded for it. One function; a second call has no effect.
void CallAtExit(void (*function)());

/// Whether the other threads have been ended already, perhaps with locks in their hands.
bool IsProcessEnding() noexcept;
/// Ends the process at once: no destructor, no detaching of modules, no flush of the runtime.
[[noreturn]] void EndProcessNow(unsigned int exitCode) noexcept;
/// The library stays loaded until the process ends.
bool PinLibrary() noexcept;

/// Eight hexadecimal digits that tell this machine from others which use the same folder: of its name.
std::wstring_view MachineMark() noexcept;
unsigned long ProcessId() noexcept;
unsigned long ThreadId() noexcept;
/// Whether a process of this number runs; true also when the system does not say.
bool IsProcessAlive(unsigned long id) noexcept;
/// Whether the living process of that number started after a time (in units of 100 ns), with two seconds for file systems
/// that keep times no finer: the number has come again.
bool StartedAfter(unsigned long id, std::uint64_t time) noexcept;

} // namespace xc::win32
