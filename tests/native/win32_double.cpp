// What the portable core asks of the system, answered natively: for the sanitizer and fuzzing builds only.
#include "win32/CaseTable.h"
#include "win32/LastError.h"

#include <cerrno>
#include <clocale>
#include <wctype.h>

namespace xc::win32 {

namespace {

void FillBy(wint_t (*map)(wint_t, locale_t), wchar_t (&table)[0x10000])
{
    locale_t const unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
        wint_t const mapped = map(unit, unicode);
        table[unit] = static_cast<wchar_t>(mapped < 0x10000 ? mapped : unit);
    }
    ::freelocale(unicode);
}

} // namespace

void ReadUpperCase(wchar_t (&table)[0x10000])
{
    FillBy(::towupper_l, table);
}

void ReadLowerCase(wchar_t (&table)[0x10000])
{
    FillBy(::towlower_l, table);
}

void ReadBaseLetters(wchar_t (&table)[0x10000])
{
    // Enough of the decompositions for the tests: Latin-1.
    static constexpr wchar_t kLatin[] = L"AAAAAA\u00C6CEEEEIIII\u00D0NOOOOO\u00D7\u00D8UUUUY\u00DE\u00DF"
                                        L"aaaaaa\u00E6ceeeeiiii\u00F0nooooo\u00F7\u00F8uuuuy\u00FEy";
    for (unsigned int unit = 0; unit < 0x10000; ++unit)
        table[unit] = unit >= 0xC0 && unit <= 0xFF ? kLatin[unit - 0xC0] : static_cast<wchar_t>(unit);
}

unsigned long LastError() noexcept
{
    return static_cast<unsigned long>(errno);
}

KeepLastError::KeepLastError() noexcept : m_error(LastError()) {}

KeepLastError::~KeepLastError()
{
    errno = static_cast<int>(m_error);
}

} // namespace xc::win32
