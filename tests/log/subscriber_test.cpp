#include "log_files.h"

namespace {

using log_test::ScratchFile;
using FilePtr = XCSmartPtr<XCFileLogSubscriber>;

TEST(XCFileLogSubscriber, OpensLateAndWritesAsItStands)
{
    ScratchFile const file("subscriber.log");
    {
        FilePtr const log(new XCFileLogSubscriber(file.Path()));
        log->OnFlush(2, L"too detailed\n");
        EXPECT_FALSE(file.Exists()) << "opened by a block that was ignored";
        log->OnFlush(1, L"a\nb\r\n\u20AC");
        EXPECT_EQ(file.Bytes(), "a\nb\r\n\xE2\x82\xAC");
        log->Close();
        log->OnFlush(0, L"again");
        EXPECT_EQ(file.Bytes(), "a\nb\r\n\xE2\x82\xAC"
                                "again")
            << "truncated by opening again";
    }
    FilePtr(new XCFileLogSubscriber(file.Path(), XCLogOpen::Append))->OnFlush(1, L"!");
    EXPECT_TRUE(file.Bytes().ends_with("again\n!")) << "append flag";
    FilePtr const buffered(new XCFileLogSubscriber(file.Path(), XCLogOpen::Truncate, false));
    buffered->OnFlush(1, L"new");
    EXPECT_EQ(file.Bytes(), "") << "not opened by the first block, or written without auto-flush";
    buffered->Flush();
    EXPECT_EQ(file.Bytes(), "new");
}

struct AsyncRow {
    char const* fault;
    XCLogAsync options;
    int threads;
    bool flushes;
};

TEST(XCFileLogSubscriber, AsyncKeepsEachThreadsOrderAndLosesOnlyWhatItCounts)
{
    AsyncRow const rows[] = {
        {"lost at a flush", {}, 1, true},
        {"lost at the destructor", {}, 4, false},
        {"over the limit, or never woken at it", {100, XCLogWhenFull::Wait}, 4, false},
        {"dropped without being counted", {64, XCLogWhenFull::Drop}, 2, true},
        {"a limit of nothing never has room", {0, XCLogWhenFull::Wait}, 2, true},
    };
    constexpr int kEach = 200;
    for (AsyncRow const& row : rows) {
        ScratchFile const file("async.log");
        FilePtr log(new XCFileLogSubscriber(file.Path()));
        log->OnFlush(1, L"first\n");
        ASSERT_TRUE(log->SetAsync(row.options).Good()) << row.fault;
        std::vector<std::thread> threads;
        for (int t = 0; t < row.threads; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < kEach; ++i) log->OnFlush(1, XCString().Format(L"%d %d\n", t, i));
            });
        for (std::thread& thread : threads) thread.join();
        if (row.flushes) log->Flush();
        auto const lost = static_cast<std::size_t>(log->GetFailureCount());
        if (!row.flushes) log.Clear();
        std::vector<std::string> const lines = log_test::Lines(file.Bytes());
        ASSERT_EQ(lines.size() + lost, 1u + static_cast<std::size_t>(row.threads * kEach)) << row.fault;
        EXPECT_TRUE(row.options.whenFull == XCLogWhenFull::Drop || lost == 0) << row.fault;
        EXPECT_EQ(lines[0], "first") << row.fault;
        std::vector<int> next(4, 0);
        for (std::size_t i = 1; i < lines.size(); ++i) {
            int thread = 0, number = 0;
            ASSERT_EQ(std::sscanf(lines[i].c_str(), "%d %d", &thread, &number), 2) << row.fault << ": " << lines[i];
            EXPECT_GE(number, next[static_cast<std::size_t>(thread)]) << row.fault;
            next[static_cast<std::size_t>(thread)] = number + 1;
        }
    }
}

TEST(XCFileLogSubscriber, AsyncBlocksArriveOnTheirOwn)
{
    ScratchFile const file("async.log");
    FilePtr const log(new XCFileLogSubscriber(file.Path()));
    ASSERT_TRUE(log->SetAsync().Good());
    for (char const* const text : {"a\n", "a\nb\n"}) { // the second one after the thread has slept
        log->OnFlush(1, text[2] ? L"b\n" : L"a\n");
        while (file.Bytes() != text) std::this_thread::yield(); // the time limit of the test is the fault
    }
    log->Close();
    log->OnFlush(1, L"c\n");
    log->Flush();
    EXPECT_EQ(file.Bytes(), "a\nb\nc\n");
}

TEST(XCFileLogSubscriber, MissingFolderIsSeenAndTriedAgain)
{
    ScratchFile const folder("missing_folder");
    FilePtr const log(new XCFileLogSubscriber(folder.Path() + L"/x.log"));
    EXPECT_TRUE(log->IsValid());
    log->OnFlush(1, L"1\n");
    EXPECT_FALSE(log->IsValid());
    EXPECT_EQ(log->GetFailureCount(), 1u);
    EXPECT_TRUE(log->GetLastFailure().Find(L"missing_folder") != XCString::npos);
    std::filesystem::create_directory("missing_folder");
    XCThread::Sleep(300);
    log->OnFlush(1, L"2\n");
    EXPECT_TRUE(log->IsValid()) << "no record tries again";
    log->Close();
    EXPECT_EQ(log_test::ReadFile("missing_folder/x.log"), "1\n2\n") << "a record was lost";
}

TEST(XCFileLogSubscriber, AFileThatEndsInsideARecordIsContinuedOnANewLine)
{
    for (XCLogLayout const layout : {XCLogLayout::AsIs, XCLogLayout::OneLine, XCLogLayout::Json}) {
        SCOPED_TRACE(static_cast<int>(layout));
        for (std::string const before : {"", "whole\n", "cut"}) {
            ScratchFile const file(before, "continued.log");
            FilePtr(new XCFileLogSubscriber(file.Path(), XCLogOpen::Append, true, layout))->OnFlush(1, L"x\n");
            std::vector<std::string> const lines = log_test::Lines(file.Bytes());
            EXPECT_EQ(lines.size(), before.empty() ? 1u : 2u) << file.Bytes();
            EXPECT_EQ(lines[0] + "\n", before == "cut" ? "cut\n" : before.empty() ? lines[0] + "\n" : before);
        }
    }
}

TEST(XCFileLogSubscriber, OneLineLayout)
{
    ScratchFile const file("oneline.log");
    FilePtr const log(new XCFileLogSubscriber(file.Path(), XCLogOpen::Truncate, true, XCLogLayout::OneLine));
    log->OnFlush(1, L"user=x\nERR> forged\r\n");
    log->OnFlush(1, L"no end");
    EXPECT_EQ(file.Bytes(), "user=x\\nERR> forged\r\nno end\n");
}

TEST(XCFileLogSubscriber, OneLineLayoutFindsWhatToWriteOutAtEachPlace)
{
    ScratchFile const file("places.log");
    FilePtr const log(new XCFileLogSubscriber(file.Path(), XCLogOpen::Truncate, true, XCLogLayout::OneLine));
    std::string expected;
    for (auto const& [unit, written] : {std::pair(L'\x1F', "\\x1F"),
                                        {L'\x7F', "\\x7F"},
                                        {L'\\', "\\\\"},
                                        {L'\x9F', "\\x9F"},
                                        {L'\x2028', "\\u2028"},
                                        {L'~', "~"},
                                        {L'\xE9', "\xC3\xA9"}})
        for (std::size_t at = 0; at < 19; ++at) {
            XCString text(L' ', 19);
            text.Set(at, unit);
            log->OnFlush(1, text);
            expected += std::string(at, ' ') + written + std::string(18 - at, ' ') + "\n";
        }
    EXPECT_EQ(file.Bytes(), expected);
}

TEST(XCJsonLogSubscriber, OneObjectARecord)
{
    ScratchFile const file("records.json");
    FilePtr const log(new XCJsonLogSubscriber(file.Path()));
    log->OnChannelFlush(L"main \"1\"", 1, L"a\"\\\n\t\x01\u20AC\xD83D\xDE00\xD83D\x7F\u009B\u2028\u202E\n");
    log->OnFlush(-2, L"x");
    std::vector<std::string> const lines = log_test::Lines(file.Bytes());
    ASSERT_EQ(lines.size(), 2u);
    std::string const head = R"({"time":"0-0-0T0:0:0.0Z","level":)";
    EXPECT_EQ(log_test::Collapsed(lines[0]).substr(0, head.size()), head);
    EXPECT_NE(lines[0].find(R"("level":1,"channel":"main \"1\"","process":)"), std::string::npos);
    std::string const text = R"("text":"a\"\\\n\t\u0001)"
                             "\xE2\x82\xAC\xF0\x9F\x98\x80"
                             R"(\uD83D\u007F\u009B\u2028\u202E"})";
    EXPECT_TRUE(lines[0].ends_with(text)) << lines[0];
    EXPECT_EQ(log_test::Collapsed(lines[1]), head + R"(-0,"process":0,"thread":0,"text":"x"})");
}

/// Files of one rotation, in a folder of their own.
struct RotationBench {
    ScratchFile folder{"rotation"};
    RotationBench() { std::filesystem::create_directory("rotation"); }

    static FilePtr Open(XCLogRotation const& rotation, bool autoFlush = true)
    {
        return FilePtr(new XCRotatingFileLogSubscriber(L"rotation/x.log", rotation, autoFlush));
    }
    static std::string Read(char const* name) { return log_test::ReadFile(std::string("rotation/") + name); }
    static std::string All()
    {
        return Read("x.log") + " " + Read("x.log.1") + " " + Read("x.log.2") + " " + Read("x.log.3");
    }
};

TEST(XCRotatingFileLogSubscriber, BySize)
{
    for (bool const autoFlush : {true, false}) {
        SCOPED_TRACE(autoFlush ? "written at once" : "buffered");
        RotationBench b;
        FilePtr log = b.Open({.maxBytes = 4, .keepFiles = 2}, autoFlush);
        for (wchar_t const* const text : {L"aa", L"aa", L"bbb", L"cccccc", L"d"}) log->OnFlush(1, text);
        log->Close();
        EXPECT_EQ(b.All(), "d cccccc bbb -") << "split, order or count of files kept";
        log = b.Open({.maxBytes = 4, .keepFiles = 2}, autoFlush);
        log->OnFlush(1, L"eee");
        log->OnFlush(1, L"f");
        log->Close();
        EXPECT_EQ(b.All(), "eeef d cccccc -") << "the size found at opening is not counted";
        EXPECT_EQ(log->GetFailureCount(), 0u);
    }
}

TEST(XCRotatingFileLogSubscriber, RecordsThatWereHeldKeepToTheLimit)
{
    ScratchFile const folder("rotation");
    FilePtr const log = RotationBench::Open({.maxBytes = 2, .daily = false, .keepFiles = 5});
    for (wchar_t const* const text : {L"a\n", L"b\n", L"c\n"}) log->OnFlush(1, text);
    std::filesystem::create_directory("rotation");
    log->Flush();
    EXPECT_EQ(RotationBench::All(), "c\n b\n a\n -") << "written to one file";
}

TEST(XCRotatingFileLogSubscriber, ByDay)
{
    RotationBench b;
    b.Open({.daily = true})->OnFlush(1, L"yesterday");
    std::filesystem::path const path = "rotation/x.log";
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) - std::chrono::hours(24));
    FilePtr const log = b.Open({.daily = true});
    log->OnFlush(1, L"today");
    log->OnFlush(1, L" too");
    EXPECT_EQ(b.All(), "today too yesterday - -");
}

TEST(XCRotatingFileLogSubscriber, GoesOnWhenARenameIsRefused)
{
    RotationBench b;
    std::filesystem::create_directories("rotation/x.log.1/occupied"); // no file can take this name
    FilePtr log = b.Open({.maxBytes = 2, .keepFiles = 1});
    for (wchar_t const* const text : {L"aa", L"bb", L"cc"}) log->OnFlush(1, text);
    EXPECT_EQ(b.Read("x.log"), "aabbcc") << "a record was lost";
    EXPECT_EQ(log->GetFailureCount(), 1u) << "tried for every record, or not counted";
    EXPECT_TRUE(log->IsValid());
    log->Close();
    std::filesystem::remove_all("rotation/x.log.1");
    log = b.Open({.maxBytes = 2, .keepFiles = 1});
    log->OnFlush(1, L"dd");
    EXPECT_EQ(b.All(), "dd aabbcc - -");
}

} // namespace
