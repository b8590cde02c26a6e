
#include "sync/sync_test_tools.h"

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
    constexpr int kBatches = 150;
    std::mt19937 random = Randomness();
    std::array<XCSmartPtr<XCThread>, 8> threads;
    std::array<XCEventSemaphore, 2> next;
    XCEventSemaphore done;
    XCEventSemaphore gate; // the threads end when it opens
    std::atomic<int> atWork = 0;
    int slice = 0;
    std::vector<std::thread> waiters;
    for (XCEventSemaphore& go : next)
        waiters.emplace_back([&] {
            for (int batch = 0; batch < kBatches; ++batch) {
                go.wait();
                go.reset();
                for (auto const& thread : threads) WaitOrFindItGone(thread->GetThreadId(), slice);
                if (--atWork == 0) done.post();
            }
        });
    std::atomic<std::size_t> runs = 0;
    auto const work = XCMakeCallback([&] {
        gate.wait();
        ++runs;
    });
    for (int batch = 0; batch < kBatches; ++batch) {
        runs = 0;
        for (auto& thread : threads) {
            thread = new XCThread(work);
            thread->SetDeleteOnEnd(random() % 4 == 0);
            EXPECT_TRUE(thread->Start().Good());
        }
        slice = static_cast<int>(random() % 4) - 1;
        atWork = 2;
        if (random() % 2) gate.post();
        for (XCEventSemaphore& go : next) go.post();
        gate.post();
        for (auto const& thread : threads)
            if (random() % 2) thread->Join();
        done.wait();
        done.reset();
        gate.reset();
        for (auto const& thread : threads) thread->Join();
        EXPECT_EQ(runs, threads.size()) << "came home before the end";
        for (auto const& thread : threads) EXPECT_FALSE(thread->Exists());
    }
    for (std::thread& waiter : waiters) waiter.join();
}

} // namespace
