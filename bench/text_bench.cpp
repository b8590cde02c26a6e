// Rows of the text services: a number to text beside the wide stream of the standard library, the category of a unit
// beside the system's and the C library's.
#include <XelbrinCore/XCStringStream.h>
#include <XelbrinCore/XCUnicode.h>

#include <benchmark/benchmark.h>
#include <cwctype>
#include <sstream>
#include <windows.h>

namespace {

void NumberToText(benchmark::State& state)
{
    int number = 1234567;
    for (auto _ : state) {
        XCStringStream stream;
        stream << ++number;
        benchmark::DoNotOptimize(stream.Take());
    }
}
BENCHMARK(NumberToText);

template <class Number>
void InOneStream(benchmark::State& state, Number number, Number step)
{
    XCStringStream stream;
    for (auto _ : state) {
        stream.Clear();
        stream << (number += step);
        benchmark::DoNotOptimize(stream.AsString());
    }
}
void NumberToTextInOneStream(benchmark::State& state)
{
    InOneStream(state, 1234567, 1);
}
BENCHMARK(NumberToTextInOneStream);
void FloatingPointToTextInOneStream(benchmark::State& state)
{
    InOneStream(state, 1234567.25, 1.1);
}
BENCHMARK(FloatingPointToTextInOneStream);

void NumberToTextByWideStream(benchmark::State& state)
{
    int number = 1234567;
    for (auto _ : state) {
        std::wostringstream stream;
        stream << ++number;
        benchmark::DoNotOptimize(stream.str());
    }
}
BENCHMARK(NumberToTextByWideStream);

/// One question for each unit of the basic plane.
template <class Ask>
void EachUnit(benchmark::State& state, Ask ask)
{
    for (auto _ : state) {
        unsigned int sum = 0;
        for (unsigned int unit = 0; unit < 0x10000; ++unit) sum += ask(static_cast<wchar_t>(unit));
        benchmark::DoNotOptimize(sum);
    }
    state.counters["ns/unit"] =
        benchmark::Counter(65536e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void CategoryOfAUnit(benchmark::State& state)
{
    EachUnit(state, [](wchar_t unit) { return static_cast<unsigned int>(XCUnicode::GetCategory(unit)); });
}
BENCHMARK(CategoryOfAUnit);

void CategoryOfAUnitBySystem(benchmark::State& state)
{
    EachUnit(state, [](wchar_t unit) {
        WORD type = 0;
        ::GetStringTypeW(CT_CTYPE1, &unit, 1, &type);
        return static_cast<unsigned int>(type);
    });
}
BENCHMARK(CategoryOfAUnitBySystem);

void CategoryOfAUnitByIswalpha(benchmark::State& state)
{
    EachUnit(state, [](wchar_t unit) { return static_cast<unsigned int>(std::iswalpha(unit)); });
}
BENCHMARK(CategoryOfAUnitByIswalpha);

} // namespace
