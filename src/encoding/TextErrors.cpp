// The errors of conversions, made in one place so that each has the same parameters wherever it happens: the position
// in bytes or units from the start of what was converted, and for a unit without bytes its number.
//
// Errors travel to programs built apart, where a long has 32 bits, so a position past two thousand million is shown as
// the largest one.
#include "encoding/TextErrors.h"

#include "errors/CoreError.h"
#include "text/Units.h"

#include <algorithm>
#include <cstdint>

namespace xc::encoding {

long PositionParameter(std::size_t position) noexcept
{
    return static_cast<long>(std::min<std::size_t>(position, INT32_MAX));
}

XCErrorID MalformedText(std::size_t position)
{
    return errors::MakeCoreError(XCErrMalformedText, PositionParameter(position));
}

XCErrorID UnmappableUnit(wchar_t unit, std::size_t position)
{
    return errors::MakeCoreError(XCErrUnmappableUnit, XCString().Format(L"U+%04X", text::ToUint(unit)),
                                 PositionParameter(position));
}

XCErrorID UnknownCodePage(unsigned int codePage)
{
    return errors::MakeCoreError(XCErrUnknownCodePage, XCString().Format(L"%u", codePage));
}

XCErrorID NoConverter()
{
    return errors::MakeCoreError(XCErrNoConverter);
}

} // namespace xc::encoding
