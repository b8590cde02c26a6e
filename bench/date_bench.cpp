// Rows of the date family, beside the runtime's formatter and scanner. Every row walks through 1024 different values.
#include <XelbrinCore/XCDateTime.h>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <ctime>
#include <cwchar>
#include <vector>

namespace {

constexpr std::size_t kValues = 1024;
constexpr wchar_t const* kFormat = L"%Y/%m/%d %H:%M:%S.%L";

XCTimeZone Zone()
{
    return XCTimeZone::FromName(L"Eastern Standard Time");
}

std::vector<XCDateTimeEx> const& Values()
{
    static std::vector<XCDateTimeEx> const values = [] {
        std::vector<XCDateTimeEx> made;
        XCDateTimeEx value(1999, 12, 31, 23, 59, 58, 997, XCTimeZone());
        for (std::size_t i = 0; i < kValues; ++i, value += XCDurationEx(1234567))
            made.push_back(value + XCDurationEx(static_cast<long>(i), XCDurationEx::Millisecond));
        return made;
    }();
    return values;
}

template <class Work>
void Each(benchmark::State& state, Work work)
{
    std::size_t i = 0;
    for (auto _ : state) work(i++ % kValues);
}

constexpr std::size_t kUnits = 64;

/// Each value written as text by `write(buffer, index)`.
template <class Unit, class Write>
void Written(benchmark::State& state, Write write)
{
    Unit buffer[kUnits];
    Each(state, [&](std::size_t i) {
        write(buffer, i);
        benchmark::DoNotOptimize(buffer);
        benchmark::ClobberMemory();
    });
}

void FormatIn(benchmark::State& state, XCTimeZone const& zone)
{
    std::vector<XCDateTimeEx> const& values = Values();
    Written<wchar_t>(state, [&](wchar_t* to, std::size_t i) { (void)values[i].AsString(to, kUnits, kFormat, zone); });
}
void FormatUtc_XCDateTimeEx(benchmark::State& state)
{
    FormatIn(state, XCTimeZone());
}
BENCHMARK(FormatUtc_XCDateTimeEx);
void FormatZone_XCDateTimeEx(benchmark::State& state)
{
    FormatIn(state, Zone());
}
BENCHMARK(FormatZone_XCDateTimeEx);
void FormatLocal_XCDateTimeEx(benchmark::State& state)
{
    XCTimeZone::SetLocal(Zone());
    FormatIn(state, XCTimeZone::Local());
    XCTimeZone::RefreshLocal();
}
BENCHMARK(FormatLocal_XCDateTimeEx);

std::vector<std::tm> BrokenDown()
{
    std::vector<std::tm> times;
    for (XCDateTimeEx const& value : Values()) {
        std::tm time{};
        value.AsStructTM(time, XCTimeZone());
        times.push_back(time);
    }
    return times;
}
// Without milliseconds and from a broken-down time: less work than the rows above.
void FormatUtc_wcsftime(benchmark::State& state)
{
    std::vector<std::tm> const times = BrokenDown();
    Written<wchar_t>(state,
                     [&](wchar_t* to, std::size_t i) { std::wcsftime(to, kUnits, L"%Y/%m/%d %H:%M:%S", &times[i]); });
}
BENCHMARK(FormatUtc_wcsftime);
void FormatUtc_strftime(benchmark::State& state)
{
    std::vector<std::tm> const times = BrokenDown();
    Written<char>(state, [&](char* to, std::size_t i) { std::strftime(to, kUnits, "%Y/%m/%d %H:%M:%S", &times[i]); });
}
BENCHMARK(FormatUtc_strftime);

std::vector<XCString> Texts()
{
    std::vector<XCString> texts;
    for (XCDateTimeEx const& value : Values()) texts.push_back(value.AsString(XCTimeZone()));
    return texts;
}
void ParseIn(benchmark::State& state, XCTimeZone const& zone)
{
    std::vector<XCString> const texts = Texts();
    XCDateTimeEx value;
    Each(state, [&](std::size_t i) {
        (void)value.FromString(texts[i], kFormat, zone);
        benchmark::DoNotOptimize(value);
    });
}
void ParseUtc_XCDateTimeEx(benchmark::State& state)
{
    ParseIn(state, XCTimeZone());
}
BENCHMARK(ParseUtc_XCDateTimeEx);
void ParseZone_XCDateTimeEx(benchmark::State& state)
{
    ParseIn(state, Zone());
}
BENCHMARK(ParseZone_XCDateTimeEx);
void ParseUtc_swscanf(benchmark::State& state)
{
    std::vector<XCString> const texts = Texts();
    Each(state, [&](std::size_t i) {
        int f[7];
        std::swscanf(texts[i].AsWChar(), L"%d/%d/%d %d:%d:%d.%d", f, f + 1, f + 2, f + 3, f + 4, f + 5, f + 6);
        benchmark::DoNotOptimize(f);
    });
}
BENCHMARK(ParseUtc_swscanf);

std::vector<XCDateEx> Dates()
{
    std::vector<XCDateEx> dates;
    for (XCDateTimeEx const& value : Values()) dates.push_back(value.GetDate(XCTimeZone()));
    return dates;
}
void AddMonths_XCDateEx(benchmark::State& state)
{
    std::vector<XCDateEx> const dates = Dates();
    XCDurationEx const months(7, XCDurationEx::Month);
    Each(state, [&](std::size_t i) { benchmark::DoNotOptimize(dates[i] + months); });
}
BENCHMARK(AddMonths_XCDateEx);
void AddDays_XCDateEx(benchmark::State& state)
{
    std::vector<XCDateEx> const dates = Dates();
    Each(state, [&](std::size_t i) { benchmark::DoNotOptimize(dates[i] + 45L); });
}
BENCHMARK(AddDays_XCDateEx);
void WeekDay_XCDateEx(benchmark::State& state)
{
    std::vector<XCDateEx> const dates = Dates();
    Each(state, [&](std::size_t i) { benchmark::DoNotOptimize(dates[i].GetWeekDay()); });
}
BENCHMARK(WeekDay_XCDateEx);
void DayDifference_XCDateEx(benchmark::State& state)
{
    std::vector<XCDateEx> const dates = Dates();
    Each(state, [&](std::size_t i) { benchmark::DoNotOptimize(dates[i] - dates[0]); });
}
BENCHMARK(DayDifference_XCDateEx);
void ParseDuration_XCDurationEx(benchmark::State& state)
{
    XCString const text(L"90 minutes");
    XCDurationEx value;
    Each(state, [&](std::size_t) {
        value.FromString(text);
        benchmark::DoNotOptimize(value);
    });
}
BENCHMARK(ParseDuration_XCDurationEx);

} // namespace
