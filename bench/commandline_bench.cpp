// Rows of the command line: tokenising and classifying a string of the given length; time per unit must not grow.
#include <XelbrinCore/XCCommandLine.h>

#include <benchmark/benchmark.h>

namespace {

XCString LongCommandLine(std::size_t length)
{
    XCString text(L"tool.exe");
    while (text.Length() < length) text += L" /option:value -switch \"a file name.txt\" plain \"\"\"q\"\"\"";
    return text;
}

void CommandLine_FromString(benchmark::State& state)
{
    XCString const text = LongCommandLine(static_cast<std::size_t>(state.range(0)) * 1024);
    for (auto _ : state) {
        XCCommandLine const line(text);
        benchmark::DoNotOptimize(line.GetArgCount());
    }
    state.counters["unit"] =
        benchmark::Counter(static_cast<double>(text.Length()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(CommandLine_FromString)->Arg(1)->Arg(32)->Arg(1024);

void CommandLine_Lookup(benchmark::State& state)
{
    XCCommandLine const line(L"tool /a:1 /b:2 -c -d /trace:2 /config:x.ini file.txt");
    XCString const name(L"config"), none;
    for (auto _ : state) benchmark::DoNotOptimize(line.GetArg(name, none));
}
BENCHMARK(CommandLine_Lookup);

} // namespace
