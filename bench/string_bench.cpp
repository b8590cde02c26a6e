// Rows of the string family, each beside std::wstring built by the same compiler.
#include <XelbrinCore/XCString.h>

#include <benchmark/benchmark.h>
#include <string>

namespace {

void Copy1K_XCString(benchmark::State& state)
{
    XCString const text(L'x', 1024);
    for (auto _ : state) {
        XCString copy(text);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(Copy1K_XCString);

void Copy1K_wstring(benchmark::State& state)
{
    std::wstring const text(1024, L'x');
    for (auto _ : state) {
        std::wstring copy(text);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(Copy1K_wstring);

} // namespace
