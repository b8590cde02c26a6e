#include "log_files.h"

namespace {

/// The trace of this process in a folder of its own, switched off again at the end.
struct TraceBench {
    log_test::ScratchFile folder{"trace_folder"};
    explicit TraceBench(wchar_t const* subjects = nullptr)
    {
        XCTrace::SetTraceSubjects(subjects);
        XCTrace::SetTraceLevel(XCTrace::TraceErrors);
        XCTrace::SetTraceDelim(9);
        EXPECT_TRUE(XCTrace::SetTraceFolderName(L"trace_folder/inner"));
    }
    ~TraceBench()
    {
        XCTrace::SetTraceSubjects(nullptr);
        XCTrace::SetTraceLevel(1);
        XCTrace::SetTraceDelim(9);
    }
    /// All bytes of the one file in the folder.
    static std::string Bytes()
    {
        return log_test::ReadFile(std::filesystem::directory_iterator("trace_folder/inner")->path().string());
    }
};

TEST(XCTrace, RecordsWantBothMasksAndTheFile)
{
    TraceBench b;
    EXPECT_FALSE(XCTrace::IsTracingEnabled());
    EXPECT_FALSE(XCTrace::TraceThisSubject(1, XCTrace::TraceConfig)) << "no subject chosen";
    EXPECT_TRUE(XCTrace::SetTraceSubjects(L" config,\tRegEx ,, 0x8000") && XCTrace::IsTracingEnabled());
    // fault, level, subject, wanted
    Rows<int, int, bool> const rows = {
        {"chosen subject", 1, XCTrace::TraceConfig, true},
        {"one bit of several", XCTrace::TraceErrors | XCTrace::TraceData, XCTrace::TraceRegEx | XCTrace::TraceXml,
         true},
        {"number in the list", 1, XCTrace::TraceUser, true},
        {"other subject", 1, XCTrace::TraceXml, false},
        {"other level", XCTrace::TraceInfo, XCTrace::TraceConfig, false},
        {"no level", 0, XCTrace::TraceConfig, false},
    };
    for (auto const& [fault, level, subject, wanted] : rows) {
        SCOPED_TRACE(fault);
        EXPECT_EQ(XCTrace::TraceThisSubject(level, subject), wanted);
    }
    EXPECT_TRUE(XCTrace::SetTraceLevel(XCTrace::TraceInfo));
    EXPECT_TRUE(XCTrace::TraceThisSubject(XCTrace::TraceErrors, XCTrace::TraceConfig)) << "bit 0 is always set";
    EXPECT_FALSE(XCTrace::SetTraceSubjects(L"config,nonsense,0x1FFFFFFFF"));
    EXPECT_TRUE(XCTrace::TraceThisSubject(1, XCTrace::TraceConfig)) << "the good items hold";
    EXPECT_FALSE(XCTrace::TraceThisSubject(1, XCTrace::TraceRegEx)) << "the old list holds on";
    EXPECT_TRUE(XCTrace::SetTraceSubjects(L"all") && XCTrace::TraceThisSubject(1, 0x40000000));
}

TEST(XCTrace, BytesOfRecords)
{
    TraceBench const b(L"ALL");
    XCTrace::SetTraceDelim(';');
    XCTrace::Msg(1, XCTrace::TraceLog, L"here", L"%s=%d", L"x", 5);
    XCTrace::Msg(1, XCTrace::TraceLog | XCTrace::TraceApp, nullptr, L"ended\n");
    unsigned char bytes[18] = {0x00, 0xAB};
    XCTrace::MsgHex(1, XCTrace::TraceLog, L"hex", L"a text", bytes, sizeof bytes);
    XCTrace::MsgHex(1, XCTrace::TraceLog, L"hex", L"empty", bytes, 0);
    XCTrace::MsgObject(1, XCTrace::TraceLog, L"obj", L"text");
    std::string const thread =
        log_test::Lines(b.Bytes())[0].substr(24, log_test::Lines(b.Bytes())[0].find(';', 24) - 24);
    std::string const stamp = "0000-00-00;00:00:00.000;";
    std::vector<std::string> const expected = {";here;1;LOG;x=5",
                                               ";;1;APP+LOG;ended",
                                               ";hex;1;LOG;(nrbytes=18): a text",
                                               "  0000:00AB0000000000000000000000000000",
                                               "  0016:0000",
                                               ";hex;1;LOG;(nrbytes=0): empty",
                                               ";obj;1;LOG;text"};
    std::vector<std::string> const lines = log_test::Lines(b.Bytes());
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        bool const isRow = expected[i][0] == ' ';
        EXPECT_EQ(isRow ? lines[i] : lines[i].substr(std::min<std::size_t>(24, lines[i].size())),
                  isRow ? expected[i] : thread + expected[i]);
        if (!isRow) {
            EXPECT_EQ(log_test::Digitless(lines[i].substr(0, 24)), stamp);
        }
    }
}

TEST(XCTrace, MessagesAndOriginsCannotFakeARecord)
{
    TraceBench const b(L"ALL");
    XCTrace::Msg(1, 1, L"or\tig\nin", L"%s", L"a\r\n2026-11-22;00:00:00.000\tb\x1B[2J\u202E\r\n");
    XCTrace::MsgObject(1, 1, L"o", L"a\nb");
    XCTrace::MsgHex(1, 1, L"o", L"ti\ntle", L"te\nxt", "x", 1);
    std::vector<std::string> lines = log_test::Lines(b.Bytes());
    for (std::string& line : lines)
        if (line[0] == '2') line = line.substr(line.find('\t', 24) + 1);
    std::vector<std::string> const expected = {"or\\tig\\nin\t1\tGENERAL\ta",
                                               "    2026-11-22;00:00:00.000\tb\\x1B[2J\\u202E",
                                               "o\t1\tGENERAL\ta",
                                               "    b",
                                               "o\t1\tGENERAL\tti\\ntle(nrbytes=1): te\\nxt",
                                               "  0000:78"};
    EXPECT_EQ(lines, expected);
}

TEST(XCTrace, DelimitersOutOfRangeFallBackToTab)
{
    TraceBench const b(L"ALL");
    // delimiter, accepted, bytes
    Table<int, bool, char const*> const rows = {
        {0, false, "\to\t1\t"}, {1, true, "o\1"}, {255, true, "o\303\277"}, {256, false, "\to\t"}};
    for (auto const& [delimiter, accepted, bytes] : rows) {
        SCOPED_TRACE(delimiter);
        EXPECT_EQ(XCTrace::SetTraceDelim(delimiter), accepted);
        XCTrace::Msg(1, 1, L"o", L"m");
        EXPECT_NE(log_test::Lines(b.Bytes()).back().find(bytes), std::string::npos);
    }
}

TEST(XCTrace, FolderThatCannotBeHad)
{
    TraceBench const b(L"ALL");
    log_test::ScratchFile const file("x", "no_folder");
    std::uint64_t const before = XCTrace::GetFailureCount();
    EXPECT_FALSE(XCTrace::SetTraceFolderName(L"no_folder/inner") || XCTrace::TraceThisSubject(1, 1));
    EXPECT_GT(XCTrace::GetFailureCount(), before);
    EXPECT_TRUE(XCTrace::SetTraceFolderName(L"trace_folder/inner/") && XCTrace::TraceThisSubject(1, 1));
}

TEST(XCTrace, RecordsOfManyThreadsStayWhole)
{
    TraceBench const b(L"ALL");
    OnThreads(4, [](int writer) {
        for (int i = 0; i < 100; ++i) XCTrace::Msg(1, 1, L"o", L"%s", log_test::WholeRecord(writer, i).AsWChar());
    });
    std::string messages;
    for (std::string const& line : log_test::Lines(b.Bytes())) messages += line.substr(line.rfind('\t') + 1) + "\n";
    EXPECT_TRUE(log_test::AllWhole(messages, 4, 100));
}

} // namespace
