#include "errors/MessageFormat.h"

namespace xc::errors {

XCString FormatWithParameters(XCString const& message, XCErrorI const&, XCFormatContext const&)
{
    return message;
}

XCString FormatWithArguments(XCString const& message, char*)
{
    return message;
}

} // namespace xc::errors
