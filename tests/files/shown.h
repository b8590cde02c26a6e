// shown.h - texts for messages of tests.
#pragma once

#include <XelbrinCore/XCString.h>

#include <string>

namespace xc_test {

/// With plain characters alone.
inline std::string Shown(XCString const& text)
{
    std::string shown;
    for (wchar_t const unit : text) shown += unit < 0x7F && unit >= 0x20 ? static_cast<char>(unit) : '?';
    return shown;
}

} // namespace xc_test
