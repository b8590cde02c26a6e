#include "errors/Sealed.h"

#include "text/Utf8.h"

#include <new>
#include <string>

namespace xc::errors {

namespace {

/// Made when there is memory, and never destroyed: modules may fail while the process ends.
XCErrorID const& g_outOfMemory = *new XCErrorID(PlugInFailure(L"out of memory"));

/// What the exception being handled says; the bytes of a foreign one are taken as UTF-8, else one by one.
XCString MessageOfException()
{
    try {
        throw;
    } catch (XCException const& exception) {
        return exception.What();
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& exception) {
        std::string_view const bytes = exception.what();
        std::wstring units(bytes.size(), L'\0');
        units.resize(text::DecodeUtf8Leniently(units.data(), bytes));
        return XCString(units);
    } catch (...) {
        return L"unknown exception";
    }
}

} // namespace

XCErrorID TextOf(XCErrorID const& error)
{
    if (error.Good()) return error;
    return XCErrorID(
        XCSmartPtr<XCErrorString>(new XCErrorString(error.AsString(), error->GetCode(), error->GetSeverity())));
}

XCErrorID PlugInFailure(XCString const& text)
{
    return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(text, XCErrPlugInFailed)));
}

XCErrorID FailureOfException() noexcept
try {
    try {
        return PlugInFailure(MessageOfException());
    } catch (std::bad_alloc const&) {
        return g_outOfMemory;
    } catch (...) { // the text of its error is made by the module, too
        return PlugInFailure(L"an exception whose message cannot be had");
    }
} catch (...) {
    return g_outOfMemory;
}

} // namespace xc::errors
