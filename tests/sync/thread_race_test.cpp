#include <XelbrinCore/XCThread.h>

#include "sync/sync_test_tools.h"

#include <array>
#include <atomic>
#include <vector>

namespace {

using namespace sync_test;

/// Waits for the thread, wherever its end and the other waiters are at this moment.
void WaitOrFindItGone(XCThread_t const& id, int timeout)
{
    try {
        XCThread::WaitForThread(id, timeout);
    } catch (XCException const& gone) {
        EXPECT_EQ(gone.What(), L"Invalid Thread ID");
    }
}

TEST(XCThreadRaces, TwoWaitersAndAJoinComeHome)
{
    constexpr int kRounds = 1000;
    std::mt19937 random = Randomness();
    std::array<XCEventSemaphore, 2> next;
    XCEventSemaphore done;
    std::atomic<int> atWork = 0;
    XCThread_t id;
    int slice = 0;
    std::vector<std::thread> waiters;
    for (XCEventSemaphore& go : next)
        waiters.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                go.wait();
                go.reset();
                WaitOrFindItGone(id, slice);
                if (--atWork == 0) done.post();
            }
        });
    std::atomic<int> runs = 0;
    for (int round = 0; round < kRounds; ++round) {
        XCSmartPtr<XCThread> const thread = new XCThread(XCMakeCallback([&] { ++runs; }));
        thread->SetDeleteOnEnd(random() % 4 == 0);
        slice = static_cast<int>(random() % 4) - 1;
        atWork = 2;
        ASSERT_TRUE(thread->Start().Good());
        id = thread->GetThreadId();
        for (XCEventSemaphore& go : next) go.post();
        if (random() % 2) thread->Join();
        EXPECT_EQ(done.wait(60000), 0u);
        done.reset();
        thread->Join();
        ASSERT_EQ(runs, round + 1) << "came home before the end";
        ASSERT_FALSE(thread->Exists());
    }
    for (std::thread& waiter : waiters) waiter.join();
}

TEST(XCThreadRaces, ManyStartersShareTheRegistry)
{
    std::atomic<int> runs = 0;
    std::atomic<int> ends = 0;
    auto const work = XCMakeCallback([&] { ++runs; });
    auto const atEnd = XCMakeCallback([&] { ++ends; });
    std::vector<XCSmartPtr<XCThread>> starters;
    for (int i = 0; i < 8; ++i)
        starters.push_back(new XCThread(XCMakeCallback([&, i] {
            for (int round = 0; round < 60; ++round) {
                XCSmartPtr<XCThread> const child = new XCThread(work);
                child->AddExitFunction(atEnd);
                child->SetDeleteOnEnd((round + i) % 3 == 0);
                ASSERT_TRUE(child->Start((round % 3) - 1).Good());
                child->SetFlag(round);
                child->Join();
            }
        })));
    for (auto const& starter : starters) ASSERT_TRUE(starter->Start().Good());
    for (auto const& starter : starters) starter->Join();
    EXPECT_EQ(runs, 8 * 60);
    EXPECT_EQ(ends, 8 * 60);
}

} // namespace
