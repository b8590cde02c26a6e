// XCErrorCode.h - errors of the library as codes of the standard library, and back.
//
// WHAT     Libraries that report by std::error_code and this one meet here.
//
//              std::filesystem::remove(path, code);
//              if (XCErrorID const error = XCFromErrorCode(code); error.Bad()) return error;
//
// LOSS     A code is a number and a family: parameters of an error do not fit in it, and its text is the message without
//          them. An error of a program's own source becomes a code of XCProgramErrorCategory, which knows the numbers and
//          no texts. System errors and the library's own keep their texts both ways.
// COST     One look at the error's class; a failure made from a code is an allocation or two.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>

#include <system_error>

/// The library's own codes (XCCoreError). Running out of time, cancelling and the like compare equal to the conditions
/// of std::errc that mean them.
[[nodiscard]] XC_API std::error_category const& XCCoreErrorCategory() noexcept;
/// Codes of other message sources.
[[nodiscard]] XC_API std::error_category const& XCProgramErrorCategory() noexcept;

/// Success is the code 0 of the system. A failure whose own code is 0 has -1 here, so that it does not read as success.
[[nodiscard]] XC_API std::error_code XCToErrorCode(XCErrorID const& error) noexcept;
/// A code of the system becomes an XCWinLastError, one of the library an XCError of its source, any other an
/// XCErrorString with the category's text. 0 is success.
[[nodiscard]] XC_API XCErrorID XCFromErrorCode(std::error_code const& code);
