// The errors of configuration files, each made in one place, so that a fault has one code and one order of parameters
// wherever it is noticed.
//
// The name of the file is always the first parameter and is the name as the program gave it: a user knows that one,
// not the full path that was made of it. Faults of the system carry its own code as well, which is turned into words
// when the message is read, in the language of the reader.
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
    // In the order of the message text: name, line, rule.
    return MakeCoreError(XCErrConfigMalformed, fileName, static_cast<long>(line), rule);
}

} // namespace xc::config
