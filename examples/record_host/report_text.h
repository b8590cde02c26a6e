// report_text.h - totals as a text of aligned columns and bars.
#pragma once

#include "totals.h"

#include <XelbrinCore/XCFormatContext.h>

/// How the report looks.
struct ReportStyle {
    XCFormatContext context; ///< the language of its words
    XCString title;
    int width = 50; ///< of the longest bar, in characters
    int days = 14;  ///< the most days that have a bar of their own, and
    int kinds = 10; ///< the most kinds
};

XCString ReportText(Totals const& totals, ReportStyle const& style);
