// Message texts in memory. An absent text is no failure here: the source answers with a fixed sentence, so that a
// program whose messages are incomplete still says something.
//
// The texts are kept in an ordered map: they are few, are added one by one while a program starts, and are read far
// more seldom than they are added. Nothing here locks. A source is filled before it is shared, and from then on only
// read; that is the contract of all sources, because the others read resources that never change. Placing arguments
// into a text is the same for every source and stands in SourceText.
#include <XelbrinCore/XCMessageSource.h>

#include "errors/SourceText.h"

XCMessageSource::~XCMessageSource() = default;

XCInRAMMessageSource::XCInRAMMessageSource(XCString language) : m_language(std::move(language)) {}
XCInRAMMessageSource::~XCInRAMMessageSource() = default;

void XCInRAMMessageSource::Add(long code, XCString const& text)
{
    // A later text replaces an earlier one, so that a program can override a message of a library.
    m_texts.insert_or_assign(code, text);
}
bool XCInRAMMessageSource::IsValid() const
{
    return true;
}
wchar_t const* XCInRAMMessageSource::GetDefaultLanguage() const
{
    return m_language.AsWChar();
}
XCErrorID XCInRAMMessageSource::GetText(XCString& text, long code, XCFormatContext const&) const
{
    auto const found = m_texts.find(code);
    text = found != m_texts.end() ? found->second : XCString(L"This message cannot be found");
    return XCErrorID::Success;
}
XCErrorID XCInRAMMessageSource::GetText(XCString& text, long code, XCFormatContext const& context,
                                        char* arguments) const
{
    return xc::errors::TextWithArguments(*this, text, code, context, arguments);
}
XCErrorID XCInRAMMessageSource::GetAvailableLanguages(std::vector<XCString>& languages) const
{
    // One source has one language: the texts of another one make another source.
    languages.assign(1, m_language);
    return XCErrorID::Success;
}
XCErrorID XCInRAMMessageSource::AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                                         XCFormatContext const& context) const
{
    return xc::errors::TextOfError(*this, text, error, context);
}
