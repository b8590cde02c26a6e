// The case of one unit, for callers outside the library. The tables stand apart: tests of private parts compile them in.
//
// One look-up a unit; the first call of the process fills the table (65,536 units). There is no failure: a unit
// without the other case is its own. One unit never becomes two, so the German sharp s has no upper case here, and
// units of a surrogate pair map to themselves: text in the higher planes keeps its case, as file names of the system
// do.
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
