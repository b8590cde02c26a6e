// XCStringOrder.h - texts as keys of containers: hash, order by mode, natural order.
//
// WHAT     XCStringHash (and std::hash) for hashed containers, XCStringCompare for ordered ones, XCStringNatCompare for
//          lists that people read: "file9" before "file10".
// COST     One pass over the text; nothing allocates.
// THREADS  Any threads may use one object.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCStringValue.h>

#include <cstddef>
#include <cstdint>
#include <functional>

/// Hash and order for containers: h = length, then h = h * 613 + unit (32 bits), made non-negative, modulo 1073741827.
/// The one value whose negation stays negative gives -1073741821 widened to 64 bits.
///
/// Comparison ends at the first U+0000, the hash does not: texts that are equal up to a U+0000 have different hashes.
/// Keep only texts without U+0000 in a hashed container; in ordered ones, such texts count as the same key.
struct XC_API XCStringHash {
    /// The hash of the whole text, a U+0000 inside included.
    std::size_t operator()(XCString const& text) const noexcept;
    /// Whether the first text stands before the second by code units.
    bool operator()(XCString const& a, XCString const& b) const { return a.Compare(b) < 0; }
};

/// Orders by Compare in one mode.
class XCStringCompare {
public:
    /// @param mode as XCString::Compare takes it.
    explicit XCStringCompare(long mode = 0) noexcept : m_mode(mode) {}
    /// Whether the first text stands before the second in this mode.
    bool operator()(XCString const& a, XCString const& b) const { return a.Compare(b, m_mode) < 0; }

private:
    long m_mode;
};

/// Natural order: leading white space is skipped, runs of digits compare as unsigned 32-bit numbers (wrapping), other
/// units without regard to case; digits sort before other characters. Negative, 0 or positive.
class XC_API XCStringNatCompare {
public:
    /// Below 0, 0 or above 0, as the first text stands to the second.
    int operator()(XCString const& a, XCString const& b) const noexcept;

private:
    static std::uint32_t StrToLong(wchar_t const** text) noexcept;
};

/// @cond
template <>
struct std::hash<XCString> {
    std::size_t operator()(XCString const& text) const noexcept { return XCStringHash{}(text); }
};
/// @endcond
