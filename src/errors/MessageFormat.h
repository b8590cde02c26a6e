// MessageFormat.h - message texts with their conversions filled.
#pragma once

#include <XelbrinCore/XCError.h>

namespace xc::errors {

/// Texts with arguments are cut after this many units.
inline constexpr std::size_t kMaxFormatted = 3000;

/// Fills the conversions of a message text from the error's parameters, in order.
XCString FormatWithParameters(XCString const& message, XCErrorI const& error, XCFormatContext const& context);

/// Fills them from a variable argument list of the platform.
XCString FormatWithArguments(XCString const& message, char* arguments);

} // namespace xc::errors
