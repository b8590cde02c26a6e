// The system's order, and rules from files.
//
// A strict order compares code units at last; the key then ends with them after a zero, which the bytes of the system's
// keys never are, since they separate their levels by ones and end with a zero of their own.
#include "encoding/EncodedText.h"
#include "errors/CoreError.h"
#include "text/Units.h"
#include "win32/FileIo.h"
#include "win32/LocaleOrder.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLocaleCollator.h>

XCLocaleCollator::XCLocaleCollator(XCLocale const& locale, unsigned int flags)
    : m_order(std::make_unique<xc::win32::LocaleOrder const>(
          xc::win32::LocaleOrder{std::wstring(locale.GetName().View()), (flags & XCCollateAccents) != 0,
                                 (flags & XCCollateCase) != 0, (flags & XCCollateNumbers) != 0})),
      m_strict((flags & XCCollateStrict) != 0)
{
}
XCLocaleCollator::~XCLocaleCollator() = default;

int XCLocaleCollator::Compare(wchar_t const* a, wchar_t const* b) const
{
    int result = 0;
    // A locale that the system has lost since is no order at all: sorting on with a made-up result would be worse.
    if (!xc::win32::CompareInLocale(*m_order, a, b, result)) throw XCWindowsLastErrorException();
    if (result != 0 || !m_strict) return result;
    // Texts that the locale takes for equal mostly are: the way to their first difference is short or the whole text.
    while (*a == *b && *a != L'\0') ++a, ++b;
    return *a == *b ? 0 : xc::text::ToUint(*a) < xc::text::ToUint(*b) ? -1 : 1;
}

void XCLocaleCollator::AppendKey(std::string& key, wchar_t const* text) const
{
    if (!xc::win32::AppendLocaleKey(*m_order, text, key)) throw XCWindowsLastErrorException();
    if (!m_strict) return;
    key += '\0';
    for (; *text != L'\0'; ++text) {
        std::uint32_t const unit = xc::text::ToUint(*text);
        char const bytes[] = {static_cast<char>(unit >> 8), static_cast<char>(unit)};
        key.append(bytes, sizeof bytes);
    }
}

XCErrorID XCReadCollationFile(XCString const& path, XCSmartPtrToConst<XCCollationTable>& table,
                              std::vector<XCLineFault>& faults)
{
    std::string bytes;
    if (unsigned long const error = xc::win32::ReadWholeFile(xc::win32::SystemPath(path), bytes))
        return xc::errors::MakeFileError(XCErrCollationFile, path, error);
    XCTextEncoding encoding{};
    std::optional<xc::encoding::UnitBuffer> const text = xc::encoding::DecodeText(bytes, encoding);
    constexpr unsigned long kNoUnicodeTranslation = 1113; // the system's words for bytes that are no text
    if (!text) return xc::errors::MakeFileError(XCErrCollationFile, path, kNoUnicodeTranslation);
    table = XCCollationTable::Read(XCString(text->View()), path, faults);
    return XCErrorID::Success;
}
