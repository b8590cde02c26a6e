// Rows of texts, dates and look-ups beside the libraries that do the same work best, natively: under Wine a block of
// memory costs several times as much, which would be compared in their place. Each peer works on its own kind of text.
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringConverter.h>
#include <XelbrinCore/XCStringParts.h>

#include <benchmark/benchmark.h>
#include <charconv>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <unicode/ustring.h>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t k64K = 65536;

/// One text in the forms of both sides.
struct Sample {
    std::wstring wide;
    std::u16string units;
    std::string bytes;
};

/// Words of eight letters from `first` on and a blank, always the same.
Sample Words(wchar_t first, std::size_t units)
{
    Sample sample;
    for (std::size_t i = 0; i < units; ++i) sample.wide += i % 9 == 8 ? L' ' : static_cast<wchar_t>(first + i * 7 % 26);
    sample.units.assign(sample.wide.begin(), sample.wide.end());
    sample.bytes = XCString(sample.wide).AsUTF8();
    return sample;
}

// UTF-8 -----------------------------------------------------------------------------------------------------------

void NativeText_ToUtf8_XCString(benchmark::State& state, Sample const& sample)
{
    XCString const text(sample.wide);
    for (auto _ : state) benchmark::DoNotOptimize(text.AsUTF8());
}
void NativeText_ToUtf8_icu(benchmark::State& state, Sample const& sample)
{
    for (auto _ : state) {
        std::string bytes(sample.bytes.size(), '\0');
        UErrorCode error = U_ZERO_ERROR;
        u_strToUTF8(bytes.data(), static_cast<int>(bytes.size()), nullptr, sample.units.data(),
                    static_cast<int>(sample.units.size()), &error);
        benchmark::DoNotOptimize(bytes);
    }
}
void NativeText_FromUtf8_XCString(benchmark::State& state, Sample const& sample)
{
    XCSmartPtrToConst<XCUTF8Converter> const converter(new XCUTF8Converter);
    for (auto _ : state) {
        XCString text;
        (void)converter->ToUnicode(text, sample.bytes);
        benchmark::DoNotOptimize(text);
    }
}
void NativeText_FromUtf8_icu(benchmark::State& state, Sample const& sample)
{
    for (auto _ : state) {
        std::u16string text(sample.units.size(), u'\0');
        UErrorCode error = U_ZERO_ERROR;
        u_strFromUTF8(text.data(), static_cast<int>(text.size()), nullptr, sample.bytes.data(),
                      static_cast<int>(sample.bytes.size()), &error);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK_CAPTURE(NativeText_ToUtf8_XCString, ascii, Words(L'a', k64K));
BENCHMARK_CAPTURE(NativeText_ToUtf8_icu, ascii, Words(L'a', k64K));
BENCHMARK_CAPTURE(NativeText_ToUtf8_XCString, cyrillic, Words(0x430, k64K));
BENCHMARK_CAPTURE(NativeText_ToUtf8_icu, cyrillic, Words(0x430, k64K));
BENCHMARK_CAPTURE(NativeText_FromUtf8_XCString, ascii, Words(L'a', k64K));
BENCHMARK_CAPTURE(NativeText_FromUtf8_icu, ascii, Words(L'a', k64K));
BENCHMARK_CAPTURE(NativeText_FromUtf8_XCString, cyrillic, Words(0x430, k64K));
BENCHMARK_CAPTURE(NativeText_FromUtf8_icu, cyrillic, Words(0x430, k64K));

// Changing --------------------------------------------------------------------------------------------------------

/// Empty texts that grow by `count` pieces.
template <class Text, class Add>
void Grow(benchmark::State& state, int count, Add add)
{
    for (auto _ : state) {
        Text text;
        for (int i = 0; i < count; ++i) add(text);
        benchmark::DoNotOptimize(text);
    }
}
void NativeText_AppendUnit1024_XCString(benchmark::State& state)
{
    Grow<XCString>(state, 1024, [](XCString& text) { text += L'x'; });
}
BENCHMARK(NativeText_AppendUnit1024_XCString);
void NativeText_AppendUnit1024_std(benchmark::State& state)
{
    Grow<std::u16string>(state, 1024, [](std::u16string& text) { text += u'x'; });
}
BENCHMARK(NativeText_AppendUnit1024_std);
void NativeText_AppendSixteen4096_XCString(benchmark::State& state)
{
    Grow<XCString>(state, 4096, [](XCString& text) { text.Append(L"0123456789abcdef", 16); });
}
BENCHMARK(NativeText_AppendSixteen4096_XCString);
void NativeText_AppendSixteen4096_std(benchmark::State& state)
{
    Grow<std::u16string>(state, 4096, [](std::u16string& text) { text.append(u"0123456789abcdef", 16); });
}
BENCHMARK(NativeText_AppendSixteen4096_std);

/// A text of its own made of one that stays.
template <class Text, class Change>
void Copied(benchmark::State& state, Text const& source, Change change)
{
    for (auto _ : state) {
        Text text(source);
        change(text);
        benchmark::DoNotOptimize(text);
    }
}
void NativeText_CopyAndChange16_XCString(benchmark::State& state)
{
    Copied(state, XCString(L"0123456789abcdef"), [](XCString& text) { text.Set(3, L'x'); });
}
BENCHMARK(NativeText_CopyAndChange16_XCString);
void NativeText_CopyAndChange16_std(benchmark::State& state)
{
    Copied(state, std::u16string(u"0123456789abcdef"), [](std::u16string& text) { text[3] = u'x'; });
}
BENCHMARK(NativeText_CopyAndChange16_std);
void NativeText_Trim25_XCString(benchmark::State& state)
{
    Copied(state, XCString(L"  \ta value of settings \r\n"),
           [](XCString& text) { text.RTrim(L" \t\r\n").LTrim(L" \t\r\n"); });
}
BENCHMARK(NativeText_Trim25_XCString);
void NativeText_Trim25_std(benchmark::State& state)
{
    Copied(state, std::u16string(u"  \ta value of settings \r\n"), [](std::u16string& text) {
        text.erase(text.find_last_not_of(u" \t\r\n") + 1);
        text.erase(0, text.find_first_not_of(u" \t\r\n"));
    });
}
BENCHMARK(NativeText_Trim25_std);

// Numbers and formats -----------------------------------------------------------------------------------------------

template <class Make>
void Made(benchmark::State& state, Make make)
{
    int number = 1234567;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        auto text = make(number);
        benchmark::DoNotOptimize(text);
    }
}
void NativeText_FromInt_XCToText(benchmark::State& state)
{
    Made(state, [](int number) { return XCToText(number); });
}
BENCHMARK(NativeText_FromInt_XCToText);
void NativeText_FromInt_fmt(benchmark::State& state)
{
    Made(state, [](int number) { return fmt::to_string(number); });
}
BENCHMARK(NativeText_FromInt_fmt);
void NativeText_FormatNumberAndText_XCString(benchmark::State& state)
{
    Made(state, [](int number) { return XCString().Format(L"%d %s", number, L"some text"); });
}
BENCHMARK(NativeText_FormatNumberAndText_XCString);
void NativeText_FormatNumberAndText_fmt(benchmark::State& state)
{
    Made(state, [](int number) { return fmt::format("{} {}", number, "some text"); });
}
BENCHMARK(NativeText_FormatNumberAndText_fmt);
void NativeText_FivePlaces_XCPrintf(benchmark::State& state)
{
    XCString const pattern(L"%4:s: %0:s of %1:s (%2:s), %3:s");
    std::vector<XCString> const texts{L"line 12", L"settings.ini", L"section Net", L"no value", L"reader"};
    Made(state, [&](int) { return XCPrintf(pattern, texts); });
}
BENCHMARK(NativeText_FivePlaces_XCPrintf);
void NativeText_FivePlaces_fmt(benchmark::State& state)
{
    std::string const texts[] = {"line 12", "settings.ini", "section Net", "no value", "reader"};
    Made(state, [&](int) {
        return fmt::format("{4}: {0} of {1} ({2}), {3}", texts[0], texts[1], texts[2], texts[3], texts[4]);
    });
}
BENCHMARK(NativeText_FivePlaces_fmt);
void NativeText_ToInt_XCString(benchmark::State& state)
{
    XCString const text(L"1234567");
    for (auto _ : state) {
        bool ok = false;
        benchmark::DoNotOptimize(text.AsInt(&ok));
        benchmark::DoNotOptimize(ok);
    }
}
BENCHMARK(NativeText_ToInt_XCString);
void NativeText_ToInt_from_chars(benchmark::State& state)
{
    std::string text("1234567");
    for (auto _ : state) {
        int number = 0;
        benchmark::DoNotOptimize(text);
        bool ok = std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
        benchmark::DoNotOptimize(number);
        benchmark::DoNotOptimize(ok);
    }
}
BENCHMARK(NativeText_ToInt_from_chars);

// Comparing and hashing -----------------------------------------------------------------------------------------------

void NativeText_Equal1024_XCString(benchmark::State& state)
{
    std::wstring const source(1024, L'x');
    XCString const a(source), b(source);
    for (auto _ : state) benchmark::DoNotOptimize(a == b);
}
BENCHMARK(NativeText_Equal1024_XCString);
void NativeText_Equal1024_memcmp(benchmark::State& state)
{
    std::u16string a(1024, u'x'), b(a);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(std::memcmp(a.data(), b.data(), a.size() * sizeof(char16_t)));
    }
}
BENCHMARK(NativeText_Equal1024_memcmp);
void NativeText_Hash_XCString(benchmark::State& state)
{
    XCString const text(Words(L'a', static_cast<std::size_t>(state.range(0))).wide);
    for (auto _ : state) benchmark::DoNotOptimize(XCStringHash{}(text));
}
BENCHMARK(NativeText_Hash_XCString)->Arg(16)->Arg(256);
void NativeText_Hash_std(benchmark::State& state)
{
    std::u16string text = Words(L'a', static_cast<std::size_t>(state.range(0))).units;
    for (auto _ : state) benchmark::DoNotOptimize(std::hash<std::u16string>{}(text));
}
BENCHMARK(NativeText_Hash_std)->Arg(16)->Arg(256);

// Dates and look-ups -----------------------------------------------------------------------------------------------

/// Days a month and a half apart.
template <class Date, class Ask>
void EachDate(benchmark::State& state, std::vector<Date> const& dates, Ask ask)
{
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(ask(dates[i++ % dates.size()]));
}
template <class Date, class Make>
std::vector<Date> Dates(Make make)
{
    std::vector<Date> dates;
    for (unsigned int i = 0; i < 1024; ++i)
        dates.push_back(make(1980 + static_cast<int>(i / 12), i % 12 + 1, i % 28 + 1));
    return dates;
}
void NativeDate_WeekDay_XCDateTimeEx(benchmark::State& state)
{
    auto const dates = Dates<XCDateTimeEx>([](int year, unsigned int month, unsigned int day) {
        return XCDateTimeEx(year, month, day, 12, 0, 0, 0, XCTimeZone());
    });
    EachDate(state, dates, [utc = XCTimeZone()](XCDateTimeEx const& date) { return date.GetWeekDay(utc); });
}
BENCHMARK(NativeDate_WeekDay_XCDateTimeEx);
void NativeDate_WeekDay_chrono(benchmark::State& state)
{
    using namespace std::chrono;
    auto const dates = Dates<year_month_day>([](int year, unsigned int month, unsigned int day) {
        return year_month_day(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day));
    });
    EachDate(state, dates, [](year_month_day const& date) { return weekday(sys_days(date)).c_encoding(); });
}
BENCHMARK(NativeDate_WeekDay_chrono);

void NativeConfig_LookUp1000_XCConfigFile(benchmark::State& state)
{
    XCSmartPtr<XCConfigFile> const file(new XCConfigFile);
    for (int i = 0; i < 1000; ++i) file->SetString(L"Main", L"SomeKey" + XCToText(i), L"value");
    XCString const section(L"main"), key(L"somekey750"), none;
    for (auto _ : state) benchmark::DoNotOptimize(file->GetString(section, key, none));
}
BENCHMARK(NativeConfig_LookUp1000_XCConfigFile);
void NativeConfig_LookUp1000_unordered_map(benchmark::State& state)
{
    std::unordered_map<std::string, std::string> map;
    for (int i = 0; i < 1000; ++i) map.emplace("SomeKey" + std::to_string(i), "value");
    std::string const key("SomeKey750");
    for (auto _ : state) {
        std::string value = map.find(key)->second;
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(NativeConfig_LookUp1000_unordered_map);

} // namespace
