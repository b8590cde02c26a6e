// Many threads copy, change and destroy strings that share blocks; no block may be lost or left over.

#include "prelude.h"

#if defined(_WIN32)
#include "heap_blocks.h"
#endif

namespace {

std::size_t CountBlocks()
{
#if defined(_WIN32)
    return xc_test::BlocksInUse();
#else
    return 0; // the sanitizer looks for leaks at the end of the program
#endif
}

void UseStrings(std::vector<XCString> const& shared, unsigned int seed)
{
    std::mt19937 random(seed);
    std::vector<XCString> own(shared);
    int const changes = std::getenv("XC_HEAP_CHECK") ? 500 : 20000; // each call of a checked heap looks at all of it
    for (int i = 0; i < changes; ++i) {
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
    OnThreads(threadCount, [&shared](int i) { UseStrings(shared, static_cast<unsigned int>(i)); });
    for (XCString const& text : shared) EXPECT_TRUE(text.View().starts_with(L"text that all threads share "));
}

TEST(XCStringSharing, ManyThreadsLeaveNoBlockBehind)
{
    RunRound(4); // whatever the runtime keeps for its threads is there afterwards
    std::size_t const before = CountBlocks();
    RunRound(4);
    // A checked heap holds freed blocks back for a while, so that their number tells nothing there.
    bool const counts = !std::getenv("XC_HEAP_CHECK");
    EXPECT_TRUE(!counts || CountBlocks() == before);
    XCString::DataDef const& empty = XCString::glbEmptyData.header;
    EXPECT_EQ(empty.shares, 1);
}

} // namespace
