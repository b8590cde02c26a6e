// Where modules are looked for: folders, list files, names of every sort.
#include "host/host_tools.h"

namespace {

using namespace xc_test;

constexpr wchar_t kReaderDone[] = L">>>> Initializing <Reader>... Done.\n";

TEST(ModulePaths, FoldersWithBlanksForeignLettersAndVeryLongNames)
{
    std::wstring const longName(120, L'l');
    for (std::wstring const& below : {std::wstring(L"two words"), std::wstring(L"Gr\u00F6\u00DFe \u6587"),
                                      longName + L"\\" + longName + L"\\" + longName})
    {
        ModuleFolder const folder({}, below);
        folder.Add("reader");
        ExpectSaid(Session(folder), kReaderDone);
        ExpectSaid(Session(folder, L"\\"), kReaderDone); // a separator at the end changes nothing
    }
}

TEST(ModulePaths, FilesThatAreNoModules)
{
    ModuleFolder const folder({"reader", "needs_helper"});
    folder.Write("broken.osx", "no library at all");
    folder.Write("notes.osxx", "not looked at");
    std::filesystem::create_directory(folder.path / "folder.osx");
    Session const session(folder);
    ExpectSaid(session,
               L"LoadLibrary fails on @\\broken.osx\nERR> ***Bad EXE format for @\\broken.osx (system error 193)\n");
    ExpectSaid(session, L"LoadLibrary fails on @\\needs_helper.osx\nERR> ***@\\needs_helper.osx: ");
    ExpectSaid(session, kReaderDone);
    EXPECT_EQ(session.Count(L"LoadLibrary fails"), 2);

    copy_file(ModuleFolder::Source() / "host_helper.dll", folder.path / "host_helper.dll");
    ExpectSaid(Session(folder), L">>>> Initializing <NeedsHelper>... Done.\n");
}

TEST(ModulePaths, NothingToLoad)
{
    ModuleFolder const empty({});
    EXPECT_EQ(Session(empty, L"\\my.lst").Count(L"The plug-ins list file @\\my.lst does not exist.\n"), 1);
    empty.Write("osx.lst", "");
    Session const nothing(empty);
    EXPECT_EQ(nothing.exitCode, 1);
    ExpectSaid(nothing, L"Couldn't find any OSX to load.\n");
    ExpectSaid(nothing,
               L"ERR> ***no plug-in could be loaded from /osxpath; the current directory is searched instead\n");
}

TEST(ModulePaths, ListsAreFollowedInTheirOrderAndNeverOutOfTheirFolder)
{
    ModuleFolder const folder({"reader", "filter", "twin"});
    std::filesystem::create_directory(folder.path / "sub");
    folder.Write("my.lst", "; comment\r\n\r\n  filter.osx \r\nreader.osx\nreader.osx\nsub\nabsent.osx\n"
                           "..\\outside.osx\nc:\\evil.osx\n");
    Session const session(folder, L"\\my.lst");
    ExpectSaid(session, L"my.lst: ..\\outside.osx is not inside the folder of the list\n");
    ExpectSaid(session, L"my.lst: c:\\evil.osx is not inside the folder of the list\n");
    ExpectSaid(session, L"LoadLibrary fails on @\\sub\n");
    ExpectSaid(session, L"LoadLibrary fails on @\\absent.osx\n");
    ExpectSaid(session, L"<Reader>... Done.\nERR> ***<Reader> is already loaded\n"
                        L"LoaPlugIn failed on @\\reader.osx: AddPlugIn failed\n"
                        L">>>> Initializing <Filter>... Done.\n");
    EXPECT_EQ(session.Count(L"Twin"), 0);
}

TEST(ModulePaths, ListsInEveryEncodingAndOneThatAnotherProgramHolds)
{
    for (auto const& [encoding, bytes, said] : Rows<std::string_view, wchar_t const*>{
             {"UTF-16", {"\xFF\xFEr\0e\0a\0d\0e\0r\0.\0o\0s\0x\0", 22}, kReaderDone},
             {"the ANSI code page", "; \xE9\nreader.osx", kReaderDone},
             {"half a unit",
              {"\xFF\xFEr\0e", 5},
              L"ERR> ***The plug-ins list file @\\osx.lst is no text in its encoding.\n"},
         })
    {
        SCOPED_TRACE(encoding);
        ModuleFolder const folder({"reader"});
        folder.Write("osx.lst", bytes);
        ExpectSaid(Session(folder), said);
    }
    ModuleFolder const folder({"reader"});
    folder.Write("osx.lst", "reader.osx");
    HANDLE const held =
        ::CreateFileW(folder.Path("osx.lst").AsWChar(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ExpectSaid(Session(folder), L"ERR> ***The plug-ins list file @\\osx.lst cannot be read (system error 32: ");
    ::CloseHandle(held);
}

TEST(ModulePaths, EveryOsxPathIsLoadedAndJoinsTheSearchPathOnce)
{
    ModuleFolder const first({"reader"});
    ModuleFolder const second({"filter"});
    second.Write("my.lst", "filter.osx");
    XCString const option = L" \"/osxpath:" + first.Path() + L"\" \"/osxpath:" + second.Path() + L"\\my.lst\"";
    for (int round = 0; round < 2; ++round) {
        XCApplicationWithPlugIns host(L"host /noconsole" + option, ListenerPtr(new Listener), false);
        EXPECT_EQ(host.LoadAndRun(), 0);
        EXPECT_EQ(host.GetLoadedPlugIns().size(), 2u);
    }
    XCString const path = XCGetEnv(L"PATH").value_or(XCString());
    for (ModuleFolder const* const folder : {&first, &second}) {
        std::size_t const at = path.Find(L";" + folder->Path());
        ASSERT_NE(at, XCString::npos);
        EXPECT_EQ(path.Find(folder->Path(), at + 2), XCString::npos);
    }
    EXPECT_EQ(path.Find(L"my.lst"), XCString::npos);
    EXPECT_FALSE(XCApplication::AddToPath(L""));
    EXPECT_FALSE(XCApplication::AddToPath(nullptr));
}

} // namespace
