// Many threads copy, change and destroy strings that share blocks; no block may be lost or left over.
#include <XelbrinCore/XCString.h>

#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

#if defined(_WIN32)
/// The busy blocks of all heaps of the process.
std::size_t CountBlocks()
{
    std::vector<HANDLE> heaps(::GetProcessHeaps(0, nullptr) + 8);
    heaps.resize(::GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    std::size_t blocks = 0;
    for (HANDLE const heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        ::HeapLock(heap);
        while (::HeapWalk(heap, &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) ++blocks;
        ::HeapUnlock(heap);
    }
    return blocks;
}
#else
std::size_t CountBlocks()
{
    return 0; // the sanitizer looks for leaks at the end of the program
}
#endif

void UseStrings(std::vector<XCString> const& shared, unsigned int seed)
{
    std::mt19937 random(seed);
    std::vector<XCString> own(shared);
    for (int i = 0; i < 20000; ++i) {
        XCString& text = own[random() % own.size()];
        switch (random() % 8) {
        case 0: text += L'x'; break;
        case 1: text.Remove(0, 1); break;
        case 2: text.Set(0, L'y'); break;
        case 3: text.Clear(); break;
        case 4: text = XCString(text) + L"z"; break;
        default: text = shared[random() % shared.size()];
        }
    }
}

void RunRound(int threadCount)
{
    std::vector<XCString> shared;
    for (int i = 0; i < 16; ++i)
        shared.push_back(XCString(L"text that all threads share ") + XCString().Format(L"%d", i));
    std::vector<XCString> const before(shared);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&shared, i] { UseStrings(shared, static_cast<unsigned int>(i)); });
    for (std::thread& thread : threads) thread.join();
    for (std::size_t i = 0; i < shared.size(); ++i) {
        EXPECT_EQ(shared[i].AsWChar(), before[i].AsWChar());
        EXPECT_TRUE(shared[i].View().starts_with(L"text that all threads share "));
    }
}

TEST(XCStringSharing, ManyThreadsLeaveNoBlockBehind)
{
    RunRound(4); // whatever the runtime keeps for its threads is there afterwards
    std::size_t const before = CountBlocks();
    RunRound(4);
    EXPECT_EQ(CountBlocks(), before);
    XCString::DataDef const& empty = XCString::glbEmptyData.header;
    EXPECT_EQ(empty.shares, 1);
}

} // namespace
