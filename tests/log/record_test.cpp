// What records take, their fields in every layout, layouts from patterns, names of levels.
#include "log_files.h"

namespace {

using log_test::ScratchFile;

/// Keeps the texts that it is served, and their fields as "name:value:kind,".
struct Keeper : XCLogSubscriberI {
    void OnFlush(int, XCString const& text) override
    {
        seen += text;
        for (XCLogField const& field : XCLogFieldsOf(text))
            fields +=
                XCString().Format(L"%s:%s:%d,", field.GetName(), field.GetValue(), static_cast<int>(field.GetKind()));
        if (during) std::exchange(during, {})();
    }
    XCString seen;
    XCString fields;
    std::function<void()> during;
};

struct RecordBench {
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"test");
    XCSmartPtr<Keeper> keeper{new Keeper};
    RecordBench() { manager.AddSubscriber(keeper); }
};

#if defined(_WIN32) // the native build has no streams of 16-bit characters
enum OldKind { kOldTwo = 2 };
enum class NewKind : char { Five = 5 };

TEST(XCLogRecord, Takes)
{
    // fault, write, text
    Rows<void (*)(XCLogRecord&), wchar_t const*> const rows = {
        {"a date", [](XCLogRecord& r) { r << XCDateEx(2026, 11, 22); }, L"2026/11/22"},
        {"an error", [](XCLogRecord& r) { r << XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"broken", 7))); },
         L"broken"},
        {"enumerations", [](XCLogRecord& r) { r << kOldTwo << NewKind::Five; }, L"25"},
        {"addresses", [](XCLogRecord& r) { r << reinterpret_cast<int*>(0x1F) << static_cast<void const*>(nullptr); },
         L"0x1f0x0"},
        {"a base holds, digits of its width",
         [](XCLogRecord& r) { r << std::hex << 255 << L' ' << short{-1} << std::dec << 10; }, L"ff ffff10"},
        {"a width holds once, texts too",
         [](XCLogRecord& r) { r << std::setw(4) << std::setfill(L'.') << L"ab" << std::setw(3) << 5 << 5; },
         L"..ab..55"},
        {"precision", [](XCLogRecord& r) { r << std::fixed << std::setprecision(2) << 1.005f << true; }, L"1.00true"},
        {"end of line", [](XCLogRecord& r) { r << L"a" << std::endl; }, L"a"},
        {"a null text spoils the rest",
         [](XCLogRecord& r) { r << std::hex << static_cast<wchar_t const*>(nullptr) << 10; }, L"(null)a"},
    };
    for (auto const& [fault, write, text] : rows) {
        SCOPED_TRACE(fault);
        RecordBench b;
        for (int const level : {1, 2}) { // nobody wants the second
            XCLogRecord record(b.channel, level);
            write(record);
        }
        EXPECT_EQ(b.keeper->seen, XCString(text) + L"\n");
    }
}
#endif

TEST(XCLogRecord, FieldsInEveryLayout)
{
    ScratchFile const json("fields.json"), line("fields.line"), pattern("fields.pattern");
    RecordBench b;
    XCSmartPtr<XCFileLogSubscriber> const shaped(new XCFileLogSubscriber(pattern.Path()));
    shaped->SetPattern(XCLogPattern(L"%c [%f ] %m"));
    b.manager.AddSubscriber(shaped);
    b.manager.AddSubscriber(new XCJsonLogSubscriber(json.Path()));
    b.manager.AddSubscriber(new XCFileLogSubscriber(line.Path(), XCLogOpen::Truncate, true, XCLogLayout::OneLine));
    b.keeper->during = [&] { XCLogRecord(b.channel, 1) << XCLogField(L"from", L"inside"); };
    XCLogRecord(b.channel, 1).Field(L"n", 1).Field(L"user \"x\"", L"a\"\\\n\u20AC").Field(L"n", -2.5).Field(L"on", true)
        << L"t\\1\t\r\n";
    XCLogRecord(b.channel, 2).Field(L"unwanted", 1);
    XCString const plain = L"n=-2.5 user\\x20\\x22x\\x22=\"a\\\"\\\\\\n\u20AC\" on=true";
    EXPECT_EQ(b.keeper->seen, L"t\\1\t " + plain + L"\r\n") << "the record of a subscriber came back to it";
    EXPECT_EQ(b.keeper->fields, XCString(L"n:-2.5:1,user \"x\":a\"\\\n\u20AC:0,on:true:2,"));
    EXPECT_EQ(line.Bytes(), "t\\\\1\\t " + plain.AsUTF8() + "\r\nfrom=inside\n");
    EXPECT_EQ(pattern.Bytes(), "test [ " + plain.AsUTF8() + " ] t\\\\1\\t\ntest [from=inside ] \n");
    std::vector<std::string> const lines = log_test::Lines(json.Bytes());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find(R"("text":"t\\1\t","fields":{"n":-2.5,"user \"x\"":"a\"\\\n)"), std::string::npos)
        << lines[0];
    EXPECT_TRUE(lines[0].ends_with("\",\"on\":true}}") &&
                lines[1].ends_with(R"("text":"","fields":{"from":"inside"}})"));
    EXPECT_TRUE(XCLogFieldsOf(b.keeper->seen).empty());
}

TEST(XCLogRecord, WhoHandsAnotherTextOnIsWrittenAsItSays)
{
    struct Masked final : XCFileLogSubscriber {
        using XCFileLogSubscriber::XCFileLogSubscriber;
        void OnChannelFlush(XCString const& channel, int level, XCString const& text) override
        {
            XCFileLogSubscriber::OnChannelFlush(channel, level, XCString(text).Replace(L"4711", L"*"));
        }
    };
    ScratchFile const file("masked.json");
    RecordBench b;
    b.manager.AddSubscriber(new Masked(file.Path(), XCLogOpen::Truncate, true, XCLogLayout::Json));
    XCLogRecord(b.channel, 1).Field(L"card", 4711) << L"paid";
    EXPECT_TRUE(file.Bytes().ends_with("\"text\":\"paid card=*\"}\n")) << file.Bytes();
}

TEST(XCLogField, Values)
{
    RecordBench b;
    char const* const none = nullptr;
    XCLogRecord(b.channel, 1) << XCLogField(L"low", INT64_MIN) << XCLogField(L"high", UINT64_MAX)
                              << XCLogField(L"tenth", 0.1) << XCLogField(L"infinite", -HUGE_VAL)
                              << XCLogField(L"none", none) << XCLogField(L"unit", L'u')
                              << XCLogField(L"bytes", "\xE2\x82\xAC\xFF") << XCLogField(L"date", XCDateEx(2026, 1, 2));
    EXPECT_EQ(b.keeper->fields,
              XCString(L"low:-9223372036854775808:1,high:18446744073709551615:1,tenth:0.1:1,infinite:-inf:0,"
                       L"none:null:3,unit:u:0,bytes:\u20AC\u00FF:0,date:2026/01/02:0,"));
}

TEST(XCLogPattern, Lines)
{
    // fault, pattern, line (runs of digits as one 0)
    Rows<wchar_t const*, char const*> const rows = {
        {"times", L"%T|%U%n", "0-0-0 0:0:0.0|0-0-0T0:0:0.0Z\n"},
        {"level, process, thread", L"%L %l %p %t", "error -0 0 0\n"},
        {"widths", L"<%7L><%-7L><%3L><%-4c>%M", "<  error><error  ><error><\xE2\x82\xAC   >a\tb\n"},
        {"a line that breaks", L"%c %m\r\n", "\xE2\x82\xAC a\\tb\r\n"},
        {"percent signs", L"100%% %m", "0% a\\tb\n"},
        {"no conversion, no line end", L"", "\n"},
    };
    for (auto const& [fault, pattern, line] : rows) {
        SCOPED_TRACE(fault);
        ScratchFile const file("pattern.log");
        XCSmartPtr<XCFileLogSubscriber> const log(new XCFileLogSubscriber(file.Path()));
        log->SetPattern(XCLogPattern(pattern));
        log->OnChannelFlush(L"\u20AC", -2, L"a\tb\r\n");
        EXPECT_EQ(log_test::Collapsed(file.Bytes()), line);
    }
}

TEST(XCLogPattern, FaultsTellTheirPlace)
{
    for (wchar_t const* const pattern : {L"ab%", L"ab%x", L"ab%-m", L"ab%100m", L"ab%5", L"ab%5%"}) {
        XCErrorID const fault = XCLogPattern().Compile(pattern);
        ASSERT_EQ(static_cast<int>(fault), XCErrLogPattern);
        EXPECT_EQ(fault->GetParameterValueAsString(1, XCExecContext()), XCString(L"3"));
        EXPECT_THROW((void)XCLogPattern(pattern), XCException);
    }
}

TEST(XCLogLevel, NamesAndNumbers)
{
    XCString seen;
    for (wchar_t const* const text : {L"Error", L"warning", L"INFO", L"debug", L"trace", L"off", L"all", L"-7",
                                      L"2147483647", L"", L"inf", L"1x", L"2147483648", L"+1", L"-00000000001"})
    {
        int level = 99;
        bool const isLevel = XCLogLevelFromText(text, level);
        seen += XCString().Format(L"%s=%d%s ", text, level, isLevel ? XCLogLevelName(level) : std::wstring_view(L"?"));
    }
    EXPECT_EQ(seen.AsUTF8(),
              XCString(L"Error=-1error warning=0warning INFO=1info debug=2debug trace=3trace off=-2147483648error "
                       L"all=2147483647trace -7=-7error 2147483647=2147483647trace =99? inf=99? 1x=99? "
                       L"2147483648=99? +1=99? -00000000001=99? ")
                  .AsUTF8());
}

} // namespace
