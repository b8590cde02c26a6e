// Parameters of errors, each kept as a value of its own type.
//
// The types are few and closed, and callers read a parameter by pointer and type; so each is stored as an owned pointer
// with its type beside it, and one visitor turns it back into what it is. That keeps the layout that modules see a
// vector of two plain words. This file stands in the room of dates, because two of the parameter types are dates.
// Copies are made apart and swapped in: an assignment that runs out of memory changes nothing. Invariant:
// m_params[i].value points to an object of the class that m_params[i].type names.
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCOldDateTime.h>

#include "datetime/ParameterText.h"

namespace {

using Storage = XCErrorWithArgs::Storage;

// The one place that knows which class belongs to which type: copying, freeing and writing all go through it, so a new
// type of parameter cannot be forgotten in one of them. No default label: the compiler counts the cases.
/// Calls `visit` with the stored value as what it is.
template <class Visitor>
void VisitValue(Storage const& param, Visitor const& visit)
{
    switch (param.type) {
    case XCErrorI::ParamDouble: return visit(static_cast<double*>(param.value));
    case XCErrorI::ParamInt: return visit(static_cast<int*>(param.value));
    case XCErrorI::ParamLong: return visit(static_cast<long*>(param.value));
    case XCErrorI::ParamString: return visit(static_cast<XCString*>(param.value));
    case XCErrorI::ParamDateTime: return visit(static_cast<XCDateTime*>(param.value));
    case XCErrorI::ParamXCDouble: return visit(static_cast<XCDouble*>(param.value));
    case XCErrorI::ParamNone: return;
    }
}

} // namespace

XCErrorWithArgs::XCErrorWithArgs(XCSmartPtrToConst<XCMessageSource> source, long code, Severity severity) noexcept
    : XCError(std::move(source), code, severity)
{
}
XCErrorWithArgs::XCErrorWithArgs(XCErrorWithArgs const& other) : XCError(other)
{
    CopyParams(other.m_params);
}
XCErrorWithArgs& XCErrorWithArgs::operator=(XCErrorWithArgs const& other)
{
    // The copy comes first: it is the only step that can fail, and nothing has been changed yet when it does.
    XCErrorWithArgs copy(other);
    XCError::operator=(other);
    m_params.swap(copy.m_params); // the copy takes the old values away
    return *this;
}
XCErrorWithArgs::XCErrorWithArgs(XCErrorWithArgs&& other) noexcept : XCError(other), m_params(std::move(other.m_params))
{
}
XCErrorWithArgs& XCErrorWithArgs::operator=(XCErrorWithArgs&& other) noexcept
{
    XCError::operator=(other);
    // The other object frees what this one held.
    m_params.swap(other.m_params);
    return *this;
}
XCErrorWithArgs::~XCErrorWithArgs()
{
    ClearParams();
}

void XCErrorWithArgs::CopyParams(std::vector<Storage> const& from)
{
    try {
        // One allocation for the list; the values follow one by one, and those made so far are freed when one of them
        // fails.
        m_params.reserve(from.size());
        for (Storage const& param : from) VisitValue(param, [this, &param](auto* value) { Add(param.type, *value); });
    } catch (...) {
        ClearParams();
        throw;
    }
}

void XCErrorWithArgs::ClearParams() noexcept
{
    for (Storage const& param : m_params) VisitValue(param, [](auto* value) { delete value; });
    m_params.clear();
}

template <class T>
std::size_t XCErrorWithArgs::Add(ErrorParamType type, T const& value)
{
    // Errors mostly have a path, a number and the system's words.
    constexpr std::size_t kUsualCount = 4;
    if (m_params.empty()) m_params.reserve(kUsualCount);
    auto copy = std::make_unique<T>(value);
    // The list may fail to grow: the copy has its owner until it has joined.
    m_params.push_back({type, copy.get()});
    (void)copy.release();
    return m_params.size() - 1;
}

std::size_t XCErrorWithArgs::AddParam(double value)
{
    return Add(ParamDouble, value);
}
std::size_t XCErrorWithArgs::AddParam(int value)
{
    return Add(ParamInt, value);
}
std::size_t XCErrorWithArgs::AddParam(long value)
{
    return Add(ParamLong, value);
}
std::size_t XCErrorWithArgs::AddParam(XCString const& value)
{
    return Add(ParamString, value);
}
std::size_t XCErrorWithArgs::AddParam(XCDateTime const& value)
{
    return Add(ParamDateTime, value);
}
std::size_t XCErrorWithArgs::AddParam(XCDouble const& value)
{
    return Add(ParamXCDouble, value);
}

template <class T>
bool XCErrorWithArgs::Get(ErrorParamType type, T& value, std::size_t index) const
{
    // The exact type alone: a parameter read as another one would be a reading of foreign memory.
    if (GetParameterType(index) != type) return false;
    value = *static_cast<T const*>(m_params[index].value);
    return true;
}

bool XCErrorWithArgs::GetParam(double& value, std::size_t index) const
{
    return Get(ParamDouble, value, index);
}
bool XCErrorWithArgs::GetParam(int& value, std::size_t index) const
{
    return Get(ParamInt, value, index);
}
bool XCErrorWithArgs::GetParam(long& value, std::size_t index) const
{
    return Get(ParamLong, value, index);
}
bool XCErrorWithArgs::GetParam(XCString& value, std::size_t index) const
{
    return Get(ParamString, value, index);
}
bool XCErrorWithArgs::GetParam(XCDateTime& value, std::size_t index) const
{
    return Get(ParamDateTime, value, index);
}
bool XCErrorWithArgs::GetParam(XCDouble& value, std::size_t index) const
{
    return Get(ParamXCDouble, value, index);
}

int XCErrorWithArgs::GetIUID() const
{
    return kIUID;
}
bool XCErrorWithArgs::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCError::IsKindOf(iuid);
}
std::size_t XCErrorWithArgs::GetParameterCount() const
{
    return m_params.size();
}
XCErrorI::ErrorParamType XCErrorWithArgs::GetParameterType(std::size_t index) const
{
    return index < m_params.size() ? m_params[index].type : ParamNone;
}
void const* XCErrorWithArgs::GetParameterValue(std::size_t index) const
{
    return index < m_params.size() ? m_params[index].value : nullptr;
}
XCString XCErrorWithArgs::GetParameterValueAsString(std::size_t index, XCExecContext const& context) const
{
    XCString text;
    if (index < m_params.size())
        VisitValue(m_params[index], [&text, &context](auto const* value) {
            text = xc::datetime::ParameterText(*value, context.GetFormatContext());
        });
    return text;
}
