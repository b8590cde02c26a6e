// SourceText.h - operations that all message sources share, over their plain GetText.
#pragma once

#include <XelbrinCore/XCMessageSource.h>

#include "errors/MessageFormat.h"

namespace xc::errors {

inline XCErrorID TextWithArguments(XCMessageSource const& source, XCString& text, long code,
                                   XCFormatContext const& context, char* arguments)
{
    (void)source.GetText(text, code, context);
    if (arguments) text = FormatWithArguments(text, arguments);
    return XCErrorID::Success;
}

inline XCErrorID TextOfError(XCMessageSource const& source, XCString& text, XCErrorI const* error,
                             XCFormatContext const& context)
{
    text.Clear();
    if (!error) return XCErrorID::Success;
    XCErrorID const found = source.GetText(text, error->GetCode(), context);
    if (found.Good() && error->GetParameterCount() > 0) text = FormatWithParameters(text, *error, context);
    return found;
}

} // namespace xc::errors
