// Events: what an error becomes, then the event log of the system.
#include "host/host_tools.h"

#include <XelbrinCore/XCEventLog.h>

#include "app/host/EventParts.h"

namespace {

using namespace xc_test;

/// Makes an event of each record, as the subscriber does.
class Events final : public XCLogSubscriberI {
public:
    Events() { SetDesiredLevel(XCLogEverything); }
    void OnFlush(int level, XCString const& text) override
    {
        xc::win32::Event const event = xc::host::EventOf(level, text.View(), XCLogFieldsOf(text), 0x10000);
        std::ostringstream line;
        line << static_cast<int>(event.type) << " " << std::hex << event.id;
        for (std::wstring const& insert : event.inserts) line << "|" << XCString(insert).AsUTF8();
        said = line.str();
    }
    std::string said;
};

TEST(EventLog, AnErrorGivesIdentifierAndInserts)
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    source->Add(0x12345, L"%s has %ld code=1 left");
    source->Add(7, L"nothing left");
    using enum XCErrorI::Severity;
    auto const withArguments = [&](XCErrorI::Severity severity) {
        XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 0x12345, severity));
        error->AddParam(XCString(L"Ann code=9"));
        error->AddParam(3L);
        return XCErrorID(error);
    };
    XCSmartPtr<Events> const events(new Events);
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"events");
    manager.AddSubscriber(XCSmartPtr<XCLogSubscriberI>(events.GetPtr()));
    std::string const inserts = "|Ann code=9|3|Ann code=9 has 3 code=1 left";
    for (auto const& [fault, error, expected] : Rows<XCErrorID, std::string>{
             {"a code beyond its bits changes the base", withArguments(SeverityError), "1 12345" + inserts},
             {"a warning is an error", withArguments(SeverityWarning), "2 12345" + inserts},
             {"an information is a warning", withArguments(SeverityInformation), "4 12345" + inserts},
             {"no inserts, no text", XCErrorID(XCSmartPtr<XCError>(new XCError(source, 7))), "1 10007|nothing left"},
             {"an error of the library in the place of the program's",
              XCErrorID(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 103))),
              "1 e50067|No string converter was given."},
             {"success is an event", XCErrorID(), ""}})
    {
        events->said.clear();
        XCLogFailure(channel, error);
        EXPECT_EQ(events->said, expected) << fault;
    }
    XCLogRecord(channel, XCLogWarning).Field(L"code", 5) << L"a text";
    EXPECT_EQ(events->said, "2 e50001|a text code=5") << "the fields of somebody else";
}

/// The viewer's way to the words of an event.
std::wstring WordsOf(HMODULE file, unsigned long event, wchar_t* const* inserts)
{
    wchar_t text[512] = L"";
    ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, file, event, 0x409, text, 512,
                     reinterpret_cast<va_list*>(const_cast<wchar_t**>(inserts)));
    return text;
}

/// The words of each error of the library are its text.
void ExpectWordsOfErrors(HMODULE file)
{
    wchar_t first[] = L"a [1]", second[] = L"100 %", third[] = L"c", fourth[] = L"d";
    wchar_t* const inserts[] = {first, second, third, fourth};
    int codes = 0;
    testing::internal::CaptureStdout(); // where a text is missing the source says so
    for (long code = 15; code < 2000; ++code) {
        XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(glbXCOREMsgSourceP, code));
        for (wchar_t const* const insert : inserts) error->AddParam(XCString(insert));
        XCString text;
        if (error->AsString(text, XCFormatContext(L"enu", L"enu")).Bad()) continue;
        ++codes;
        EXPECT_EQ(XCString(WordsOf(file, 0x00E50000 + static_cast<unsigned long>(code), inserts)), text) << code;
    }
    (void)testing::internal::GetCapturedStdout();
    EXPECT_GT(codes, 100);
}

TEST(EventLog, TheSourceIsEnteredAndWrittenTo)
{
    XCEventSource const source{.name = L"XelbrinCoreTest", .messageFile = L"c:\\own words.dll"};
    constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\XelbrinCoreTest";
    wchar_t const* const arguments[] = {L"a", L"/registerEvents"};
    wchar_t const* const leaving[] = {L"a", L"/unregisterEvents"};
    XCErrorID const registered = XCEventLogSubscriber::Register(source);
    if (registered == XCErrEventRights) GTEST_SKIP() << registered.AsString().AsUTF8();
    EXPECT_EQ(XCEventLogSubscriber::RegisterAsAsked(XCCommandLine(2, arguments), source), 0);
    wchar_t file[1024] = L"";
    DWORD bytes = sizeof file;
    EXPECT_EQ(::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"EventMessageFile", RRF_RT_ANY, nullptr, file, &bytes), 0);
    wchar_t* const library = std::wcschr(file, L';') + 1;
    EXPECT_EQ(std::wstring(file, library), L"c:\\own words.dll;");
    HMODULE const words = ::LoadLibraryExW(library, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    wchar_t insert[] = L"the text";
    wchar_t* const inserts[] = {insert};
    EXPECT_EQ(WordsOf(words, XCEventLogSubscriber::kTextEvent, inserts), L"the text");
    ExpectWordsOfErrors(words);
    ::FreeLibrary(words);
    XCSmartPtr<XCEventLogSubscriber> const subscriber(new XCEventLogSubscriber(source));
    subscriber->OnFlush(XCLogError, XCString(L'x', 40000)); // cut: the system takes no longer one
    subscriber->OnFlush(XCLogInfo, L"not wanted");
    EXPECT_EQ(subscriber->GetFailureCount(), 0u) << subscriber->GetLastFailure().AsString().AsUTF8();
    EXPECT_EQ(XCEventLogSubscriber::RegisterAsAsked(XCCommandLine(2, leaving), source), 0);
    EXPECT_FALSE(XCEventLogSubscriber::RegisterAsAsked(XCCommandLine(1, leaving), source)); // nobody has asked
    EXPECT_TRUE(XCEventLogSubscriber::Unregister(source).Good());
    EXPECT_NE(::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"EventMessageFile", RRF_RT_ANY, nullptr, file, &bytes), 0);
}

} // namespace
