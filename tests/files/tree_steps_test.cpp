// Trees where the system of the tests cannot show what Windows does: deletions that free the name at once or with the
// last handle, links that are opened themselves, placeholders, other volumes. The steps answer so; everything else is
// done by the system.
#include "tree_tools.h"

#include "errors/CoreError.h"
#include "files/FileErrors.h"
#include "files/TreeCopy.h"
#include "files/TreeRemoval.h"
#include "files/TreeWalk.h"
#include "win32/LastError.h"

// The parts under test are compiled into this program, the messages are not.
XCErrorID xc::files::FileError(XCCoreError code, win32::SystemPath const& path, unsigned long systemError)
{
    if (systemError == 0) return XCErrorID::Success;
    return XCSmartPtr<XCErrorString>(new XCErrorString(XCString(path.Text()), code));
}
XCSmartPtr<XCErrorWithArgs> xc::errors::NewCoreError(XCCoreError code)
{
    return XCSmartPtr<XCErrorWithArgs>(new XCErrorWithArgs(nullptr, code));
}

namespace {

using namespace files_test;
using namespace xc::win32;

constexpr unsigned long kErrorUserMapped = 1224;
constexpr std::uint32_t kJunction = 0xA0000003, kCloud = 0x9000101A;

/// What the system is to be: entries whose names begin with "junction" are folders mounted there, with "cloud"
/// placeholders; the others are as they are.
struct Windows {
    bool hasPosix = true;                    ///< names are free at once
    int deletePending = 0;                   ///< so many openings of "pending" find it about to go
    bool isMapped = false;                   ///< nothing may be marked
    std::wstring exchanged = {};             ///< leads elsewhere when it is opened
    std::function<void()> onPause = {};      ///< when the removal waits
    std::vector<std::wstring> disposed = {}; ///< in the order of marking
    int entered = 0;                         ///< listings of junctions
};

struct WindowsSteps final : TreeSteps {
    explicit WindowsSteps(Windows& windows) : m_windows(windows) {}

    unsigned long Open(SystemPath const& path, EntryAccess access, void*& handle) override
    {
        bool const isPending = path.FileName() == L"pending" && m_windows.deletePending-- > 0;
        return isPending ? static_cast<unsigned long>(kErrorDeletePending) : TreeSteps::Open(path, access, handle);
    }
    unsigned long Read(void* folder, TreeBlock& block) override
    {
        m_windows.entered += NameOf(folder).starts_with(L"junction");
        std::size_t const first = block.items.size();
        unsigned long const error = TreeSteps::Read(folder, block);
        for (std::size_t i = first; i < block.items.size(); ++i) Mark(block.items[i], block.items[i].name);
        return error;
    }
    unsigned long Kind(void* handle, EntryKind& kind) override
    {
        unsigned long const error = TreeSteps::Kind(handle, kind);
        Mark(kind, NameOf(handle));
        return error;
    }
    unsigned long FinalName(void* handle, std::wstring& name) override
    {
        unsigned long const error = TreeSteps::FinalName(handle, name);
        if (!m_windows.exchanged.empty() && name.ends_with(m_windows.exchanged)) name = L"elsewhere";
        return error;
    }
    unsigned long Dispose(void* handle, Disposal disposal) override
    {
        if (disposal != Disposal::AtClose && !m_windows.hasPosix) return kErrorInvalidParameter;
        if (m_windows.isMapped) return kErrorUserMapped;
        m_windows.disposed.push_back(NameOf(handle));
        if (disposal == Disposal::AtClose) return TreeSteps::Dispose(handle, disposal);
        // Here the folder stands for the target of the junction, which stays.
        return m_windows.disposed.back().starts_with(L"junction") ? 0 : FreeName(handle);
    }
    void Pause(std::uint64_t /*milliseconds*/) override
    {
        if (m_windows.onPause) m_windows.onPause();
    }

private:
    static void Mark(EntryKind& kind, std::wstring_view name)
    {
        std::uint32_t const tag = name.starts_with(L"junction") ? kJunction : name.starts_with(L"cloud") ? kCloud : 0;
        if (tag != 0) kind = {kind.attributes | kReparseBit, tag};
    }
    std::wstring NameOf(void* handle)
    {
        std::wstring name;
        (void)TreeSteps::FinalName(handle, name);
        return name.substr(name.find_last_of(L'\\') + 1);
    }
    /// The name is free although others have the entry open: it goes elsewhere until they close it.
    unsigned long FreeName(void* handle)
    {
        wchar_t name[MAX_PATH * 2] = {};
        ::GetFinalPathNameByHandleW(handle, name, MAX_PATH * 2, 0);
        OpenEntry list(*this);
        TreeBlock block;
        bool const isRead = list.Open(SystemPath(name + 4), {}) == 0 && TreeSteps::Read(list.Get(), block) == 0;
        if (isRead && !block.items.empty()) return kErrorFolderNotEmpty;
        list.Close();
        static int count = 0;
        SystemPath const away((fs::current_path() / ("freed" + std::to_string(++count))).native());
        unsigned long const error = Rename(handle, away);
        return error != 0 ? error : TreeSteps::Dispose(handle, Disposal::AtClose);
    }

    Windows& m_windows;
};

/// A handle of somebody else.
struct Close {
    void operator()(void* handle) const { ::CloseHandle(handle); }
};
using Held = std::unique_ptr<void, Close>;
Held Hold(fs::path const& path)
{
    return Held(
        ::CreateFileW(path.c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

/// Removes the tree "x"; the errors by names.
std::string Remove(fs::path const& at, Windows& windows, unsigned int patienceMs)
{
    WindowsSteps steps(windows);
    std::set<std::string> told;
    auto const tell = [&](SystemPath const& path, EntryKind const&, unsigned long error) {
        if (error != 0) told.insert(XCString(path.FileName()).AsMbString() + "=" + std::to_string(error) + " ");
        return true;
    };
    (void)xc::files::TreeRemoval(steps, {.patienceMs = patienceMs}, tell).RemoveTree(SystemPath((at / "x").native()));
    return std::accumulate(told.begin(), told.end(), std::string());
}

TEST(TreeRemoval, AnswersOfWindows)
{
    std::string const elsewhere = std::to_string(kErrorLeadsElsewhere);
    // fault, windows, held (open in another program; closed when the removal waits), patienceMs, told, left (entries)
    Rows<Windows, char const*, unsigned int, char const*, std::ptrdiff_t> const rows = {
        {"held names are not freed", {}, "x/a/f", 0, "", 0},
        {"held folder", {}, "x/a", 0, "", 0},
        {"last handle is not waited for", {.hasPosix = false}, "x/a/f", 100, "", 0},
        {"root is not told", {.hasPosix = false}, "x/a/f", 0, "x=145 ", 2},
        {"pending deletion is a failure", {.deletePending = 2}, "", 100, "", 0},
        {"folder of a pending deletion is not told", {.deletePending = 9}, "", 0, "a=145 ", 3},
        {"new name stays", {.hasPosix = false, .isMapped = true}, "x/a/f", 0, "a=1224 f=1224 pending=1224 x=1224 ", 4},
        {"exchanged folder is listed", {.exchanged = L"\\a"}, "", 0, "a=", 4},
    };
    for (auto const& [fault, rowWindows, rowHeld, patienceMs, rowTold, rowLeft] : rows) {
        SCOPED_TRACE(fault);
        ScratchFolder const scratch("windows_tree");
        Make(scratch.path, "x/ x/a/ x/a/f x/a/pending");
        Windows windows = rowWindows;
        Held held;
        if (*rowHeld) held = Hold(scratch.path / rowHeld);
        windows.onPause = [&] { held.reset(); };
        std::string const told = Remove(scratch.path, windows, patienceMs);
        std::string const expected = rowTold;
        EXPECT_EQ(told, expected.ends_with("=") ? expected + elsewhere + " " : expected);
        std::string const names = Names(scratch.path);
        std::ptrdiff_t const left = names.empty() ? 0 : 1 + std::count(names.begin(), names.end(), ' ');
        EXPECT_EQ(All(left, names == "x/ x/a/ x/a/f x/a/pending"), All(rowLeft, rowLeft == 4)) << names;
    }
}

TEST(TreeRemoval, LinksAreRemovedThemselves)
{
    ScratchFolder const scratch("windows_tree");
    Make(scratch.path, "x/ x/junction/ x/junction/kept x/cloud/ x/cloud/f");
    Windows windows;
    EXPECT_EQ(Remove(scratch.path, windows, 0), "x=145 ") << "the steps do not take the junction away";
    EXPECT_EQ(All(windows.entered, std::count(windows.disposed.begin(), windows.disposed.end(), L"junction"),
                  Names(scratch.path)),
              All(0, 1, "x/ x/junction/ x/junction/kept"));
}

TEST(TreeSteps, IdentitiesTellVolumesApart)
{
    TreeSteps steps;
    OpenEntry folder(steps);
    EntryIdentity identity;
    ASSERT_EQ(folder.Open(SystemPath(L"."), {.through = true}), 0u);
    ASSERT_EQ(steps.Identity(folder.Get(), identity), 0u);
    EXPECT_NE(identity.volume, 0u) << "files of two volumes may have one number";
}

TEST(TreeWalk, TagsDecide)
{
    ScratchFolder const scratch("windows_tree");
    Make(scratch.path, "junction/ junction/f cloud/ cloud/f");
    for (auto const& [links, count] :
         std::map<XCWalkLinks, int>{{XCWalkLinks::Stay, 2}, {XCWalkLinks::Content, 3}, {XCWalkLinks::Follow, 4}})
    {
        Windows windows;
        xc::files::TreeWalk walk(std::make_unique<WindowsSteps>(windows), {.links = links});
        ASSERT_EQ(walk.Begin(SystemPath(scratch.path.native())), 0u);
        int entries = 0;
        XCDirectoryEntry entry;
        while (walk.Next(entry)) {
            ++entries;
            EXPECT_EQ(entry.IsLink(), entry.GetName() == L"junction");
        }
        EXPECT_EQ(entries, count);
    }
}

/// Another volume, on which a file cannot be read and complete copies may get no name.
struct VolumeSteps final : CopySteps {
    bool failsRename = false;
    std::wstring failing;

    unsigned long CopyContent(SystemPath const& from, SystemPath const& to, Told const& told) override
    {
        return from.FileName() == failing ? 23 : CopySteps::CopyContent(from, to, told);
    }
    unsigned long CopyLink(SystemPath const&, SystemPath const&, bool) override { return 1314; }
    unsigned long Rename(SystemPath const& from, SystemPath const& to, bool replace, Patience& patience) override
    {
        if (!from.FileName().starts_with(L"~copying-")) return kErrorNotSameDevice;
        return failsRename ? kErrorAccessDenied : CopySteps::Rename(from, to, replace, patience);
    }
};

TEST(TreeMove, AcrossVolumesLosesNothing)
{
    // fault, more, failsRename, failing, code, after
    Rows<char const*, bool, wchar_t const*, int, char const*> const rows = {
        {"moved", "", false, L"", 0, "z/ z/a/ z/a/f z/g"},
        {"incomplete copy takes the name", "", false, L"f", XCErrTreeNotCopied, "x/ x/a/ x/a/f x/g"},
        {"copy stays when it gets no name", "", true, L"", XCErrTreeNotMoved, "x/ x/a/ x/a/f x/g"},
        {"link is lost", "x/junction/", false, L"", XCErrTreeNotCopied, "x/ x/a/ x/a/f x/g x/junction/"},
        {"target is replaced", "z", false, L"", XCErrTreeNotMoved, "x/ x/a/ x/a/f x/g z"},
    };
    for (auto const& [fault, more, failsRename, failing, code, after] : rows) {
        SCOPED_TRACE(fault);
        ScratchFolder const scratch("windows_move");
        Make(scratch.path, "x/ x/a/ x/a/f x/g ");
        Make(scratch.path, more);
        VolumeSteps steps;
        steps.failsRename = failsRename;
        steps.failing = failing;
        Windows windows;
        XCTreeReport report;
        xc::files::TreeTally tally(&report, {});
        XCCopyOptions const options;
        xc::files::TreeCopy copy(
            steps, [&] { return std::make_unique<WindowsSteps>(windows); }, options, tally);
        SystemPath const from((scratch.path / "x").native());
        copy.Move(from, SystemPath((scratch.path / "z").native()));
        EXPECT_EQ(All(static_cast<int>(tally.Result(from)), Names(scratch.path)), All(code, after));
        EXPECT_TRUE(code != 0 || report.files * 10 + report.folders == 22);
    }
}

TEST(TreeCopy, HolesStayHoles)
{
    ScratchFolder const scratch("windows_holes");
    std::string bytes(3 << 20, '\0');
    bytes.replace(5, 3, "abc");
    bytes.replace(bytes.size() - 1, 1, "z");
    scratch.Write("f", bytes);
    CopySteps steps;
    SystemPath const from((scratch.path / "f").native()), to((scratch.path / "g").native());
    std::uint64_t told = 0;
    auto const count = [&](std::uint64_t more) { return (told += more) < 4u << 20; };
    std::uint64_t const last = bytes.size() - 4096;
    ASSERT_EQ(steps.CopyRanges(from, to, bytes.size(), {{0, 4096}, {last, 4096}}, count), 0u);
    EXPECT_TRUE(scratch.Bytes("g") == bytes);
    EXPECT_EQ(told, bytes.size());
    EXPECT_EQ(steps.CopyRanges(from, to, bytes.size(), {}, count), kErrorFileExists);
    auto const cancel = [](std::uint64_t) { return false; };
    SystemPath const none((scratch.path / "h").native());
    EXPECT_EQ(steps.CopyRanges(from, none, bytes.size(), {{0, 4096}}, cancel), kErrorAborted);
    EXPECT_FALSE(fs::exists(scratch.path / "h")) << "a part stays";
}

} // namespace
