// Saving: whatever fails, and wherever the process ends, the file on disk is the old or the new one, whole.

#include "files/shown.h"
#include "scratch_files.h"
#include "win32/FileIo.h"

#if defined(_WIN32)
#include "child_process.h"
#include "sync/import_patch.h"
#endif

namespace {

using xc::win32::SystemPath;

// Failing steps -------------------------------------------------------------------------------------------------

enum class Step { Create, Write, WriteHalf, Flush, Close, Replace, None };
constexpr unsigned long kInjected = 999;

/// The system's steps, one of which fails.
struct FailingSteps final : xc::win32::ReplaceSteps {
    explicit FailingSteps(Step failing) : m_failing(failing) {}

    unsigned long Create(SystemPath const& target, SystemPath& temporary) override
    {
        return Do(Step::Create, [&] { return m_real->Create(target, temporary); });
    }
    unsigned long Write(std::string_view bytes) override
    {
        bool const half = m_failing == Step::WriteHalf;
        if (half) m_real->Write(bytes.substr(0, bytes.size() / 2));
        return Do(half ? Step::WriteHalf : Step::Write, [&] { return m_real->Write(bytes); });
    }
    unsigned long Flush() override
    {
        return Do(Step::Flush, [&] { return m_real->Flush(); });
    }
    unsigned long Close() override
    {
        unsigned long const real = m_real->Close();
        return Do(Step::Close, [&] { return real; });
    }
    unsigned long Replace(SystemPath const& temporary, SystemPath const& target, xc::win32::Patience& patience) override
    {
        return Do(Step::Replace, [&] { return m_real->Replace(temporary, target, patience); });
    }
    void Remove(SystemPath const& temporary) noexcept override { m_real->Remove(temporary); }

private:
    template <class Action>
    unsigned long Do(Step step, Action const& action) const
    {
        return step == m_failing ? kInjected : action();
    }

    std::unique_ptr<xc::win32::ReplaceSteps> m_real = xc::win32::SystemReplaceSteps();
    Step m_failing;
};

TEST(XCSaveFile, AFailureAtAnyStepLeavesTheOldFileAndTheNextSaveWorks)
{
    for (Step const step : {Step::Create, Step::Write, Step::WriteHalf, Step::Flush, Step::Close, Step::Replace}) {
        SCOPED_TRACE(static_cast<int>(step));
        ScratchFolder const folder("xc_save_steps");
        folder.Write("x.txt", "old");
        FailingSteps failing(step);
        EXPECT_EQ(xc::win32::ReplaceFileContents(SystemPath(folder.Path("x.txt")), "new", failing), kInjected);
        EXPECT_EQ(folder.Bytes("x.txt"), "old");
        EXPECT_EQ(folder.Count(), 1) << "something is left beside it";
        EXPECT_TRUE(XCSaveFile::Save(folder.Path("x.txt"), std::string_view("new")).Good());
        EXPECT_EQ(folder.Bytes("x.txt"), "new");
    }
}

TEST(XCSaveFile, AfterAnErrorNothingIsCommitted)
{
    FailingSteps steps(Step::WriteHalf);
    ScratchFolder const folder("xc_save_sticky");
    xc::win32::Patience patience;
    xc::win32::Replacement replacement(SystemPath(folder.Path("x.txt")), steps);
    EXPECT_EQ(replacement.Start(), 0u);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(replacement.Write("ab"), kInjected);
    EXPECT_EQ(replacement.Commit(patience), kInjected);
    EXPECT_EQ(folder.Count(), 0);

    XCSaveFile file(folder.Path("y.txt"));
    EXPECT_TRUE(file.WriteText(L"a").Good());
    EXPECT_EQ(file.WriteText(L"\xD800"), XCErrUnmappableUnit);
    EXPECT_EQ(file.WriteText(L"b"), XCErrUnmappableUnit);
    EXPECT_EQ(file.Commit(), XCErrUnmappableUnit) << "a text is missing in the middle";
    file.Discard();
    EXPECT_EQ(folder.Count(), 0);
    EXPECT_TRUE(file.WriteText(L"c", XCTextEncoding::Utf16BE).Good() && file.Commit().Good());
    EXPECT_EQ(folder.Bytes("y.txt"), std::string("\xFE\xFF\0c", 4));

    EXPECT_EQ(XCSaveFile(L"xc_save.").Commit(), XCErrFileName);
    XCErrorID const missing = XCSaveFile(folder.Path("no/z.txt")).Commit();
    EXPECT_EQ(missing, XCErrFileCannotWrite);
    EXPECT_TRUE(Names(missing, "z.txt"));
    EXPECT_EQ(XCSaveFile(folder.Path()).Commit(5000), XCErrFileCannotWrite) << "waits for a folder";
}

TEST(XCSaveFile, TheEndWithoutCommitChangesNothing)
{
    ScratchFolder const folder("xc_save_end");
    folder.Write("x.txt", "old");
    std::string const large(200'000, 'n');
    {
        XCSaveFile file(folder.Path("x.txt"));
        EXPECT_TRUE(file.Write("a", 1).Good() && file.Write(large.data(), large.size()).Good());
        EXPECT_EQ(folder.Count(), 2) << "beside the target, on its volume";
    }
    EXPECT_EQ(All(folder.Count(), folder.Bytes("x.txt")), All(1, "old"));
    XCSaveFile file(folder.Path("x.txt"));
    unsigned int tries = 0;
    EXPECT_TRUE(file.Write("a", 1).Good() && file.Write(large.data(), large.size()).Good());
    EXPECT_TRUE(file.Write("z", 1).Good() && file.Commit(0, &tries).Good());
    EXPECT_EQ(tries, 1u);
    EXPECT_TRUE(folder.Bytes("x.txt") == "a" + large + "z" && file.Commit().Good());
    EXPECT_EQ(folder.Bytes("x.txt"), "") << "a second content";
}

#if defined(_WIN32)
int g_blocked = 0;
DWORD g_why = 0;
BOOL WINAPI BlockedMove(wchar_t const* from, wchar_t const* to, DWORD flags)
{
    if (g_blocked-- > 0) return ::SetLastError(g_why), FALSE;
    return ::MoveFileExW(from, to, flags);
}

TEST(XCSaveFile, BlockedReplacementsAreTriedUntilTheDeadline)
{
    sync_test::ImportPatch const patch("MoveFileExW", &BlockedMove);
    // why, blocked, deadlineMs, code, allTries
    Table<DWORD, int, unsigned int, long, bool> const rows = {
        {5, 4, 10'000, 0, true},
        {32, 4, 10'000, 0, true},
        {1175, 1, 10'000, 0, true},
        {1176, 1, 10'000, 0, true},
        {1177, 1, 10'000, 0, true},
        {1224, 1, xc::win32::Patience::kEndless, 0, true},
        {32, 1, 0, XCErrFileHeld, true},
        {32, 1'000'000, 60, XCErrFileHeld, false},
        {112, 1, 10'000, XCErrFileCannotWrite, true},
    };
    for (auto const& [why, blocked, deadlineMs, code, allTries] : rows) {
        SCOPED_TRACE(testing::Message() << why << ", " << deadlineMs << " ms");
        ScratchFolder const folder("xc_save_blocked");
        folder.Write("x.txt", "old");
        XCSaveFile file(folder.Path("x.txt"));
        unsigned int tries = 0;
        g_why = why;
        g_blocked = blocked;
        EXPECT_TRUE(file.Write("new", 3).Good());
        ULONGLONG const begin = ::GetTickCount64();
        XCErrorID const result = file.Commit(deadlineMs, &tries);
        EXPECT_LT(::GetTickCount64() - begin, 5'000u);
        EXPECT_EQ(result, code);
        int const expected = blocked + (code == 0 ? 1 : 0);
        EXPECT_TRUE(allTries ? tries == static_cast<unsigned int>(expected) : tries > 2) << tries;
        EXPECT_EQ(folder.Bytes("x.txt"), code == 0 ? "new" : "old");
        if (code != XCErrFileHeld) continue;
        EXPECT_EQ(Parameter(result, 3), std::to_string(tries));
        g_blocked = 0;
        EXPECT_TRUE(file.Commit().Good()) << "the content is still there";
        EXPECT_EQ(folder.Bytes("x.txt"), "new");
    }
}

// Killed processes ----------------------------------------------------------------------------------------------

constexpr DWORD kKilled = 77;
int g_callsLeft = 0;

/// Passes a call on, unless the process ends before it.
template <auto Function, class Result, class... Arguments>
Result WINAPI CallOrEnd(Arguments... arguments)
{
    if (g_callsLeft-- == 0) ::TerminateProcess(::GetCurrentProcess(), kKilled);
    return Function(arguments...);
}
template <auto Function, class Result, class... Arguments>
void* Ending(Result(WINAPI*)(Arguments...))
{
    return reinterpret_cast<void*>(
        static_cast<Result(WINAPI*)(Arguments...)>(&CallOrEnd<Function, Result, Arguments...>));
}

constexpr std::size_t kContent = 150'000;

TEST(SaveChild, DISABLED_SavesAndEndsAtACall)
{
#define XC_ENDING(function) {#function, Ending<&::function>(&::function)}
    sync_test::ImportPatch const patches[] = {XC_ENDING(CreateFileW),        XC_ENDING(WriteFile),
                                              XC_ENDING(FlushFileBuffers),   XC_ENDING(CloseHandle),
                                              XC_ENDING(GetFileAttributesW), XC_ENDING(SetFileAttributesW),
                                              XC_ENDING(MoveFileExW)};
#undef XC_ENDING
    wchar_t number[16] = {};
    ::GetEnvironmentVariableW(L"XC_CALLS", number, 16);
    g_callsLeft = std::stoi(number);
    XCSaveFile file(L"xc_save_killed/x.txt");
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(file.Write(std::string(kContent / 3, 'n').data(), kContent / 3).Good());
    EXPECT_TRUE(file.Commit().Good());
}

TEST(XCSaveFile, AProcessThatEndsAtAnyCallLeavesTheOldOrTheNewFile)
{
    ScratchFolder const folder("xc_save_killed");
    std::string const old(kContent + 1, 'o'), fresh(kContent, 'n');
    int oldOnes = 0;
    DWORD code = kKilled;
    for (int calls = 0; code == kKilled && calls < 100; ++calls) {
        SCOPED_TRACE(calls);
        folder.Write("x.txt", old);
        ::SetEnvironmentVariableW(L"XC_CALLS", std::to_wstring(calls).c_str());
        code = ChildProcess(ChildProcess::OfTest(L"SaveChild.DISABLED_*")).Wait();
        std::string const found = folder.Bytes("x.txt");
        EXPECT_TRUE(found == old || found == fresh) << found.size() << " bytes";
        oldOnes += found == old;
    }
    ::SetEnvironmentVariableW(L"XC_CALLS", nullptr);
    EXPECT_EQ(code, 0u) << "the last child saves undisturbed";
    EXPECT_GE(oldOnes, 6) << "too few places were tried";
    EXPECT_EQ(folder.Count(), 1) << "what the killed have left was not removed";
}
#endif

} // namespace
