// Timers over a fake clock: periods, sleeps, cancelling in every position; the wheel beside a sorted list.

#include "work/fake_time.h"
#include "work/gate.h"

namespace {

using Queue = XCSmartPtr<XCTimerQueue>;
using Timer = XCSmartPtr<XCTimer>;

Queue NewQueue(FakeTime& time, XCSmartPtr<XCExecutor> const& executor = {})
{
    return Queue(new XCTimerQueue(executor, L"test", time));
}

TEST(Timer, PeriodsAndSleeps)
{
    using enum XCTimerClock;
    using enum XCTimerMode;
    // Due after 101 ms, then every 50 ms.
    // fault, clock, mode, passes (negative: the system sleeps), calls, missed
    Rows<XCTimerClock, XCTimerMode, std::vector<std::int64_t>, std::uint64_t, std::uint64_t> const cases = {
        {"early", Awake, FixedRate, {100}, 0, 0},
        {"not called", Awake, FixedRate, {101, 50, 50}, 3, 0},
        {"period drifts with lateness", Awake, FixedRate, {120, 31, 50}, 3, 0},
        {"missed calls made up for", Awake, FixedRate, {301}, 1, 4},
        {"missed calls lost", Awake, FixedRate, {301, 50}, 2, 4},
        {"sleep counted", Awake, FixedRate, {-5000, 100}, 0, 0},
        {"sleep not counted", Elapsed, FixedRate, {-151}, 1, 1},
        {"late after a sleep", Elapsed, FixedRate, {50, -10000, 1}, 2, 198},
        {"delay counted from the due time", Awake, FixedDelay, {301, 50, 1}, 2, 0},
    };
    for (auto const& [fault, clock, mode, passes, calls, rowMissed] : cases) {
        SCOPED_TRACE(fault);
        FakeTime time;
        Queue const queue = NewQueue(time);
        std::atomic<std::uint64_t> missed{0};
        Timer const timer(new XCTimer([&](XCTimerTick const& tick) { missed += tick.missed; }, *queue, clock));
        ASSERT_TRUE(timer->Start(100, 50, mode).Good());
        for (std::int64_t const ms : passes) ms < 0 ? time.SleepFor(-ms) : time.Pass(ms);
        EXPECT_EQ(timer->GetCalls(), calls);
        EXPECT_EQ(missed, rowMissed);
        EXPECT_TRUE(queue->Stop().Good());
    }
}

TEST(Timer, NothingWakesWithoutACause)
{
    FakeTime time;
    Queue const queue = NewQueue(time);
    constexpr std::int64_t kHour = 3600000;
    Timer const distant(new XCTimer([] {}, *queue)), gone(new XCTimer([] {}, *queue));
    (void)distant->Start(5 * kHour);
    (void)gone->Start(kHour);
    gone->Cancel();
    time.Settle();
    std::uint64_t const before = queue->GetWakeUps();
    for (int minute = 0; minute < 299; ++minute) time.Pass(60000);
    EXPECT_LE(queue->GetWakeUps() - before, 3u);
    EXPECT_EQ(distant->GetCalls(), 0u);
    time.Pass(60001);
    EXPECT_EQ(distant->GetCalls(), 1u);
    EXPECT_LE(queue->GetWakeUps() - before, 5u);
    EXPECT_EQ(queue->GetPending(), 0u);
}

// A callback that is under way: on the queue's thread and on a pool.
TEST(Timer, CancelWaitsForTheCallOfAnotherThread)
{
    for (bool const onPool : {false, true}) {
        FakeTime time;
        XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(0, 2));
        Queue const queue = NewQueue(time, onPool ? XCSmartPtr<XCExecutor>(pool.GetPtr()) : XCSmartPtr<XCExecutor>());
        Gate begun, gate;
        std::atomic<bool> ended{false}, cancelled{false};
        Timer timer(new XCTimer([&] { begun.Open(), gate.Pass(), ended = true; }, *queue));
        (void)timer->Start(0, 10);
        begun.Pass();
        EXPECT_EQ(int(queue->Stop(0)) == XCErrStillRunning, true);
        XCThread canceller(XCMakeCallback([&] {
            timer->Cancel();
            cancelled = true;
            EXPECT_TRUE(ended);
        }));
        (void)canceller.Start();
        EXPECT_FALSE(cancelled);
        gate.Open();
        canceller.Join();
        EXPECT_TRUE(queue->Stop().Good() && pool->Stop().Good());
        EXPECT_EQ(timer->GetCalls(), 1u);
    }
}

TEST(Timer, CallbacksCancelRestartDestroyAndFail)
{
    FakeTime time;
    Queue const queue = NewQueue(time);
    Timer self, again, fails;
    int calls = 0;
    self = new XCTimer([&] { ++calls, self->Cancel(), self.Clear(); }, *queue); // destroys its object
    again = new XCTimer(
        [&] {
            if (++calls < 10) (void)again->Start(5);
        },
        *queue);
    fails = new XCTimer([&] { throw std::runtime_error("no"); }, *queue);
    (void)self->Start(1, 1), (void)again->Start(1), (void)fails->Start(1, 1);
    for (int i = 0; i < 100; ++i) time.Pass(1);
    EXPECT_EQ(calls, 10);
    EXPECT_TRUE(self.IsNull());
    EXPECT_GE(fails->GetFailures(), 90u);
    EXPECT_EQ(int(fails->GetFailure()), XCErrTaskFailed);
    EXPECT_TRUE(fails->Cancel() && !fails->Cancel() && !fails->IsPending());
    (void)again->Start(1000), (void)again->Start(3); // the last one counts
    time.Pass(4);
    EXPECT_EQ(calls, 11);
    XCErrorID ofStop(XCErrorID::Success);
    Timer const stops(new XCTimer([&] { ofStop = queue->Stop(); }, *queue));
    (void)stops->Start(0);
    while (queue->Stop(100).Bad()) XCThread::yield();
    EXPECT_TRUE(ofStop.Good());
    EXPECT_EQ(int(stops->Start(1)), XCErrExecutorStopped);
}

// The call that waits is given up with its executor; the next ones are refused.
TEST(Timer, AnExecutorThatHasStoppedIsTold)
{
    FakeTime time;
    XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(1, 1));
    Queue const queue = NewQueue(time, pool.GetPtr());
    Gate begun, gate;
    (void)pool->Submit([&] { begun.Open(), gate.Pass(); });
    begun.Pass();
    Timer const timer(new XCTimer([] { FAIL(); }, *queue));
    (void)timer->Start(1, 10);
    time.Pass(2);
    EXPECT_EQ(int(pool->Stop(0)), XCErrStillRunning);
    EXPECT_TRUE(timer->GetFailure().Good() && timer->IsPending());
    time.Pass(10);
    EXPECT_EQ(int(timer->GetFailure()), XCErrExecutorStopped);
    EXPECT_EQ(timer->GetCalls(), 0u);
    gate.Open();
    EXPECT_TRUE(queue->Stop().Good() && pool->Stop().Good());
}

// Random starts, cancels and steps: each timer is called at its due time, beside a sorted list.
TEST(Timer, WheelAgreesWithASortedList)
{
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        SCOPED_TRACE(seed);
        std::minstd_rand random(seed);
        FakeTime time;
        Queue const queue = NewQueue(time);
        std::vector<Timer> timers;
        std::vector<std::uint64_t> due(200, 0), wrong;
        std::uint64_t late = 0, called = 0, expected = 0;
        for (std::size_t i = 0; i < due.size(); ++i)
            timers.emplace_back(new XCTimer(
                [&, i](XCTimerTick const& tick) {
                    ++called;
                    late = std::max(late, tick.lateMs);
                    if (time.GetAwakeUs() / 1000 - tick.lateMs != due[i]) wrong.push_back(i);
                    due[i] = 0;
                },
                *queue));
        for (int step = 0; step < 800; ++step) {
            std::size_t const i = random() % timers.size();
            std::uint64_t const span = std::uint64_t{1} << random() % 38;
            std::uint64_t const delay = 1 + random() % span;
            if (random() % 4 == 0) {
                EXPECT_EQ(timers[i]->Cancel(), due[i] != 0);
                due[i] = 0;
            } else {
                due[i] = time.GetAwakeUs() / 1000 + delay + 1;
                (void)timers[i]->Start(delay);
            }
            if (step == 0) time.Settle(); // the thread has begun
            std::uint64_t const to = random() % 3 ? random() % 300 : random() % (std::uint64_t{1} << random() % 34);
            for (std::uint64_t const at : due) expected += at != 0 && at <= time.GetAwakeUs() / 1000 + to;
            time.Pass(static_cast<std::int64_t>(to));
            ASSERT_EQ(called, expected) << step;
        }
        EXPECT_TRUE(wrong.empty() && queue->Stop().Good());
    }
}

// The clocks of the system: calls come, and not early.
TEST(Timer, SystemClocks)
{
    Queue const queue(new XCTimerQueue);
    for (XCTimerClock const clock : {XCTimerClock::Awake, XCTimerClock::Elapsed}) {
        Gate called;
        auto const before = std::chrono::steady_clock::now();
        Timer const timer(new XCTimer([&] { called.Open(); }, *queue, clock));
        (void)timer->Start(30);
        called.Pass();
        EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
    }
    EXPECT_TRUE(queue->Stop().Good());
}

} // namespace
