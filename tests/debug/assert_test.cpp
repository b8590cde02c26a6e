// Failed assertions: told in every place, and followed by what the environment or the handler says.
#include "child_process.h"
#include "scratch_files.h"

#include <XelbrinCore/XCAssert.h>

#include "debug/AssertPlan.h"

namespace {

using namespace xc_test;
using enum XCAssertAction;

TEST(AssertPlan, DoesWhatCanBeDoneHere)
{
    using xc::debug::AssertScene;
    constexpr AssertScene kDesk{false, true, true, false, true};
    for (auto const& [fault, wish, scene, expected] : Rows<XCAssertAction, AssertScene, XCAssertAction>{
             {"nobody is asked", Dialog, kDesk, Dialog},
             {"a debugger counts as nobody", Dialog, {false, true, false, true, true}, Dialog},
             {"a service hangs in a dialog", Dialog, {true, true, true, true, true}, Abort},
             {"a dialog on a desktop that nobody sees", Dialog, {false, false, true, true, true}, Abort},
             {"a dialog of a job", Dialog, {false, true, false, false, true}, Abort},
             {"a breakpoint without a debugger", Break, kDesk, Abort},
             {"the debugger is left out", Break, {true, false, false, true, true}, Break},
             {"goes on from where nothing is", Continue, {false, true, true, false, false}, Abort},
             {"throws from no place", Throw, {true, false, false, false, false}, Throw}})
        EXPECT_EQ(xc::debug::PlanAssert(wish, scene), expected) << fault;
    for (auto const& [word, expected] : Table<std::wstring, XCAssertAction>{
             {L"", Abort}, {L"abort", Abort}, {L"Throw", Throw}, {L"THROWS", Abort}, {L"dialog", Dialog}})
        EXPECT_EQ(xc::debug::ReadAssertAction(word), expected);
}

struct Nested final : XCAssertHandlerI {
    XCAssertAction OnFailure(XCAssertFailure const&) override
    {
        XC_VERIFY(!"in the handler");
        return Continue;
    }
};

/// 10: an exception came, 11: the program has gone on, 3: abort.
TEST(DISABLED_AssertChild, Fails)
{
    wchar_t log[1024] = L"";
    ::GetEnvironmentVariableW(L"XC_ASSERT_LOG", log, 1024);
    XCException::SetErrorLogPath(XCString(log));
    std::string const how = std::getenv("XC_ASSERT_HOW");
    if (how == "handler") XCAssert::SetHandler(XCSmartPtr<XCAssertHandlerI>(new Nested));
    if (how == "unseen") ::FreeConsole();
    // What IsDebuggerPresent looks at: somebody is there who can see a dialog.
    if (how == "watched") reinterpret_cast<unsigned char*>(__readgsqword(0x60))[2] = 1;
    int exitCode = 11;
    try {
        if (how == "unreachable") XC_UNREACHABLE("planned");
        XC_VERIFY(1 + 1 == 3);
    } catch (XCAssertException const&) {
        exitCode = 10;
    }
    ::ExitProcess(static_cast<UINT>(exitCode));
}

TEST(Assert, IsToldAndFollowedByWhatIsAskedFor)
{
    struct AssertCase {
        char const* fault;
        char const* wish;
        char const* how;
        DWORD exitCode;
        char const* told;
    };
    constexpr AssertCase kCases[] = {
        {"goes on unasked", "", "", 3, "assertion failed: 1 + 1 == 3 ("},
        {"no exception", "throw", "", 10, "assertion failed: 1 + 1 == 3 ("},
        {"ends all the same", "continue", "", 11, "assertion failed: 1 + 1 == 3 ("},
        {"a breakpoint without a debugger", "break", "", 3, "assertion failed: 1 + 1 == 3 ("},
        {"the dialog beside the program is not asked", "dialog", "watched", 11,
         "dialog: assertion failed: 1 + 1 == 3 ("},
        {"a dialog that nobody sees holds the job", "dialog", "unseen", 3, "] assertion failed: 1 + 1 == 3 ("},
        {"goes on from where nothing is", "continue", "unreachable", 3, "assertion failed: unreachable: planned ("},
        {"fails in its own handler for ever", "throw", "handler", 3, "assertion failed: 1 + 1 == 3 ("},
    };
    for (AssertCase const& c : kCases) {
        SCOPED_TRACE(c.fault);
        ScratchFolder const folder("xc_asserts");
        ::SetEnvironmentVariableW(L"XC_ASSERT_LOG", folder.Path("error.log").AsWChar());
        ::SetEnvironmentVariableA("XC_ASSERT_HOW", c.how);
        ::SetEnvironmentVariableA("XC_ASSERT", c.wish);
        EXPECT_EQ(ChildProcess(ChildProcess::OfTest(L"DISABLED_AssertChild.Fails")).Wait(), c.exitCode);
        std::string const record = folder.Bytes("error.log");
        EXPECT_NE(record.find(c.told), std::string::npos) << record;
        EXPECT_NE(record.find("!TestBody"), std::string::npos) << "no stack: " << record;
    }
}

TEST(Assert, TheHandlerSeesTheFailure)
{
    struct Keeper final : XCAssertHandlerI {
        XCAssertAction OnFailure(XCAssertFailure const& failure) override
        {
            seen = failure;
            return Throw;
        }
        XCAssertFailure seen{};
    };
    XCSmartPtr<Keeper> const keeper(new Keeper);
    EXPECT_TRUE(XCAssert::SetHandler(XCSmartPtr<XCAssertHandlerI>(keeper.GetPtr())).IsNull());
    int evaluated = 0;
    EXPECT_THROW(XC_VERIFY(++evaluated == 2), XCAssertException);
    EXPECT_EQ(evaluated, 1);
    EXPECT_NE(std::string_view(keeper->seen.file).find("assert_test.cpp"), std::string_view::npos);
    EXPECT_EQ(keeper->seen.condition, std::string_view("++evaluated == 2"));
    EXPECT_EQ(XCAssert::SetHandler({}).GetPtr(), keeper.GetPtr());
}

} // namespace
