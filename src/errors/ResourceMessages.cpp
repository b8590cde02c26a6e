// The sources over the resources of modules.
//
// The platform falls back to other languages by rules that depend on the release and on the user's settings. To give the
// same answer everywhere, each language is asked for exactly: the one wanted, the context's fallback, then the neutral one,
// which leaves the choice to the system. HasMessage asks silently, because a failed retrieval prints a line.
// Places for inserts stay in the text: the platform would read arguments that nobody passed.
#include <XelbrinCore/XCMessageSource.h>

#include "errors/CoreError.h"
#include "errors/SourceText.h"
#include "win32/LastError.h"
#include "win32/Messages.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr long kNeutralLanguage = 1024;

struct LanguageEntry {
    wchar_t const* code;
    long id;
};
constexpr LanguageEntry kLanguages[] = {
    {L"enu", 1033}, {L"fra", 1036}, {L"nld", 1043}, {L"deu", 1031}, {L"jpn", 1041},
    {L"kor", 1042}, {L"ptb", 1046}, {L"esp", 1034}, {L"esm", 2058},
};

constexpr wchar_t AsciiLower(wchar_t unit) noexcept
{
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

/// Whether the text is the three-letter code, whatever its case.
constexpr bool IsLanguageCode(wchar_t const* text, wchar_t const* code) noexcept
{
    for (; *code != L'\0'; ++code, ++text)
        if (AsciiLower(*text) != *code) return false;
    return *text == L'\0';
}

/// Resources may name a language alone, without a region: the texts are then those of each of its regions.
bool Covers(long resourceLanguage, long id) noexcept
{
    constexpr long kLanguageAlone = 0x3FF;
    return resourceLanguage == id || resourceLanguage == (id & kLanguageAlone);
}

} // namespace

// RCMessageSource ----------------------------------------------------------------------------------------------------

RCMessageSource::~RCMessageSource() = default;

long RCMessageSource::GetLanguageID(wchar_t const* language) noexcept
{
    for (LanguageEntry const& entry : kLanguages)
        if (language && IsLanguageCode(language, entry.code)) return entry.id;
    return kNeutralLanguage;
}

bool RCMessageSource::RetrieveMessage(XCString& text, long id, wchar_t const* language) const
{
    return RetrieveMessage(text, id, GetLanguageID(language));
}

bool RCMessageSource::IsValid() const
{
    return true;
}

bool RCMessageSource::HasMessage(long, long) const
{
    return true;
}

std::vector<long> RCMessageSource::GetLanguageIDs() const
{
    return {};
}

wchar_t const* RCMessageSource::GetDefaultLanguage() const
{
    return L"enu";
}

XCErrorID RCMessageSource::GetText(XCString& text, long code, XCFormatContext const& context) const
{
    long language = GetLanguageID(context.GetLanguage());
    // Asked again for the neutral one below even when the fallback is the wanted language: a needless look is cheaper
    // than a rule with more cases.
    if (!HasMessage(code, language)) language = GetLanguageID(context.GetFallbackLanguage());
    if (!HasMessage(code, language)) language = kNeutralLanguage;
    if (RetrieveMessage(text, code, language)) return XCErrorID::Success;
    return xc::errors::MakeCoreError(XCErrMessageNotFound, code);
}

XCErrorID RCMessageSource::GetText(XCString& text, long code, XCFormatContext const& context, char* arguments) const
{
    return xc::errors::TextWithArguments(*this, text, code, context, arguments);
}

XCErrorID RCMessageSource::GetAvailableLanguages(std::vector<XCString>& languages) const
{
    languages.clear();
    std::vector<long> const found = GetLanguageIDs();
    for (LanguageEntry const& entry : kLanguages)
        if (std::any_of(found.begin(), found.end(), [&entry](long id) { return Covers(id, entry.id); }))
            languages.emplace_back(entry.code);
    return XCErrorID::Success;
}

XCErrorID RCMessageSource::AsString(XCString& text, XCSmartPtrToConst<XCErrorI> const& error,
                                    XCFormatContext const& context) const
{
    return xc::errors::TextOfError(*this, text, error, context);
}

// RCStringTableMsgSource ---------------------------------------------------------------------------------------------

RCStringTableMsgSource::~RCStringTableMsgSource() = default;

bool RCStringTableMsgSource::RetrieveMessage(XCString& text, long id, long) const
{
    // The language is not used: the system chooses among string tables by itself.
    text = xc::win32::LoadStringText(GetModule(), static_cast<unsigned int>(id));
    return !text.IsNull();
}
bool RCStringTableMsgSource::IsValid() const
{
    return !GetLanguageIDs().empty();
}
std::vector<long> RCStringTableMsgSource::GetLanguageIDs() const
{
    return xc::win32::ResourceLanguages(GetModule(), xc::win32::ResourceKind::StringTable);
}

// RCMessageTableSource -----------------------------------------------------------------------------------------------

RCMessageTableSource::~RCMessageTableSource() = default;

bool RCMessageTableSource::RetrieveMessage(XCString& text, long id, long language) const
{
    std::wstring message;
    bool const found = xc::win32::LoadMessage(message, GetModule(), static_cast<unsigned long>(id),
                                              static_cast<unsigned long>(language));
    if (found) {
        text = message;
        return true;
    }
    // The text is set all the same: a caller that does not look at the verdict shows at least where it went wrong.
    int const error = static_cast<int>(xc::win32::LastError());
    text = L"Internal Error in RCMessageTableSource::RetrieveMessage";
    std::printf("Error %d from FormatMessage\n", error);
    return false;
}
bool RCMessageTableSource::IsValid() const
{
    return !GetLanguageIDs().empty();
}
bool RCMessageTableSource::HasMessage(long id, long language) const
{
    return xc::win32::HasMessage(GetModule(), static_cast<unsigned long>(id), static_cast<unsigned long>(language));
}
std::vector<long> RCMessageTableSource::GetLanguageIDs() const
{
    return xc::win32::ResourceLanguages(GetModule(), xc::win32::ResourceKind::MessageTable);
}
