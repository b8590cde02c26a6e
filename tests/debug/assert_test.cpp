// Failed assertions: told in every place, and followed by what the environment or the handler says.
#include "child_process.h"
#include "scratch_files.h"

#include <XelbrinCore/XCAssert.h>

#include "debug/AssertPlan.h"

namespace {

using namespace xc_test;
using enum XCAssertAction;

// The rest of the plan is seen in child processes, below.
TEST(AssertPlan, DoesWhatCanBeDoneHere)
{
    using xc::debug::AssertScene;
    for (auto const& [fault, wish, scene, expected] : Rows<XCAssertAction, AssertScene, XCAssertAction>{
             {"a console counts as nobody", Dialog, {false, true, true, false, true}, Dialog},
             {"a service hangs in a dialog", Dialog, {true, true, true, true, true}, Abort},
             {"a dialog on a desktop that nobody sees", Dialog, {false, false, true, true, true}, Abort},
             {"the debugger is left out", Break, {true, false, false, true, true}, Break},
             {"goes on from where nothing is", Continue, {false, true, true, false, false}, Abort}})
        EXPECT_EQ(xc::debug::PlanAssert(wish, scene), expected) << fault;
    for (auto const& [word, expected] : Table<std::wstring, XCAssertAction>{{L"Throw", Throw}, {L"THROWS", Abort}})
        EXPECT_EQ(xc::debug::ReadAssertAction(word), expected);
}

struct Handler final : XCAssertHandlerI {
    explicit Handler(XCAssertAction answer_, bool fails_ = false) : answer(answer_), fails(fails_) {}
    XCAssertAction OnFailure(XCAssertFailure const& failure) override
    {
        if (fails) XC_VERIFY(!"in the handler");
        seen = failure;
        return answer;
    }
    XCAssertAction const answer;
    bool const fails;
    XCAssertFailure seen{};
};

/// 10: an exception came, 11: the program has gone on, 3: abort.
TEST(DISABLED_AssertChild, Fails)
{
    XCException::SetErrorLogPath(XCString(EnvironmentValue(L"XC_ASSERT_LOG")));
    std::string const how = std::getenv("XC_ASSERT_HOW");
    if (how == "handler") XCAssert::SetHandler(XCSmartPtr<XCAssertHandlerI>(new Handler(Continue, true)));
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
    for (auto const& [fault, wish, how, exitCode] :
         Rows<char const*, std::string, DWORD>{{"goes on unasked", "", "", 3},
                                               {"no exception", "throw", "", 10},
                                               {"ends all the same", "continue", "", 11},
                                               {"a breakpoint without a debugger", "break", "", 3},
                                               {"the dialog beside the program is not asked", "dialog", "watched", 11},
                                               {"a dialog that nobody sees holds the job", "dialog", "unseen", 3},
                                               {"goes on from where nothing is", "continue", "unreachable", 3},
                                               {"fails in its own handler for ever", "throw", "handler", 3}})
    {
        SCOPED_TRACE(fault);
        ScratchFolder const folder("xc_asserts");
        ::SetEnvironmentVariableW(L"XC_ASSERT_LOG", folder.Path("error.log").AsWChar());
        ::SetEnvironmentVariableA("XC_ASSERT_HOW", how.c_str());
        ::SetEnvironmentVariableA("XC_ASSERT", wish);
        EXPECT_EQ(ChildProcess(ChildProcess::OfTest(L"DISABLED_AssertChild.Fails")).Wait(), exitCode);
        std::string const record = folder.Bytes("error.log");
        std::string const told =
            "assertion failed: " + std::string(how == "unreachable" ? "unreachable: planned (" : "1 + 1 == 3 (");
        EXPECT_NE(record.find("] " + told), std::string::npos) << record;
        EXPECT_EQ(record.find("dialog: " + told) != std::string::npos, how == "watched") << record;
        EXPECT_NE(record.find("!TestBody"), std::string::npos) << "no stack: " << record;
    }
}

TEST(Assert, TheHandlerSeesTheFailure)
{
    XCSmartPtr<Handler> const keeper(new Handler(Throw));
    EXPECT_TRUE(XCAssert::SetHandler(XCSmartPtr<XCAssertHandlerI>(keeper.GetPtr())).IsNull());
    int evaluated = 0;
    EXPECT_THROW(XC_VERIFY(++evaluated == 2), XCAssertException);
    EXPECT_EQ(evaluated, 1);
    EXPECT_NE(std::string_view(keeper->seen.file).find("assert_test.cpp"), std::string_view::npos);
    EXPECT_EQ(keeper->seen.condition, std::string_view("++evaluated == 2"));
    EXPECT_EQ(XCAssert::SetHandler({}).GetPtr(), keeper.GetPtr());
}

} // namespace
