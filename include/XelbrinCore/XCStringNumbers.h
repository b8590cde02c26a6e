// XCStringNumbers.h - a string read as a number.
//
// WHAT     The members of XCString that read a number. Leading white space is skipped. Success wants a number in range
//          with the terminator right after it, so trailing blanks fail. The value read is returned in any case; out of
//          range it is the nearest limit. Digits are read in the invariant way, whatever locale is set.
// COST     One pass over the digits; nothing allocates, but AsDouble for a number of many digits.
// ERRORS   Nothing here fails: each call takes `ok`, which receives success and may be null.
// THREADS  Any threads may read one object.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCStringSearch.h>

#include <cstdint>

/// The part of a string that reads numbers (see the head of this file).
class XC_API XCStringNumbers : public XCStringSearch {
public:
    /// A whole number in the range of int.
    int AsInt(bool* ok = nullptr) const noexcept;
    /// A whole number in the range of long.
    long AsLong(bool* ok = nullptr) const noexcept;
    /// "-1" reads as the largest value: a sign negates in unsigned arithmetic.
    unsigned int AsUint(bool* ok = nullptr) const noexcept;
    /// A whole number without a sign; "-1" reads as the largest value.
    unsigned long AsULong(bool* ok = nullptr) const noexcept;
    /// A whole number of 64 bits.
    std::int64_t AsInt64(bool* ok = nullptr) const noexcept;
    /// A whole number of 64 bits without a sign.
    std::uint64_t AsUInt64(bool* ok = nullptr) const noexcept;
    /// A number with a point and an exponent.
    double AsDouble(bool* ok = nullptr) const;
    /// A duration in seconds, read as AsLong does.
    long AsXCDuration(bool* ok = nullptr) const noexcept { return AsLong(ok); }

protected:
    /// @cond
    using XCStringSearch::XCStringSearch;
    XCStringNumbers() noexcept = default;
    XCStringNumbers(XCStringNumbers const&) noexcept = default;
    XCStringNumbers(XCStringNumbers&&) noexcept = default;
    ~XCStringNumbers() = default;
    XCStringNumbers& operator=(XCStringNumbers const&) noexcept = default;
    XCStringNumbers& operator=(XCStringNumbers&&) noexcept = default;
    /// @endcond
};
