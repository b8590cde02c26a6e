// UnicodeTables.h - the facts of Unicode as tables; what they mean is in XCUnicode.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xc::text {

/// What code points of one kind have in common.
struct UnicodeRecord {
    std::uint8_t category; ///< an XCUnicodeCategory
    std::uint8_t isSpace;
    std::uint8_t digitRow; ///< of a digit: its code point minus its value, modulo 16
    std::int32_t toUpper;  ///< to be added
    std::int32_t toLower;
};

extern wchar_t const kUnicodeVersion[];
extern UnicodeRecord const kUnicodeRecords[];
extern std::uint8_t const kUnicodeBlocks[];
extern std::uint8_t const kUnicodeUnits[];
/// Start << 8 | record: holds up to the start of the next run.
extern std::uint32_t const kUnicodeRuns[];
extern std::size_t const kUnicodeRunCount;
/// Start << 8 | combining class.
extern std::uint32_t const kCombiningRuns[];
extern std::size_t const kCombiningRunCount;
/// The low 16 bits of all code points with a decomposition, in order; the places where planes 0, 1, 2 begin and end.
extern std::uint16_t const kDecomposed[];
extern std::size_t const kDecomposedPlanes[4];
/// Offset in kDecompositionUnits << 4 | length in units.
extern std::uint16_t const kDecompositionPlaces[];
extern wchar_t const kDecompositionUnits[];

} // namespace xc::text
