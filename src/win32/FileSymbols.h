// FileSymbols.h - functions and lines of a loaded module, by what its file tells.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace xc::win32 {

struct NamedAddress {
    std::wstring function; ///< empty: no name
    std::uintptr_t start = 0;
    std::wstring line; ///< "file:number", or empty
};

struct FileAnswer {
    NamedAddress name;
    bool isElsewhere = false; ///< the file has no symbols, but says that there are some elsewhere
};

/// Names an address of a module that is loaded at `base` from the file. Any thread. The first address of a module reads
/// its table of lines, a later one is one walk over its symbols, one that was asked for before costs a look-up.
FileAnswer NameByFile(std::uintptr_t base, std::wstring const& path, std::uintptr_t address);

std::wstring BaseName(std::wstring const& path);
/// The text of UTF-8.
std::wstring Widen(std::string_view text);

} // namespace xc::win32
