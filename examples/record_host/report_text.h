// report_text.h - totals as a text of aligned columns and bars.
#pragma once

#include "totals.h"

/// How the report looks.
struct ReportStyle {
    XCString title;
    int width = 50; ///< of the longest bar, in characters
    int days = 14;  ///< the most days that have a bar of their own, and
    int kinds = 10; ///< the most kinds
};

XCString ReportText(Totals const& totals, ReportStyle const& style);
