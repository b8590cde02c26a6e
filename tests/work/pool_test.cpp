// Tasks, groups, pools and serial queues: waits that nest, help, sleep or can never end; limits, stops, failures.

#include "prelude.h"
#include "work/gate.h"

#if !defined(_WIN32)
extern std::atomic<bool> xc_refuseThreads; // tests/native; the system's own threads cannot be refused
#endif

namespace {

using Pool = XCSmartPtr<XCThreadPool>;

Pool NewPool(unsigned int threads, XCPoolOptions const& options = {})
{
    return Pool(new XCThreadPool(0, threads, L"test", options));
}

XCPoolOptions WithoutSpares()
{
    XCPoolOptions options;
    options.spareThreads = 0;
    return options;
}

int Fibonacci(XCThreadPool& pool, int n)
{
    if (n < 2) return n;
    auto const left = pool.Submit([&pool, n] { return Fibonacci(pool, n - 1); });
    auto const right = pool.Submit([&pool, n] { return Fibonacci(pool, n - 2); });
    EXPECT_TRUE(right->Wait().Good() && left->Wait().Good());
    return left->GetResult() + right->GetResult();
}

TEST(Pool, NestedWaitsEndOnOneThread)
{
    Pool const pool = NewPool(1, WithoutSpares());
    auto const root = pool->Submit([&] { return Fibonacci(*pool, 16); });
    EXPECT_TRUE(root->Wait().Good());
    EXPECT_EQ(All(root->GetResult(), pool->GetStatistics().threads), All(987, 1u));
    EXPECT_TRUE(pool->Stop().Good());
    EXPECT_EQ(pool->GetStatistics().threads, 0u);
}

TEST(Pool, WaiterRunsOnlyDescendants)
{
    Pool const pool = NewPool(1, WithoutSpares());
    std::string order;
    Gate begun, ready;
    auto const root = pool->Submit([&] {
        begun.Open(), ready.Pass(); // the foreign task is queued before the children
        XCTaskGroup group(*pool);
        group.Submit([&] {
            pool->Submit([&] { order += 'g'; }); // left behind by its parent: still a descendant of the group
            order += 'c';
        });
        group.Submit([&] { order += 'd'; });
        EXPECT_TRUE(group.Wait().Good());
        order += 'w';
    });
    begun.Pass();
    pool->Submit([&] { order += 'f'; }, XCTaskPriority::High);
    ready.Open();
    EXPECT_TRUE(root->Wait().Good() && pool->WaitIdle().Good());
    EXPECT_LT(order.find('w'), order.find('f')) << order;
    EXPECT_EQ(order.substr(0, 1), "c");
}

TEST(Pool, SleepingWaiterHelpsWithLateDescendants)
{
    // The second thread blocks in a child that queues another child only once the first thread sleeps in its wait.
    Pool const pool = NewPool(2, WithoutSpares());
    XCSmartPtr<XCTask> late;
    auto const root = pool->Submit([&] {
        auto const child = pool->Submit([&] {
            while (pool->GetStatistics().blocked == 0) XCThread::yield();
            auto const grandchild = pool->Submit([] {});
            while (!grandchild->IsFinished()) XCThread::yield(); // only the sleeper can run it
        });
        while (child->GetState() == XCTaskState::Queued) XCThread::yield();
        EXPECT_TRUE(child->Wait().Good());
    });
    EXPECT_TRUE(root->Wait(20000).Good());
    EXPECT_EQ(pool->GetStatistics().helped, 1u);
}

TEST(Pool, SpareThreadStandsInForASleeper)
{
    Pool const pool = NewPool(1);
    XCSmartPtr<XCSerialQueue> const queue(new XCSerialQueue(pool.GetPtr()));
    auto const waits = pool->Submit([&] { return int(queue->Submit([] {})->Wait()); }); // no descendant: must sleep
    EXPECT_TRUE(waits->Wait(20000).Good());
    EXPECT_EQ(All(waits->GetResult(), pool->GetStatistics().spareStarts), All(0, 1u));
}

TEST(Pool, WaitsThatCannotEndAreNamed)
{
    for (bool const viaQueue : {false, true})
    { // two tasks wait for each other, or one for what no thread is left to run
        SCOPED_TRACE(viaQueue);
        Pool const pool = NewPool(viaQueue ? 1 : 2, WithoutSpares());
        XCSmartPtr<XCSerialQueue> const queue(new XCSerialQueue(pool.GetPtr()));
        std::vector<XCErrorID> results(2);
        XCSmartPtr<XCTask> tasks[2];
        Gate gate;
        auto const other = [&](int i) { return viaQueue ? queue->Submit([] {}).GetPtr() : tasks[1 - i].GetPtr(); };
        for (int i : {0, 1}) {
            tasks[i] = XCMakeTask([&, i] {
                           gate.Pass();
                           XCSmartPtr<XCTask> const target(other(i));
                           results[static_cast<std::size_t>(i)] = target->Wait();
                       }).GetPtr();
            tasks[i]->SetName(i == 0 ? L"first" : L"second");
        }
        for (auto const& task : tasks) (void)pool->Add(task);
        gate.Open();
        for (auto const& task : tasks) EXPECT_TRUE(task->Wait(20000).Good());
        int const refused = (results[0] == XCErrWaitCycle) + (results[1] == XCErrWaitCycle);
        EXPECT_EQ(refused, viaQueue ? 2 : 1);
#if defined(_WIN32)
        XCString const text = results[results[0].Bad() ? 0 : 1].AsString();
        EXPECT_NE(text.Find(L"\"first\""), XCString::npos) << text.AsUTF8();
        EXPECT_NE(text.Find(L" waits for "), XCString::npos) << text.AsUTF8();
#endif
    }
}

TEST(Pool, WaitsWithALimitAndOfOneselfAreTold)
{
    Pool const pool = NewPool(1);
    Gate gate;
    auto const self = pool->Submit([&] { return int(XCTask::GetCurrent()->Wait()); });
    EXPECT_TRUE(self->Wait().Good());
    EXPECT_EQ(self->GetResult(), XCErrWaitCycle);
    auto const blocked = pool->Submit([&] { gate.Pass(); });
    EXPECT_EQ(int(blocked->Wait(0)), XCErrTimedOut);
    EXPECT_EQ(int(blocked->Wait(20)), XCErrTimedOut);
    EXPECT_EQ(int(pool->WaitIdle(1)), XCErrTimedOut);
    auto const running = pool->Stop(1);
    EXPECT_EQ(int(running), XCErrStillRunning);
    gate.Open();
    EXPECT_TRUE(pool->Stop().Good());
}

TEST(Pool, FullQueues)
{
    for (auto const& [fault, whenFull, code, callerRan] :
         Rows<XCPoolFull, int, std::uint64_t>{{"not refused", XCPoolFull::Reject, XCErrQueueFull, 0},
                                              {"not run by the caller", XCPoolFull::CallerRuns, 0, 1},
                                              {"does not wait for room", XCPoolFull::Block, 0, 0}})
    {
        SCOPED_TRACE(fault);
        XCPoolOptions options;
        options.queueLimit = 2;
        options.whenFull = whenFull;
        Pool const pool = NewPool(1, options);
        Gate gate, begun;
        pool->Submit([&] { begun.Open(), gate.Pass(); });
        begun.Pass();
        std::atomic<int> runs{0};
        auto const count = [&] { ++runs; };
        auto const first = pool->Submit(count);
        pool->Submit(count);
        XCSmartPtr<XCTask> third;
        XCThread submitter(XCMakeCallback([&] { third = pool->Submit(count).GetPtr(); }));
        (void)submitter.Start();
        if (whenFull == XCPoolFull::Block) {
            while (pool->GetStatistics().submitted < 3) XCThread::yield();
            EXPECT_TRUE(first->Cancel()); // room comes when a queued task is taken back
        }
        submitter.Join();
        EXPECT_EQ(int(third->GetError()), code);
        gate.Open();
        EXPECT_TRUE(pool->WaitIdle().Good());
        EXPECT_EQ(runs, whenFull == XCPoolFull::CallerRuns ? 3 : 2);
        EXPECT_EQ(pool->GetStatistics().callerRan, callerRan);
    }
}

TEST(Pool, CancelledAndFailedTasks)
{
    Pool const pool = NewPool(1);
    Gate gate, begun;
    auto const blocker = pool->Submit([&] {
        begun.Open(), gate.Pass();
        return XCTask::GetCurrent()->IsCancelAsked();
    });
    begun.Pass();
    auto const held = std::make_shared<int>(1);
    auto const cancelled = pool->Submit([held] { FAIL() << "ran after Cancel"; });
    EXPECT_EQ(held.use_count(), 2);
    EXPECT_TRUE(cancelled->Cancel() && cancelled->Cancel());
    EXPECT_EQ(held.use_count(), 1) << "what a cancelled task captured stays";
    EXPECT_EQ(int(cancelled->Wait()), XCErrCancelled);
    EXPECT_FALSE(blocker->Cancel());
    XCTaskGroup group(*pool);
    auto const failing = group.Submit([]() -> int { throw std::runtime_error("disk"); });
    auto const rest = group.Submit([] {});
    gate.Open();
    EXPECT_TRUE(blocker->Wait().Good() && blocker->GetResult());
    EXPECT_EQ(int(group.Wait()), XCErrTaskFailed);
    EXPECT_EQ(int(failing->Wait()), XCErrTaskFailed);
    EXPECT_THROW((void)failing->GetResult(), XCException);
    EXPECT_EQ(group.CancelRest(), 0u);
    EXPECT_TRUE(rest->Wait().Good());
    EXPECT_EQ(pool->GetStatistics().failed, 1u);
    EXPECT_THROW(pool->Add(rest.GetPtr()), XCException) << "a task runs once";
}

TEST(Pool, StopCancelsOrRunsWhatIsQueued)
{
    for (XCStopQueued const queued : {XCStopQueued::Cancel, XCStopQueued::Run}) {
        Pool const pool = NewPool(1);
        Gate gate, begun;
        std::atomic<int> runs{0};
        auto const first = pool->Submit([&] { begun.Open(), gate.Pass(); });
        begun.Pass();
        auto const second = pool->Submit([&] { ++runs; });
        EXPECT_EQ(int(pool->Stop(0, queued)), XCErrStillRunning);
        EXPECT_EQ(int(pool->Submit([&] { ++runs; })->GetError()), XCErrExecutorStopped);
        gate.Open();
        EXPECT_TRUE(pool->Stop(XCInfinite, queued).Good());
        EXPECT_EQ(runs, queued == XCStopQueued::Run ? 1 : 0);
        EXPECT_EQ(int(second->Wait()), queued == XCStopQueued::Run ? 0 : int(XCErrExecutorStopped));
    }
    Pool const below = NewPool(1); // tasks of a serial queue go with its pool
    XCSmartPtr<XCSerialQueue> const serial(new XCSerialQueue(below.GetPtr()));
    Gate gate, begun;
    below->Submit([&] { begun.Open(), gate.Pass(); });
    begun.Pass();
    auto const lost = serial->Submit([] { FAIL(); });
    EXPECT_EQ(int(below->Stop(0)), XCErrStillRunning);
    EXPECT_EQ(int(lost->Wait(20000)), XCErrExecutorStopped);
    EXPECT_EQ(int(serial->Submit([] { FAIL(); })->GetError()), XCErrExecutorStopped);
    Pool const other = NewPool(1);
    XCSmartPtr<XCSerialQueue> const busy(new XCSerialQueue(other.GetPtr()));
    Gate running;
    busy->Submit([&] {
        EXPECT_TRUE(busy->Stop().Good()) << "a task waits for its own end";
        running.Open(), gate.Pass();
    });
    running.Pass();
    EXPECT_EQ(int(busy->Stop(1)), XCErrStillRunning);
    gate.Open();
    EXPECT_TRUE(busy->Stop(20000).Good());
    EXPECT_TRUE(below->Stop().Good());
    Pool const own = NewPool(2); // by a task of the pool: for all but itself
    auto const stops = own->Submit([&] { return int(own->Stop()); });
    EXPECT_TRUE(stops->Wait().Good() && stops->GetResult() == 0 && own->Stop().Good());
}

TEST(Pool, PrioritiesAndSerialOrder)
{
    Pool const pool = NewPool(1);
    Gate gate, begun;
    pool->Submit([&] { begun.Open(), gate.Pass(); });
    begun.Pass();
    std::string order;
    for (auto const& [letter, priority] :
         {std::pair{'l', XCTaskPriority::Low}, {'n', XCTaskPriority::Normal}, {'h', XCTaskPriority::High}})
        pool->Submit([&order, letter = letter] { order += letter; }, priority);
    gate.Open();
    EXPECT_TRUE(pool->WaitIdle().Good());
    EXPECT_EQ(order, "hnl");

    Pool const wide = NewPool(4);
    XCSmartPtr<XCSerialQueue> queue(new XCSerialQueue(wide.GetPtr()));
    std::vector<int> seen;
    for (int i = 0; i < 1000; ++i) queue->Submit([&seen, i] { seen.push_back(i); });
    queue.Clear(); // the tasks still run
    EXPECT_TRUE(wide->WaitIdle().Good());
    ASSERT_EQ(seen.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST(Pool, ParallelFor)
{
    Pool const pool = NewPool(2);
    for (std::size_t const grain : {0u, 1u, 7u, 5000u}) {
        std::vector<std::atomic<int>> calls(3000);
        pool->ParallelFor(
            5, 3000, [&](std::size_t i) { ++calls[i]; }, grain);
        for (std::size_t i = 0; i < calls.size(); ++i) ASSERT_EQ(calls[i], i >= 5 ? 1 : 0) << i;
    }
    std::atomic<int> calls{0};
    EXPECT_THROW(pool->ParallelFor(
                     0, 1000000, [&](std::size_t) { ++calls, throw std::runtime_error("no"); }, 10),
                 XCException);
    EXPECT_LE(calls, 3);
}

// Nothing stays pending that no thread will look after; the next call tries again.
TEST(Pool, AThreadThatCannotStartIsTold)
{
    XCPoolOptions options;
    options.threadPriority = 12345; // the system refuses it
    Pool const never = NewPool(1, options);
#if !defined(_WIN32)
    xc_refuseThreads = true;
#endif
    EXPECT_EQ(int(never->Submit([] { FAIL(); })->Wait(20000)), XCErrNoThread);
    EXPECT_TRUE(never->WaitIdle(20000).Good() && never->Stop(20000, XCStopQueued::Run).Good());
#if !defined(_WIN32)
    XCSmartPtr<XCTimerQueue> const queue(new XCTimerQueue);
    XCSmartPtr<XCTimer> const timer(new XCTimer([] {}, *queue));
    XCSmartPtr<XCScheduler> const scheduler(new XCScheduler);
    XCSmartPtr<XCScheduleI> const daily(new XCScheduleDaily({XCTimeEx(12, 0, 0)}));
    EXPECT_EQ(int(timer->Start(1)), XCErrNoThread);
    EXPECT_FALSE(timer->IsPending());
    EXPECT_THROW(scheduler->Add(daily, {}), XCException);
    EXPECT_TRUE(scheduler->List().empty());
    xc_refuseThreads = false;
    EXPECT_TRUE(timer->Start(0).Good() && scheduler->Add(daily, {}) > 0);
    EXPECT_TRUE(queue->Stop().Good() && scheduler->Stop().Good());
#endif
}

// A task that a busy worker has taken ahead runs on the other one, a cancelled one never.
TEST(Pool, NothingIsStuckAheadOfABusyWorker)
{
    Pool const pool = NewPool(2);
    Gate gates[2], blocker;
    std::atomic<int> begun{0}, ran{0};
    for (Gate& gate : gates) pool->Submit([&] { ++begun, gate.Pass(); });
    while (begun < 2) XCThread::yield();
    pool->Submit([&] { blocker.Pass(); }); // the first of a long queue: a worker takes more along with it
    std::vector<XCSmartPtr<XCTask>> tasks;
    for (int i = 0; i < 40; ++i) tasks.emplace_back(pool->Submit([&] { ++ran; }).GetPtr());
    gates[0].Open();
    while (pool->GetStatistics().queued > tasks.size()) XCThread::yield();
    EXPECT_TRUE(tasks[1]->Cancel());
    gates[1].Open();
    for (auto const& task : tasks) EXPECT_EQ(int(task->Wait(20000)), task == tasks[1] ? int(XCErrCancelled) : 0);
    blocker.Open();
    EXPECT_TRUE(pool->WaitIdle(20000).Good());
    EXPECT_EQ(ran, 39);
}

// Random trees of tasks that wait, cancel, submit to serial queues and fail, on few threads: everything ends.
TEST(Pool, RandomTreesEnd)
{
    for (unsigned int seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        Pool const pool = NewPool(1 + seed % 3);
        XCSmartPtr<XCSerialQueue> const queue(new XCSerialQueue(pool.GetPtr()));
        std::atomic<unsigned int> made{0}, next{seed * 1000};
        std::function<void(int)> const grow = [&](int depth) {
            std::minstd_rand random(++next);
            XCTaskGroup group(*pool);
            for (unsigned int i = random() % 4; i-- > 0 && depth > 0 && made < 3000; ++made) {
                if (random() % 8 == 0)
                    (void)queue->Submit([] {})->Wait();
                else if (random() % 8 == 0)
                    pool->Submit([&, depth] { grow(depth - 1); });
                else if (auto const task = group.Submit([&, depth] { grow(depth - 1); }); random() % 16 == 0)
                    task->Cancel();
            }
            EXPECT_TRUE(random() % 2 == 0 || group.Wait().Good());
        };
        for (int i = 0; i < 20; ++i) pool->Submit([&] { grow(7); });
        EXPECT_TRUE(pool->WaitIdle(60000).Good());
        EXPECT_TRUE(pool->Stop().Good());
    }
}

} // namespace
