// Rows of the log beside spdlog, natively: records of one line to a file, written by the caller in blocks, or by a
// thread. Both keep a lock, and both wait when the queue is full; it holds 64 MiB.
#include <XelbrinCore/XCLog.h>

#include <benchmark/benchmark.h>
#include <memory>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

namespace {

constexpr std::size_t kQueueBytes = 64 * 1024 * 1024;

/// One channel with a file, made by the first thread of a row and gone after the last.
struct OurLog {
    explicit OurLog(bool async)
    {
        XCSmartPtr<XCFileLogSubscriber> const file(
            new XCFileLogSubscriber(L"native_bench.log", XCLogOpen::Truncate, false));
        if (async && file->SetAsync({.maxBytes = kQueueBytes}).Bad()) std::abort();
        manager.AddSubscriber(file);
        // The first record opens the file, and empties what the row before has left, perhaps gigabytes: not of this row.
        Write();
        file->Flush();
    }
    void Write() { channel.Write(1, L"connection accepted from 10.0.0.17, session 4711, user operator\n"); }
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"bench");
};

struct PeerLog {
    explicit PeerLog(bool async)
    {
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>("native_bench_peer.log", true);
        if (async) {
            pool = std::make_shared<spdlog::details::thread_pool>(kQueueBytes / sizeof(spdlog::details::async_msg), 1);
            logger = std::make_shared<spdlog::async_logger>("bench", sink, pool);
        } else {
            logger = std::make_shared<spdlog::logger>("bench", sink);
        }
        logger->set_pattern("%v");
    }
    void Write() { logger->info("connection accepted from 10.0.0.17, session 4711, user operator"); }
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::shared_ptr<spdlog::logger> logger;
};

template <class Log, bool kAsync>
void Records(benchmark::State& state)
{
    static std::unique_ptr<Log> log;
    if (state.thread_index() == 0) log = std::make_unique<Log>(kAsync);
    for (auto _ : state) log->Write();
    if (state.thread_index() == 0) log.reset();
}
void NativeLog_Buffered_XCLogChannel(benchmark::State& state)
{
    Records<OurLog, false>(state);
}
BENCHMARK(NativeLog_Buffered_XCLogChannel)->Threads(1)->Threads(4)->UseRealTime();
void NativeLog_Buffered_spdlog(benchmark::State& state)
{
    Records<PeerLog, false>(state);
}
BENCHMARK(NativeLog_Buffered_spdlog)->Threads(1)->Threads(4)->UseRealTime();
void NativeLog_Async_XCLogChannel(benchmark::State& state)
{
    Records<OurLog, true>(state);
}
BENCHMARK(NativeLog_Async_XCLogChannel)->Threads(1)->Threads(4)->UseRealTime();
void NativeLog_Async_spdlog(benchmark::State& state)
{
    Records<PeerLog, true>(state);
}
BENCHMARK(NativeLog_Async_spdlog)->Threads(1)->Threads(4)->UseRealTime();

} // namespace
