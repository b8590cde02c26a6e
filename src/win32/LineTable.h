// LineTable.h - the lines of source files that addresses of a module come from, by its debug data (DWARF 2 to 5).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace xc::win32 {

/// The sections of a module that tell about lines; any may be empty.
struct LineSections {
    std::string_view lines;
    std::string_view lineStrings;
    std::string_view strings;
};

/// Addresses without gaps that one unit of the debug data describes.
struct LineRange {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::size_t unit = 0; ///< its place in the section
};

/// All ranges, by their begin. Linear in the section; damaged units have none.
std::vector<LineRange> FindLineRanges(std::string_view lines);

struct SourceLine {
    std::string_view file; ///< empty: not known
    std::uint64_t line = 0;
};

/// The line of an address. Linear in its unit.
SourceLine FindSourceLine(LineSections const& sections, std::vector<LineRange> const& ranges, std::uint64_t address);

} // namespace xc::win32
