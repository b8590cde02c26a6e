// The public side of compiled patterns (Pattern.cpp). What was compiled is never changed again: copies and subscribers
// share it without a lock, and a pattern that fails to compile leaves the one that was there.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLogPattern.h>

#include "errors/CoreError.h"
#include "log/Pattern.h"

XCLogPattern::XCLogPattern() : XCLogPattern(L"%m%n") {}

XCLogPattern::XCLogPattern(std::wstring_view pattern)
{
    XCErrorID const compiled = Compile(pattern);
    if (compiled.Bad()) throw XCException(compiled);
}

XCLogPattern::~XCLogPattern() = default;
XCLogPattern::XCLogPattern(XCLogPattern const&) noexcept = default;
XCLogPattern& XCLogPattern::operator=(XCLogPattern const&) noexcept = default;

XCErrorID XCLogPattern::Compile(std::wstring_view pattern)
{
    // A new object each time: subscribers may be using the old one.
    auto compiled = std::make_shared<xc::log::Pattern>();
    if (std::size_t const fault = compiled->Compile(pattern))
        return xc::errors::MakeCoreError(XCErrLogPattern, XCString(pattern), static_cast<long>(fault));
    m_pattern = std::move(compiled);
    return {};
}
