// Rows of the string family, each beside std::wstring built by the same compiler. Figures per unit are in the counter
// "ns/unit"; rows named "worst" show the input on which a simple algorithm is quadratic.
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringConverter.h>

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t k64K = 65536;

void PerUnit(benchmark::State& state, std::size_t units)
{
    state.counters["ns/unit"] = benchmark::Counter(
        static_cast<double>(units) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Words of lower-case letters, always the same.
std::wstring Prose(std::size_t units)
{
    std::mt19937 random(7);
    std::wstring text;
    while (text.size() < units) {
        for (unsigned int n = 2 + random() % 8; n > 0; --n) text += static_cast<wchar_t>(L'a' + random() % 26);
        text += L' ';
    }
    text.resize(units);
    return text;
}

template <class Text>
void Copy(benchmark::State& state)
{
    Text const text(std::wstring(static_cast<std::size_t>(state.range(0)), L'x'));
    for (auto _ : state) {
        Text copy(text);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK_TEMPLATE(Copy, XCString)->Arg(16)->Arg(1024)->Arg(65536);
BENCHMARK_TEMPLATE(Copy, std::wstring)->Arg(16)->Arg(1024);

void CopyPointerAndInterlockedIncrement(benchmark::State& state)
{
    long volatile count = 0;
    long volatile* place = &count;
    for (auto _ : state) {
        long volatile* copy = place;
        __atomic_fetch_add(copy, 1, __ATOMIC_SEQ_CST);
        benchmark::DoNotOptimize(copy);
        __atomic_fetch_sub(copy, 1, __ATOMIC_SEQ_CST);
    }
}
BENCHMARK(CopyPointerAndInterlockedIncrement);

template <class Text>
void AppendUnit(benchmark::State& state)
{
    for (auto _ : state) {
        Text text;
        for (std::int64_t i = 0; i < state.range(0); ++i) text += L'x';
        benchmark::DoNotOptimize(text);
    }
    PerUnit(state, static_cast<std::size_t>(state.range(0)));
}
BENCHMARK_TEMPLATE(AppendUnit, XCString)->Arg(1000)->Arg(20000);
BENCHMARK_TEMPLATE(AppendUnit, std::wstring)->Arg(1000)->Arg(20000);

void Append16(XCString& text, wchar_t const* units)
{
    text.Append(units, 16);
}
void Append16(std::wstring& text, wchar_t const* units)
{
    text.append(units, 16);
}
template <class Text>
void AppendSixteen(benchmark::State& state)
{
    wchar_t const units[] = L"0123456789abcdef";
    for (auto _ : state) {
        Text text;
        for (int i = 0; i < 1000; ++i) Append16(text, units);
        benchmark::DoNotOptimize(text);
    }
    PerUnit(state, 16000);
}
BENCHMARK_TEMPLATE(AppendSixteen, XCString);
BENCHMARK_TEMPLATE(AppendSixteen, std::wstring);

/// A text of 32 MiB and one of 1 GiB: the time a unit must not depend on the length.
template <class Text>
void AppendUpTo(benchmark::State& state)
{
    wchar_t const part[] = L"0123456789abcdef";
    auto const units = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        Text text;
        for (std::size_t i = 0; i < units; i += 16) Append16(text, part);
        benchmark::DoNotOptimize(text);
    }
    PerUnit(state, units);
}
BENCHMARK_TEMPLATE(AppendUpTo, XCString)->Arg(16 << 20)->Arg(512 << 20)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(AppendUpTo, std::wstring)
    ->Arg(16 << 20)
    ->Arg(512 << 20)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

std::size_t FindIn(XCString const& text, wchar_t const* wanted)
{
    return text.Find(wanted);
}
std::size_t FindIn(std::wstring const& text, wchar_t const* wanted)
{
    return text.find(wanted);
}
template <class Text>
void FindText(benchmark::State& state, std::wstring const& source, wchar_t const* wanted)
{
    Text const text(source);
    for (auto _ : state) benchmark::DoNotOptimize(FindIn(text, wanted));
    PerUnit(state, source.size());
}
std::wstring const& LateProse()
{
    static std::wstring const text = Prose(k64K - 12) + L"needle-here!";
    return text;
}
std::wstring const& Periodic()
{
    static std::wstring const text(k64K, L'a');
    return text;
}
std::wstring const kPeriodicNeedle = std::wstring(200, L'a') + L'b' + std::wstring(200, L'a');
void FindText_XCString(benchmark::State& state, std::wstring const& source, wchar_t const* wanted)
{
    FindText<XCString>(state, source, wanted);
}
void FindText_wstring(benchmark::State& state, std::wstring const& source, wchar_t const* wanted)
{
    FindText<std::wstring>(state, source, wanted);
}
BENCHMARK_CAPTURE(FindText_XCString, late, LateProse(), L"needle-here");
BENCHMARK_CAPTURE(FindText_wstring, late, LateProse(), L"needle-here");
BENCHMARK_CAPTURE(FindText_XCString, absent, LateProse(), L"another needle");
BENCHMARK_CAPTURE(FindText_wstring, absent, LateProse(), L"another needle");
BENCHMARK_CAPTURE(FindText_XCString, worst, Periodic(), kPeriodicNeedle.c_str());
BENCHMARK_CAPTURE(FindText_wstring, worst, Periodic(), kPeriodicNeedle.c_str());

/// A search through 64 K units, written for XCString and for std::wstring.
template <class Text, class OfLibrary, class OfStandard>
void SearchProse(benchmark::State& state, OfLibrary ofLibrary, OfStandard ofStandard)
{
    Text const text(Prose(k64K));
    for (auto _ : state) {
        if constexpr (std::is_same_v<Text, XCString>)
            benchmark::DoNotOptimize(ofLibrary(text));
        else
            benchmark::DoNotOptimize(ofStandard(text));
    }
    PerUnit(state, k64K);
}

template <class Text>
void FindUnitAbsent(benchmark::State& state)
{
    SearchProse<Text>(
        state, [](auto const& text) { return text.Find(L'#'); }, [](auto const& text) { return text.find(L'#'); });
}
BENCHMARK_TEMPLATE(FindUnitAbsent, XCString);
BENCHMARK_TEMPLATE(FindUnitAbsent, std::wstring);

void ReadMemory64KUnits(benchmark::State& state) // the bandwidth that a scan cannot beat
{
    std::vector<std::uint64_t> words(k64K / 4, 1);
    for (auto _ : state) {
        std::uint64_t sums[4] = {};
        for (std::size_t i = 0; i < words.size(); i += 4)
            for (std::size_t j = 0; j < 4; ++j) sums[j] += words[i + j];
        benchmark::DoNotOptimize(sums);
    }
    PerUnit(state, k64K);
}
BENCHMARK(ReadMemory64KUnits);

template <class Text>
void FindAnyOfAbsent(benchmark::State& state)
{
    SearchProse<Text>(
        state, [](auto const& text) { return text.FindFirstOf(L"#;=[]"); },
        [](auto const& text) { return text.find_first_of(L"#;=[]"); });
}
BENCHMARK_TEMPLATE(FindAnyOfAbsent, XCString);
BENCHMARK_TEMPLATE(FindAnyOfAbsent, std::wstring);

template <class Text>
void EqualUnits(benchmark::State& state)
{
    std::wstring const source(static_cast<std::size_t>(state.range(0)), L'x');
    Text const a(source);
    Text const b(source);
    for (auto _ : state) {
        bool equal = a == b;
        benchmark::DoNotOptimize(equal);
    }
    PerUnit(state, source.size());
}
BENCHMARK_TEMPLATE(EqualUnits, XCString)->Arg(512)->Arg(1024);
BENCHMARK_TEMPLATE(EqualUnits, std::wstring)->Arg(512)->Arg(1024);

void EqualUnits_wmemcmp(benchmark::State& state)
{
    std::wstring const a(static_cast<std::size_t>(state.range(0)), L'x');
    std::wstring const b = a;
    for (auto _ : state) benchmark::DoNotOptimize(std::wmemcmp(a.data(), b.data(), a.size()));
    PerUnit(state, a.size());
}
BENCHMARK(EqualUnits_wmemcmp)->Arg(512)->Arg(1024);

void Hash(benchmark::State& state)
{
    XCString const text(Prose(static_cast<std::size_t>(state.range(0))));
    XCStringHash const hash;
    for (auto _ : state) benchmark::DoNotOptimize(hash(text));
    PerUnit(state, text.Length());
}
BENCHMARK(Hash)->Arg(16)->Arg(256)->Arg(4096);

void Hash_unit_by_unit(benchmark::State& state)
{
    std::wstring const text = Prose(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::uint32_t h = static_cast<std::uint32_t>(text.size());
        for (wchar_t const unit : text) h = h * 613 + unit;
        benchmark::DoNotOptimize(h);
    }
    PerUnit(state, text.size());
}
BENCHMARK(Hash_unit_by_unit)->Arg(16)->Arg(256)->Arg(4096);

void Hash_std(benchmark::State& state)
{
    std::wstring const text = Prose(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(std::hash<std::wstring>{}(text));
    PerUnit(state, text.size());
}
BENCHMARK(Hash_std)->Arg(16)->Arg(256)->Arg(4096);

std::wstring EverySecond()
{
    std::wstring text;
    while (text.size() < k64K) text += L"a,";
    return text;
}
std::wstring OneInFour()
{
    std::wstring text;
    for (std::mt19937 random(3); text.size() < k64K;) text += random() % 4 == 0 ? L',' : L'a';
    return text;
}
void ReplaceUnit(benchmark::State& state, std::wstring const& source)
{
    XCString const text(source);
    for (auto _ : state) {
        XCString copy(text);
        copy.Replace(L",", L"; ");
        benchmark::DoNotOptimize(copy);
    }
    PerUnit(state, source.size());
}
BENCHMARK_CAPTURE(ReplaceUnit, every_second, EverySecond());
BENCHMARK_CAPTURE(ReplaceUnit, one_in_four, OneInFour());
BENCHMARK_CAPTURE(ReplaceUnit, one_in_four_16k, OneInFour().substr(0, k64K / 4));

void ReplaceUnit_every_second_erase_and_insert(benchmark::State& state)
{
    std::wstring const source = EverySecond();
    for (auto _ : state) {
        std::wstring text = source;
        for (std::size_t at = 0; (at = text.find(L',', at)) != std::wstring::npos; at += 2) {
            text.erase(at, 1);
            text.insert(at, L"; ");
        }
        benchmark::DoNotOptimize(text);
    }
    PerUnit(state, source.size());
}
BENCHMARK(ReplaceUnit_every_second_erase_and_insert)->Iterations(2);

void ReplaceWordByUnit(benchmark::State& state)
{
    std::wstring source;
    while (source.size() < k64K / 4) source += L"some words and then a placeholder, ";
    XCString const text(source);
    for (auto _ : state) {
        XCString copy(text);
        copy.Replace(L"placeholder", L"#");
        benchmark::DoNotOptimize(copy);
    }
    PerUnit(state, source.size());
}
BENCHMARK(ReplaceWordByUnit);

void UpperCase(benchmark::State& state)
{
    XCString const text(Prose(1024));
    for (auto _ : state) {
        XCString copy(text);
        copy.Upper();
        benchmark::DoNotOptimize(copy);
    }
    PerUnit(state, 1024);
}
BENCHMARK(UpperCase);

void UpperCase_towupper(benchmark::State& state)
{
    std::wstring const text = Prose(1024);
    for (auto _ : state) {
        std::wstring copy(text);
        for (wchar_t& unit : copy) unit = static_cast<wchar_t>(std::towupper(unit));
        benchmark::DoNotOptimize(copy);
    }
    PerUnit(state, 1024);
}
BENCHMARK(UpperCase_towupper);

std::wstring Script(wchar_t first, std::size_t units)
{
    std::mt19937 random(11);
    std::wstring text;
    while (text.size() < units) text += static_cast<wchar_t>(first + random() % 32);
    return text;
}
void ToUtf8(benchmark::State& state, std::wstring const& source)
{
    XCString const text(source);
    for (auto _ : state) {
        std::string bytes = text.AsUTF8();
        benchmark::DoNotOptimize(bytes);
    }
    PerUnit(state, source.size());
}
void FromUtf8(benchmark::State& state, std::wstring const& source)
{
    std::string const bytes = XCString(source).AsUTF8();
    XCUTF8Converter const* const converter = new XCUTF8Converter;
    XCSmartPtrToConst<XCUTF8Converter> const owner(converter);
    for (auto _ : state) {
        XCString text;
        (void)converter->ToUnicode(text, bytes);
        benchmark::DoNotOptimize(text);
    }
    PerUnit(state, source.size());
}
// Beyond 64 KiB the system's heap asks the kernel for every block, which then outweighs the work.
BENCHMARK_CAPTURE(ToUtf8, ascii_16k, Prose(k64K / 4));
BENCHMARK_CAPTURE(ToUtf8, ascii_64k, Prose(k64K));
BENCHMARK_CAPTURE(ToUtf8, cyrillic_16k, Script(0x430, k64K / 4));
BENCHMARK_CAPTURE(ToUtf8, kana_16k, Script(0x3042, k64K / 4));
BENCHMARK_CAPTURE(FromUtf8, ascii_16k, Prose(k64K / 4));
BENCHMARK_CAPTURE(FromUtf8, ascii_64k, Prose(k64K));
BENCHMARK_CAPTURE(FromUtf8, cyrillic_16k, Script(0x430, k64K / 4));
BENCHMARK_CAPTURE(FromUtf8, kana_16k, Script(0x3042, k64K / 4));

void ToInt(benchmark::State& state)
{
    XCString const text(L"1234567");
    for (auto _ : state) {
        bool ok = false;
        benchmark::DoNotOptimize(text.AsInt(&ok));
    }
}
BENCHMARK(ToInt);

void ToInt_wcstol(benchmark::State& state)
{
    std::wstring const text(L"1234567");
    for (auto _ : state) {
        wchar_t* end = nullptr;
        benchmark::DoNotOptimize(std::wcstol(text.c_str(), &end, 10));
    }
}
BENCHMARK(ToInt_wcstol);

void FromInt(benchmark::State& state)
{
    XCString text;
    for (auto _ : state) {
        text.Format(L"%d", 1234567);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FromInt);

void FromInt_to_wstring(benchmark::State& state)
{
    for (auto _ : state) {
        std::wstring text = std::to_wstring(1234567);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FromInt_to_wstring);

void FormatNumberAndText(benchmark::State& state)
{
    XCString text;
    for (auto _ : state) {
        text.Format(L"%d %s", 1234567, L"some text");
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FormatNumberAndText);

void FormatNumberAndText_fresh(benchmark::State& state)
{
    for (auto _ : state) {
        XCString text;
        text.Format(L"%d %s", 1234567, L"some text");
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FormatNumberAndText_fresh);

void FormatNumberAndText_swprintf(benchmark::State& state)
{
    for (auto _ : state) {
        wchar_t buffer[64];
        std::swprintf(buffer, 64, L"%d %ls", 1234567, L"some text");
        std::wstring text(buffer);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FormatNumberAndText_swprintf);

void FivePlaces_XCPrintf(benchmark::State& state)
{
    XCString const pattern(L"%4:s: %0:s of %1:s (%2:s), %3:s");
    std::vector<XCString> const texts{L"line 12", L"settings.ini", L"section Net", L"no value", L"reader"};
    for (auto _ : state) {
        XCString text = XCPrintf(pattern, texts);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(FivePlaces_XCPrintf);

std::vector<XCString> Names()
{
    std::mt19937 random(5);
    std::vector<XCString> names(10000);
    for (XCString& name : names) name.Format(L"file%u_%u.txt", unsigned(random() % 500), unsigned(random() % 10000));
    return names;
}
template <class Less>
void SortNames(benchmark::State& state, Less less)
{
    std::vector<XCString> const names = Names();
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<XCString> copy = names;
        state.ResumeTiming();
        std::sort(copy.begin(), copy.end(), less);
        benchmark::DoNotOptimize(copy);
    }
}
void SortTenThousand_natural(benchmark::State& state)
{
    SortNames(state, [](XCString const& a, XCString const& b) { return XCStringNatCompare{}(a, b) < 0; });
}
BENCHMARK(SortTenThousand_natural)->Unit(benchmark::kMillisecond);
void SortTenThousand_ordinal(benchmark::State& state)
{
    SortNames(state, [](XCString const& a, XCString const& b) { return a < b; });
}
BENCHMARK(SortTenThousand_ordinal)->Unit(benchmark::kMillisecond);

} // namespace
