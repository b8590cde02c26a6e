// ModuleSearch.h - which modules a search path offers.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCString.h>

#include <string>
#include <string_view>
#include <vector>

namespace xc::host {

/// The directory and the list file that a search path names.
struct ModulePlace {
    std::wstring directory; ///< absolute; without a separator at the end, but for the root of a drive
    std::wstring listFile;
    bool listIsNamed; ///< by the path itself, so that it must exist
};
ModulePlace PlaceOf(XCString const& path);

/// What was found at a place.
struct FoundModules {
    std::vector<std::wstring> paths; ///< absolute, in the order of loading
    std::vector<XCString> refused;   ///< names of the list that lead out of its folder
    bool listIsMissing = false;      ///< the named list file does not exist
    XCErrorID failure;               ///< Bad when the list file cannot be read
};

/// The modules of the list file where there is one, else the files with the extension (matched without regard to case).
/// @param recursive look into sub-directories too.
FoundModules FindModules(ModulePlace const& place, std::wstring const& extension, bool recursive);

} // namespace xc::host
