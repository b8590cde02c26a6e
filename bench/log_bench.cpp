// Rows of logging and trace, each beside a plain buffered fwprintf under a lock. Files go to the current folder.
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCTrace.h>

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>

namespace {

constexpr wchar_t kText[] = L"connection accepted from 10.0.0.17, session 4711, user operator\n";

/// One channel with a file behind it; made by the first thread of a row, gone after the last.
struct FileLog {
    explicit FileLog(bool autoFlush)
    {
        manager.AddSubscriber(new XCFileLogSubscriber(L"bench.log", XCLogOpen::Truncate, autoFlush));
        // The first record opens the file, and empties what the row before has left, perhaps gigabytes: not of this row.
        channel.Write(1, kText);
    }
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"bench");
};

void Unwanted_Write(benchmark::State& state)
{
    FileLog log(false);
    for (auto _ : state) log.channel.Write(2, L"short text");
}
BENCHMARK(Unwanted_Write);

void Unwanted_Record(benchmark::State& state)
{
    FileLog log(false);
    for (auto _ : state) XCLogRecord(log.channel, 2) << L"short text " << 5;
}
BENCHMARK(Unwanted_Record);

void Unwanted_LogStream(benchmark::State& state)
{
    FileLog log(false);
    XCLogStream& out = log.channel.GetStream();
    out.SetLoggingLevel(2);
    for (auto _ : state) out << L"short text" << std::endl;
}
BENCHMARK(Unwanted_LogStream);

void Unwanted_wostream(benchmark::State& state)
{
    FileLog log(false);
    log.channel.GetStream().SetLoggingLevel(2);
    std::wostream& out = log.channel.GetStream();
    for (auto _ : state) out << L"short text";
}
BENCHMARK(Unwanted_wostream);

/// Rows with an argument: 0 buffered, 1 flushed after each record.
void ToFile_Channel(benchmark::State& state)
{
    static std::unique_ptr<FileLog> log;
    if (state.thread_index() == 0) log = std::make_unique<FileLog>(state.range(0) != 0);
    for (auto _ : state) log->channel.Write(1, kText);
    if (state.thread_index() == 0) log.reset();
}
BENCHMARK(ToFile_Channel)->Arg(0)->Arg(1)->Threads(1)->Threads(4)->UseRealTime();

/// Beside ToFile_Record: the same text with time, level, thread and channel; with two fields; both in JSON.
enum class Shape { Plain, Pattern, Fields, JsonFields };

template <Shape kShape>
void ToFile_Record(benchmark::State& state)
{
    constexpr bool kIsJson = kShape == Shape::JsonFields;
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"bench");
    XCSmartPtr<XCFileLogSubscriber> const file(new XCFileLogSubscriber(
        L"bench.log", XCLogOpen::Truncate, false, kIsJson ? XCLogLayout::Json : XCLogLayout::AsIs));
    if (kShape == Shape::Pattern) file->SetPattern(XCLogPattern(L"%T %L %t %c %m%n"));
    manager.AddSubscriber(file);
    channel.Write(1, kText); // opens the file
    int session = 0;
    for (auto _ : state) {
        XCLogRecord record(channel, 1);
        record << L"connection accepted from 10.0.0.17, session " << ++session;
        if (kShape == Shape::Fields || kIsJson) record.Field(L"user", L"operator").Field(L"session", session);
    }
}
BENCHMARK(ToFile_Record<Shape::Plain>)->UseRealTime();
BENCHMARK(ToFile_Record<Shape::Pattern>)->UseRealTime();
BENCHMARK(ToFile_Record<Shape::Fields>)->UseRealTime();
BENCHMARK(ToFile_Record<Shape::JsonFields>)->UseRealTime();

/// What the caller pays when a thread writes.
void ToFile_Async(benchmark::State& state)
{
    static std::unique_ptr<XCLogManager> manager;
    static XCLogChannel* channel = nullptr;
    if (state.thread_index() == 0) {
        manager = std::make_unique<XCLogManager>();
        channel = &manager->GetOrAddChannel(L"bench");
        XCSmartPtr<XCFileLogSubscriber> const file(new XCFileLogSubscriber(L"bench.log"));
        if (file->SetAsync({.maxBytes = 64 * 1024 * 1024}).Bad()) state.SkipWithError("no thread");
        manager->AddSubscriber(file);
        channel->Write(1, kText);
        file->Flush(); // has opened the file
    }
    for (auto _ : state) channel->Write(1, kText);
    if (state.thread_index() == 0) manager.reset();
}
BENCHMARK(ToFile_Async)->Threads(1)->Threads(4)->UseRealTime();

/// A whole log, opened, written and closed: the time a line must not depend on how many there are.
void ToFile_Lines(benchmark::State& state)
{
    for (auto _ : state) {
        FileLog log(false);
        for (std::int64_t i = 0; i < state.range(0); ++i) log.channel.Write(1, kText);
    }
    state.counters["line"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(ToFile_Lines)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();

void ToFile_Stream(benchmark::State& state)
{
    FileLog log(state.range(0) != 0);
    XCLogStream& out = log.channel.GetStream();
    for (auto _ : state) out << kText << std::flush;
}
BENCHMARK(ToFile_Stream)->Arg(0)->Arg(1)->UseRealTime();

void ToFile_LogFile(benchmark::State& state)
{
    static XCSmartPtr<XCLogFile> log;
    if (state.thread_index() == 0) {
        log = new XCLogFile;
        (void)log->Open(L"bench.log");
        log->SetAutoFlush(state.range(0) != 0);
    }
    XCString const text(kText);
    for (auto _ : state) log->Log(text);
    if (state.thread_index() == 0) log.Clear();
}
BENCHMARK(ToFile_LogFile)->Arg(0)->Arg(1)->Threads(1)->Threads(4)->UseRealTime();

void ToFile_LogArgs(benchmark::State& state)
{
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    (void)log->Open(L"bench.log");
    log->SetAutoFlush(state.range(0) != 0);
    int session = 0;
    for (auto _ : state)
        log->LogArgs(L"connection accepted from %s, session %d, user %s\n", L"10.0.0.17", ++session, L"operator");
}
BENCHMARK(ToFile_LogArgs)->Arg(0)->Arg(1)->UseRealTime();

void ToFile_fwprintf(benchmark::State& state)
{
    static std::FILE* file = nullptr;
    static std::mutex lock;
    static int session = 0;
    if (state.thread_index() == 0) file = std::fopen("bench_crt.log", "wb");
    for (auto _ : state) {
        std::lock_guard const hold(lock);
        std::fwprintf(file, L"connection accepted from %ls, session %d, user %ls\n", L"10.0.0.17", ++session,
                      L"operator");
        if (state.range(0) != 0) std::fflush(file);
    }
    if (state.thread_index() == 0) std::fclose(file);
}
BENCHMARK(ToFile_fwprintf)->Arg(0)->Arg(1)->Threads(1)->Threads(4)->UseRealTime();

void ToFile_fputws(benchmark::State& state)
{
    std::FILE* const file = std::fopen("bench_crt.log", "wb");
    std::mutex lock;
    for (auto _ : state) {
        std::lock_guard const hold(lock);
        std::fputws(kText, file);
        if (state.range(0) != 0) std::fflush(file);
    }
    std::fclose(file);
}
BENCHMARK(ToFile_fputws)->Arg(0)->Arg(1)->UseRealTime();

/// A block of 16 texts and one flush, as a request that logs its steps.
void Block16_Channel(benchmark::State& state)
{
    FileLog log(true);
    XCLogStream& out = log.channel.GetStream();
    for (auto _ : state) {
        for (int i = 0; i < 16; ++i) out << kText;
        out << std::flush;
    }
}
BENCHMARK(Block16_Channel)->UseRealTime();

void Block16_LogArgs(benchmark::State& state)
{
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    (void)log->Open(L"bench.log");
    log->SetAutoFlush(false);
    int session = 0;
    for (auto _ : state) {
        for (int i = 0; i < 16; ++i)
            log->LogArgs(L"connection accepted from %s, session %d, user %s\n", L"10.0.0.17", ++session, L"operator");
        log->Flush();
    }
}
BENCHMARK(Block16_LogArgs)->UseRealTime();

void Block16_fwprintf(benchmark::State& state)
{
    std::FILE* const file = std::fopen("bench_crt.log", "wb");
    std::mutex lock;
    int session = 0;
    for (auto _ : state) {
        for (int i = 0; i < 16; ++i) {
            std::lock_guard const hold(lock);
            std::fwprintf(file, L"connection accepted from %ls, session %d, user %ls\n", L"10.0.0.17", ++session,
                          L"operator");
        }
        std::lock_guard const hold(lock);
        std::fflush(file);
    }
    std::fclose(file);
}
BENCHMARK(Block16_fwprintf)->UseRealTime();

void Trace_Off(benchmark::State& state)
{
    XCTrace::SetTraceSubjects(nullptr);
    int number = 0;
    for (auto _ : state) XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceConfig, L"bench", L"number %d", ++number);
}
BENCHMARK(Trace_Off);

void Trace_On(benchmark::State& state)
{
    XCTrace::SetTraceSubjects(L"CONFIG");
    int number = 0;
    for (auto _ : state) XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceConfig, L"bench", L"number %d", ++number);
    XCTrace::SetTraceSubjects(nullptr);
}
BENCHMARK(Trace_On)->UseRealTime();

} // namespace
