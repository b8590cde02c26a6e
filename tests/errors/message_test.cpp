// Message sources over real modules.
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCOldDateTime.h>

#include "errors/Plain.h"
#include "errors/TestModule.h"
#include "prelude.h"

namespace {

constexpr wchar_t kNotFound[] = L"Internal Error in RCMessageTableSource::RetrieveMessage";

/// Filled while the program's static objects are built.
XCString const kBeforeMain = XCErrorID(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 15))).AsString();

/// The protected operation of a source, and what it printed.
template <class Source>
class Opened : public Source {
public:
    using Source::Source;
    bool Retrieve(XCString& text, long id, long language) const { return this->RetrieveMessage(text, id, language); }
    bool Retrieve(XCString& text, long id, wchar_t const* language) const
    {
        return this->RetrieveMessage(text, id, language);
    }
};

std::string WithoutCarriageReturns(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

XCString WithArguments(XCMessageSource const* source, long code, ...)
{
    va_list arguments;
    va_start(arguments, code);
    XCString text;
    EXPECT_TRUE(source->GetText(text, code, XCFormatContext(), arguments).Good());
    va_end(arguments);
    return text;
}

TEST(CoreMessages, AnswerBeforeMain)
{
    EXPECT_TRUE(kBeforeMain == L"The thread has already been started.");
}

struct LanguageCase {
    const char* fault;
    const wchar_t *language, *fallback;
    long code;
    const wchar_t* text;
};
constexpr LanguageCase kLanguageCases[] = {
    {"language ignored", L"fra", L"enu", 10, L"Le fichier %s a %d lignes, lu \u00E0 100%%."},
    {"case of the code matters", L"FRA", L"enu", 10, L"Le fichier %s a %d lignes, lu \u00E0 100%%."},
    {"first language of the module taken", L"enu", L"fra", 10, L"The file %s has %d lines, 100%% read."},
    {"missing language", L"deu", L"fra", 10, L"Le fichier %s a %d lignes, lu \u00E0 100%%."},
    {"missing fallback", L"deu", L"jpn", 10, L"The file %s has %d lines, 100%% read."},
    {"text missing in one language", L"fra", L"enu", 11, L"Not translated yet"},
    {"text missing in the fallback", L"enu", L"fra", 12, L"Seulement en fran\u00E7ais"},
    {"unknown code of a language", L"english", L"enu", 10, L"The file %s has %d lines, 100%% read."},
    {"no language at all", nullptr, nullptr, 10, L"The file %s has %d lines, 100%% read."},
    {"line end lost", L"enu", L"enu", 13, L"With its line end\r\n"},
};

TEST(MessageTable, SpeaksTheLanguageAskedFor)
{
    XCSmartPtr<XCMessageSource> const source(new RCMessageTableSource(TestModule()));
    testing::internal::CaptureStdout();
    for (LanguageCase const& c : kLanguageCases) {
        SCOPED_TRACE(c.fault);
        XCString text;
        EXPECT_TRUE(source->GetText(text, c.code, XCFormatContext(c.language, c.fallback)).Good());
        EXPECT_TRUE(text == c.text) << Plain(text);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ""); // falling back is no failure
}

TEST(MessageTable, MissingTextSaysSo)
{
    Opened<RCMessageTableSource> const source(TestModule());
    XCString text;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(source.Retrieve(text, 10, L"deu"));
    EXPECT_EQ(WithoutCarriageReturns(testing::internal::GetCapturedStdout()), "Error 1815 from FormatMessage\n");
    testing::internal::CaptureStdout();
    text.Clear();
    XCErrorID const result = source.GetText(text, 99, XCFormatContext(L"fra"));
    EXPECT_EQ(WithoutCarriageReturns(testing::internal::GetCapturedStdout()), "Error 317 from FormatMessage\n");
    EXPECT_EQ(static_cast<int>(result), XCErrMessageNotFound);
    EXPECT_TRUE(result.AsString() == L"The message source has no text for code 99.");
    EXPECT_TRUE(text == kNotFound);
}

TEST(MessageTable, ParametersAndArgumentsFillTheText)
{
    XCSmartPtr<XCMessageSource> const source(new RCMessageTableSource(TestModule()));
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 10));
    error->AddParam(XCString(L"a.txt"));
    error->AddParam(12);
    XCString text;
    EXPECT_TRUE(error->AsString(text, XCFormatContext(L"fra")).Good());
    EXPECT_TRUE(text == L"Le fichier a.txt a 12 lignes, lu \u00E0 100%.");
    EXPECT_TRUE(XCErrorID(error).AsString() == L"The file a.txt has 12 lines, 100% read.");
    EXPECT_TRUE(WithArguments(source, 10, L"b.txt", 3) == L"The file b.txt has 3 lines, 100% read.");
    EXPECT_TRUE(source->GetText(text, 10, XCFormatContext(), nullptr).Good());
    EXPECT_TRUE(text == L"The file %s has %d lines, 100%% read.");
}

TEST(MessageTable, DatesAreWrittenInTheZoneOfTheReader)
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    source->Add(1, L"at %s");
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 1));
    error->AddParam(XCDateTime(951782399));
    XCTimeZone const tokyo = XCTimeZone::FromName(L"Tokyo Standard Time");
    XCString text;
    EXPECT_TRUE(error->AsString(text, XCFormatContext(L"enu", L"enu", &tokyo)).Good());
    EXPECT_TRUE(text == L"at 2000/02/29 08:59:59") << Plain(text);
    source->Add(2, XCString(L"%s|") + XCString(L'y', 2000));
    text = WithArguments(source, 2, XCString(L'x', 2000).AsWChar());
    EXPECT_TRUE(text.Length() == 3000 && text[2000] == L'|') << "a long text is cut";
}

TEST(StringTable, DeliversTheModulesText)
{
    Opened<RCStringTableMsgSource> const source(TestModule());
    XCString text;
    EXPECT_TRUE(source.Retrieve(text, 10, 1036));
    EXPECT_TRUE(text == L"A text of the string table: %s");
    EXPECT_TRUE(source.Retrieve(text, 11, L"enu"));
    EXPECT_TRUE(text == XCString(L'x', 499));
    EXPECT_FALSE(source.Retrieve(text, 12, L"enu"));
    EXPECT_TRUE(WithArguments(&source, 12, 1).IsNull());
    EXPECT_TRUE(text.IsNull());
    EXPECT_TRUE(source.GetText(text, 12, XCFormatContext()).Bad());
    EXPECT_TRUE(text.IsNull());
    EXPECT_TRUE(WithArguments(&source, 10, L"filled") == L"A text of the string table: filled");
}

TEST(ResourceSources, ListTheirLanguages)
{
    std::vector<XCString> languages(1, L"left over");
    EXPECT_TRUE(RCMessageTableSource(TestModule()).GetAvailableLanguages(languages).Good());
    EXPECT_EQ(languages, (std::vector<XCString>{L"enu", L"fra"}));
    EXPECT_TRUE(RCStringTableMsgSource(TestModule()).GetAvailableLanguages(languages).Good());
    EXPECT_EQ(languages, std::vector<XCString>{L"enu"});
    EXPECT_TRUE(RCMessageTableSource().GetAvailableLanguages(languages).Good());
    EXPECT_NE(std::find(languages.begin(), languages.end(), XCString(L"enu")), languages.end());
    EXPECT_TRUE(RCMessageTableSource().IsValid() && RCStringTableMsgSource(TestModule()).IsValid());
    EXPECT_FALSE(RCStringTableMsgSource(nullptr).IsValid()); // the test program has none
    EXPECT_TRUE(RCMessageTableSource().GetDefaultLanguage() == std::wstring_view(L"enu"));
}

TEST(ResourceSources, LanguageIdentifiers)
{
    struct {
        const wchar_t* code;
        long id;
    } const cases[] = {{L"enu", 1033}, {L"FRA", 1036},  {L"nld", 1043}, {L"Deu", 1031}, {L"jpn", 1041},
                       {L"kor", 1042}, {L"ptb", 1046},  {L"esp", 1034}, {L"eSM", 2058}, {L"ita", 1024},
                       {L"en", 1024},  {L"enus", 1024}, {L"", 1024},    {nullptr, 1024}};
    for (auto const& c : cases) EXPECT_EQ(RCMessageSource::GetLanguageID(c.code), c.id) << Plain(c.code);
}

TEST(XCWinLastError, TakesCodeAndTextFromTheSystem)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    XCErrorID const error(XCSmartPtr<XCWinLastError>(new XCWinLastError));
    EXPECT_EQ(static_cast<int>(error), 5);
    EXPECT_EQ(error->GetSeverity(), 1);
    std::string const english = Plain(error.AsString()); // "Access denied.", or "is denied": the words are the system's
    EXPECT_TRUE(english.starts_with("Access ") && english.ends_with(" denied.\r\n")) << english;
    XCString text;
    EXPECT_TRUE(error->AsString(text, XCFormatContext(L"fra")).Good());
    std::vector<XCString> languages;
    (void)RCMessageTableSource().GetAvailableLanguages(languages);
    bool const hasFrench = std::find(languages.begin(), languages.end(), XCString(L"fra")) != languages.end();
    EXPECT_EQ(Plain(text) != english, hasFrench);
}

} // namespace
