// Results and exceptions that leave a module, in a form that outlives its code.
//
// An error object may have been made by a module, and then its text and its destructor are code of that module. Before
// the module is unloaded every error is replaced by one of this library with the text that it had; an exception becomes
// such an error where it is caught. When there is no memory even for that, one error that was made at the start
// answers.
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
