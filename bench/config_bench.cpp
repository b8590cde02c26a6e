// Rows of the configuration file: a file of 10,000 lines with comments, lookups in a section of 1,000 keys.
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCConfigLayers.h>
#include <XelbrinCore/XCStringConverter.h>

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <windows.h>

#include <psapi.h>

namespace {

constexpr wchar_t kPath[] = L"xc_config_bench.ini";
constexpr int kLines = 10000;

/// One comment for each two keys, a blank line and a header every twenty lines.
std::string const& FileBytes()
{
    static std::string const bytes = [] {
        std::string text;
        for (int i = 0; i < kLines; ++i) {
            std::string const number = std::to_string(i);
            if (i % 20 == 0)
                text += "\r\n";
            else if (i % 20 == 1)
                text += "[Section" + number + "]\r\n";
            else if (i % 3 == 0)
                text += "; what the next setting is for\r\n";
            else
                text += "SomeKey" + number + "=a value of usual length " + number + "\r\n";
        }
        return text;
    }();
    return bytes;
}

std::string ReadBytes()
{
    HANDLE const file = ::CreateFileW(kPath, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes(FileBytes().size(), '\0');
    DWORD read = 0;
    ::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    ::CloseHandle(file);
    return bytes;
}

void WriteBytes(wchar_t const* path, std::string const& bytes)
{
    HANDLE const file = ::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    ::FlushFileBuffers(file);
    ::CloseHandle(file);
}

void PerLine(benchmark::State& state)
{
    state.counters["line"] =
        benchmark::Counter(kLines, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The work that no reader can avoid.
void ConfigRead_BytesToUtf16(benchmark::State& state)
{
    WriteBytes(kPath, FileBytes());
    for (auto _ : state) {
        XCString text;
        benchmark::DoNotOptimize(text.SetFromUTF8(ReadBytes()));
    }
    PerLine(state);
}
BENCHMARK(ConfigRead_BytesToUtf16);

void ConfigRead_Load(benchmark::State& state)
{
    WriteBytes(kPath, FileBytes());
    for (auto _ : state) {
        XCSmartPtr<XCConfigFile> file = XCConfigFile::Load(kPath);
        benchmark::DoNotOptimize(file);
        state.PauseTiming();
        file.Clear();
        state.ResumeTiming();
    }
    PerLine(state);
}
BENCHMARK(ConfigRead_Load);

void ConfigRead_LoadAndRelease(benchmark::State& state)
{
    WriteBytes(kPath, FileBytes());
    for (auto _ : state) benchmark::DoNotOptimize(XCConfigFile::Load(kPath));
    PerLine(state);
}
BENCHMARK(ConfigRead_LoadAndRelease);

/// All values of a file that was just read, asked for so many times: the time of one.
void ConfigRead_Walks(benchmark::State& state)
{
    std::size_t values = 0;
    for (auto _ : state) {
        state.PauseTiming();
        XCSmartPtr<XCConfigFile> file = XCConfigFile::FromBytes(FileBytes());
        state.ResumeTiming();
        values = 0;
        for (std::int64_t walk = 0; walk < state.range(0); ++walk)
            for (XCConfigSection& section : *file)
                for (XCConfigLine const& line : section) {
                    benchmark::DoNotOptimize(line.GetValue());
                    ++values;
                }
        state.PauseTiming();
        file.Clear();
        state.ResumeTiming();
    }
    state.counters["value"] = benchmark::Counter(
        static_cast<double>(values), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(ConfigRead_Walks)->Arg(1)->Arg(2)->Arg(8)->Arg(32);

/// A file of so many short lines: bytes of memory a line, and whether they stay the same.
void ConfigRead_Memory(benchmark::State& state)
{
    std::string bytes = "[Main]\r\n";
    for (std::int64_t i = 0; i < state.range(0); ++i)
        bytes += "key" + std::to_string(i) + "=value " + std::to_string(i) + "\r\n";
    auto const used = [] {
        PROCESS_MEMORY_COUNTERS counters{};
        ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
        return static_cast<double>(counters.WorkingSetSize);
    };
    double grown = 0;
    for (auto _ : state) {
        double const before = used();
        XCSmartPtr<XCConfigFile> const file = XCConfigFile::FromBytes(bytes);
        grown = used() - before;
    }
    state.counters["bytes/line"] = grown / static_cast<double>(state.range(0));
}
BENCHMARK(ConfigRead_Memory)->Arg(100000)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

/// The work that no safe writer can avoid: convert, write beside, flush, replace.
void ConfigSave_Utf16ToBytes(benchmark::State& state)
{
    WriteBytes(kPath, FileBytes());
    XCString text;
    (void)text.SetFromUTF8(FileBytes());
    for (auto _ : state) {
        WriteBytes(L"xc_config_bench.tmp", text.AsUTF8());
        ::MoveFileExW(L"xc_config_bench.tmp", kPath, MOVEFILE_REPLACE_EXISTING);
    }
    PerLine(state);
}
BENCHMARK(ConfigSave_Utf16ToBytes);

void ConfigSave_Save(benchmark::State& state)
{
    WriteBytes(kPath, FileBytes());
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(kPath);
    for (auto _ : state) benchmark::DoNotOptimize(file->Save());
    PerLine(state);
}
BENCHMARK(ConfigSave_Save);

XCString Key(int i)
{
    return XCString().Format(L"SomeKey%d", i);
}

void ConfigLookup_SectionOf(benchmark::State& state)
{
    int const count = static_cast<int>(state.range(0));
    XCSmartPtr<XCConfigFile> const file(new XCConfigFile);
    for (int i = 0; i < count; ++i) file->SetString(L"Main", Key(i), L"value");
    XCString const section(L"main"), key(Key(count * 3 / 4)), none;
    for (auto _ : state) benchmark::DoNotOptimize(file->GetString(section, key, none));
}
BENCHMARK(ConfigLookup_SectionOf)->Arg(5)->Arg(1000)->Arg(100000);

/// Beside ConfigLookup_SectionOf/1000: the key is in the last of three layers.
void ConfigLookup_ThreeLayers(benchmark::State& state)
{
    XCConfigLayers layers;
    for (int layer = 0; layer < 3; ++layer) {
        XCSmartPtr<XCConfigFile> const file(new XCConfigFile);
        for (int i = 0; i < 1000; ++i) file->SetString(L"Main", layer == 2 ? Key(i) : Key(1000 + i), L"value");
        layers.AddFile(file);
    }
    XCString const section(L"main"), key(Key(750)), none;
    for (auto _ : state) benchmark::DoNotOptimize(layers.GetString(section, key, none));
}
BENCHMARK(ConfigLookup_ThreeLayers);

void ConfigLookup_unordered_map(benchmark::State& state)
{
    std::unordered_map<std::wstring, std::wstring> map;
    for (int i = 0; i < 1000; ++i) map.emplace(Key(i), L"value");
    std::wstring const key = Key(750);
    for (auto _ : state) {
        std::wstring value = map.find(key)->second;
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(ConfigLookup_unordered_map);

} // namespace
