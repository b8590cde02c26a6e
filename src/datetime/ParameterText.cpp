// How a parameter of an error is written into its message: one overload for each type that a parameter may have.
//
// The texts are made for people of any country and for programs that read logs, so numbers take their shortest exact
// form with a point, whatever the locale says, and an instant is written from its year down, which sorts. The instant
// is the one type that looks at the context, because the same instant is another time of day in another zone. A type
// without an overload does not compile, which is the reason for overloads instead of a switch: the list of types is
// written once more, where the values are stored, and the two lists cannot drift apart unseen.
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
