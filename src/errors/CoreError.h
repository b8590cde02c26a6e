// CoreError.h - how the library makes its own errors: MakeCoreError(XCErrMalformedText, position).
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCMessageSource.h>

namespace xc::errors {

/// An error of the library's own message source, with parameters (any type that AddParam takes).
XCErrorID MakeCoreError(XCCoreError code, XCErrorI::Severity severity = XCErrorI::SeverityError);

XCSmartPtr<XCErrorWithArgs> NewCoreError(XCCoreError code);

template <class... Parameters>
requires(sizeof...(Parameters) > 0 && !(std::is_same_v<Parameters, XCErrorI::Severity> || ...)) XCErrorID
    MakeCoreError(XCCoreError code, Parameters const&... parameters)
{
    XCSmartPtr<XCErrorWithArgs> const error = NewCoreError(code);
    (error->AddParam(parameters), ...);
    return error;
}

/// The failure of a system call on a file: file, number and words of the system error (SystemWords) as parameters.
XCErrorID MakeFileError(XCCoreError code, XCString const& file, unsigned long systemError);

} // namespace xc::errors
