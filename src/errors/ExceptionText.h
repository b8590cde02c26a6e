// ExceptionText.h - the text of an exception, for whoever catches one that it did not throw.
#pragma once

#include <XelbrinCore/XCString.h>

class XCErrorID;

namespace xc::errors {

/// The message of the exception that is being handled; call it in a handler only. Never empty.
///
///     XCException               its message
///     another std::exception    its bytes as UTF-8; a byte that is no UTF-8 stands for the unit of its value
///     std::bad_alloc            "out of memory"
///     anything else             "unknown exception"
///
/// A null or empty message is "an exception without a message". When the exception fails to make its text, the answer
/// says so; when memory runs out meanwhile, the answer is "out of memory".
XCString TextOfException() noexcept;

/// The text of an error for the middle of a line: without the line ends that the system's texts have at their end.
XCString MessageOf(XCErrorID const& error);

} // namespace xc::errors
