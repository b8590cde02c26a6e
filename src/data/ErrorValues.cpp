// Errors as bytes: what happened travels, its text only where the reader could not make it.
//
//      kind      one byte: 0 success, 1 an error of the library, 2 any other
//      code      4 bytes, then one byte for the severity
//      text      kind 2 alone: the text its writer saw
//      count     of the parameters, then each: one byte for its type, its value
//
// The texts are in UTF-16, since a file name in one may hold any unit.
//
// An error of the library travels as its code and parameters, and the reader makes the text in the language of its own
// user. Another program's message source is not here, so of other errors the text travels too, unless the caller
// brings the source that knows them. Neither form carries a type: an error read is XCErrorWithArgs or XCErrorString,
// whatever class it had.
#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCMessageSource.h>

#include "data/DataErrors.h"

namespace {

enum ErrorKind : std::uint8_t { kSuccess, kOwn, kOther };

/// No message has more conversions; a claim above this is refused before anything is made for it.
constexpr std::size_t kMostParameters = 64;

bool IsOwn(XCErrorI const& error) noexcept
{
    auto const* const coded = dynamic_cast<XCError const*>(&error);
    return coded && coded->GetFormatter() == glbXCOREMsgSourceP;
}

} // namespace

void XCBinaryWriter::WriteParameter(XCErrorI const& error, std::size_t index)
{
    void const* const value = error.GetParameterValue(index);
    XCErrorI::ErrorParamType const type = value ? error.GetParameterType(index) : XCErrorI::ParamNone;
    Write(static_cast<std::uint8_t>(type));
    switch (type) {
    case XCErrorI::ParamDouble: Write(*static_cast<double const*>(value)); break;
    case XCErrorI::ParamInt: Write(*static_cast<int const*>(value)); break;
    // 32 bits on every system, though elsewhere a long has 64.
    case XCErrorI::ParamLong: Write(static_cast<std::int32_t>(*static_cast<long const*>(value))); break;
    case XCErrorI::ParamString: WriteText(*static_cast<XCString const*>(value), XCTextForm::Utf16); break;
    case XCErrorI::ParamDateTime: Write(*static_cast<XCDateTime const*>(value)); break;
    case XCErrorI::ParamXCDouble: Write(*static_cast<XCDouble const*>(value)); break;
    default: break;
    }
}

void XCBinaryWriter::Write(XCErrorID const& error)
{
    if (error.Good()) return Write(std::uint8_t{kSuccess});
    std::size_t const count = error->GetParameterCount();
    // What no reader would take is not written either.
    if (count > kMostParameters) return Fail(xc::data::DataError(XCErrDataTooLong, count, kMostParameters));
    bool const own = IsOwn(*error.GetError());
    Write(static_cast<std::uint8_t>(own ? kOwn : kOther));
    Write(static_cast<std::int32_t>(error->GetCode()));
    Write(static_cast<std::uint8_t>(error->GetSeverity()));
    if (!own) WriteText(error.AsString(), XCTextForm::Utf16);
    WriteCount(count);
    for (std::size_t i = 0; i < count; ++i) WriteParameter(*error.GetError(), i);
}

namespace {

template <class T>
bool AddParameter(XCBinaryReader& reader, XCErrorWithArgs& error)
{
    std::conditional_t<std::is_same_v<T, long>, std::int32_t, T> value{};
    bool ok = false;
    if constexpr (std::is_same_v<T, XCString>)
        ok = reader.ReadText(value, XCTextForm::Utf16);
    else
        ok = reader.Read(value);
    if (ok) error.AddParam(static_cast<T>(value));
    return ok;
}

} // namespace

bool XCBinaryReader::ReadParameter(XCErrorWithArgs& error)
{
    std::uint8_t type = 0;
    if (!Read(type)) return false;
    switch (type) {
    // An empty text keeps the place: the parameters after it are found by their number.
    case XCErrorI::ParamNone: error.AddParam(XCString()); return true;
    case XCErrorI::ParamDouble: return AddParameter<double>(*this, error);
    case XCErrorI::ParamInt: return AddParameter<int>(*this, error);
    case XCErrorI::ParamLong: return AddParameter<long>(*this, error);
    case XCErrorI::ParamString: return AddParameter<XCString>(*this, error);
    case XCErrorI::ParamDateTime: return AddParameter<XCDateTime>(*this, error);
    case XCErrorI::ParamXCDouble: return AddParameter<XCDouble>(*this, error);
    default: return Fail();
    }
}

bool XCBinaryReader::Read(XCErrorID& error)
{
    return ReadError(error, XCSmartPtrToConst<XCMessageSource>());
}

bool XCBinaryReader::ReadError(XCErrorID& error, XCSmartPtrToConst<XCMessageSource> const& source)
{
    std::uint8_t kind = 0;
    if (!Read(kind)) return false;
    if (kind > kOther) return Fail();
    if (kind != kSuccess) return ReadError(error, source, kind == kOwn);
    error = XCErrorID();
    return true;
}

bool XCBinaryReader::ReadError(XCErrorID& error, XCSmartPtrToConst<XCMessageSource> const& source, bool own)
{
    std::int32_t code = 0;
    std::uint8_t severity = 0;
    XCString text;
    std::size_t count = 0;
    if (!Read(code) || !Read(severity) || (!own && !ReadText(text, XCTextForm::Utf16)) || !ReadCount(count))
        return false;
    // Before anything is made: the number is a claim of the bytes.
    if (severity > XCErrorI::SeverityFatal || count > kMostParameters) return Fail();
    auto const level = static_cast<XCErrorI::Severity>(severity);
    XCSmartPtr<XCErrorWithArgs> const coded(new XCErrorWithArgs(own ? glbXCOREMsgSourceP : source, code, level));
    for (std::size_t i = 0; i < count; ++i)
        if (!ReadParameter(*coded)) return false;
    if (own || !source.IsNull())
        error = coded;
    else
        error = XCSmartPtr<XCErrorString>(new XCErrorString(text, code, level));
    return true;
}
