// Long paths where the system has its limit: Wine has none, so the calls of the library are answered here as Windows
// answers them, and those that come without the long form are counted.

#include "win32/FileSystem.h"
#include "win32/path_limit.h"

namespace {

using win32_test::g_bypasses;
using win32_test::g_long;
using win32_test::Limit;
using xc::win32::SystemPath;

TEST(LongPaths, EveryFileOfTheLibraryUsesTheLongForm)
{
    SystemPath const top(L"xc_long");
    SystemPath const folder = top.Child(std::wstring(120, L'f')).Child(std::wstring(120, L'g'));
    ASSERT_GT(folder.Text().size(), std::size_t{MAX_PATH});
    auto const name = [&](wchar_t const* last) { return XCString(folder.Child(last).Text()); };
    {
        Limit const limit;
        EXPECT_TRUE(XCTrace::SetTraceFolderName(XCString(folder.Text()).AsWChar())) << "folders are created";
        EXPECT_TRUE(XCTrace::SetTraceSubjects(L"ALL"));
        XCTrace::SetTraceSubjects(nullptr);
        XCTrace::SetTraceFolderName(L".");
        XCSmartPtr<XCFileLogSubscriber> const log(
            new XCRotatingFileLogSubscriber(name(L"x.log"), {.maxBytes = 1, .daily = true, .keepFiles = 2}));
        for (int i = 0; i < 3; ++i) log->OnFlush(1, L"x\n");
        log->Close();
        EXPECT_EQ(log->GetFailureCount(), 0u) << log->GetLastFailure().AsMbString();
        XCException::SetErrorLogPath(name(L"error.log"));
        EXPECT_TRUE(XCException(L"x", true).LogInErrorFile(XCException::LogWithoutStack));
        XCException::SetErrorLogPath(L"");
        XCConfigFile file(name(L"x.ini"));
        file.SetString(L"s", L"k", L"v");
        EXPECT_TRUE(file.Save().Good());
        EXPECT_TRUE(file.Save().Good()) << "over the old one";
        EXPECT_TRUE(file.Reload().Good());
        XCFileStream stream;
        XCFileInfo info;
        bool same = false;
        EXPECT_TRUE(XCSaveFile::Save(name(L"x.txt"), std::string_view("a\n")).Good());
        EXPECT_TRUE(stream.Open(name(L"x.txt"), XCFileMode::ToAppend()).Good() && stream.WriteLine(L"b").Good());
        EXPECT_TRUE(XCFileInfo::Get(name(L"x.txt"), info).Good());
        EXPECT_TRUE(XCPath(name(L"x.txt")).SameFile(name(L"x.ini"), same).Good() && !same);
    }
    EXPECT_EQ(g_bypasses, 0);
    EXPECT_GE(g_long, 30);
    for (wchar_t const* const file : {L"x.log", L"x.log.1", L"x.log.2", L"error.log", L"x.ini", L"x.txt"})
        EXPECT_EQ(xc::win32::RemoveFile(folder.Child(file)), 0u) << XCString(file).AsMbString();
    std::vector<std::wstring> const traces = xc::win32::FilesIn(folder, L".log");
    EXPECT_EQ(traces.size(), 1u);
    for (std::wstring const& trace : traces) xc::win32::RemoveFile(folder.Child(trace));
    for (SystemPath each = folder; each.Text().size() >= top.Text().size(); each = each.Folder())
        EXPECT_TRUE(::RemoveDirectoryW(each.ForSystem()));
}

} // namespace
