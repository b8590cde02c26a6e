
#include "prelude.h"

namespace {

using xc::sync::StopWatchFields;

// fault, call (S Start, P Pause, R Resume, E Elapsed), now, expected (the accumulated value afterwards)
Rows<char, std::uint32_t, std::int32_t> const kWatchSteps = {
    {"a watch that was never started counts from zero", 'E', 100, 100},
    {"start keeps the old sum", 'S', 200, 0},
    {"reading does not accumulate", 'E', 205, 5},
    {"second reading counts the first again", 'E', 207, 7},
    {"pause loses the running part", 'P', 210, 10},
    {"a paused watch runs on", 'E', 300, 10},
    {"a second pause adds nothing", 'P', 310, 113},
    {"resume counts the pause", 'R', 400, 113},
    {"pause before a restart", 'P', 402, 115},
    {"start ends the pause", 'S', 500, 0},
    {"clock wraps: resume", 'R', 0xFFFFFFF0u, 0},
    {"clock wraps: reading", 'E', 0x10u, 0x20},
};

TEST(XCStopWatch, StepsOfOneTriple)
{
    StopWatchFields watch;
    for (auto const& [fault, call, now, expected] : kWatchSteps) {
        SCOPED_TRACE(fault);
        switch (call) {
        case 'S': watch.Start(now); break;
        case 'P': watch.Pause(now); break;
        case 'R': watch.Resume(now); break;
        default: EXPECT_EQ(watch.Elapsed(now), expected); break;
        }
        EXPECT_EQ(watch.accumulated, static_cast<std::uint32_t>(expected));
    }
}

struct CountingLock {
    int depth = 0;
    bool refuseUnlock = false;
    void Lock() { ++depth; }
    void Unlock()
    {
        if (refuseUnlock) throw std::logic_error("not the owner");
        --depth;
    }
};

TEST(XCLockGuard, GivesBackExactlyOnce)
{
    CountingLock lock;
    try {
        XCLockGuard released(lock);
        released.Release();
        EXPECT_EQ(lock.depth, 0);
        released.Release();
        XCLockGuard held(lock);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(lock.depth, 0);
    lock.refuseUnlock = true;
    XCLockGuard guard(lock);
    EXPECT_THROW(guard.Release(), std::logic_error) << "a destructor would drop it";
}

TEST(XCStopWatch, RunsOnRealClocks)
{
    XCStopWatch both(true);
    EXPECT_GT(XCRealStopWatch().Elapsed(), 1700000000) << "seconds since 1970";
    while (both.ElapsedCPUClock() < 20) continue;
    both.Pause();
    EXPECT_DOUBLE_EQ(both.ElapsedCPU() * CLOCKS_PER_SEC, static_cast<double>(both.ElapsedCPUClock()));
}

} // namespace
