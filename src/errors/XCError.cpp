#include <XelbrinCore/XCError.h>

XCErrorI::~XCErrorI() = default;

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

int XCErrorString::GetIUID() const
{
    return kIUID;
}
XCErrorID XCErrorString::AsString(XCString& text, XCFormatContext const&) const
{
    text = m_text;
    return XCErrorID::Success;
}
