
#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

struct PriorityCase {
    int priority;
    wchar_t const* name;
};
constexpr PriorityCase kPriorityCases[] = {
    {-15, L"THREAD_PRIORITY_IDLE"},         {-2, L"-2"},
    {-1, L"THREAD_PRIORITY_BELOW_NORMAL"},  {0, L"THREAD_PRIORITY_NORMAL"},
    {1, L"THREAD_PRIORITY_ABOVE_NORMAL"},   {2, L"THREAD_PRIORITY_HIGHEST"},
    {15, L"THREAD_PRIORITY_TIME_CRITICAL"},
};

TEST(XCThreadInfo, ListsTheRegisteredThreads)
{
    XCEventSemaphore gate;
    std::vector<XCSmartPtr<XCThread>> threads;
    for (PriorityCase const& c : kPriorityCases) {
        threads.push_back(new XCThread(XCMakeCallback([&] { gate.wait(); })));
        ASSERT_TRUE(threads.back()->Start(c.priority).Good());
    }
    std::vector<XCThreadInfo> const infos = XCThread::GetAllThreadsInfo();
    EXPECT_TRUE(std::ranges::is_sorted(infos, {}, &XCThreadInfo::GetThreadId));
    for (std::size_t i = 0; i < threads.size(); ++i) {
        SCOPED_TRACE(kPriorityCases[i].priority);
        auto const info =
            std::ranges::find(infos, static_cast<unsigned long>(threads[i]->GetThreadId()), &XCThreadInfo::GetThreadId);
        ASSERT_NE(info, infos.end());
        EXPECT_EQ(info->GetThreadPriority(), kPriorityCases[i].name);
        EXPECT_EQ(info->GetPriorityClass(), L"NORMAL_PRIORITY_CLASS");
        EXPECT_TRUE(info->AsString().Find(kPriorityCases[i].name) != XCString::npos);
    }
    gate.post();
    for (auto const& thread : threads) thread->Join();
    EXPECT_TRUE(XCThread::GetAllThreadsInfo().empty()) << "a thread stayed in the registry";
}

TEST(XCThreadInfo, TimesOfAThreadThatEnded)
{
    XCDateTimeEx const before = XCDateTimeEx::GetCurrentDateTime();
    XCSmartPtr<XCThread> const thread = new XCThread(XCMakeCallback([] { XCThread::Sleep(30); }));
    ASSERT_TRUE(thread->Start().Good());
    HANDLE const handle = thread->GetThreadId().GetHandle();
    thread->Join();
    XCThreadInfo const first(handle, thread->GetThreadId());
    XCThread::Sleep(20);
    XCThreadInfo const second(handle, thread->GetThreadId());
    EXPECT_EQ(first.GetElapsedTime(), second.GetElapsedTime()) << "the clock of an ended thread stands still";
    EXPECT_GE(first.GetElapsedTime(), 200000);
    EXPECT_LT(first.GetElapsedTime() + first.GetUserTime() + first.GetKernelTime(), 1200000000);
    XCDurationEx const age = first.GetCreationTime() - before;
    EXPECT_TRUE(age >= XCDurationEx(-1) && age <= XCDurationEx(60));
    XCString expected;
    expected.Format(L"0:00:%02d.%03d", static_cast<int>(first.GetElapsedTime() / 10000000),
                    static_cast<int>(first.GetElapsedTime() / 10000 % 1000));
    EXPECT_EQ(first.GetElapsedTimeAsString(), expected);
}

} // namespace
