// XCLogLevel.h - names for the levels of log records.
//
// WHAT     A level is a number, and a higher one tells more. Each name stands for a range of levels and, where a number is
//          wanted, for one level of it:
//
//              error    up to -1    XCLogError    -1
//              warning  0           XCLogWarning   0
//              info     1           XCLogInfo      1    the level of a new channel and of a new subscriber
//              debug    2           XCLogDebug     2
//              trace    3 and more  XCLogTrace     3
//
// COST     Nothing is allocated.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCExport.h>

#include <climits>
#include <string_view>

/// The level that a name writes. Every function that takes a level takes these and any other number.
enum XCLogLevel : int {
    XCLogError = -1,          ///< something failed
    XCLogWarning = 0,         ///< something may fail, or was mended
    XCLogInfo = 1,            ///< what an operator wants to read
    XCLogDebug = 2,           ///< what a programmer wants to read
    XCLogTrace = 3,           ///< step by step
    XCLogNothing = INT_MIN,   ///< as a limit: no record
    XCLogEverything = INT_MAX ///< as a limit: every record
};

/// The name of the range that the level lies in.
[[nodiscard]] XC_API std::wstring_view XCLogLevelName(int level) noexcept;

/// Reads a name without regard to case, "off" (XCLogNothing), "all" (XCLogEverything), or a whole number.
/// @return false, and `level` unchanged, for any other text.
[[nodiscard]] XC_API bool XCLogLevelFromText(std::wstring_view text, int& level) noexcept;
