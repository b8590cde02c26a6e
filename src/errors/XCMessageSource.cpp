// Message texts in memory. An absent text is no failure here: the source answers with a fixed sentence, so that a
// program whose messages are incomplete still says something.
#include <XelbrinCore/XCMessageSource.h>

#include "errors/SourceText.h"

XCMessageSource::~XCMessageSource() = default;

XCInRAMMessageSource::XCInRAMMessageSource(XCString language) : m_language(std::move(language)) {}
XCInRAMMessageSource::~XCInRAMMessageSource() = default;

void XCInRAMMessageSource::Add(long code, XCString const& text)
{
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
    languages.assign(1, m_language);
    return XCErrorID::Success;
}
XCErrorID XCInRAMMessageSource::AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                                         XCFormatContext const& context) const
{
    return xc::errors::TextOfError(*this, text, error, context);
}
