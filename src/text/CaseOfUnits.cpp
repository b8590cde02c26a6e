// The case of one unit, for callers outside the library. The tables stand apart: tests of private parts compile them in.
#include <XelbrinCore/XCString.h>

#include "text/CaseTables.h"
#include "text/Units.h"

wchar_t XCtowupper(wchar_t unit) noexcept
{
    return xc::text::UpperCaseTable()[xc::text::ToUint(unit)];
}

wchar_t XCtowlower(wchar_t unit) noexcept
{
    return xc::text::LowerCaseTable()[xc::text::ToUint(unit)];
}
