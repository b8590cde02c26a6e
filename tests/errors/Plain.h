// Plain.h - texts of the tests in a form that the test runner prints.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstdlib>
#include <string>

/// ASCII text; any other unit becomes "?".
inline std::string Plain(XCString const& text)
{
    std::string plain;
    for (wchar_t const unit : text) plain += unit < 0x80 ? static_cast<char>(unit) : '?';
    return plain;
}

/// Under the heap checks every allocation looks through the whole heap, and reading symbols makes hundreds of thousands.
inline bool SymbolsTakeTooLong()
{
    return std::getenv("XC_HEAP_CHECK") != nullptr;
}
