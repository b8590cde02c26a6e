// Trees by the system's own steps: what a walk delivers, that nothing outside is touched, copies, moves, removal.
#include "tree_tools.h"

#include "win32/CopySteps.h"
#include "win32/path_limit.h"

namespace {

using namespace files_test;

/// Names in the order of delivery, in one line.
std::string Walked(fs::path const& root, XCWalkOptions options)
{
    std::string line;
    options.order = XCWalkOrder::ByName;
    XCErrorID const done = XCDirectory::Walk(Wide(root), options, [&](XCDirectoryEntry const& entry) {
        line += entry.GetRelative().AsMbString() + " ";
        return entry.GetName() == L"skip"   ? XCWalkStep::Skip
               : entry.GetName() == L"stop" ? XCWalkStep::Stop
                                            : XCWalkStep::Continue;
    });
    return done.Good() ? line : "failed";
}

TEST(TreeWalk, Delivers)
{
    ScratchFolder const tree("walk_tree");
    Make(tree.path, "a.txt B/ B/b.cpp B/C/ B/C/c.H d/ d/e.txt skip/ skip/hidden");
    auto const is = [](wchar_t const* name) {
        return [name](XCDirectoryEntry const& entry) { return entry.GetName() == name; };
    };
    // fault, options, expected
    Rows<XCWalkOptions, char const*> const rows = {
        {"order, skip", {}, "B a.txt d skip B\\C B\\b.cpp B\\C\\c.H d\\e.txt "},
        {"depth", {.depth = 1}, "B a.txt d skip "},
        {"folders delivered",
         {.folders = false, .enter = [](XCDirectoryEntry const& e) { return e.GetName() != L"skip"; }},
         "a.txt B\\b.cpp B\\C\\c.H d\\e.txt "},
        {"files delivered", {.files = false}, "B d skip B\\C "},
        {"patterns, case", {.folders = false, .names = L"*.CPP;?.h"}, "B\\b.cpp B\\C\\c.H "},
        {"star without end", {.folders = false, .names = L"*.*x*;hid*n*"}, "a.txt d\\e.txt skip\\hidden "},
        {"filter keeps folders from being entered", {.filter = is(L"c.H")}, "B\\C\\c.H "},
    };
    for (auto const& [fault, options, expected] : rows) EXPECT_EQ(Walked(tree.path, options), expected) << fault;
    EXPECT_EQ(Walked(tree.path / "a.txt", {}), "failed");
    EXPECT_EQ(Walked(tree.path / "none", {}), "failed");
    Make(tree.path, "stop/");
    EXPECT_EQ(Walked(tree.path, {}), "B a.txt d skip stop ");
    std::vector<XCDirectoryEntry> entries;
    ASSERT_TRUE(XCDirectory::Entries(Wide(tree.path / "B"), entries).Good());
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_TRUE(entries[1].GetPath() == Wide(tree.path / "B" / "b.cpp"));
    EXPECT_EQ(entries[1].GetInfo().size, 7u);
    XCFileInfo info;
    ASSERT_TRUE(XCFileInfo::Get(entries[1].GetPath(), info).Good());
    EXPECT_EQ(entries[1].GetInfo().written, info.written);
}

TEST(TreeWalk, WhatChangesMeanwhileIsNoFailure)
{
    ScratchFolder const tree("walk_tree");
    Make(tree.path, "a/ a/x b/ b/x c/ c/x");
    XCDirectoryWalker walker;
    ASSERT_TRUE(walker.Open(Wide(tree.path), {.order = XCWalkOrder::ByName}).Good());
    XCDirectoryEntry entry;
    ASSERT_TRUE(walker.Next(entry));
    fs::remove_all(tree.path / "a");
    fs::remove_all(tree.path / "b");
    Make(tree.path, "b");
    std::string rest;
    for (; walker.Next(entry); rest += entry.GetRelative().AsMbString() + " ") EXPECT_TRUE(entry.GetError().Good());
    EXPECT_EQ(rest, "b c c\\x ");
}

/// The reason, without the path.
std::string Tail(XCErrorID const& error)
{
    std::string const text = error.AsString().AsMbString();
    return text.substr(text.size() - std::min<std::size_t>(text.size(), 80));
}

/// The whole of the two tests that follow takes minutes here: make check-trees.
bool IsWhole()
{
    return std::getenv("XC_WHOLE_TREES") != nullptr;
}

TEST(Trees, OfDepth5000NeedNoStack)
{
    std::size_t const wanted = IsWhole() ? 5000 : 1300;
    ScratchFolder const scratch("deep_tree");
    fs::path const root = scratch.path / "root";
    std::size_t const depth = MakeDeep(root, wanted, L"sevenun");
    ASSERT_GE(depth, wanted) << "the chain itself";
    std::size_t folders = 0, longest = 0;
    std::size_t const walked =
        IsWhole() ? 1500 : 400; // the system of the tests looks at every folder above the opened one
    ASSERT_TRUE(XCDirectory::Walk(Wide(root), {.depth = walked}, [&](XCDirectoryEntry const& entry) {
                    EXPECT_TRUE(entry.GetError().Good()) << Tail(entry.GetError());
                    ++folders;
                    longest = std::max(longest, entry.GetRelative().Length());
                    return XCWalkStep::Continue;
                }).Good());
    EXPECT_EQ(folders, walked);
    EXPECT_GT(longest, 8 * walked - 10);
    XCTreeReport report;
    XCErrorID const removed = XCDirectory::RemoveTree(Wide(root), {.report = &report});
    EXPECT_TRUE(removed.Good()) << Tail(removed);
    EXPECT_EQ(All(report.folders, scratch.Count()), All(depth + 1, 0));
}

/// Trees with links to files and folders outside, to each other, and around in circles.
TEST(Trees, AreNeverLeftThroughLinks)
{
    int const trees = IsWhole() ? 1000 : 60;
    ScratchFolder const scratch("linked_trees");
    Make(scratch.path / "outside", "file full/ full/kept empty/");
    std::mt19937 random(20);
    std::vector<Link> links;
    auto const name = [](int i) { return "n" + std::to_string(i); };
    for (int tree = 0; tree < trees; ++tree) {
        fs::path folder = scratch.path / ("t" + std::to_string(tree));
        fs::create_directory(folder);
        std::string up = "../";
        for (int i = 0; i < 6; ++i) {
            switch (random() % 6) {
            case 0:
            case 1:
                fs::create_directory(folder /= name(i));
                up += "../";
                break;
            case 2: std::ofstream(folder / name(i)) << i; break;
            default:
                char const* const targets[] = {"outside/full", "outside/empty", "outside/file", "outside"};
                links.push_back({folder / name(i), random() % 5 == 0 ? ".." : up + targets[random() % 4]});
            }
        }
    }
    ASSERT_TRUE(MakeLinks(links));
    std::string const outside = Names(scratch.path / "outside");
    std::size_t entered = 0, linked = 0;
    for (int tree = 0; tree < trees; ++tree) {
        fs::path const root = scratch.path / ("t" + std::to_string(tree));
        ASSERT_TRUE(XCDirectory::Walk(Wide(root), {}, [&](XCDirectoryEntry const& entry) {
                        entered += entry.GetName().View().front() != L'n';
                        linked += entry.IsLink();
                        return XCWalkStep::Continue;
                    }).Good());
        std::size_t followed = 0; // circles end: every folder is entered once
        for (XCDirectoryWalker walker; tree % 20 == 0 && followed == 0;) {
            XCDirectoryEntry entry;
            ASSERT_TRUE(walker.Open(Wide(root), {.links = XCWalkLinks::Follow}).Good());
            while (followed++ < 20000u && walker.Next(entry)) {
            }
        }
        EXPECT_LT(followed, 20000u);
        XCTreeReport report;
        XCErrorID const removed = XCDirectory::RemoveTree(Wide(root), {.patienceMs = 0, .report = &report});
        for (XCErrorID const& failure : report.failures)
            EXPECT_TRUE(failure == XCErrTreeLink || failure == XCErrTreeNotRemoved) << failure.AsString().AsMbString();
        EXPECT_EQ(removed.Good(), !fs::exists(root));
    }
    EXPECT_EQ(entered, 0u);
    EXPECT_GT(linked, std::size_t(trees) / 2);
    EXPECT_EQ(Names(scratch.path / "outside"), outside);
}

using Work = std::function<XCErrorID(fs::path const& at)>;

Work Copy(char const* from, char const* to, XCCopyOptions const& options = {})
{
    return [=](fs::path const& at) { return XCDirectory::Copy(Wide(at / from), Wide(at / to), options); };
}

Work Move(char const* from, char const* to, XCCopyOptions const& options = {})
{
    return [=](fs::path const& at) { return XCDirectory::Move(Wide(at / from), Wide(at / to), options); };
}

Work Create(char const* name)
{
    return [=](fs::path const& at) { return XCDirectory::Create(Wide(at / name)); };
}

Work Remove(char const* name)
{
    return [=](fs::path const& at) { return XCDirectory::Remove(Wide(at / name)); };
}

Work RemoveTree(char const* name, bool readOnlyToo = false)
{
    return [=](fs::path const& at) { return XCDirectory::RemoveTree(Wide(at / name), {.readOnlyToo = readOnlyToo}); };
}

/// The work after a file has become read-only.
Work Protected(char const* name, Work const& work)
{
    return [=](fs::path const& at) {
        ::SetFileAttributesW((at / name).c_str(), FILE_ATTRIBUTE_READONLY);
        XCErrorID const result = work(at);
        ::SetFileAttributesW((at / name).c_str(), FILE_ATTRIBUTE_NORMAL);
        return result;
    };
}

TEST(Trees, Operations)
{
    XCCopyOptions const replace{.existing = XCExisting::Replace}, leave{.existing = XCExisting::Leave};
    XCCopyOptions const some{.filter = [](XCDirectoryEntry const& entry) { return entry.GetName() != L"y"; }};
    auto const kept = [](Work const& work, char const* file, char const* content) {
        return [=](fs::path const& at) {
            XCErrorID const result = work(at);
            EXPECT_EQ(ReadFile(at / file), content);
            return result;
        };
    };
    std::string const two = "x/ x/f x/y/ x/y/g";
    // fault, before, work, code, after
    Rows<std::string, Work, int, std::string> const rows = {
        {"missing parents", "", Create("p/q/r"), 0, "p/ p/q/ p/q/r/"},
        {"file taken for a folder", "p", Create("p"), XCErrFolderCannotCreate, "p"},
        {"reserved name", "", Create("nul.x"), XCErrFileName, ""},
        {"empty folder", "p/", Remove("p"), 0, ""},
        {"full folder", two, Remove("x"), XCErrTreeNotRemoved, two},
        {"file as a tree", "p", RemoveTree("p"), XCErrTreeNotRemoved, "p"},
        {"read-only, unasked", two, Protected("x/y/g", RemoveTree("x")), XCErrTreeNotRemoved, "x/ x/y/ x/y/g"},
        {"read-only stays", two, Protected("x/y/g", RemoveTree("x", true)), 0, ""},
        {"copy of a tree", two, Copy("x", "z"), 0, two + " z/ z/f z/y/ z/y/g"},
        {"filter", two, Copy("x", "z", some), 0, two + " z/ z/f"},
        {"into itself", two, Copy("x", "x/y/z"), XCErrTreeIntoItself, two},
        {"target is there", "x/ z/", Copy("x", "z"), XCErrTreeNotCopied, "x/ z/"},
        {"merging", "x/ x/f z/ z/f z/k", kept(Copy("x", "z", replace), "z/f", "x/f"), 0, "x/ x/f z/ z/f z/k"},
        {"leaving", "x/ x/f x/g z/ z/f", kept(Copy("x", "z", leave), "z/f", "z/f"), 0, "x/ x/f x/g z/ z/f z/g"},
        {"file over a folder", "f z/", Copy("f", "z", replace), XCErrTreeNotCopied, "f z/"},
        {"over read-only", "f g", Protected("g", Copy("f", "g", replace)), XCErrTreeNotCopied, "f g"},
        {"source vanished", "", Copy("f", "g"), XCErrTreeNotCopied, ""},
        {"move", two, Move("x", "z"), 0, "z/ z/f z/y/ z/y/g"},
        {"move over a file unasked", "f g", Move("f", "g"), XCErrTreeNotMoved, "f g"},
        {"move over a file", "f g", kept(Move("f", "g", replace), "g", "f"), 0, "g"},
        {"move over a folder", "x/ z/ z/k", Move("x", "z", replace), XCErrTreeNotMoved, "x/ z/ z/k"},
    };
    for (auto const& [fault, before, work, code, after] : rows) {
        SCOPED_TRACE(fault);
        ScratchFolder const scratch("tree_rows");
        Make(scratch.path, before);
        XCErrorID const result = work(scratch.path);
        EXPECT_EQ(static_cast<int>(result), code) << result.AsString().AsMbString();
        EXPECT_EQ(Names(scratch.path), after);
    }
}

TEST(Trees, UseTheLongFormAlone)
{
    ScratchFolder const scratch("long_trees");
    std::wstring const folder = std::wstring(120, L'f') + L"\\" + std::wstring(120, L'g');
    win32_test::g_long = win32_test::g_bypasses = 0;
    {
        win32_test::Limit const limit;
        XCPath const top(L"long_trees"), from(top.Join(XCString(folder))), to(top.Join(L"copy"));
        XCPath made;
        EXPECT_TRUE(XCDirectory::Create(from.Join(L"below")).Good());
        EXPECT_TRUE(XCDirectory::CreateTemporaryFile(from.Join(L"below"), L"f", L".tmp", made).Good());
        EXPECT_TRUE(XCDirectory::CreateTemporary(from, L"d", made).Good());
        EXPECT_TRUE(XCDirectory::Copy(from, from.Parent().Join(std::wstring(130, L'h'))).Good());
        EXPECT_TRUE(XCDirectory::Move(from, to).Good() && XCDirectory::Move(to, from).Good());
        EXPECT_TRUE(XCDirectory::Remove(made).Good());
        XCDiskSpace space;
        EXPECT_TRUE(XCDirectory::GetSpace(from, space).Good() && XCDirectory::RemoveTree(top).Good());
    }
    EXPECT_EQ(win32_test::g_bypasses, 0);
    EXPECT_GE(win32_test::g_long, 20);
    EXPECT_FALSE(fs::exists(scratch.path));
}

TEST(Trees, CopiesKeepTimesAndAttributes)
{
    ScratchFolder const scratch("tree_times");
    Make(scratch.path, "x/ x/y/ x/y/f");
    xc::win32::CopySteps steps;
    for (char const* name : {"x/y/f", "x/y", "x"}) {
        XCFileTime const past(XCDateTimeEx(2020, 2, 29, 1, 2, 3, 4), 5678);
        std::uint32_t const attributes = FILE_ATTRIBUTE_HIDDEN | (name[1] && name[3] ? FILE_ATTRIBUTE_READONLY : 0);
        xc::win32::SystemPath const path((scratch.path / name).native());
        ASSERT_EQ(steps.SetFacts(path, {attributes, past.GetTicks(), past.GetTicks(), past.GetTicks()}), 0u);
    }
    XCSmartPtr<XCProgress> const progress(new XCProgress({}));
    XCTreeReport report;
    ASSERT_TRUE(
        XCDirectory::Copy(Wide(scratch.path / "x"), Wide(scratch.path / "z"), {.progress = progress, .report = &report})
            .Good());
    EXPECT_EQ(report.files + 10 * report.folders + 100 * report.bytes, 1u + 20 + 500);
    EXPECT_EQ(progress->GetState().fraction, 1.0);
    XCFileInfo from, to;
    for (char const* name : {"", "y", "y/f"}) {
        ASSERT_TRUE(XCFileInfo::Get(Wide(scratch.path / "x" / name), from).Good());
        ASSERT_TRUE(XCFileInfo::Get(Wide(scratch.path / "z" / name), to).Good());
        EXPECT_EQ(All(from.written, to.written.GetRest(), from.attributes), All(to.written, 5678u, to.attributes))
            << name;
    }
    progress->Cancel();
    EXPECT_EQ(
        static_cast<int>(XCDirectory::Copy(Wide(scratch.path / "x"), Wide(scratch.path / "w"), {.progress = progress})),
        XCErrTreeStopped);
    (void)XCDirectory::RemoveTree(Wide(scratch.path), {.readOnlyToo = true});
}

TEST(Trees, RoomAndTemporaryNames)
{
    ScratchFolder const scratch("tree_names");
    XCDiskSpace space;
    EXPECT_TRUE(XCDirectory::GetSpace(Wide(scratch.path), space).Good());
    EXPECT_TRUE(space.available != 0 && space.free <= space.total && space.available <= space.free);
    EXPECT_TRUE(XCDirectory::Exists(XCDirectory::GetTemp()) && XCDirectory::Exists(XCDirectory::GetCurrent()));
    OnThreads(4, [&](int) {
        XCPath made;
        for (int n = 0; n < 25; ++n) {
            EXPECT_TRUE(XCDirectory::CreateTemporary(Wide(scratch.path), L"d", made).Good());
            EXPECT_TRUE(XCDirectory::CreateTemporaryFile(Wide(scratch.path), L"f", L".tmp", made).Good());
        }
    });
    EXPECT_EQ(scratch.Count(), 200);
}

} // namespace
