// Rows of collation: one comparison beside the system's, and sorting a million words by comparing and by keys.
#include <XelbrinCore/XCLocaleCollator.h>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cwchar>
#include <random>
#include <windows.h>

namespace {

constexpr wchar_t kText[] = L"internationalization";
constexpr wchar_t kSameText[] = L"internationalization";
constexpr wchar_t kOtherCase[] = L"INTERNATIONALIZATION";
static_assert(std::size(kText) == 21);

void CompareMany(benchmark::State& state, XCCollator const& collator, wchar_t const* other)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(other);
        benchmark::DoNotOptimize(collator.Compare(kText, other));
    }
}

void CompareSameByTable(benchmark::State& state)
{
    CompareMany(state, *XCSmartPtr<XCCollator>(new XCTableIgnoreCaseCollator), kSameText);
}
BENCHMARK(CompareSameByTable);

void CompareOtherCaseByTable(benchmark::State& state)
{
    CompareMany(state, *XCSmartPtr<XCCollator>(new XCTableIgnoreCaseCollator), kOtherCase);
}
BENCHMARK(CompareOtherCaseByTable);

void CompareSameByLevels(benchmark::State& state)
{
    CompareMany(state, *XCSmartPtr<XCCollator>(new XCLevelCollator), kSameText);
}
BENCHMARK(CompareSameByLevels);

void CompareOtherCaseByLevels(benchmark::State& state)
{
    CompareMany(state, *XCSmartPtr<XCCollator>(new XCLevelCollator), kOtherCase);
}
BENCHMARK(CompareOtherCaseByLevels);

void CompareOtherCaseByWcsicmp(benchmark::State& state)
{
    for (auto _ : state) benchmark::DoNotOptimize(::_wcsicmp(kText, kOtherCase));
}
BENCHMARK(CompareOtherCaseByWcsicmp);

void CompareOtherCaseBySystem(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ::CompareStringEx(L"en-US", NORM_IGNORECASE, kText, 20, kOtherCase, 20, nullptr, nullptr, 0));
}
BENCHMARK(CompareOtherCaseBySystem);

void MakeKeyByLevels(benchmark::State& state)
{
    XCSmartPtr<XCCollator> const collator(new XCLevelCollator);
    std::string key;
    for (auto _ : state) {
        key.clear();
        collator->AppendKey(key, kText);
        benchmark::DoNotOptimize(key.data());
    }
}
BENCHMARK(MakeKeyByLevels);

/// A million words of three to twelve letters in no order, every eighth with a capital and every sixteenth accented.
std::vector<XCString> const& Words()
{
    static std::vector<XCString> const words = [] {
        std::mt19937 random(1);
        std::vector<XCString> made;
        for (int i = 0; i < 1'000'000; ++i) {
            std::wstring word(3 + random() % 10, L'a');
            for (wchar_t& letter : word) letter = static_cast<wchar_t>(L'a' + random() % 26 * (random() % 26) / 26);
            if (i % 8 == 0) word[0] = static_cast<wchar_t>(word[0] - L'a' + L'A');
            if (i % 16 == 0) word[1] = L'\u00E9';
            made.emplace_back(word);
        }
        return made;
    }();
    return words;
}

template <class Sort>
void SortWords(benchmark::State& state, Sort sort)
{
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<XCString> words = Words();
        state.ResumeTiming();
        sort(words);
        benchmark::DoNotOptimize(words.data());
        state.PauseTiming();
        words.clear();
        state.ResumeTiming();
    }
}

void SortByComparing(std::vector<XCString>& words, XCCollator const& collator)
{
    std::stable_sort(words.begin(), words.end(), [&](XCString const& a, XCString const& b) {
        return collator.Compare(a.AsWChar(), b.AsWChar()) < 0;
    });
}

void SortMillionByComparingLevels(benchmark::State& state)
{
    XCSmartPtr<XCCollator> const collator(new XCLevelCollator);
    SortWords(state, [&](std::vector<XCString>& words) { SortByComparing(words, *collator); });
}
BENCHMARK(SortMillionByComparingLevels)->Unit(benchmark::kMillisecond);

void SortMillionByKeysOfLevels(benchmark::State& state)
{
    XCSmartPtr<XCCollator> const collator(new XCLevelCollator);
    SortWords(state, [&](std::vector<XCString>& words) { XCSortByKeys(words, *collator); });
}
BENCHMARK(SortMillionByKeysOfLevels)->Unit(benchmark::kMillisecond);

void SortMillionByComparingTable(benchmark::State& state)
{
    XCSmartPtr<XCCollator> const collator(new XCTableIgnoreCaseCollator);
    SortWords(state, [&](std::vector<XCString>& words) { SortByComparing(words, *collator); });
}
BENCHMARK(SortMillionByComparingTable)->Unit(benchmark::kMillisecond);

void SortMillionByKeysOfTable(benchmark::State& state)
{
    XCSmartPtr<XCCollator> const collator(new XCTableIgnoreCaseCollator);
    SortWords(state, [&](std::vector<XCString>& words) { XCSortByKeys(words, *collator); });
}
BENCHMARK(SortMillionByKeysOfTable)->Unit(benchmark::kMillisecond);

void SortMillionByKeysOfSystem(benchmark::State& state)
{
    XCLocale locale;
    (void)XCLocale::Find(XCString(L"en-US"), locale);
    XCSmartPtr<XCCollator> const collator(new XCLocaleCollator(locale));
    SortWords(state, [&](std::vector<XCString>& words) { XCSortByKeys(words, *collator); });
}
BENCHMARK(SortMillionByKeysOfSystem)->Unit(benchmark::kMillisecond)->Iterations(1);

void MakeDefaultTable(benchmark::State& state)
{
    for (auto _ : state) {
        std::vector<XCLineFault> faults;
        benchmark::DoNotOptimize(XCCollationTable::Read(XCString(L"n < \u00F1"), XCString(), faults));
    }
}
BENCHMARK(MakeDefaultTable)->Unit(benchmark::kMillisecond);

} // namespace
