// The reserve of freed blocks: what it hands out, and texts that cross threads with it.
#include "prelude.h"
#include "win32/BlockReserve.h"

#include <XelbrinCore/XCString.h>
#include <set>
#include <thread>
#include <vector>

using xc::win32::BlockReserve;

TEST(BlockReserve, GivesBackOnlyBlocksOfTheSize)
{
    for (auto const& [size, isKept] :
         {std::pair<std::size_t, bool>{8, false}, {24, true}, {40, true}, {136, true}, {152, false}})
        EXPECT_EQ(BlockReserve::IsFor(size), isKept) << size;
    BlockReserve reserve;
    std::set<void*> kept;
    for (std::size_t i = 0; i < BlockReserve::kOfEach; ++i) {
        void* const block = ::operator new(40);
        EXPECT_TRUE(reserve.Keep(block, 40));
        kept.insert(block);
    }
    void* const tooMany = ::operator new(40);
    EXPECT_FALSE(reserve.Keep(tooMany, 40));
    ::operator delete(tooMany);
    EXPECT_EQ(reserve.Take(24), nullptr);
    EXPECT_EQ(reserve.Take(56), nullptr);
    for (std::size_t i = 0; i < BlockReserve::kOfEach / 2; ++i) { // the others are given back with the reserve
        void* const block = reserve.Take(40);
        EXPECT_EQ(kept.erase(block), 1u);
        ::operator delete(block);
    }
}

// Each thread drops what the other has made, of all sizes, and writes to what it makes itself.
TEST(BlockReserve, TextsAreDroppedByOtherThreads)
{
    auto const make = [](wchar_t unit) {
        std::vector<XCString> texts;
        for (std::size_t i = 0; i < 2000; ++i) texts.push_back(XCString(unit, i % 90));
        return texts;
    };
    auto const areWhole = [](std::vector<XCString> const& texts, wchar_t unit) {
        for (std::size_t i = 0; i < texts.size(); ++i)
            if (texts[i].View() != std::wstring(i % 90, unit)) return false;
        return true;
    };
    for (int round = 0; round < 20; ++round) {
        std::vector<XCString> ours = make(L'a');
        std::thread([&areWhole, &make, theirs = std::move(ours)]() mutable {
            theirs.clear();
            EXPECT_TRUE(areWhole(make(L'b'), L'b'));
        }).join();
        EXPECT_TRUE(areWhole(make(L'c'), L'c'));
    }
}
