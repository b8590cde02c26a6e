// Paths are absolute from their making, and a name with U+0000 names nothing.

#include "prelude.h"
#include "scratch_files.h"
#include "win32/FileSystem.h"

namespace {

using xc::win32::SystemPath;

TEST(SystemPath, Forms)
{
    std::wstring const name(SystemPath::kLongFrom, L'n');
    // fault, given, text, system
    Rows<std::wstring, std::wstring, std::wstring> const rows = {
#if defined(_WIN32)
        {"not normalised", L"C:/a/./b/../c.log", L"C:\\a\\c.log", L"C:\\a\\c.log"},
        {"prefix too early", L"C:\\" + name.substr(4), L"C:\\" + name.substr(4), L"C:\\" + name.substr(4)},
        {"prefix missing", L"C:/" + name.substr(3), L"C:\\" + name.substr(3), L"\\\\?\\C:\\" + name.substr(3)},
        {"share", L"\\\\s\\f\\" + name, L"\\\\s\\f\\" + name, L"\\\\?\\UNC\\s\\f\\" + name},
        {"second prefix", L"\\\\?\\C:\\" + name, L"\\\\?\\C:\\" + name, L"\\\\?\\C:\\" + name},
        {"device taken for a share", L"\\\\.\\" + name, L"\\\\.\\" + name, L"\\\\.\\" + name},
#endif
        {"empty name becomes the current folder", L"", L"", L""},
        {"cut at U+0000", std::wstring(L"x\0y", 3), std::wstring(L"x\0y", 3), L"|"},
    };
    for (auto const& [fault, given, text, system] : rows) {
        SCOPED_TRACE(fault);
        SystemPath const path(given);
        EXPECT_TRUE(path.Text() == text);
        EXPECT_TRUE(path.ForSystem() == system) << XCString(path.ForSystem()).AsMbString();
    }
    EXPECT_TRUE(SystemPath(L"x").Child(name).WithSuffix(L".1").Folder().Text() == SystemPath(L"x").Text());
    EXPECT_TRUE(SystemPath(L"x").WithSuffix(std::wstring_view(L"\0y", 2)).ForSystem() == std::wstring(L"|"));
}

/// A way to use a file by its name: made, then used while another folder is the current one.
// fault, make
Rows<std::function<std::function<void()>(XCString const& name)>> const kUses = {
    {"log file",
     [](XCString const& name) {
         XCSmartPtr<XCLogFile> const log(new XCLogFile);
         EXPECT_EQ(log->Open(name).Good(), name.Find(L'\0') == XCString::npos);
         return [log] { log->Log(L"x"); };
     }},
    {"subscriber",
     [](XCString const& name) {
         XCSmartPtr<XCFileLogSubscriber> const log(new XCFileLogSubscriber(name));
         return [log] { log->OnFlush(1, L"x\n"); };
     }},
    {"rotating file",
     [](XCString const& name) {
         XCLogRotation const rotation{.maxBytes = 2, .daily = false, .keepFiles = 1};
         XCSmartPtr<XCFileLogSubscriber> const log(new XCRotatingFileLogSubscriber(name, rotation));
         log->OnFlush(1, L"a\n");
         return [log] { log->OnFlush(1, L"b\n"); };
     }},
    {"configuration file",
     [](XCString const& name) {
         XCSmartPtr<XCConfigFile> const file(new XCConfigFile(name));
         file->SetString(L"s", L"k", L"v");
         return [file, name] { EXPECT_EQ(file->Save().Good(), name.Find(L'\0') == XCString::npos); };
     }},
    {"error log",
     [](XCString const& name) {
         XCException::SetErrorLogPath(name);
         return [] {
             XCException(L"x", true).LogInErrorFile(XCException::LogWithoutStack);
             XCException::SetErrorLogPath(L"");
         };
     }},
};

TEST(Paths, StayWhereTheyWereWhenTheObjectWasMade)
{
    std::filesystem::path const before = std::filesystem::current_path();
    for (auto const& [fault, make] : kUses) {
        SCOPED_TRACE(fault);
        ScratchFile const file("stays.txt");
        ScratchFile const aside("stays.txt.1");
        ScratchFile const folder("elsewhere");
        std::filesystem::create_directory("elsewhere");
        auto const go = make(L"stays.txt");
        std::filesystem::current_path("elsewhere");
        go();
        std::filesystem::current_path(before);
        EXPECT_TRUE(file.Exists());
        EXPECT_TRUE(std::filesystem::is_empty("elsewhere")) << "a second file";
        ScratchFile const shorter("shorter");
        make(XCString(std::wstring_view(L"shorter\0name", 12)))();
        EXPECT_FALSE(shorter.Exists()) << "a name with U+0000 was cut and written to";
    }
}

TEST(Paths, TraceFolderStaysWhereItWasWhenItWasChosen)
{
    ScratchFolder const traces("stays_traces"), folder("elsewhere");
    XCTrace::SetTraceFolderName(L"stays_traces");
    std::filesystem::current_path("elsewhere");
    EXPECT_TRUE(XCTrace::SetTraceSubjects(L"ALL"));
    XCTrace::SetTraceSubjects(nullptr);
    std::filesystem::current_path("..");
    EXPECT_EQ(All(traces.Count(), folder.Count()), All(1, 0));
}

} // namespace
