// Paths as texts: taken apart, put together, judged. What is right here is right for files, since they see nothing else.

#include "files/shown.h"
#include "prelude.h"
#include "scratch_files.h"

TEST(XCPath, Parts)
{
    using Kind = XCPathKind;
    // fault, path, kind, parts (root, parent, stem, extension, normal form)
    Rows<wchar_t const*, Kind, char const*> const rows = {
        {"empty", L"", Kind::Relative, "||||"},
        {"two dots in a name", L"a.tar.gz", Kind::Relative, "||a.tar|.gz|a.tar.gz"},
        {"hidden name taken for an extension", L"x/.profile", Kind::Relative, "|x|.profile||x\\.profile"},
        {"separator at the end makes a name", L"a\\b.c\\\\", Kind::Relative, "|a|b|.c|a\\b.c"},
        {"dots go past the front", L"a\\..\\..\\b", Kind::Relative, "|a\\..\\..|b||..\\b"},
        {"nothing is left", L"a\\..", Kind::Relative, "|a|..||."},
        {"dots go past the root", L"C:/../a//./b", Kind::Drive, "C:/|C:/../a//.|b||C:\\a\\b"},
        {"root loses its separator", L"C:\\a", Kind::Drive, "C:\\|C:\\|a||C:\\a"},
        {"root alone", L"C:\\\\", Kind::Drive, "C:\\\\||||C:\\"},
        {"drive's own folder", L"C:a\\..\\..\\b", Kind::DriveRelative, "C:|C:a\\..\\..|b||C:..\\b"},
        {"current drive", L"/a/..", Kind::Rooted, "/|/a|..||\\"},
        {"name becomes a drive", L"a\\..\\C:x", Kind::Relative, "|a\\..|C:x||.\\C:x"},
        {"name becomes a long form", L"\\..\\??\\x", Kind::Rooted, "\\|\\..\\??|x||\\.\\??\\x"},
        {"share climbed out of", L"\\\\s\\f\\..\\a", Kind::Share, "\\\\s\\f\\|\\\\s\\f\\..|a||\\\\s\\f\\a"},
        {"slashes of a share", L"//s/f", Kind::Share, "//s/f||||\\\\s\\f"},
        {"share without a server", L"\\\\", Kind::Rooted, "\\\\||||\\"},
        {"server of dots", L"\\\\\\.\\COM1", Kind::Device, "\\\\\\.\\COM1||||\\\\\\.\\COM1"},
        {"literal dots resolved", L"\\\\?\\C:\\..\\b/c", Kind::Literal,
         "\\\\?\\C:\\|\\\\?\\C:\\..|b/c||\\\\?\\C:\\..\\b/c"},
        {"literal share cut", L"\\\\?\\unc\\s\\f\\a", Kind::Literal,
         "\\\\?\\unc\\s\\f\\|\\\\?\\unc\\s\\f\\|a||\\\\?\\unc\\s\\f\\a"},
        {"device taken for a share", L"//./COM1", Kind::Device, "//./COM1||||//./COM1"},
    };
    for (auto const& [fault, rowPath, kind, parts] : rows) {
        XCPath const path(rowPath), normal = path.Normalise();
        EXPECT_EQ(path.GetKind(), kind) << fault;
        EXPECT_EQ(Shown(path.Root().AsString() + L"|" + path.Parent().AsString() + L"|" + path.Stem() + L"|" +
                        path.Extension() + L"|" + normal.AsString()),
                  parts)
            << fault;
        EXPECT_TRUE(normal.Normalise().View() == normal.View()) << fault;
    }
}

TEST(XCPath, JoinAndWayBack)
{
    // fault, base, other, joined, relative
    Rows<wchar_t const*, wchar_t const*, wchar_t const*, wchar_t const*> const rows = {
        {"separator missing", L"C:\\a", L"b", L"C:\\a\\b", L"b"},
        {"separator doubled", L"C:\\", L"b\\c", L"C:\\b\\c", L"b\\c"},
        {"drive's own folder becomes its root", L"C:", L"b", L"C:b", L"b"},
        {"absolute one nested", L"C:\\a", L"D:\\b", L"D:\\b", nullptr},
        {"nothing added", L"C:\\a", L"", L"C:\\a", L"."},
        {"empty base gives a root", L"", L"b", L"b", nullptr},
        {"way up", L"C:\\a\\b", L"..\\c", L"C:\\a\\b\\..\\c", L"..\\c"},
        {"names compared with case", L"C:\\A", L"..\\a\\x", L"C:\\A\\..\\a\\x", L"x"},
        {"way out of an unknown folder", L"..\\a", L"..\\..\\..\\b", L"..\\a\\..\\..\\..\\b", L"..\\..\\..\\b"},
        {"rooted long form", L"\\", L"??\\x", L"\\.\\??\\x", L"??\\x"},
        {"long form by its second half", L"\\??", L"x", L"\\.\\??\\x", L"x"},
        {"dots left after a literal path", L"\\\\?\\C:\\a\\", L"./../b/c", L"\\\\?\\C:\\b\\c", L"..\\b\\c"},
        {"root of a literal path lost", L"\\\\?\\C:\\a", L"..\\..\\..", L"\\\\?\\C:\\", L".."},
    };
    for (auto const& [fault, rowBase, other, rowJoined, rowRelative] : rows) {
        SCOPED_TRACE(fault);
        XCPath const base(rowBase), joined = base.Join(other);
        XCPath relative;
        EXPECT_EQ(Shown(joined.AsString()), Shown(rowJoined));
        ASSERT_EQ(joined.RelativeTo(base, relative), rowRelative != nullptr);
        EXPECT_EQ(Shown(relative.AsString()), Shown(rowRelative ? rowRelative : L""));
        EXPECT_TRUE(!rowRelative || base.Join(relative).Normalise() == joined.Normalise());
    }
    XCPath none;
    EXPECT_FALSE(XCPath(L"a").RelativeTo(L"..\\b", none)) << "a folder whose name nobody knows";
    EXPECT_FALSE(XCPath(L"\\\\?\\C:\\a\\..\\b").RelativeTo(L"\\\\?\\C:\\", none)) << "dots that are names";
}

TEST(XCPath, CheckNamesTheFault)
{
    using Fault = XCPathFault;
    // fault, paths
    Table<Fault, std::vector<wchar_t const*>> const rows = {
        {Fault::None,
         {L"C:\\a b\\c.d\\..\\.e", L"\\\\?\\C:\\a", L"\\\\?\\Volume{1}\\a", L"a:b", L"com", L"com10", L"console"}},
        {Fault::Empty, {L""}},
        {Fault::Reserved, {L"a\\con", L"NUL .txt", L"com\u00B9.tar.gz", L"LPT0:", L"conin$", L"\\\\?\\C:\\AUX"}},
        {Fault::Trailing, {L"a.", L"b ", L"...", L"\\\\?\\C:\\a\\.."}},
        {Fault::Stream, {L"x\\ab:c", L"a.txt::$DATA"}},
        {Fault::Character, {L"a\\b?", L"a\tb", L"\\\\?\\C:\\a/b", L"\\\\?\\Volume{\x1}\\"}},
        {Fault::Device, {L"\\\\.\\PhysicalDrive0", L"//?/C:/a", L"\\??\\GLOBALROOT\\x", L"\\\\s\\PIPE\\x"}},
    };
    for (auto const& [fault, paths] : rows)
        for (wchar_t const* path : paths) EXPECT_EQ(XCPath(path).Check(), fault) << Shown(path);
    XCString name;
    EXPECT_EQ(XCPath(L"C:\\a.\\NUL .txt\\b").Check(&name), Fault::Trailing) << "the first of two";
    EXPECT_EQ(Shown(name), "a.");
    EXPECT_EQ(XCPath(L"1:\\a").Check(), Fault::Character);
    EXPECT_EQ(XCPath(XCString(L'a', 256)).Check(), Fault::TooLong);
    EXPECT_EQ(XCPath(XCString(std::wstring_view(L"a\0b", 3))).Check(), Fault::Character);
    EXPECT_EQ(XCPath::CheckName(L"a\\b"), Fault::Character);
}

TEST(XCPath, ComparesAsTheSystemDoes)
{
    EXPECT_TRUE(XCPath(L"C:/Dir/\u00E9") == XCPath(L"c:\\dIR\\\u00C9"));
    EXPECT_TRUE(XCPath(L"stra\u00DFe") != XCPath(L"strasse") && XCPath(L"a") < XCPath(L"B"));
    EXPECT_TRUE(XCPath(L"a") < XCPath(L"a\\b"));
    EXPECT_TRUE(XCPath(L"a\\b") != XCPath(L"a\\.\\b")) << "nothing is normalised";
}

TEST(XCFileInfo, IdentityNotTextDecides)
{
    ScratchFile const file("12345", "xc_info.txt"), other("12345", "xc_other.txt");
    XCFileInfo info;
    bool same = false;
    EXPECT_TRUE(XCPath(L"xc_info.txt").SameFile(XCPath(L"./x/../xc_info.txt").Normalise(), same).Good() && same);
    EXPECT_TRUE(XCPath(L"xc_info.txt").SameFile(L"xc_other.txt", same).Good());
    EXPECT_FALSE(same) << "equal content is not one file";
    XCErrorID const missing = XCFileInfo::Get(L"xc_missing.txt", info);
    EXPECT_EQ(missing, XCErrFileFailed);
    EXPECT_TRUE(Names(missing, "xc_missing.txt"));

    ASSERT_TRUE(XCFileInfo::Get(L"xc_info.txt", info).Good());
    EXPECT_EQ(All(info.size, info.links), All(5u, 1u));
    EXPECT_FALSE(info.IsFolder() || info.IsLink() || info.IsReadOnly());
    XCDateTimeEx const now = XCDateTimeEx::GetCurrentDateTime();
    EXPECT_LT((now - info.written.GetDateTime()).GetDuration(), 60000);
    EXPECT_EQ(XCFileTime(info.written.GetDateTime(), info.written.GetRest()), info.written) << "nothing is lost";
    ASSERT_TRUE(XCFileInfo::Get(L".", info).Good());
    EXPECT_TRUE(info.IsFolder());
}

TEST(XCFileTime, KeepsWhatTheCalendarCannotShow)
{
    XCFileTime const late(116444736000009999);
    EXPECT_EQ(Shown(late.GetDateTime().AsString(XCTimeZone::UTC())), "1970/01/01 00:00:00.000") << "rounded up";
    EXPECT_EQ(late.GetRest(), 9999u);
    for (std::int64_t const ticks : {std::int64_t{-1}, std::int64_t{0}, INT64_MAX})
        EXPECT_TRUE(XCFileTime(ticks).GetDateTime().IsNull()) << ticks;
    EXPECT_FALSE(XCFileTime(XCDateTimeEx(1600, 12, 31)).IsKnown());
}
