// Process.h - what the process tells about itself: environment, module paths, identifiers.
#pragma once

#include <optional>
#include <string>

namespace xc::win32 {

/// The value of an environment variable; nothing when it is not defined (an empty one is defined).
std::optional<std::wstring> ReadEnvironment(wchar_t const* name);

/// The full path of a loaded module, of any length; null is the program itself. Empty when the system refuses.
std::wstring ModulePath(void* module = nullptr);

unsigned long ProcessId() noexcept;
unsigned long ThreadId() noexcept;

} // namespace xc::win32
