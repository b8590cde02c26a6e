
#include "sync/sync_test_tools.h"

TEST(XCFuture, ResultsAndFailures)
{
    XCFuture<std::string> const sum =
        XCAsync([](std::string text, int n) { return text + std::to_string(n); }, std::string("a"), 5);
    EXPECT_EQ(sum.Get(), "a5");
    EXPECT_EQ(sum.GetResult().Value(), "a5");
    EXPECT_TRUE(sum.IsReady() && !sum.GetThread().Exists());
    XCFuture<void> const thrown = XCAsync([] { throw std::runtime_error("no"); });
    EXPECT_THROW(thrown.Get(), std::runtime_error);
    EXPECT_THROW(thrown.Get(), std::runtime_error) << "told once only";
    XCFuture<int> const failed = XCAsync([]() -> int { throw XCException(XCFail(XCErrDataFrame, 3)); });
    EXPECT_EQ(int(failed.GetResult().GetError()), XCErrDataFrame);
}

TEST(XCFuture, TimeRunsOut)
{
    XCEventSemaphore gate;
    XCFuture<int> const late = XCAsync([&gate] { return gate.wait(), 1; });
    EXPECT_FALSE(late.IsReady() || late.Wait(20));
    EXPECT_EQ(int(late.GetResult(1).GetError()), XCErrTimedOut);
    EXPECT_TRUE(late.GetThread().Exists()) << "a wait in vain joins nothing";
    gate.post();
    EXPECT_EQ(late.Get(), 1);
}

// What the thread was given goes on the thread: whoever has joined it may rely on that.
TEST(XCFuture, ArgumentsGoWithTheCall)
{
    auto const owned = std::make_shared<int>(1);
    int changed = 0;
    XCSmartPtr<XCThread> const thread =
        XCStartThread([](std::shared_ptr<int>, int& to) { to = 7; }, owned, std::ref(changed));
    EXPECT_TRUE(thread->Join(60000));
    EXPECT_EQ(All(owned.use_count(), changed), All(1, 7));
    EXPECT_EQ(XCAsync([](std::unique_ptr<int> given) { return *given; }, std::make_unique<int>(4)).Get(), 4);
}
