// XCException.h - the exceptions of the library.
//
// An exception carries a message and the call stack at the point of its construction. Capturing costs a handful of
// addresses; names are looked up when Stack() is first read.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <exception>
#include <string>

/// The base of all exceptions of the library.
class XC_API XCException : public std::exception {
public:
    explicit XCException(XCString const& message, bool noStack = false);
    XCException(XCException const&);
    XCException& operator=(XCException const&);
    ~XCException() override;

    [[nodiscard]] XCString const& What() const noexcept { return m_message; }
    /// The message as UTF-8.
    [[nodiscard]] char const* what() const noexcept override { return m_narrow.c_str(); }

private:
    XCString m_message;
    std::string m_narrow;
};

/// A call of the operating system failed; carries the thread's last error at construction.
class XC_API XCWindowsLastErrorException : public XCException {
public:
    XCWindowsLastErrorException();
    ~XCWindowsLastErrorException() override;
    /// The number of the operating-system error.
    [[nodiscard]] unsigned long GetLastErrorCode() const noexcept { return m_code; }

private:
    explicit XCWindowsLastErrorException(unsigned long code);
    unsigned long m_code;
};

/// A duration could not be made or used; the raw value is the duration (XCDurationEx) in 64 bits.
class XC_API XCDurationExceptionEx : public XCException {
public:
    explicit XCDurationExceptionEx(XCString const& message);
    XCDurationExceptionEx(XCString const& message, std::int64_t rawValue);
    ~XCDurationExceptionEx() override;
    /// Whether an offending value is carried; otherwise GetRawValue is 0.
    [[nodiscard]] bool HasValue() const noexcept { return m_hasValue; }
    [[nodiscard]] std::int64_t GetRawValue() const noexcept { return m_rawValue; }

private:
    std::int64_t m_rawValue = 0;
    bool m_hasValue = false;
};
