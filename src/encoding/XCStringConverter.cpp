// The converters.
//
// The system's own conversion of code pages is lenient: it replaces what it cannot convert, maps look-alikes, and gives
// private units to undefined bytes. Text that went through it may differ from what was meant without anybody noticing.
// So every result is converted back and compared: one-byte pages must give the same bytes again, two-byte pages, which
// spell some characters in two ways, the same text. Units that only undefined bytes produce are refused by number.
//
// Cost: two conversions by the system a call; the place of a failure is searched character by character, after a failure
// only. UTF-8 and Latin-1 have code of their own and ask the system nothing.
// Invariant: on failure the target is what it was.
#include <XelbrinCore/XCStringConverter.h>

#include "encoding/TextErrors.h"
#include "text/StringAccess.h"
#include "text/Units.h"
#include "text/Utf8.h"
#include "win32/CodePage.h"

#include <algorithm>

using xc::encoding::MalformedText;
using xc::encoding::UnknownCodePage;
using xc::encoding::UnmappableUnit;
using xc::text::ToUint;

XCStringConverter::~XCStringConverter() = default;

// UTF-8 and Latin-1 ---------------------------------------------------------------------------------------------

XCUTF8Converter::XCUTF8Converter() noexcept = default;
XCUTF8Converter::~XCUTF8Converter() = default;

XCErrorID XCUTF8Converter::ToUnicode(XCString& result, std::string_view bytes) const
{
    std::size_t errorAt = 0;
    return xc::text::DecodeUtf8(result, bytes, &errorAt) ? XCErrorID() : MalformedText(errorAt);
}

XCErrorID XCUTF8Converter::FromUnicode(std::string& result, std::wstring_view text) const
{
    // Built aside: the target may be the caller's only copy.
    std::string bytes;
    std::size_t const whole = xc::text::AppendUtf8Strictly(bytes, text);
    if (whole < text.size()) return UnmappableUnit(text[whole], whole);
    result.swap(bytes);
    return XCErrorID::Success;
}

XCLatin1Converter::XCLatin1Converter() noexcept = default;
XCLatin1Converter::~XCLatin1Converter() = default;

XCErrorID XCLatin1Converter::ToUnicode(XCString& result, std::string_view bytes) const
{
    // Every byte is a unit of the same number: this direction cannot fail but for want of memory.
    XCString text;
    if (!bytes.empty()) {
        text.Reserve(bytes.size() + 1);
        xc::text::WidenBytes(xc::text::StringAccess::Units(text), bytes);
        xc::text::StringAccess::SetLength(text, bytes.size());
    }
    result.Swap(text);
    return XCErrorID::Success;
}

XCErrorID XCLatin1Converter::FromUnicode(std::string& result, std::wstring_view text) const
{
    std::string bytes(text.size(), '\0');
    std::size_t const written = xc::text::NarrowUnits(bytes.data(), text);
    if (written < text.size()) return UnmappableUnit(text[written], written);
    result.swap(bytes);
    return XCErrorID::Success;
}

// Code pages ----------------------------------------------------------------------------------------------------

namespace {

constexpr unsigned int kUtf8Page = 65001;
constexpr unsigned int kLatin1Page = 28591;
constexpr unsigned int kJapanesePage = 932;

/// Units that the system makes of bytes to which a Windows code page gives no character: control codes of the upper
/// half, the marks U+F8F0 to U+F8FF, and the blank of byte A0 in the two-byte pages.
bool IsUndefinedIn(xc::win32::CodePageFacts const& page, wchar_t unit) noexcept
{
    bool const windowsPage = (page.number >= 1250 && page.number <= 1258) || page.number == 874 || page.mostBytes == 2;
    std::uint32_t const u = ToUint(unit);
    return windowsPage &&
           ((u >= 0x80 && u <= 0x9F) || (u >= 0xF8F0 && u <= 0xF8FF) || (u == 0xA0 && page.mostBytes == 2));
}

bool HasUndefined(xc::win32::CodePageFacts const& page, std::wstring_view units) noexcept
{
    return std::any_of(units.begin(), units.end(), [&](wchar_t unit) { return IsUndefinedIn(page, unit); });
}

/// The text of the bytes; nothing when one of them is no text in the page. One-byte pages must give the bytes back;
/// two-byte pages may spell a character in several ways, so there the text itself must survive.
std::optional<std::wstring> ReadStrictly(xc::win32::CodePageFacts const& page, std::string_view bytes)
{
    std::optional<std::wstring> units = xc::win32::BytesToUnits(page.number, bytes);
    if (!units || HasUndefined(page, *units)) return std::nullopt;
    std::optional<std::string> const back = xc::win32::UnitsToBytes(page.number, *units);
    if (!back || (page.mostBytes == 1 && *back != bytes)) return std::nullopt;
    return units;
}

std::optional<std::string> WriteStrictly(xc::win32::CodePageFacts const& page, std::wstring_view units)
{
    if (HasUndefined(page, units)) return std::nullopt;
    std::optional<std::string> bytes = xc::win32::UnitsToBytes(page.number, units);
    if (!bytes) return std::nullopt;
    std::optional<std::wstring> const back = xc::win32::BytesToUnits(page.number, *bytes);
    if (!back || *back != units) return std::nullopt;
    return bytes;
}

/// Where the first character stands that cannot be read (written): only asked for after a failure.
std::size_t FirstUnreadable(xc::win32::CodePageFacts const& page, std::string_view bytes)
{
    std::size_t i = 0;
    while (i < bytes.size()) {
        std::size_t const length = xc::win32::CharacterLength(page.number, static_cast<unsigned char>(bytes[i]));
        if (length > bytes.size() - i || !ReadStrictly(page, bytes.substr(i, length))) break;
        i += length;
    }
    return i;
}

std::size_t FirstUnwritable(xc::win32::CodePageFacts const& page, std::wstring_view units)
{
    std::size_t i = 0;
    while (i < units.size()) {
        bool const pair =
            xc::text::IsHighSurrogate(units[i]) && i + 1 < units.size() && xc::text::IsLowSurrogate(units[i + 1]);
        if (!WriteStrictly(page, units.substr(i, pair ? 2 : 1))) break;
        i += pair ? 2 : 1;
    }
    // The whole text may fail where each character alone does not; the last one then stands for it.
    return std::min(i, units.size() - 1);
}

/// The converter that stands for a page that needs no system; null for the others.
XCStringConverter const* OwnConverter(unsigned int codePage)
{
    // Converters have no state: one of each serves all threads.
    static XCSmartPtrToConst<XCStringConverter> const utf8(new XCUTF8Converter);
    static XCSmartPtrToConst<XCStringConverter> const latin1(new XCLatin1Converter);
    return codePage == kUtf8Page ? utf8.GetPtr() : codePage == kLatin1Page ? latin1.GetPtr() : nullptr;
}

} // namespace

XCCodePageConverter::XCCodePageConverter(unsigned int codePage) noexcept
    : m_codePage(xc::win32::GetCodePageFacts(codePage).number)
{
}
XCCodePageConverter::~XCCodePageConverter() = default;

XCErrorID XCCodePageConverter::ToUnicode(XCString& result, std::string_view bytes) const
{
    if (XCStringConverter const* const own = OwnConverter(m_codePage)) return own->ToUnicode(result, bytes);
    xc::win32::CodePageFacts const page = xc::win32::GetCodePageFacts(m_codePage);
    if (!page.known) return UnknownCodePage(m_codePage);
    std::optional<std::wstring> const units = ReadStrictly(page, bytes);
    if (!units) return MalformedText(FirstUnreadable(page, bytes));
    result.Assign(std::wstring_view(*units));
    return XCErrorID::Success;
}

XCErrorID XCCodePageConverter::FromUnicode(std::string& result, std::wstring_view text) const
{
    if (XCStringConverter const* const own = OwnConverter(m_codePage)) return own->FromUnicode(result, text);
    xc::win32::CodePageFacts const page = xc::win32::GetCodePageFacts(m_codePage);
    if (!page.known) return UnknownCodePage(m_codePage);
    std::optional<std::string> bytes = WriteStrictly(page, text);
    if (!bytes) {
        std::size_t const at = FirstUnwritable(page, text);
        return UnmappableUnit(text[at], at);
    }
    result.swap(*bytes);
    return XCErrorID::Success;
}

XCJapaneseConverter::XCJapaneseConverter() noexcept : XCCodePageConverter(kJapanesePage) {}
XCJapaneseConverter::~XCJapaneseConverter() = default;

// Members of the string -----------------------------------------------------------------------------------------

namespace {

std::string BytesOf(XCString const& text, XCStringConverter const& converter, XCErrorID* error)
{
    std::string bytes;
    XCErrorID const result = converter.FromUnicode(bytes, text);
    if (error) *error = result;
    return bytes;
}

} // namespace

std::string XCString::AsMbString(unsigned int codePage, XCErrorID* error) const
{
    XCSmartPtr<XCStringConverter> const converter(new XCCodePageConverter(codePage));
    return BytesOf(*this, *converter, error);
}

std::string XCString::AsMbString(XCSmartPtr<XCStringConverter> const& converter, XCErrorID* error) const
{
    if (!converter.IsNull()) return BytesOf(*this, *converter, error);
    if (error) *error = xc::encoding::NoConverter();
    return {};
}

std::string XCString::AsUTF8(XCErrorID* error) const
{
    return BytesOf(*this, *OwnConverter(kUtf8Page), error);
}

XCErrorID XCString::SetFromUTF8(std::string const& text)
{
    return OwnConverter(kUtf8Page)->ToUnicode(*this, text);
}

XCErrorID XCString::ConvertToUnicode(char const* text, XCSmartPtr<XCStringConverter> const& converter)
{
    return ConvertToUnicode(*this, text, converter);
}

XCErrorID XCString::ConvertToUnicode(XCString& result, char const* text, XCSmartPtr<XCStringConverter> const& converter)
{
    return converter.IsNull() ? xc::encoding::NoConverter() : converter->ToUnicode(result, text ? text : "");
}

XCErrorID XCString::ConvertFromUnicode(std::string& result, XCSmartPtr<XCStringConverter> const& converter) const
{
    return converter.IsNull() ? xc::encoding::NoConverter() : converter->FromUnicode(result, *this);
}
