// Error objects. They carry what an error is made of (source, code, severity, parameters), and make text only when
// asked: most errors are handled, and then no text was ever needed. A text comes from the error's source in the
// language of the reader; the object itself never formats.
//
// An XCErrorID is a counted pointer to one of them, null for success, so success costs nothing to return and an error
// is allocated where it happens. The kinds form a chain of identifiers that IsKindOf walks upwards; the compiler's own
// type information is not used, since the objects cross the borders of modules that may have been built apart.
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCMessageSource.h>

#include "errors/BorrowedError.h"
#include "win32/LastError.h"

constinit XCFormatContext const XCFormatContext::defaultContext;

// XCErrorI -----------------------------------------------------------------------------------------------------------

XCErrorI::~XCErrorI() = default;

bool XCErrorI::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCObjectI::IsKindOf(iuid);
}
std::size_t XCErrorI::GetParameterCount() const
{
    return 0;
}
XCErrorI::ErrorParamType XCErrorI::GetParameterType(std::size_t) const
{
    return ParamNone;
}
void const* XCErrorI::GetParameterValue(std::size_t) const
{
    return nullptr;
}
XCString XCErrorI::GetParameterValueAsString(std::size_t, XCExecContext const&) const
{
    return {};
}

// XCErrorID ----------------------------------------------------------------------------------------------------------

XCString XCErrorID::AsString() const
{
    if (Good()) return L"SUCCESS";
    XCString text;
    // The verdict is left aside on purpose: a message that cannot be had leaves a text that says so.
    (void)m_error->AsString(text, XCFormatContext::defaultContext);
    return text;
}

bool XCErrorID::IsSameAs(XCErrorID const& other) const
{
    if (m_error == other.m_error) return true;
    if (Good() || other.Good()) return false;
    // Cheap questions first; the texts decide last, since they show the parameters, which the numbers do not.
    return m_error->GetIUID() == other.m_error->GetIUID() && m_error->GetCode() == other.m_error->GetCode() &&
           m_error->GetSeverity() == other.m_error->GetSeverity() && AsString() == other.AsString();
}

XCString XCErrorReportText(XCErrorID const& error)
{
    XCString text = error.AsString();
    return text.IsNull() ? XCString(L"<Unknown XCError }") : text;
}

// XCError ------------------------------------------------------------------------------------------------------------

XCError::XCError(XCSmartPtrToConst<XCMessageSource> source, long code, Severity severity) noexcept
    : XCErrorI(code, severity), m_source(std::move(source))
{
}
XCError::XCError(XCError const& other) noexcept = default;
XCError& XCError::operator=(XCError const& other) noexcept = default;
XCError::~XCError() = default;

int XCError::GetIUID() const
{
    return kIUID;
}
bool XCError::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCErrorI::IsKindOf(iuid);
}
XCErrorID XCError::AsString(XCString& text, XCFormatContext const& context) const
{
    // Borrowed: the source wants a counted pointer, and this object may live on the stack, where no count may delete
    // it.
    if (!m_source.IsNull()) return m_source->AsString(text, xc::errors::BorrowedError(*this), context);
    text.Clear();
    return XCErrorID::Success;
}

// XCErrorString ------------------------------------------------------------------------------------------------------

XCErrorString::~XCErrorString() = default;

int XCErrorString::GetIUID() const
{
    return kIUID;
}
bool XCErrorString::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCErrorI::IsKindOf(iuid);
}
XCErrorID XCErrorString::AsString(XCString& text, XCFormatContext const&) const
{
    text = m_text;
    return XCErrorID::Success;
}

// XCWinLastError -----------------------------------------------------------------------------------------------------

XCWinLastError::XCWinLastError() : XCWinLastError(xc::win32::LastError()) {}
XCWinLastError::XCWinLastError(unsigned long code)
    // The code was read before anything was allocated: an allocation may change the last error.
    : XCError(XCSmartPtr<XCMessageSource>(new RCMessageTableSource), static_cast<long>(code), SeverityError)
{
}
XCWinLastError::~XCWinLastError() = default;

int XCWinLastError::GetIUID() const
{
    return kIUID;
}
bool XCWinLastError::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCError::IsKindOf(iuid);
}

// XCXMLError ---------------------------------------------------------------------------------------------------------

XCXMLError::XCXMLError(long code, Severity severity) noexcept : XCErrorI(code, severity) {}
XCXMLError::~XCXMLError() = default;

int XCXMLError::GetIUID() const
{
    return kIUID;
}
bool XCXMLError::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCErrorI::IsKindOf(iuid);
}
XCErrorID XCXMLError::AsString(XCString& text, XCFormatContext const&) const
{
    text.Clear();
    return XCErrorID::Success;
}
