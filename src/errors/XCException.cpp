#include <XelbrinCore/XCException.h>

#include "win32/LastError.h"

XCException::XCException(XCString const& message, bool)
    : m_message(message), m_narrow(message.View().begin(), message.View().end())
{
}
XCException::XCException(XCException const&) = default;
XCException& XCException::operator=(XCException const&) = default;
XCException::~XCException() = default;

XCWindowsLastErrorException::XCWindowsLastErrorException() : XCWindowsLastErrorException(xc::win32::LastError()) {}
XCWindowsLastErrorException::XCWindowsLastErrorException(unsigned long code)
    : XCException(XCString(L"operating-system error")), m_code(code)
{
}
XCWindowsLastErrorException::~XCWindowsLastErrorException() = default;

XCDurationExceptionEx::XCDurationExceptionEx(XCString const& message) : XCException(message) {}
XCDurationExceptionEx::XCDurationExceptionEx(XCString const& message, std::int64_t rawValue)
    : XCException(message), m_rawValue(rawValue), m_hasValue(true)
{
}
XCDurationExceptionEx::~XCDurationExceptionEx() = default;
