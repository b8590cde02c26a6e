#include "sync/import_patch.h"
#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

TEST(XCCountingSemaphore, LimitsAreKept)
{
    EXPECT_EQ(MessageOf([] { XCCountingSemaphore semaphore(5, 3); }),
              L"XCCountingSemaphore exception: initial greater than the maximum");
    XCCountingSemaphore semaphore(3, 3);
    for (unsigned int const n : {1u, 0xFFFFFFFFu, 0xFFFFFFFEu}) {
        SCOPED_TRACE(n);
        EXPECT_EQ(MessageOf([&] { semaphore.Unlock(n); }), L"XCCountingSemaphore overflow");
        EXPECT_EQ(semaphore.GetCount(), 3u) << "an overflow must leave the count";
        EXPECT_EQ(Elsewhere([&] { return semaphore.GetCount(); }), 3u) << "hangs where the inner mutex stays held";
    }
    EXPECT_FALSE(semaphore.TryLock(4));
    EXPECT_TRUE(semaphore.TryLock(3));
    EXPECT_FALSE(semaphore.TryLock(1));
    semaphore.post(3);
    EXPECT_EQ(All(XCCountingSemaphore().GetCount(), XCCountingSemaphore(7).GetSize()), All(1u, 2147483647u));
}

TEST(XCCountingSemaphore, WaitsForEnoughUnits)
{
    static XCCountingSemaphore* shared = nullptr;
    XCCountingSemaphore semaphore(3);
    shared = &semaphore;
    {
        ImportPatch const patch(
            "Sleep", +[](DWORD milliseconds) {
                EXPECT_EQ(milliseconds, 10u);
                std::thread([] { shared->Unlock(1); }).join(); // hangs where the waiter holds it
            });
        semaphore.Lock(4);
    }
    EXPECT_EQ(semaphore.GetCount(), 0u);
}

TEST(XCCountingSemaphore, EightThreadsShareThreeUnits)
{
    XCCountingSemaphore semaphore(3, 3);
    std::atomic<unsigned int> inUse = 0;
    std::atomic<bool> tooMany = false;
    OnThreads(8, [&](int i) {
        for (int round = 0; round < 60; ++round) {
            auto const n = static_cast<unsigned int>(1 + (i + round) % 3);
            XCLockGuard guard(semaphore, n);
            if ((inUse += n) > 3) tooMany = true;
            std::this_thread::yield();
            inUse -= n;
        }
    });
    EXPECT_FALSE(tooMany);
    EXPECT_EQ(semaphore.GetCount(), 3u);
}

TEST(XCCountingSemaphore, FailedWaitKeepsTheCount)
{
    XCCountingSemaphore semaphore(2);
    {
        HandleSabotage const sabotage(HandleIn(semaphore));
        EXPECT_EQ(SystemErrorOf([&] { semaphore.Lock(1); }), 6u);
        EXPECT_EQ(SystemErrorOf([&] { semaphore.Unlock(1); }), 6u);
        EXPECT_EQ(SystemErrorOf([&] { std::ignore = semaphore.TryLock(1); }), 6u);
        EXPECT_EQ(SystemErrorOf([&] { std::ignore = semaphore.GetSize(); }), 6u);
    }
    EXPECT_EQ(semaphore.GetCount(), 2u);
}

TEST(XCCountingSemaphore, HolderOfTheInnerMutexMayDie)
{
    XCCountingSemaphore semaphore(2);
    HANDLE const handle = HandleIn(semaphore);
    ASSERT_EQ(Elsewhere([&] { return ::WaitForSingleObject(handle, 0); }), WAIT_OBJECT_0);
    semaphore.Lock(1);
    EXPECT_EQ(Elsewhere([&] { return semaphore.GetCount(); }), 1u) << "hangs where the mutex stays held";
}

} // namespace
