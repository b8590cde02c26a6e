// FileRights.h - who may do what with a file or folder, as far as its list of rights says.
#pragma once

#include "win32/SystemPath.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace xc::win32 {

/// One entry that grants rights. Identities are texts of the form "S-1-5-18".
struct GrantedRights {
    std::wstring who;
    std::uint32_t mask;
};
struct FileRights {
    std::wstring owner;
    std::vector<GrantedRights> granted; ///< without those that only new files get
    bool toEveryone = false;            ///< there is no list: everything is granted
};
/// @return 0, or the number of the system's error.
unsigned long ReadRights(SystemPath const& path, FileRights& rights);

/// Who may change a file or folder itself, or put others into a folder: the first whom `trusted` does not name. Empty: none.
/// What is denied somewhere does not count: the order of such lists is too easily wrong.
std::wstring_view WriterAmong(FileRights const& rights, std::vector<std::wstring> const& trusted) noexcept;
/// Who may put another file or folder in the place of one that stands in this folder.
std::wstring_view BreakerAmong(FileRights const& rights, std::vector<std::wstring> const& trusted) noexcept;

/// This user, the system, its administrators, and the installer of the system.
std::vector<std::wstring> TrustedIdentities();
/// "DOMAIN\NAME", or the identity itself.
std::wstring NameOfIdentity(std::wstring const& identity);

/// Whether a file is signed by somebody whom the system trusts: 0, or the number of the system's error.
unsigned long CheckSignature(SystemPath const& path);

} // namespace xc::win32
