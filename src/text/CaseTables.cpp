#include "text/CaseTables.h"

#include "text/Units.h"
#include "win32/CaseTable.h"

#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

namespace xc::text {

namespace {

struct Table {
    explicit Table(void (*read)(wchar_t (&)[0x10000])) { read(units); }
    wchar_t units[0x10000];
};

} // namespace

wchar_t const* UpperCaseTable()
{
    static Table const* const table = new Table(win32::ReadUpperCase);
    return table->units;
}

wchar_t const* LowerCaseTable()
{
    static Table const* const table = new Table(win32::ReadLowerCase);
    return table->units;
}

wchar_t const* BaseLetterTable()
{
    static Table const* const table = new Table(win32::ReadBaseLetters);
    return table->units;
}

} // namespace xc::text

wchar_t XCtowupper(wchar_t unit) noexcept
{
    return xc::text::UpperCaseTable()[xc::text::ToUint(unit)];
}

wchar_t XCtowlower(wchar_t unit) noexcept
{
    return xc::text::LowerCaseTable()[xc::text::ToUint(unit)];
}
