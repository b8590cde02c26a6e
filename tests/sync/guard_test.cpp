#include <XelbrinCore/XCSync.h>

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

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
    {
        XCLockGuard guard(lock);
        EXPECT_EQ(lock.depth, 1);
        guard.Release();
        EXPECT_EQ(lock.depth, 0);
        EXPECT_FALSE(guard.Holds());
        guard.Release();
    }
    EXPECT_EQ(lock.depth, 0);
    try {
        XCLockGuard guard(lock);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(lock.depth, 0);
}

TEST(XCLockGuard, OnlyAnExplicitReleaseThrows)
{
    CountingLock lock;
    lock.refuseUnlock = true;
    {
        XCLockGuard guard(lock);
        EXPECT_THROW(guard.Release(), std::logic_error);
    }
    EXPECT_NO_THROW({ XCLockGuard guard(lock); });
}

TEST(XCLockGuard, SectionNestsAndLeaves)
{
    XCCriticalSection section(true);
    EXPECT_EQ(section.IsLocked(), 2u) << "entered by the constructor, and once for the question";
    {
        XCLockGuard guard(section);
        EXPECT_EQ(section.IsLocked(), 3u);
    }
    section.release();
    EXPECT_EQ(section.IsLocked(), 1u);
}

} // namespace
