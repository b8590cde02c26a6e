// A field keeps its value as text and how JSON writes it. Digits are the same in plain text and in JSON, so that the
// value is made once, when the record is written, and never again for each subscriber. Numbers that JSON lacks become
// texts: a reader that meets "nan" in quotes goes on, one that meets it bare gives the line up.
#include <XelbrinCore/XCLogField.h>

#include "log/RecordFields.h"
#include "log/RecordText.h"
#include "text/NumberText.h"

#include <cmath>
#include <cstring>
#include <cwchar>

namespace {

XCString PointerText(void const* pointer)
{
    char digits[65];
    auto const address = reinterpret_cast<std::uintptr_t>(pointer);
    return L"0x" + xc::text::AsciiText(xc::text::PutInteger(digits, address, 16));
}

/// The text of an argument that is one; null pointers have been taken before.
XCString TextOf(XCFormatArg const& value)
{
    auto const* const wide = static_cast<wchar_t const*>(value.pointer);
    auto const* const narrow = static_cast<char const*>(value.pointer);
    switch (value.kind) {
    case XCFormatArg::Kind::WideEnd: return XCString(std::wstring_view(wide));
    case XCFormatArg::Kind::WideCount: return XCString(std::wstring_view(wide, value.length));
    case XCFormatArg::Kind::NarrowEnd: return xc::log::FromBytes(narrow);
    default: return xc::log::FromBytes({narrow, value.length});
    }
}

} // namespace

void XCLogField::Set(XCFormatArg const& value)
{
    using Carried = XCFormatArg::Kind;
    auto const set = [this](XCString text, Kind kind) {
        m_value = std::move(text);
        m_kind = kind;
    };
    // Read before the kind is known: for other kinds it is a number that nobody looks at.
    wchar_t const unit = static_cast<wchar_t>(value.asUnsigned);
    bool const isEnded = value.kind == Carried::WideEnd || value.kind == Carried::NarrowEnd;
    if (isEnded && !value.pointer) return set(L"null", Kind::Null);
    switch (value.kind) {
    case Carried::Signed: return set(xc::text::NumberText(value.asSigned), Kind::Number);
    case Carried::Unsigned: return set(xc::text::NumberText(value.asUnsigned), Kind::Number);
    case Carried::Bool: return set(value.asUnsigned != 0 ? L"true" : L"false", Kind::Truth);
    case Carried::Unit: return set(XCString(std::wstring_view(&unit, 1)), Kind::Text);
    // No number: JSON readers take numbers for doubles, which addresses do not fit.
    case Carried::Pointer: return set(PointerText(value.pointer), Kind::Text);
    case Carried::Double:
        return set(xc::text::NumberText(value.asDouble), std::isfinite(value.asDouble) ? Kind::Number : Kind::Text);
    default: return set(TextOf(value), Kind::Text);
    }
}

std::vector<XCLogField> XCLogFieldsOf(XCString const& text)
{
    xc::log::ServedText served;
    if (!xc::log::FindServed(text.View(), served)) return {};
    return {served.fields.begin(), served.fields.end()};
}
