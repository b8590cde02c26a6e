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

} // namespace
