// ParameterText.h - the text form of each type of parameter.
#pragma once

#include <XelbrinCore/XCError.h>

namespace xc::datetime {

XCString ParameterText(double value, XCFormatContext const& context);
XCString ParameterText(int value, XCFormatContext const& context);
XCString ParameterText(long value, XCFormatContext const& context);
XCString ParameterText(XCString const& value, XCFormatContext const& context);
/// "%Y/%m/%d %H:%M:%S" in the context's zone; empty for no value and outside the years 0 to 9999.
XCString ParameterText(XCDateTime const& value, XCFormatContext const& context);
XCString ParameterText(XCDouble const& value, XCFormatContext const& context);

} // namespace xc::datetime
