#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

constexpr wchar_t kBadName[] = L"a\\b";

TEST(XCCriticalSection, AnswersByOwner)
{
    EXPECT_EQ(XCCriticalSection().IsLocked(), 1u);
    XCCriticalSection section(true);
    EXPECT_EQ(section.IsLocked(), 2u);
    section.obtain();
    EXPECT_EQ(section.IsLocked(), 3u);
    EXPECT_EQ(Elsewhere([&] { return section.IsLocked(); }), 0u);
    EXPECT_FALSE(Elsewhere([&] { return section.TryLock(); }));
    section.unlock();
    EXPECT_FALSE(Elsewhere([&] { return section.TryLock(); })) << "left too early";
    section.release();
    EXPECT_EQ(section.IsLocked(), 1u);
}

TEST(XCMutex, HeldByAnotherThread)
{
    XCMutex mutex(XCMutex::defaultValue, true);
    EXPECT_TRUE(mutex.lock(0)) << "recursive for its owner";
    EXPECT_FALSE(Elsewhere([&] { return mutex.Lock(1); }));
    EXPECT_EQ(Elsewhere([&] { return SystemErrorOf([&] { mutex.unlock(); }); }), 288u) << "not the owner";
    mutex.Unlock();
    mutex.release();
    EXPECT_TRUE(Elsewhere([&] { return mutex.obtain() && (mutex.unlock(), true); }));
}

TEST(XCMutex, AbandonedIsNotAcquiredAndNotLeftHeld)
{
    for (unsigned int const timeout : {0u, XCInfinite}) {
        XCMutex mutex;
        ASSERT_TRUE(Elsewhere([&] { return mutex.lock(0); }));
        EXPECT_FALSE(mutex.lock(timeout));
        EXPECT_TRUE(Elsewhere([&] { return mutex.lock(0) && (mutex.unlock(), true); }));
        EXPECT_TRUE(mutex.lock(0));
        mutex.unlock();
    }
}

TEST(XCMutex, GuardHoldsOrSaysSo)
{
    XCMutex mutex;
    {
        XCLockGuard guard(mutex);
        EXPECT_FALSE(Elsewhere([&] { return XCLockGuard(mutex, 1u).Holds(); }));
    }
    ASSERT_TRUE(Elsewhere([&] { return mutex.lock(0); })); // abandoned
    EXPECT_FALSE(MessageOf([&] { XCLockGuard guard(mutex); }).IsNull());
    EXPECT_TRUE(XCLockGuard(mutex, 0u).Holds());
}

TEST(XCEventSemaphore, StatesAndWaits)
{
    XCEventSemaphore event;
    EXPECT_FALSE(event.posted());
    EXPECT_EQ(event.wait(0), 258u);
    event.post();
    EXPECT_EQ(event.Wait(), 0u);
    EXPECT_TRUE(event.Posted()) << "a wait must not reset it";
    event.pulse();
    EXPECT_FALSE(event.posted()) << "pulse leaves it unposted";
    event.Post();
    event.reset();
    EXPECT_EQ(event.Wait(1), 258u);
    EXPECT_TRUE(XCEventSemaphore(XCEventSemaphore::defaultValue, true).posted());
}

TEST(KernelLocks, RefusedCreationCarriesTheError)
{
    EXPECT_EQ(SystemErrorOf([] { XCMutex mutex(kBadName); }), 3u);
    EXPECT_EQ(SystemErrorOf([] { XCEventSemaphore event(kBadName); }), 3u);
    XCEventSemaphore event(L"XelbrinCore.test.kind");
    EXPECT_EQ(SystemErrorOf([] { XCMutex mutex(L"XelbrinCore.test.kind"); }), 6u) << "a name of another kind";
}

TEST(KernelLocks, FailedCallsThrow)
{
    XCEventSemaphore event;
    HandleSabotage const sabotage(event.GetHandle());
    EXPECT_EQ(SystemErrorOf([&] { event.wait(0); }), 6u);
    EXPECT_EQ(SystemErrorOf([&] { std::ignore = event.posted(); }), 6u);
    EXPECT_EQ(SystemErrorOf([&] { event.post(); }), 6u);
    EXPECT_EQ(SystemErrorOf([&] { event.reset(); }), 6u);
    EXPECT_EQ(SystemErrorOf([&] { event.pulse(); }), 6u);
}

TEST(XCSynchronizedCriticalSection, NoSignalIsLost)
{
    XCSynchronizedCriticalSection meeting;
    constexpr int kRounds = 500;
    int offered = 0;
    int taken = 0;
    XCEventSemaphore waiting;
    std::thread consumer([&] {
        for (int round = 1; round <= kRounds; ++round) {
            meeting.Lock();
            waiting.post(); // the producer now waits for the section, and so comes after the reset in UnlockWait
            meeting.UnlockWait();
            XCLockGuard guard(meeting);
            EXPECT_EQ(offered, round);
            taken = offered;
        }
    });
    for (int round = 1; round <= kRounds; ++round) {
        waiting.wait();
        waiting.reset();
        meeting.lock();
        offered = round;
        meeting.PostUnlock();
    }
    consumer.join();
    EXPECT_EQ(taken, kRounds);
}

TEST(XCSynchronizedCriticalSection, FailureLeavesTheSection)
{
    XCSynchronizedCriticalSection meeting;
    {
        HandleSabotage const sabotage(HandleIn(
            meeting,
            sizeof(XCCriticalSection))); // no thread may start here: it could be given the closed handle's value
        for (auto const call : {&XCSynchronizedCriticalSection::PostUnlock, &XCSynchronizedCriticalSection::UnlockWait})
        {
            meeting.Lock();
            EXPECT_EQ(SystemErrorOf([&] { (meeting.*call)(); }), 6u);
        }
    }
    EXPECT_TRUE(Elsewhere([&] { return XCLockGuard(meeting).Holds(); })) << "hangs where the section was not left";
}

} // namespace
