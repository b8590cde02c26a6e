#include "datetime/ParameterText.h"

#include "text/NumberText.h"

#include <XelbrinCore/XCOldDateTime.h>

namespace xc::datetime {

using text::NumberText;

XCString ParameterText(double value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(int value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(long value, XCFormatContext const&)
{
    return NumberText(value);
}
XCString ParameterText(XCString const& value, XCFormatContext const&)
{
    return value;
}
XCString ParameterText(XCDateTime const& value, XCFormatContext const& context)
{
    return value.AsString(L"%Y/%m/%d %H:%M:%S", context.GetTimeZone());
}
XCString ParameterText(XCDouble const& value, XCFormatContext const&)
{
    return value.AsString();
}

} // namespace xc::datetime
