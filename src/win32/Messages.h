// Messages.h - message tables and string tables of loaded modules.
#pragma once

#include <string>
#include <vector>

namespace xc::win32 {

enum class ResourceKind { StringTable, MessageTable };

/// A message of the module's message table (null: the system's own messages) in exactly this language, as it stands
/// there. False, and the thread's last error: there is none.
bool LoadMessage(std::wstring& text, void* module, unsigned long id, unsigned long language);

/// Whether LoadMessage would succeed.
bool HasMessage(void* module, unsigned long id, unsigned long language) noexcept;

/// A text of the module's string table (null: of the program's), cut to 499 units. Empty: there is none.
std::wstring LoadStringText(void* module, unsigned int id);

/// The languages in which the module has resources of the kind; null as above.
std::vector<long> ResourceLanguages(void* module, ResourceKind kind);

} // namespace xc::win32
