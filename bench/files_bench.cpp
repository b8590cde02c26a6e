// Rows of walks over a tree of 20,000 files in 440 folders, beside the standard library's. One row is one walk; its time
// by the number of entries is printed by the last column. The order of the rows alternates, since the machine's caches
// and its load count more than a few per cent.
#include <XelbrinCore/XCDirectory.h>

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

/// Made by the first row, removed at the end of the program.
class BenchTree {
public:
    BenchTree()
    {
        for (int a = 0; a < 40; ++a)
            for (int b = 0; b < 10; ++b) {
                fs::path const folder = root / ("folder" + std::to_string(a)) / ("part" + std::to_string(b));
                fs::create_directories(folder);
                for (int c = 0; c < 50; ++c) std::ofstream(folder / ("file_" + std::to_string(c * 7919 % 50) + ".txt"));
            }
    }
    ~BenchTree() { (void)XCDirectory::RemoveTree(XCString(root.native())); }
    BenchTree(BenchTree const&) = delete;
    BenchTree& operator=(BenchTree const&) = delete;

    fs::path const root = fs::absolute("bench_tree");
};

fs::path const& Root()
{
    static BenchTree const tree;
    return tree.root;
}

void Finish(benchmark::State& state, std::size_t entries)
{
    if (entries != 20440) state.SkipWithError("entries are missing");
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entries));
}

void Walk_20000Files(benchmark::State& state, XCWalkOrder order)
{
    XCString const root(Root().native());
    std::size_t entries = 0;
    for (auto _ : state) {
        XCDirectoryWalker walker;
        (void)walker.Open(root, {.order = order});
        XCDirectoryEntry entry;
        for (entries = 0; walker.Next(entry); ++entries) {
        }
    }
    Finish(state, entries);
}

void Walk_20000Files_XCDirectoryWalker(benchmark::State& state)
{
    Walk_20000Files(state, XCWalkOrder::AsGiven);
}
BENCHMARK(Walk_20000Files_XCDirectoryWalker)->UseRealTime()->Unit(benchmark::kMillisecond);

void Walk_20000Files_XCDirectoryWalker_ByName(benchmark::State& state)
{
    Walk_20000Files(state, XCWalkOrder::ByName);
}
BENCHMARK(Walk_20000Files_XCDirectoryWalker_ByName)->UseRealTime()->Unit(benchmark::kMillisecond);

void Walk_20000Files_std(benchmark::State& state)
{
    fs::path const& root = Root();
    std::size_t entries = 0;
    for (auto _ : state) {
        entries = 0;
        for (fs::directory_entry const& entry : fs::recursive_directory_iterator(root))
            entries += !entry.path().empty();
    }
    Finish(state, entries);
}
BENCHMARK(Walk_20000Files_std)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
