// Rows of message libraries: opening a file of 100,000 texts, and one look-up in it.
#include <XelbrinCore/XCMessageLibrary.h>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace {

constexpr int kTexts = 100'000;

/// A folder with one library in two languages; every second text has conversions, every fourth translation accents.
XCString const& Folder()
{
    static XCString const folder = [] {
        std::filesystem::path const path = std::filesystem::absolute("xc_bench_messages");
        std::filesystem::create_directories(path);
        std::ofstream english(path / "Bench.enu.LAN", std::ios::binary);
        std::ofstream french(path / "Bench.fra.LAN", std::ios::binary);
        english << "LAN 1 Bench enu\n";
        french << "LAN 1 Bench fra\n";
        for (int i = 0; i < kTexts; ++i) {
            char const* const tail = i % 2 == 0 ? " of %s was closed" : " was closed";
            english << i * 3 << " 1 The account number " << i << tail << "\n";
            french << i * 3 << " 1 Le compte num" << (i % 4 == 0 ? "\xC3\xA9" : "e") << "ro " << i << tail << "\n";
        }
        return XCString(path.wstring());
    }();
    return folder;
}

void OpenMessageFile(benchmark::State& state)
{
    XCString const path = Folder() + L"\\Bench.fra.LAN";
    for (auto _ : state) {
        XCMessageLibraryFile file;
        if (file.Open(path).Bad() || !file.GetFaults().empty()) state.SkipWithError("the file cannot be used");
    }
}
BENCHMARK(OpenMessageFile)->Unit(benchmark::kMillisecond);

void ReadMessagesFromMemory(benchmark::State& state)
{
    std::filesystem::path const path = std::filesystem::path(static_cast<std::wstring>(Folder())) / "Bench.fra.LAN";
    std::ifstream file(path, std::ios::binary);
    std::string const bytes(std::istreambuf_iterator<char>(file), {});
    for (auto _ : state) {
        XCMessageLibraryFile library;
        if (library.Read(bytes, XCString(L"Bench")).Bad()) state.SkipWithError("the bytes cannot be used");
    }
}
BENCHMARK(ReadMessagesFromMemory)->Unit(benchmark::kMillisecond);

/// What any reader of the file pays.
void CopyBytesOfMessageFile(benchmark::State& state)
{
    std::string const bytes(static_cast<std::size_t>(std::filesystem::file_size("xc_bench_messages/Bench.fra.LAN")),
                            'x');
    for (auto _ : state) {
        auto const copy = std::make_unique_for_overwrite<char[]>(bytes.size());
        std::memcpy(copy.get(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(copy.get());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(CopyBytesOfMessageFile)->Unit(benchmark::kMillisecond);

void ReadMessageFileByStream(benchmark::State& state)
{
    std::filesystem::path const path = std::filesystem::path(static_cast<std::wstring>(Folder())) / "Bench.fra.LAN";
    for (auto _ : state) {
        std::ifstream file(path, std::ios::binary);
        std::map<int, std::string> texts;
        std::string line;
        std::getline(file, line);
        while (std::getline(file, line))
            texts.emplace_hint(texts.end(), std::stoi(line), line.substr(line.find(' ') + 3));
        benchmark::DoNotOptimize(texts.size());
    }
}
BENCHMARK(ReadMessageFileByStream)->Unit(benchmark::kMillisecond);

void OpenMessageLibraryOfTwoLanguages(benchmark::State& state)
{
    for (auto _ : state) {
        XCMessageLibrary library;
        if (library.Open(Folder(), XCString(L"Bench")).Bad() || !library.GetFaults().empty())
            state.SkipWithError("faults");
    }
}
BENCHMARK(OpenMessageLibraryOfTwoLanguages)->Unit(benchmark::kMillisecond);

XCMessageLibrary& OpenedLibrary()
{
    static XCSmartPtr<XCMessageLibrary> const library(new XCMessageLibrary);
    static bool const opened = library->Open(Folder(), XCString(L"Bench")).Good();
    benchmark::DoNotOptimize(opened);
    return *library;
}

/// Codes in no order among the first `range`: with all of them neither the search nor the text is in the nearest cache.
void LookUpMessage(benchmark::State& state)
{
    XCMessageLibrary const& library = OpenedLibrary();
    XCFormatContext const context(L"fra");
    auto const texts = static_cast<unsigned int>(state.range(0));
    XCString text;
    unsigned int at = 1;
    for (auto _ : state) {
        at = at * 1664525u + 1013904223u;
        benchmark::DoNotOptimize(library.GetText(text, static_cast<long>(at % texts) * 3, context));
    }
}
BENCHMARK(LookUpMessage)->Arg(1000)->Arg(kTexts);
BENCHMARK(LookUpMessage)->Arg(kTexts)->Threads(8);

} // namespace
