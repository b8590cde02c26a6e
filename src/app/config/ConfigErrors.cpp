#include "app/config/ConfigErrors.h"

#include "errors/CoreError.h"

using xc::errors::MakeCoreError;
using xc::errors::MakeFileError;

namespace xc::config {

XCErrorID CannotRead(XCString const& fileName, unsigned long systemError)
{
    return MakeFileError(XCErrConfigCannotRead, fileName, systemError);
}

XCErrorID CannotWrite(XCString const& fileName, unsigned long systemError)
{
    return MakeFileError(XCErrConfigCannotWrite, fileName, systemError);
}

XCErrorID PartlyRead(XCString const& fileName)
{
    return MakeCoreError(XCErrConfigPartlyRead, fileName);
}

XCErrorID WouldNotReadBack(XCString const& section, XCString const& key, XCString const& reason)
{
    return MakeCoreError(XCErrConfigWouldNotReadBack, section, key, reason);
}

XCErrorID MalformedFile(XCString const& fileName, XCString const& rule, std::size_t line)
{
    return MakeCoreError(XCErrConfigMalformed, fileName, static_cast<long>(line), rule);
}

} // namespace xc::config
