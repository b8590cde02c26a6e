#include <XelbrinCore/XCCharSet.h>

#include "prelude.h"

#include <bitset>

namespace {

/// The same operations on a table of bits.
using Bits = std::bitset<0x10000>;

Bits ToBits(XCUWCharSet const& set)
{
    Bits bits;
    for (auto const& range : set)
        for (std::uint32_t unit = range.begin; unit < range.end; ++unit) bits.set(unit);
    return bits;
}

void ExpectCanonical(XCUWCharSet const& set)
{
    std::uint32_t last = 0;
    for (auto const& range : set) {
        EXPECT_LT(range.begin, range.end);
        EXPECT_TRUE(range.begin > last || (last == 0 && range.begin == 0));
        last = range.end;
    }
}

TEST(CharSet, OperationsAgreeWithATableOfBits)
{
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        XCUWCharSet sets[2];
        Bits bits[2];
        for (int i = 0; i < 2; ++i) {
            for (int step = 0; step < 12; ++step) {
                bool const high = random() % 3 == 0;
                auto const begin = static_cast<unsigned short>(high ? 0xFFF0 + random() % 16 : random() % 24);
                auto const last = static_cast<unsigned short>(
                    std::min<unsigned>(0xFFFF, begin + static_cast<unsigned>(random() % 6)));
                bool const adds = random() % 3 != 0;
                if (adds)
                    sets[i].AddRange(static_cast<wchar_t>(begin), static_cast<wchar_t>(last));
                else
                    sets[i].DelRange(static_cast<wchar_t>(begin), static_cast<wchar_t>(last));
                for (std::uint32_t unit = begin; unit <= last && unit < 0xFFFF; ++unit) bits[i].set(unit, adds);
            }
            ASSERT_EQ(ToBits(sets[i]), bits[i]);
            ExpectCanonical(sets[i]);
        }
        XCUWCharSet united = sets[0], common = sets[0], rest = sets[0];
        united |= sets[1];
        common &= sets[1];
        rest /= sets[1];
        ASSERT_EQ(ToBits(united), bits[0] | bits[1]);
        ASSERT_EQ(ToBits(common), bits[0] & bits[1]);
        ASSERT_EQ(ToBits(rest), bits[0] & ~bits[1]);
        ASSERT_EQ(rest.GetCount(), ToBits(rest).count());
        ASSERT_EQ(XCUWCharSet::ComputeDifference(united, united).IsEmpty(), true);
        ExpectCanonical(united);
        rest |= common;
        ASSERT_EQ(rest == sets[0], true);
    }
}

TEST(CharSet, TheLastUnitIsNeverAMember)
{
    XCUWCharSet set;
    set.AddChar(wchar_t(0xFFFF));
    EXPECT_TRUE(set.IsEmpty());
    set.AddAllChars();
    set.AddRange(wchar_t(0xFFFE), wchar_t(0xFFFF));
    EXPECT_EQ(set.GetCount(), 0xFFFFu);
    EXPECT_FALSE(set.IsInSet(wchar_t(0xFFFF)));
    set.AddChar(char(-1)); // a narrow unit is an unsigned byte
    set.Clear();
    set.AddChar(char(-1));
    EXPECT_TRUE(set.IsInSet(wchar_t(0xFF)));
    EXPECT_TRUE(set.IsInSet(char(-1)) && set.IsInSet(0xFF) && set.IsInSet(static_cast<unsigned short>(0xFF)));
    EXPECT_FALSE(set.IsInSet(-1) || set.IsInSet(0x100FF)); // no unit
    EXPECT_EQ(set.GetCount(), 1u);
}

TEST(CharSet, LookUpTableKeepsValuesApart)
{
    XCLookupTable<unsigned short, int> table;
    table.Assign(10, 20, 1);
    table.Assign(20, 30, 2);
    table.Assign(14, 25, 3);
    table.Assign(0, 2, 1);
    table.Erase(16, 18);
    int const expected[] = {1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 3, 3,
                            0, 0, 3, 3, 3, 3, 3, 3, 3, 2, 2, 2, 2, 2, 0};
    for (unsigned short key = 0; key < std::size(expected); ++key)
        EXPECT_EQ(table.Find(key) ? *table.Find(key) : 0, expected[key]) << key;
    table.Assign(16, 18, 3);
    EXPECT_EQ(table.GetRangeCount(), 4u); // touching ranges with one value are one
}

} // namespace
