// TraceSettings.h - the texts of the trace's settings: lists of subjects, names of files.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string_view>

namespace xc::log {

/// A mask of subjects read from a list.
struct TraceSubjects {
    int mask;
    bool allKnown; ///< false: an item was neither a name nor a number of 32 bits
};

/// Items between commas, white space ignored: a name without regard to case, "ALL", "NONE", or a number, decimal or
/// with "0x". Empty items are skipped.
TraceSubjects ParseTraceSubjects(std::wstring_view list);

/// The names in a mask, joined by "+".
XCString DescribeTraceSubjects(int mask);

/// "<program>__<process>.log": the path cut at its last '.', from after its last '\' on; "unknown" without a path.
XCString BuildFileName(std::wstring_view modulePath, unsigned long process);

} // namespace xc::log
