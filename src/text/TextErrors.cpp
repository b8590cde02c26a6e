#include "text/TextErrors.h"

#include "text/Units.h"

#include <XelbrinCore/XCError.h>

namespace xc::text {

namespace {

XCErrorID MakeError(long code, XCString text)
{
    return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(std::move(text), code)));
}

} // namespace

XCErrorID MalformedText(std::size_t position)
{
    return MakeError(XCErrMalformedText, XCString().Format(L"malformed text at byte %I64u", std::uint64_t{position}));
}

XCErrorID UnmappableUnit(wchar_t unit, std::size_t position)
{
    return MakeError(XCErrUnmappableUnit, XCString().Format(L"the encoding cannot hold U+%04X at position %I64u",
                                                            ToUint(unit), std::uint64_t{position}));
}

XCErrorID UnknownCodePage(unsigned int codePage)
{
    return MakeError(XCErrUnknownCodePage, XCString().Format(L"code page %u is not known or not strict", codePage));
}

XCErrorID NoConverter()
{
    return MakeError(XCErrNoConverter, XCString(L"no string converter given"));
}

} // namespace xc::text
