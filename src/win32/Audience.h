// Audience.h - whether somebody sees what the process shows.
#pragma once

namespace xc::win32 {

/// Whether the desktop of the process is one that a user sees. Loads the library of windows.
bool HasVisibleDesktop() noexcept;
bool HasConsole() noexcept;
bool HasDebugger() noexcept;
/// Stops in the debugger.
void BreakIntoDebugger() noexcept;

/// A function of a library that stands beside the program; null when it is not there. The library stays loaded.
void* FunctionBesideProgram(wchar_t const* library, char const* function);

} // namespace xc::win32
