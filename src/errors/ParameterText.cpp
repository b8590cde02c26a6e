#include "errors/ParameterText.h"

#include <XelbrinCore/XCOldDateTime.h>

#include <charconv>
#include <iterator>

namespace xc::errors {

namespace {

template <class Number>
XCString NumberText(Number value)
{
    char digits[32];
    char const* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return XCString(std::wstring(static_cast<char const*>(digits), end));
}

} // namespace

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

} // namespace xc::errors
