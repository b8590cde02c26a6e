// rows.h - a short benchmark: what the main services of the library cost on this machine.
#pragma once

#include <XelbrinCore/XCString.h>
#include <vector>

namespace xc::evidence {

/// One operation, five measurements of it, in nanoseconds.
struct Row {
    XCString name;
    double lowest = 0;
    double middle = 0;
    double highest = 0;
};

/// Measures all rows in about two seconds; files are written to the folder.
std::vector<Row> MeasureRows(XCString const& folder);

} // namespace xc::evidence
