#include "app/Sealed.h"

#include "text/Utf8.h"

#include <string>

namespace xc::app {

namespace {

/// What the exception being handled says; the bytes of a foreign one are taken as UTF-8, else one by one.
XCString MessageOfException()
{
    try {
        throw;
    } catch (XCException const& exception) {
        return exception.What();
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

XCErrorID FailureOfException()
{
    try {
        return PlugInFailure(MessageOfException());
    } catch (...) { // the text of its error is made by the module, too
        return PlugInFailure(L"an exception whose message cannot be had");
    }
}

} // namespace xc::app
