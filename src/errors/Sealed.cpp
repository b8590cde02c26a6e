#include "errors/Sealed.h"

#include "errors/ExceptionText.h"

namespace xc::errors {

namespace {

/// Made when there is memory, and never destroyed: modules may fail while the process ends.
XCErrorID const& g_outOfMemory = *new XCErrorID(PlugInFailure(L"out of memory"));

} // namespace

XCErrorID TextOf(XCErrorID const& error)
{
    if (error.Good()) return error;
    return XCErrorID(
        XCSmartPtr<XCErrorString>(new XCErrorString(MessageOf(error), error->GetCode(), error->GetSeverity())));
}

XCErrorID PlugInFailure(XCString const& text)
{
    return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(text, XCErrPlugInFailed)));
}

XCErrorID FailureOfException() noexcept
try {
    return PlugInFailure(TextOfException());
} catch (...) {
    return g_outOfMemory;
}

} // namespace xc::errors
