// Registry.h - settings of the machine.
#pragma once

#include <optional>
#include <string>

namespace xc::win32 {

/// A text value under HKEY_LOCAL_MACHINE; nothing when the key or the value is missing or is no text.
std::optional<std::wstring> ReadMachineSetting(wchar_t const* key, wchar_t const* value);
bool MachineKeyExists(wchar_t const* key) noexcept;

} // namespace xc::win32
