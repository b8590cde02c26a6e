// Rows of locks and threads, each beside the object of the system or of the standard library that it stands on.
#include <XelbrinCore/XCProgress.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCThreadDump.h>

#include <atomic>
#include <benchmark/benchmark.h>
#include <mutex>
#include <process.h>
#include <thread>
#include <vector>
#include <windows.h>

namespace {

void LockUnlock_XCCriticalSection(benchmark::State& state)
{
    XCCriticalSection section;
    for (auto _ : state) {
        section.Lock();
        benchmark::ClobberMemory();
        section.Unlock();
    }
}
BENCHMARK(LockUnlock_XCCriticalSection);

void LockUnlock_XCLockGuard(benchmark::State& state)
{
    XCCriticalSection section;
    for (auto _ : state) {
        XCLockGuard const guard(section);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LockUnlock_XCLockGuard);

void LockUnlock_rawSection(benchmark::State& state)
{
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    for (auto _ : state) {
        ::EnterCriticalSection(&section);
        benchmark::ClobberMemory();
        ::LeaveCriticalSection(&section);
    }
    ::DeleteCriticalSection(&section);
}
BENCHMARK(LockUnlock_rawSection);

void LockUnlock_recursive_mutex(benchmark::State& state)
{
    std::recursive_mutex section;
    for (auto _ : state) {
        std::lock_guard const guard(section);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LockUnlock_recursive_mutex);

void UpDown_XCSafeCounter(benchmark::State& state)
{
    XCSafeCounter counter;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++counter);
        benchmark::DoNotOptimize(--counter);
    }
}
BENCHMARK(UpDown_XCSafeCounter);

void UpDown_atomic(benchmark::State& state)
{
    std::atomic<std::uint32_t> counter = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++counter);
        benchmark::DoNotOptimize(--counter);
    }
}
BENCHMARK(UpDown_atomic);

void RoundTrip_XCMutex(benchmark::State& state)
{
    XCMutex mutex;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mutex.lock(XCInfinite));
        mutex.unlock();
    }
}
BENCHMARK(RoundTrip_XCMutex);

void RoundTrip_rawMutex(benchmark::State& state)
{
    HANDLE const mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(::WaitForSingleObject(mutex, INFINITE));
        ::ReleaseMutex(mutex);
    }
    ::CloseHandle(mutex);
}
BENCHMARK(RoundTrip_rawMutex);

void TakeGive_XCCountingSemaphore(benchmark::State& state)
{
    XCCountingSemaphore semaphore(1);
    for (auto _ : state) XCLockGuard const guard(semaphore);
}
BENCHMARK(TakeGive_XCCountingSemaphore);

void Turn_XCBaton(benchmark::State& state)
{
    XCBaton baton;
    for (unsigned int turn = 0; auto _ : state) XCLockGuard const guard(baton, ++turn);
}
BENCHMARK(Turn_XCBaton);

void StartJoin_XCThread(benchmark::State& state)
{
    XCSmartPtr<XCCallback> const nothing = XCMakeCallback([] {});
    for (auto _ : state) {
        XCSmartPtr<XCThread> const thread = new XCThread(nothing);
        (void)thread->Start();
        thread->Join();
    }
}
BENCHMARK(StartJoin_XCThread)->UseRealTime();

void StartJoin_std_thread(benchmark::State& state)
{
    for (auto _ : state) std::thread([] {}).join();
}
BENCHMARK(StartJoin_std_thread)->UseRealTime();

void StartJoin_rawThread(benchmark::State& state)
{
    for (auto _ : state) {
        auto const handle = reinterpret_cast<HANDLE>(::_beginthreadex(
            nullptr, 0, [](void*) -> unsigned int { return 0; }, nullptr, 0, nullptr));
        ::WaitForSingleObject(handle, INFINITE);
        ::CloseHandle(handle);
    }
}
BENCHMARK(StartJoin_rawThread)->UseRealTime();

void Step_XCProgress(benchmark::State& state)
{
    XCSmartPtr<XCProgress> const progress(new XCProgress({}));
    progress->SetRange(UINT64_MAX);
    for (auto _ : state) progress->Step();
}
BENCHMARK(Step_XCProgress);

/// Threads that wait, so that a report has something to tell.
class WaitingThreads {
public:
    explicit WaitingThreads(std::int64_t count)
    {
        for (std::int64_t i = 0; i < count; ++i) {
            m_threads.emplace_back(new XCThread(XCMakeCallback([this] { (void)m_gate.wait(XCInfinite); })));
            (void)m_threads.back()->Start();
        }
    }
    ~WaitingThreads()
    {
        m_gate.post();
        for (auto const& thread : m_threads) thread->Join();
    }
    WaitingThreads(WaitingThreads const&) = delete;
    WaitingThreads& operator=(WaitingThreads const&) = delete;

private:
    XCEventSemaphore m_gate;
    std::vector<XCSmartPtr<XCThread>> m_threads;
};

void Threads_XCDumpAllStacks(benchmark::State& state)
{
    WaitingThreads const threads(state.range(0));
    XCString text;
    (void)XCDumpAllStacks(text); // reads the symbols
    for (auto _ : state)
        if (XCDumpAllStacks(text).Bad()) state.SkipWithError("no dump");
}
BENCHMARK(Threads_XCDumpAllStacks)->Arg(8)->Arg(64)->UseRealTime();

/// The same with times, priority and flags of each thread, and a write to a file that grows.
void Threads_XCWriteThreadInfo(benchmark::State& state)
{
    WaitingThreads const threads(state.range(0));
    constexpr wchar_t kFile[] = L"xc_bench_threads.txt";
    (void)XCWriteThreadInfo(kFile);
    for (auto _ : state)
        if (XCWriteThreadInfo(kFile).Bad()) state.SkipWithError("no file");
    ::DeleteFileW(kFile);
}
BENCHMARK(Threads_XCWriteThreadInfo)->Arg(8)->Arg(64)->UseRealTime();

} // namespace
