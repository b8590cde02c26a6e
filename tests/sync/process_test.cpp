#include "child_process.h"
#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

constexpr wchar_t kSharedMutex[] = L"Local\\XelbrinCore.test.shared";
constexpr wchar_t kChildOwns[] = L"XelbrinCore.test.child.owns";
constexpr wchar_t kEndChild[] = L"XelbrinCore.test.child.end";

// Run in a process of its own: takes the mutex, says so, and holds it until it is told to end or is killed.
TEST(DISABLED_SyncChild, HoldsTheMutex)
{
    XCMutex mutex(kSharedMutex);
    XCEventSemaphore owns(kChildOwns);
    XCEventSemaphore end(kEndChild);
    ASSERT_TRUE(mutex.lock(10000));
    owns.post();
    EXPECT_EQ(end.wait(60000), 0u);
    mutex.unlock();
}

TEST(TwoProcesses, MutexAndEventAreSharedAndAKilledOwnerLeavesTheMutexFree)
{
    for (bool const killed : {false, true}) {
        SCOPED_TRACE(killed);
        XCMutex mutex(kSharedMutex);
        XCEventSemaphore owns(kChildOwns);
        XCEventSemaphore end(kEndChild);
        ChildProcess child(ChildProcess::OfTest(L"DISABLED_SyncChild.HoldsTheMutex"));
        ASSERT_EQ(owns.wait(60000), 0u);
        EXPECT_FALSE(mutex.lock(0));
        killed ? child.Kill() : end.post();
        EXPECT_EQ(mutex.lock(60000), !killed) << "abandoned is not acquired";
        EXPECT_TRUE(mutex.lock(0)) << "and not left held";
        mutex.unlock();
        if (!killed) {
            mutex.unlock();
            EXPECT_EQ(child.Wait(), 0u);
        }
    }
}

} // namespace
