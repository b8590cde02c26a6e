#include "sync/import_patch.h"
#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

TEST(XCBaton, PassedTurnsHoldNothing)
{
    XCBaton baton;
    EXPECT_FALSE(baton.Lock(0));
    EXPECT_TRUE(baton.Lock(1));
    EXPECT_FALSE(Elsewhere([&] { return baton.Lock(1); })) << "must not wait for the holder";
    baton.Unlock();
    for (unsigned int turn = 2; turn <= 5; ++turn) {
        EXPECT_TRUE(baton.Lock(turn));
        baton.Unlock();
    }
    EXPECT_FALSE(baton.Lock(2));
    baton.Unlock(); // holds nothing: silent
    {
        XCLockGuard holder(baton, 6u);
        XCLockGuard passed(baton, 3u);
        EXPECT_FALSE(passed.Holds());
        passed.Release();
        std::thread next([&] { XCLockGuard guard(baton, 7u); });
        EXPECT_FALSE(Elsewhere([&] { return baton.Lock(6); }));
        EXPECT_TRUE(holder.Holds());
        holder.Release();
        next.join();
    }
    EXPECT_FALSE(baton.Lock(7));
}

TEST(XCBaton, HolderMayDie)
{
    XCBaton baton;
    ASSERT_TRUE(Elsewhere([&] { return baton.Lock(1); })); // its thread ends without Unlock
    EXPECT_TRUE(baton.Lock(2));
    baton.Unlock();
}

TEST(XCBaton, TwoHundredTurnsInRandomStartOrder)
{
    XCBaton baton;
    std::vector<unsigned int> turns(200);
    std::iota(turns.begin(), turns.end(), 1u);
    std::ranges::shuffle(turns, Randomness());
    std::vector<unsigned int> entered; // guarded by the baton
    OnThreads(200, [&](int i) {
        XCLockGuard guard(baton, turns[static_cast<std::size_t>(i)]);
        entered.push_back(turns[static_cast<std::size_t>(i)]);
    });
    EXPECT_TRUE(std::ranges::is_sorted(entered));
    EXPECT_EQ(entered.size(), turns.size());
}

TEST(XCBaton, SecondHolderOfATurnSetsTheTurnBack)
{
    static XCBaton* shared = nullptr;
    XCBaton baton;
    shared = &baton;
    // Turns 1 to 3 go by between the first look of Lock(1) and its wait for the mutex.
    ImportPatch const patch(
        "WaitForSingleObject", +[](HANDLE handle, DWORD timeout) -> DWORD {
            if (XCBaton* const busy = std::exchange(shared, nullptr))
                for (unsigned int turn = 1; turn <= 3; ++turn) XCLockGuard guard(*busy, turn);
            return ::WaitForSingleObject(handle, timeout);
        });
    EXPECT_TRUE(baton.Lock(1));
    baton.Unlock();
    EXPECT_TRUE(baton.Lock(2)) << "the current turn is what was entered last";
    baton.Unlock();
}

TEST(XCBaton, PulseThatMissesAWaiterDelaysOnly)
{
    XCBaton baton;
    XCEventSemaphore started;
    std::thread waiter([&] {
        started.post();
        XCLockGuard guard(baton, 2u);
    });
    started.wait();
    EXPECT_TRUE(baton.Lock(1));
    bool const silent = ::ReleaseMutex(HandleIn(baton)) != 0; // leaves the turn without any pulse
    EXPECT_TRUE(silent);
    if (!silent) baton.Unlock();
    waiter.join();
}

TEST(XCBaton, FailedWaitThrows)
{
    XCBaton baton;
    HandleSabotage const sabotage(HandleIn(baton));
    EXPECT_EQ(SystemErrorOf([&] { baton.Lock(1); }), 6u);
    EXPECT_FALSE(baton.Lock(0));
}

} // namespace
