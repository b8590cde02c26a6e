// UsageText.h - the option lines of a usage screen.
#pragma once

#include <XelbrinCore/XCCommandLine.h>

namespace xc::commandline {

/// One block of lines for each option description, in order; every line ends with a line feed. Names of up to 20 units
/// share their first line with the description, which is wrapped at 54 units.
XCString FormatUsage(XCUsageInfo const& usage);

} // namespace xc::commandline
