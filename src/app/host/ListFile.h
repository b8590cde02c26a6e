// ListFile.h - list files ("osx.lst"): which modules a directory offers, in their order.
#pragma once

#include <XelbrinCore/XCString.h>

#include <vector>

namespace xc::host {

/// What a list file names, and what it names but must not.
struct ModuleList {
    std::vector<XCString> names;   ///< relative to the list's folder, in the order of the file
    std::vector<XCString> refused; ///< not staying inside the folder
};

/// One module a line; blank lines and lines that start with ";" are skipped, blanks and tabs around a name do not count.
/// Lines end with CR, LF or both.
ModuleList ReadModuleList(std::wstring_view text);

/// Whether a name stays inside the folder it is relative to: no drive, no leading separator, no part of dots and blanks
/// alone but ".", no control unit, no device of the system (CON, NUL, COM1, ...) with or without an extension.
bool StaysInside(std::wstring_view name);

} // namespace xc::host
