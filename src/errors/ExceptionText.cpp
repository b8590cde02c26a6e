// A handler that must report a foreign exception knows nothing about it, and may run because memory ran out. The type
// is found by throwing the exception again, which needs no memory; the fixed answers exist before they are needed.
#include "errors/ExceptionText.h"

#include <XelbrinCore/XCException.h>

#include "text/Utf8.h"

#include <exception>
#include <new>
#include <string>
#include <string_view>

namespace xc::errors {

namespace {

struct FixedTexts {
    XCString outOfMemory = L"out of memory";
    XCString unreadable = L"an exception whose message cannot be had";
    XCString withoutMessage = L"an exception without a message";
    XCString unknown = L"unknown exception";
};

/// Made when there is memory, and never destroyed: modules may fail while the process ends.
FixedTexts const& g_fixed = *new FixedTexts;

XCString FromBytes(char const* bytes)
{
    std::string_view const given = bytes ? bytes : "";
    // Leniently: the bytes come from code that nobody here knows, and a text with marks in it says more than none.
    std::wstring units(given.size(), L'\0');
    units.resize(text::DecodeUtf8Leniently(units.data(), given));
    return XCString(units);
}

/// @throws what the exception throws while it makes its text.
/// The order is that of the classes: the library's own texts are wide already, and out of memory is answered without
/// asking the exception, whose answer might need some.
XCString MessageOfException()
{
    try {
        throw;
    } catch (XCException const& exception) {
        return exception.What();
    } catch (std::bad_alloc const&) {
        return g_fixed.outOfMemory;
    } catch (std::exception const& exception) {
        return FromBytes(exception.what());
    } catch (...) {
        return g_fixed.unknown;
    }
}

} // namespace

XCString MessageOf(XCErrorID const& error)
{
    XCString text = error.AsString();
    std::size_t const end = text.FindLastNotOf(L"\r\n");
    return end + 1 < text.Length() ? text.SubStr(0, end + 1) : text; // npos + 1 is 0: nothing but line ends
}

XCString TextOfException() noexcept
try {
    XCString const text = MessageOfException();
    return text.IsNull() ? g_fixed.withoutMessage : text;
} catch (std::bad_alloc const&) {
    return g_fixed.outOfMemory;
} catch (...) {
    return g_fixed.unreadable;
}

} // namespace xc::errors
