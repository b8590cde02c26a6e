// ConfigErrors.h - the errors that reading and saving a configuration file can give.
#pragma once

#include <XelbrinCore/XCError.h>

namespace xc::config {

/// @param systemError the number of the operating-system error.
XCErrorID CannotRead(XCString const& fileName, unsigned long systemError);
XCErrorID CannotWrite(XCString const& fileName, unsigned long systemError);
/// The file is only partly in memory.
XCErrorID PartlyRead(XCString const& fileName);
/// A text that a reader would take for something else. Section and key are empty where the fault is not in one.
XCErrorID WouldNotReadBack(XCString const& section, XCString const& key, XCString const& reason);
XCErrorID MalformedFile(XCString const& fileName, XCString const& rule, std::size_t line);

} // namespace xc::config
