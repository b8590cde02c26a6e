// What records take, their fields in every layout, layouts from patterns, names of levels.
#include "log_files.h"

#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLog.h>

#include <functional>
#include <iomanip>
#include <limits>

namespace {

using log_test::ScratchFile;

/// Keeps the texts that it is served, and their fields as "name:value:kind,".
class Keeper : public XCLogSubscriberI {
public:
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

enum OldKind { kOldTwo = 2 };
enum class NewKind : char { Five = 5 };

TEST(XCLogRecord, Takes)
{
    struct Row {
        char const* fault;
        void (*write)(XCLogRecord&);
        wchar_t const* text;
    };
    Row const rows[] = {
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
    for (Row const& row : rows) {
        SCOPED_TRACE(row.fault);
        RecordBench b;
        {
            XCLogRecord record(b.channel, 1);
            row.write(record);
        }
        EXPECT_EQ(b.keeper->seen, XCString(row.text) + L"\n");
        XCLogRecord unwanted(b.channel, 2);
        row.write(unwanted);
    }
}

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
    EXPECT_TRUE(lines[0].ends_with(R"("text":"t\\1\t","fields":{"n":-2.5,"user \"x\"":"a\"\\\n)"
                                   "\xE2\x82\xAC\",\"on\":true}}"))
        << lines[0];
    EXPECT_TRUE(lines[1].ends_with(R"("text":"","fields":{"from":"inside"}})")) << lines[1];
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
    using Kind = XCLogField::Kind;
    XCLogField const fields[] = {
        {L"lowest", std::numeric_limits<std::int64_t>::min()},
        {L"highest", std::numeric_limits<std::uint64_t>::max()},
        {L"tenth", 0.1},
        {L"infinite", -std::numeric_limits<double>::infinity()},
        {L"no text", static_cast<char const*>(nullptr)},
        {L"unit", L'u'},
        {L"bytes", std::string_view("\xE2\x82\xAC\xFF")},
        {L"new", NewKind::Five},
        {L"date", XCDateEx(2026, 1, 2)},
    };
    std::pair<XCString, Kind> const expected[] = {
        {L"-9223372036854775808", Kind::Number},
        {L"18446744073709551615", Kind::Number},
        {L"0.1", Kind::Number},
        {L"-inf", Kind::Text},
        {L"null", Kind::Null},
        {L"u", Kind::Text},
        {L"\u20AC\u00FF", Kind::Text},
        {L"\x5", Kind::Text},
        {XCDateEx(2026, 1, 2).AsString(), Kind::Text},
    };
    for (std::size_t i = 0; i < std::size(fields); ++i) {
        EXPECT_EQ(fields[i].GetValue(), expected[i].first) << fields[i].GetName().AsUTF8();
        EXPECT_EQ(fields[i].GetKind(), expected[i].second) << fields[i].GetName().AsUTF8();
    }
}

TEST(XCLogPattern, Lines)
{
    struct Row {
        char const* fault;
        wchar_t const* pattern;
        char const* line; // runs of digits as one 0
    };
    Row const rows[] = {
        {"times", L"%T|%U%n", "0-0-0 0:0:0.0|0-0-0T0:0:0.0Z\n"},
        {"level, process, thread", L"%L %l %p %t", "error -0 0 0\n"},
        {"widths", L"<%7L><%-7L><%3L><%-4c>%M", "<  error><error  ><error><\xE2\x82\xAC   >a\tb\n"},
        {"a line that breaks", L"%c %m\r\n", "\xE2\x82\xAC a\\tb\r\n"},
        {"percent signs", L"100%% %m", "0% a\\tb\n"},
        {"no conversion, no line end", L"", "\n"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.fault);
        ScratchFile const file("pattern.log");
        XCSmartPtr<XCFileLogSubscriber> const log(new XCFileLogSubscriber(file.Path()));
        XCLogPattern pattern;
        EXPECT_TRUE(pattern.Compile(row.pattern).Good());
        log->SetPattern(pattern);
        log->OnChannelFlush(L"\u20AC", -2, L"a\tb\r\n");
        EXPECT_EQ(log_test::Collapsed(file.Bytes()), row.line);
    }
}

TEST(XCLogPattern, FaultsTellTheirPlace)
{
    for (wchar_t const* const pattern : {L"ab%", L"ab%x", L"ab%-m", L"ab%100m", L"ab%5", L"ab%5%"}) {
        XCErrorID const fault = XCLogPattern().Compile(pattern);
        EXPECT_EQ(static_cast<int>(fault), XCErrLogPattern);
        EXPECT_TRUE(fault.AsString().Find(L"position 3") != XCString::npos) << fault.AsString().AsUTF8();
        EXPECT_THROW((void)XCLogPattern(pattern), XCException);
    }
}

TEST(XCLogLevel, NamesAndNumbers)
{
    struct Row {
        wchar_t const* text;
        int level;
        wchar_t const* name;
    };
    for (Row const& row : std::initializer_list<Row>{{L"Error", -1, L"error"},
                                                     {L"warning", 0, L"warning"},
                                                     {L"INFO", 1, L"info"},
                                                     {L"debug", 2, L"debug"},
                                                     {L"trace", 3, L"trace"},
                                                     {L"off", XCLogNothing, L"error"},
                                                     {L"all", XCLogEverything, L"trace"},
                                                     {L"-7", -7, L"error"},
                                                     {L"2147483647", XCLogEverything, L"trace"}})
    {
        int level = 99;
        EXPECT_TRUE(XCLogLevelFromText(row.text, level));
        EXPECT_EQ(level, row.level);
        EXPECT_EQ(XCLogLevelName(level), row.name);
    }
    for (wchar_t const* const text : {L"", L"inf", L"1x", L"2147483648", L"+1", L"\u0131nfo", L"-00000000001"}) {
        int level = 99;
        EXPECT_FALSE(XCLogLevelFromText(text, level));
        EXPECT_EQ(level, 99);
    }
}

} // namespace
