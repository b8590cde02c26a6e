#include "app/ConfigErrors.h"

namespace xc::app {

namespace {

XCErrorID MakeConfigError(XCCoreError code, XCString text)
{
    return XCSmartPtr<XCErrorString>(new XCErrorString(std::move(text), code));
}

} // namespace

XCErrorID CannotRead(XCString const& fileName, unsigned long systemError)
{
    return MakeConfigError(XCErrConfigCannotRead,
                           XCString().Format(L"cannot read %s: system error %u", fileName.AsWChar(),
                                             static_cast<unsigned int>(systemError)));
}

XCErrorID CannotWrite(XCString const& fileName, unsigned long systemError)
{
    return MakeConfigError(XCErrConfigCannotWrite,
                           XCString().Format(L"cannot write %s: system error %u", fileName.AsWChar(),
                                             static_cast<unsigned int>(systemError)));
}

XCErrorID PartlyRead(XCString const& fileName)
{
    return MakeConfigError(XCErrConfigPartlyRead,
                           XCString().Format(L"%s was read only in part and is not saved over", fileName.AsWChar()));
}

XCErrorID WouldNotReadBack(XCString const& section, XCString const& text)
{
    return MakeConfigError(XCErrConfigWouldNotReadBack,
                           XCString().Format(L"section [%s], key %s: name, value or comment would be read as "
                                             L"something else",
                                             section.AsWChar(), text.AsWChar()));
}

XCErrorID MalformedFile(XCString const& fileName, XCString const& message, std::size_t line)
{
    return MakeConfigError(XCErrConfigMalformed, XCString().Format(L"%s(%u): %s", fileName.AsWChar(),
                                                                   static_cast<unsigned int>(line), message.AsWChar()));
}

} // namespace xc::app
