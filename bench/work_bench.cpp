// Rows of pools and timers, beside the system's pool, Boost.Asio, libuv, std::async, std::multimap and a bare wait.
#if __has_include(<boost/asio/thread_pool.hpp>) // before windows.h, whose sockets it does not take
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#define XC_HAS_ASIO
#endif

#include <XelbrinCore/XCThreadPool.h>
#include <XelbrinCore/XCTimer.h>

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <future>
#include <map>
#include <mutex>
#include <random>
#include <uv.h> // includes windows.h
#include <vector>

namespace {

constexpr int kTasks = 100000;

void TasksPerSecond_XCThreadPool(benchmark::State& state)
{
    XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(2, 2));
    for (auto _ : state) {
        std::atomic<int> left{kTasks};
        for (int i = 0; i < kTasks; ++i) pool->Submit([&left] { left.fetch_sub(1, std::memory_order_relaxed); });
        (void)pool->WaitIdle();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
    (void)pool->Stop();
}
BENCHMARK(TasksPerSecond_XCThreadPool)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The system's pool of the process, limited to two threads.
class SystemPool {
public:
    SystemPool() : m_pool(::CreateThreadpool(nullptr))
    {
        ::InitializeThreadpoolEnvironment(&m_environment);
        ::SetThreadpoolThreadMaximum(m_pool, 2);
        (void)::SetThreadpoolThreadMinimum(m_pool, 2);
        ::SetThreadpoolCallbackPool(&m_environment, m_pool);
    }
    ~SystemPool() { ::CloseThreadpool(m_pool); }
    SystemPool(SystemPool const&) = delete;
    SystemPool& operator=(SystemPool const&) = delete;
    TP_CALLBACK_ENVIRON* Environment() { return &m_environment; }

private:
    TP_POOL* m_pool;
    TP_CALLBACK_ENVIRON m_environment{};
};

void CALLBACK CountDown(TP_CALLBACK_INSTANCE*, void* left)
{
    static_cast<std::atomic<int>*>(left)->fetch_sub(1);
}

void TasksPerSecond_systemPool(benchmark::State& state)
{
    SystemPool pool;
    for (auto _ : state) {
        std::atomic<int> left{kTasks};
        for (int i = 0; i < kTasks; ++i) ::TrySubmitThreadpoolCallback(CountDown, &left, pool.Environment());
        while (left > 0) ::SwitchToThread();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(TasksPerSecond_systemPool)->UseRealTime()->Unit(benchmark::kMillisecond);

#ifdef XC_HAS_ASIO
void TasksPerSecond_asio(benchmark::State& state)
{
    boost::asio::thread_pool pool(2);
    for (auto _ : state) {
        std::atomic<int> left{kTasks};
        for (int i = 0; i < kTasks; ++i) boost::asio::post(pool, [&left] { left.fetch_sub(1); });
        while (left > 0) ::SwitchToThread();
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(TasksPerSecond_asio)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
#endif

/// A loop of its own for a row; its timers and its pool of four threads.
class UvLoop {
public:
    UvLoop() { (void)uv_loop_init(&m_loop); }
    ~UvLoop()
    {
        uv_walk(
            &m_loop, [](uv_handle_t* handle, void*) { uv_close(handle, nullptr); }, nullptr);
        (void)uv_run(&m_loop, UV_RUN_DEFAULT);
        (void)uv_loop_close(&m_loop);
    }
    UvLoop(UvLoop const&) = delete;
    UvLoop& operator=(UvLoop const&) = delete;
    uv_loop_t* Get() { return &m_loop; }

private:
    uv_loop_t m_loop;
};

void TasksPerSecond_libuv(benchmark::State& state)
{
    UvLoop loop;
    std::vector<uv_work_t> tasks(kTasks);
    std::atomic<int> left{0};
    for (auto _ : state) {
        left = kTasks;
        for (uv_work_t& task : tasks) {
            task.data = &left;
            uv_queue_work(
                loop.Get(), &task, [](uv_work_t* work) { static_cast<std::atomic<int>*>(work->data)->fetch_sub(1); },
                nullptr);
        }
        (void)uv_run(loop.Get(), UV_RUN_DEFAULT);
    }
    state.SetItemsProcessed(state.iterations() * kTasks);
}
BENCHMARK(TasksPerSecond_libuv)->UseRealTime()->Unit(benchmark::kMillisecond);

void SubmitToDone_XCThreadPool(benchmark::State& state)
{
    XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(2, 2));
    for (auto _ : state) (void)pool->Submit([] {})->Wait();
    (void)pool->Stop();
}
BENCHMARK(SubmitToDone_XCThreadPool)->UseRealTime();

void CALLBACK Nothing(TP_CALLBACK_INSTANCE*, void*, TP_WORK*) {}

void SubmitToDone_systemPool(benchmark::State& state)
{
    SystemPool pool;
    TP_WORK* const work = ::CreateThreadpoolWork(Nothing, nullptr, pool.Environment());
    for (auto _ : state) {
        ::SubmitThreadpoolWork(work);
        ::WaitForThreadpoolWorkCallbacks(work, FALSE);
    }
    ::CloseThreadpoolWork(work);
}
BENCHMARK(SubmitToDone_systemPool)->UseRealTime();

void SubmitToDone_async(benchmark::State& state)
{
    for (auto _ : state) std::async(std::launch::async, [] {}).get();
}
BENCHMARK(SubmitToDone_async)->UseRealTime();

/// Spans from a second to an hour, in the order that the rows take them.
std::vector<std::uint64_t> Spans(std::size_t count)
{
    std::mt19937 random(1);
    std::vector<std::uint64_t> spans(count);
    for (std::uint64_t& span : spans) span = 1000 + random() % 3600000;
    return spans;
}

/// One row: `count` timers stand; one more is started and cancelled, at ever other places.
void StartCancelPending_XCTimer(benchmark::State& state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint64_t> const spans = Spans(count);
    XCSmartPtr<XCTimerQueue> const queue(new XCTimerQueue);
    std::vector<XCSmartPtr<XCTimer>> timers;
    for (std::uint64_t const span : spans) {
        timers.emplace_back(new XCTimer([] {}, *queue));
        (void)timers.back()->Start(span + 1000000);
    }
    XCSmartPtr<XCTimer> const one(new XCTimer([] {}, *queue));
    for (std::size_t i = 0; auto _ : state) {
        (void)one->Start(spans[i]);
        one->Cancel();
        i = i + 1 == count ? 0 : i + 1;
    }
    state.SetItemsProcessed(state.iterations() * 2);
    (void)queue->Stop();
}
BENCHMARK(StartCancelPending_XCTimer)->Arg(100000)->Arg(1000000);

void StartCancelPending_multimap(benchmark::State& state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint64_t> const spans = Spans(count);
    std::mutex lock;
    std::multimap<std::uint64_t, void*> timers;
    for (std::uint64_t const span : spans) timers.emplace(::GetTickCount64() + span + 1000000, nullptr);
    for (std::size_t i = 0; auto _ : state) {
        std::unique_lock hold(lock);
        auto const place = timers.emplace(::GetTickCount64() + spans[i], nullptr);
        hold.unlock();
        hold.lock();
        timers.erase(place);
        i = i + 1 == count ? 0 : i + 1;
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(StartCancelPending_multimap)->Arg(100000)->Arg(1000000);

/// Without a lock: a loop and its timers belong to one thread.
void StartCancelPending_libuv(benchmark::State& state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint64_t> const spans = Spans(count);
    std::vector<uv_timer_t> timers(count + 1); // go after the loop that links them
    UvLoop loop;
    for (std::size_t i = 0; i < count; ++i) {
        uv_timer_init(loop.Get(), &timers[i]);
        (void)uv_timer_start(
            &timers[i], [](uv_timer_t*) {}, spans[i] + 1000000, 0);
    }
    uv_timer_t& one = timers.back();
    uv_timer_init(loop.Get(), &one);
    for (std::size_t i = 0; auto _ : state) {
        (void)uv_timer_start(
            &one, [](uv_timer_t*) {}, spans[i], 0);
        (void)uv_timer_stop(&one);
        i = i + 1 == count ? 0 : i + 1;
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(StartCancelPending_libuv)->Arg(100000)->Arg(1000000);

/// All timers are started, then all cancelled, in another order: each touches memory that is cold.
void StartCancelAll_XCTimer(benchmark::State& state)
{
    auto const count = static_cast<std::size_t>(state.range(0));
    std::vector<std::uint64_t> const spans = Spans(count);
    XCSmartPtr<XCTimerQueue> const queue(new XCTimerQueue);
    std::vector<XCSmartPtr<XCTimer>> timers;
    for (std::size_t i = 0; i < count; ++i) timers.emplace_back(new XCTimer([] {}, *queue));
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(2));
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i) (void)timers[i]->Start(spans[i] + 100000);
        for (std::size_t const i : order) timers[i]->Cancel();
    }
    state.SetItemsProcessed(state.iterations() * 2 * static_cast<std::int64_t>(count));
    (void)queue->Stop();
}
BENCHMARK(StartCancelAll_XCTimer)->Arg(1000000)->Unit(benchmark::kMillisecond);

/// One after the other 300 spans of 5 ms; the counters tell in microseconds by how much their ends were late.
template <class WaitOf>
void Lateness(benchmark::State& state, WaitOf wait)
{
    constexpr int kSpans = 300;
    LARGE_INTEGER perSecond, begin, end;
    ::QueryPerformanceFrequency(&perSecond);
    std::vector<double> late;
    for (auto _ : state)
        for (int i = 0; i < kSpans; ++i) {
            ::QueryPerformanceCounter(&begin);
            wait();
            ::QueryPerformanceCounter(&end);
            late.push_back(static_cast<double>(end.QuadPart - begin.QuadPart) * 1e6 /
                               static_cast<double>(perSecond.QuadPart) -
                           5000);
        }
    std::sort(late.begin(), late.end());
    state.counters["median_us"] = late[late.size() / 2];
    state.counters["p99_us"] = late[late.size() * 99 / 100];
}

void Lateness_XCTimer(benchmark::State& state)
{
    HANDLE const called = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    XCSmartPtr<XCTimerQueue> const queue(new XCTimerQueue);
    XCSmartPtr<XCTimer> const timer(new XCTimer([called] { ::SetEvent(called); }, *queue));
    Lateness(state, [&] {
        (void)timer->Start(5);
        ::WaitForSingleObject(called, INFINITE);
    });
    (void)queue->Stop();
    ::CloseHandle(called);
}
BENCHMARK(Lateness_XCTimer)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

void Lateness_libuv(benchmark::State& state)
{
    uv_timer_t timer;
    UvLoop loop;
    uv_timer_init(loop.Get(), &timer);
    Lateness(state, [&] {
        uv_update_time(loop.Get());
        (void)uv_timer_start(
            &timer, [](uv_timer_t*) {}, 5, 0);
        (void)uv_run(loop.Get(), UV_RUN_DEFAULT);
    });
}
BENCHMARK(Lateness_libuv)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

void Lateness_bareWait(benchmark::State& state)
{
    HANDLE const never = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    Lateness(state, [never] { ::WaitForSingleObject(never, 5); });
    ::CloseHandle(never);
}
BENCHMARK(Lateness_bareWait)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
