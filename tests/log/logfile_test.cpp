#include "log_files.h"

namespace {

using log_test::ScratchFile;

/// What one call leaves in a fresh file.
template <class Call>
std::string BytesOf(Call const& call)
{
    ScratchFile const file("logfile_test.log");
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    EXPECT_TRUE(log->Open(file.Path()).Good());
    call(*log);
    return file.Bytes();
}

/// The bytes after a time stamp, whose form is checked.
std::string AfterStamp(std::string const& bytes)
{
    EXPECT_EQ(log_test::Digitless(bytes.substr(0, 17)), "00000000 000000> ");
    return bytes.size() > 17 ? bytes.substr(17) : "";
}

TEST(XCLogFile, PutString)
{
    Case<wchar_t const*, char const*> const rows[] = {
        {"inner feed kept", L"a\nb\n", "a~b\r\n"},
        {"end added", L"a", "a"},
        {"lone feed is no record end", L"\n", "\r\n"},
        {"carriage return dropped", L"a\r\n", "a\r\r\n"},
        {"no UTF-8", L"\u00E9\u20AC\xD83D\xDE00", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"half a pair breaks the line", L"a\xD83D\n", "a\xEF\xBF\xBD\r\n"},
        {"empty text writes", L"", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.fault);
        XCString const text(row.given);
        EXPECT_EQ(BytesOf([&](XCLogFile& log) {
                      log.PutString(text);
                      log.Flush();
                  }),
                  row.expected);
    }
}

TEST(XCLogFile, Records)
{
    std::string const most(16381, 'x');
    XCString pairs; // a pair stands across the limit
    std::string pairBytes;
    for (int i = 0; i < 9000; ++i) pairs.Append(L"\xD83D\xDE00", 2);
    for (int i = 0; i < 8190; ++i) pairBytes += "\xF0\x9F\x98\x80";
    // fault, format, text, bytes
    Rows<wchar_t const*, XCString, std::string> const rows = {
        {"carriage return not doubled", L"%s", L"x", "x\r\r\n"},
        {"end added to a format with one", L"%s\n", L"x", "x\r\n"},
        {"the result decides instead of the format", L"%s", L"x\n", "x~\r\r\n"},
        {"empty format", L"", L"", "\r\r\n"},
        {"cut too early", L"%s", XCString(L'x', 16381), most + "\r\r\n"},
        {"end lost", L"%s", XCString(L'x', 20000), most + "\r\r\n"},
        {"end of the format lost", L"%s\n", XCString(L'x', 20000), most + "x\r\n"},
        {"pair taken apart", L"%s", pairs, pairBytes + "\r\r\n"},
    };
    for (auto const& [fault, format, text, bytes] : rows) {
        auto const log = [how = format, what = text](XCLogFile& to) { to.LogArgs(how, what.AsWChar()); };
        std::string const found = AfterStamp(BytesOf(log));
        EXPECT_TRUE(found == bytes) << fault << ": " << found.size() << " bytes, at their end "
                                    << found.substr(found.size() - std::min<std::size_t>(found.size(), 9));
    }
    EXPECT_EQ(AfterStamp(BytesOf([](XCLogFile& log) { log.Log(L"a\nb"); })), "a~b\r\n");
    EXPECT_EQ(AfterStamp(BytesOf([](XCLogFile& log) { log.Log(L"a\n"); })), "a\r\n") << "two line ends";
}

TEST(XCLogFile, EscapedMessagesCannotForgeRecords)
{
    auto const escaped = [](wchar_t const* text) {
        return AfterStamp(BytesOf([&](XCLogFile& log) {
            log.SetEscapeControls(true);
            // Both ways to log.
            text[1] == L'\r' ? log.Log(text) : log.LogArgs(L"%s\n", text);
        }));
    };
    EXPECT_EQ(escaped(L"a\r\n20260101 000000> b\n"), "a\\r\\n20260101 000000> b\r\n");
    EXPECT_EQ(escaped(L"\x1B[2J\t\\n\x7F\x85\u2028\u202E"), "\\x1B[2J\\t\\\\n\\x7F\\x85\\u2028\\u202E\r\n");
}

TEST(XCLogFile, OpenAndBuffering)
{
    ScratchFile const file("logfile_buffer.log");
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    log->PutString(L"lost\n");
    EXPECT_FALSE(log->IsOpen());
    EXPECT_FALSE(file.Exists()) << "written while not open";
    EXPECT_TRUE(log->Open(L"no_such_folder/x.log").Bad());
    EXPECT_FALSE(log->IsOpen());
    EXPECT_EQ(log->GetFailureCount(), 1u);
    EXPECT_TRUE(log->GetLastFailure().Find(L"no_such_folder") != XCString::npos);

    ASSERT_TRUE(log->Open(file.Path()).Good());
    log->SetAutoFlush(false);
    log->PutString(L"1\n");
    EXPECT_EQ(file.Bytes(), "") << "not buffered";
    EXPECT_TRUE(log->Flush());
    EXPECT_EQ(file.Bytes(), "1\r\n");
    log->PutString(L"2\n");
    log->Close();
    EXPECT_EQ(file.Bytes(), "1\r\n2\r\n") << "lost at Close";
    ASSERT_TRUE(log->Open(file.Path()).Good());
    log->SetAutoFlush(true);
    log->PutString(L"3\n");
    EXPECT_EQ(file.Bytes(), "1\r\n2\r\n3\r\n") << "truncated, or not flushed";
}

#if !defined(_WIN32)
TEST(XCLogFile, FullDisk)
{
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    ASSERT_TRUE(log->Open(L"/dev/full").Good());
    log->Log(L"x");
    EXPECT_GE(log->GetFailureCount(), 1u);
    EXPECT_FALSE(log->Flush()) << "the record is not held";
    XCString const big(L'x', 1 << 20);
    for (int i = 0; i < 6; ++i) log->Log(big);
    EXPECT_TRUE(log->GetLastFailure().Find(L"No room") != XCString::npos) << "memory without limit";
    log->Close();
    std::uint64_t const before = log->GetFailureCount();
    ASSERT_TRUE(log->Open(L"/dev/full").Good());
    for (int i = 0; i < 5000; ++i) log->Log(L"x");
    log->Close();
    EXPECT_GE(log->GetFailureCount() - before, 5000u) << "lost records count as one failure";
    EXPECT_TRUE(log->GetLastFailure().Find(L"Gave up 5000 records") != XCString::npos);
    EXPECT_TRUE(log->GetLastFailure().Find(L"system error 28") != XCString::npos) << "the reason is lost";
    ScratchFile const file("logfile_big.log");
    ASSERT_TRUE(log->Open(file.Path()).Good());
    XCString const huge(L'x', 5 << 20);
    log->PutString(huge + L"\n");
    EXPECT_EQ(file.Bytes().size(), (5u << 20) + 2) << "a record is dropped though there is room on the disk";
}
#endif

/// A stream that keeps its text.
struct TextStream : std::wostream {
    struct Buffer : std::wstreambuf {
        int_type overflow(int_type unit) override
        {
            if (fails) return traits_type::eof();
            text.push_back(traits_type::to_char_type(unit));
            return unit;
        }
        std::wstring text;
        bool fails = false;
    } buffer;
    TextStream() : std::wostream(nullptr) { rdbuf(&buffer); }
};

TEST(XCDualLogStream, PassesOnAtOnceAndSurvivesABadTarget)
{
    TextStream first;
    TextStream second;
    XCDualLogStream out(&first, &second);
    out << L"a";
    EXPECT_EQ(first.buffer.text, L"a") << "held back";
    EXPECT_TRUE(out.IsGood());
    first.exceptions(std::ios::badbit);
    first.buffer.fails = true;
    out << L"b\n";
    EXPECT_FALSE(out.IsGood());
    EXPECT_TRUE(out.good()) << "a failing target fails the stream";
    EXPECT_EQ(second.buffer.text, L"ab\n");
}

} // namespace
