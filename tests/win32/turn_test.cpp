// Turns at one file: a slow holder is waited for, a dead one is succeeded.
#include "prelude.h"
#include "win32/AppendTurn.h"
#include "win32/BareFile.h"
#include "win32/File.h"

#include <fstream>
#include <sstream>
#include <windows.h>

namespace {

using namespace xc::win32;

struct Turn {
    Turn()
    {
        EXPECT_EQ(file.Open(SystemPath(L"turn.txt"),
                            {.access = FileMode::Access::Append, .start = FileMode::Start::OpenOrCreate}),
                  0u);
        turn.Open(file.Handle());
    }
    File file;
    AppendTurn turn;
};

TEST(BareFile, AppendsWithoutTheHeap)
{
    BareFile file;
    file.Append("nowhere yet");
    file.Prepare(SystemPath(L"bare.txt"));
    ASSERT_TRUE(::HeapLock(::GetProcessHeap()));
    file.Append("one\n");
    file.Append("two\n");
    ::HeapUnlock(::GetProcessHeap());
    std::ostringstream text;
    text << std::ifstream("bare.txt", std::ios::binary).rdbuf();
    EXPECT_EQ(text.str(), "one\ntwo\n");
    EXPECT_EQ(std::remove("bare.txt"), 0);
}

TEST(AppendTurn, OnlyADeadHolderIsSucceeded)
{
    // fault, standsStillMs, gives, cut
    Rows<DWORD, bool, bool> const rows = {
        {"a slow holder loses its turn", 1250, true, false},
        {"a cut record is not told", 0, true, true},
        {"a dead holder is waited for", 0, false, true},
    };
    for (auto const& [fault, standsStillMs, gives, cut] : rows) {
        SCOPED_TRACE(fault);
        Turn first;
        Turn second;
        HANDLE const taken = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        std::atomic<bool> given{!gives};
        std::thread holder([&, ms = standsStillMs, givesBack = gives, isCut = cut] {
            first.turn.Take();
            ::SetEvent(taken);
            ::Sleep(ms);
            given = true;
            if (givesBack) first.turn.Give(isCut);
        });
        ::WaitForSingleObject(taken, INFINITE);
        EXPECT_EQ(second.turn.Take(), cut);
        EXPECT_TRUE(given) << "two have the turn";
        second.turn.Give(false);
        holder.join();
        ::CloseHandle(taken);
    }
    ::DeleteFileW(L"turn.txt");
}

} // namespace
