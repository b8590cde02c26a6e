// EventParts.h - log records as events, without the system.
#pragma once

#include <XelbrinCore/XCEventLog.h>

#include "win32/EventLog.h"

#include <span>

namespace xc::host {

/// The parts of an error as fields of a record: "code", "severity", "source" of the library's own, then "arg1" and so on.
std::vector<XCLogField> FieldsOf(XCErrorI const& error);

/// The event for a record. @param fields of FieldsOf, or any others, which make no difference.
win32::Event EventOf(int level, std::wstring_view text, std::span<XCLogField const> fields, unsigned long idBase);

} // namespace xc::host
