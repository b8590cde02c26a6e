// Rows of files: 64 KiB pieces through XCFile beside the call of the system alone, lines of text beside std::wifstream, and
// the questions to a path beside std::filesystem::path. The files lie in the system's cache: what is measured is the way
// there.
#include <XelbrinCore/XCFileStream.h>

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>
#include <windows.h>

namespace {

constexpr std::size_t kPiece = 64 * 1024;
constexpr std::size_t kPieces = 64;
constexpr wchar_t kFile[] = L"xc_bench_file.bin";

/// A file of kPieces pieces, gone at the end.
class BenchFile {
public:
    explicit BenchFile(std::string const& bytes = std::string(kPiece * kPieces, 'x'))
    {
        std::ofstream(std::filesystem::path(kFile), std::ios::binary) << bytes;
    }
    ~BenchFile() { ::DeleteFileW(kFile); }
    BenchFile(BenchFile const&) = delete;
    BenchFile& operator=(BenchFile const&) = delete;
};

template <class Work>
void PerPiece(benchmark::State& state, Work work)
{
    for (auto _ : state)
        for (std::size_t i = 0; i < kPieces; ++i)
            if (!work(i * kPiece)) state.SkipWithError("a call on the file failed");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kPiece * kPieces));
}

OVERLAPPED At(std::size_t position)
{
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    return place;
}

void Read64K_XCFile(benchmark::State& state)
{
    BenchFile const disk;
    std::vector<char> piece(kPiece);
    XCSmartPtr<XCFile> file;
    if (XCFile::Open(kFile, XCFileMode::ToRead(), file).Bad()) return state.SkipWithError("not opened");
    PerPiece(state, [&](std::size_t position) {
        std::size_t got = 0;
        return file->ReadAt(position, piece.data(), kPiece, got).Good() && got == kPiece;
    });
}
BENCHMARK(Read64K_XCFile);

void Read64K_ReadFile(benchmark::State& state)
{
    BenchFile const disk;
    std::vector<char> piece(kPiece);
    HANDLE const file = ::CreateFileW(kFile, GENERIC_READ, 7, nullptr, OPEN_EXISTING, 0, nullptr);
    PerPiece(state, [&](std::size_t position) {
        OVERLAPPED place = At(position);
        DWORD got = 0;
        return ::ReadFile(file, piece.data(), kPiece, &got, &place) && got == kPiece;
    });
    ::CloseHandle(file);
}
BENCHMARK(Read64K_ReadFile);

void Write64K_XCFile(benchmark::State& state)
{
    BenchFile const disk;
    std::vector<char> const piece(kPiece, 'y');
    XCSmartPtr<XCFile> file;
    if (XCFile::Open(kFile, XCFileMode::ToUpdate(), file).Bad()) return state.SkipWithError("not opened");
    PerPiece(state, [&](std::size_t position) { return file->WriteAt(position, piece.data(), kPiece).Good(); });
}
BENCHMARK(Write64K_XCFile);

void Write64K_WriteFile(benchmark::State& state)
{
    BenchFile const disk;
    std::vector<char> const piece(kPiece, 'y');
    HANDLE const file = ::CreateFileW(kFile, GENERIC_READ | GENERIC_WRITE, 5, nullptr, OPEN_EXISTING, 0, nullptr);
    PerPiece(state, [&](std::size_t position) {
        OVERLAPPED place = At(position);
        DWORD written = 0;
        return ::WriteFile(file, piece.data(), kPiece, &written, &place) && written == kPiece;
    });
    ::CloseHandle(file);
}
BENCHMARK(Write64K_WriteFile);

// Lines -----------------------------------------------------------------------------------------------------------

constexpr std::int64_t kLines = 20'000;

std::string LinesOfText()
{
    std::string text;
    for (std::int64_t i = 0; i < kLines; ++i)
        text += "2026-11-22 12:00:00 request " + std::to_string(i) + " took 12 ms\r\n";
    return text;
}

void ReadLines20000_XCFileStream(benchmark::State& state)
{
    BenchFile const disk(LinesOfText());
    XCString line;
    for (auto _ : state) {
        XCFileStream stream;
        std::int64_t count = 0;
        bool got = stream.Open(kFile, XCFileMode::ToRead()).Good();
        while (got && stream.ReadLine(line, got).Good() && got) ++count;
        if (count != kLines) state.SkipWithError("lines are missing");
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(ReadLines20000_XCFileStream);

void ReadLines20000_wifstream(benchmark::State& state)
{
    BenchFile const disk(LinesOfText());
    std::wstring line;
    for (auto _ : state) {
        std::wifstream stream{std::filesystem::path(kFile)};
        std::int64_t count = 0;
        while (std::getline(stream, line)) ++count;
        if (count != kLines) state.SkipWithError("lines are missing");
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(ReadLines20000_wifstream);

void WriteLines20000_XCFileStream(benchmark::State& state)
{
    BenchFile const disk;
    std::wstring const line = L"2026-11-22 12:00:00 request 1234 took 12 ms";
    for (auto _ : state) {
        XCFileStream stream;
        bool good = stream.Open(kFile, XCFileMode::ToWrite()).Good();
        for (std::int64_t i = 0; good && i < kLines; ++i) good = stream.WriteLine(line).Good();
        if (!good || stream.Close().Bad()) state.SkipWithError("not written");
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(WriteLines20000_XCFileStream);

void WriteLines20000_wofstream(benchmark::State& state)
{
    BenchFile const disk;
    std::wstring const line = L"2026-11-22 12:00:00 request 1234 took 12 ms";
    for (auto _ : state) {
        std::wofstream stream{std::filesystem::path(kFile)};
        for (std::int64_t i = 0; i < kLines; ++i) stream << line << L'\n';
        stream.close();
        if (!stream) state.SkipWithError("not written");
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(WriteLines20000_wofstream);

// Paths -----------------------------------------------------------------------------------------------------------

constexpr wchar_t kPath[] = L"C:/sites/./example/pages/../images/logo.de.svg";

void Normalise_XCPath(benchmark::State& state)
{
    XCPath const path(kPath);
    for (auto _ : state) benchmark::DoNotOptimize(path.Normalise());
}
BENCHMARK(Normalise_XCPath);

void Normalise_filesystem(benchmark::State& state)
{
    std::filesystem::path const path(kPath);
    for (auto _ : state) benchmark::DoNotOptimize(path.lexically_normal());
}
BENCHMARK(Normalise_filesystem);

} // namespace
