// shown.h - texts for messages of tests.
#pragma once

#include "prelude.h"

namespace xc_test {

/// With plain characters alone.
inline std::string Shown(XCString const& text)
{
    std::string shown;
    for (wchar_t const unit : text) shown += unit < 0x7F && unit >= 0x20 ? static_cast<char>(unit) : '?';
    return shown;
}

/// A parameter of an error.
inline std::string Parameter(XCErrorID const& error, std::size_t index)
{
    return error.Good() ? "" : Shown(error->GetParameterValueAsString(index, XCExecContext()));
}
/// Whether the error names a file.
inline bool Names(XCErrorID const& error, char const* file)
{
    return Parameter(error, 0).find(file) != std::string::npos;
}

} // namespace xc_test
