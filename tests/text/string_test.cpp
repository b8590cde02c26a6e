#include <XelbrinCore/XCString.h>

#include <gtest/gtest.h>

namespace {

struct ReplaceCase {
    const char* fault;
    const wchar_t *text, *oldText, *newText, *expected;
};
constexpr ReplaceCase kReplaceCases[] = {
    {"scans its own replacement", L"aaa", L"a", L"aa", L"aaaaaa"},
    {"overlap not leftmost", L"aaaa", L"aaa", L"b", L"ba"},
    {"old tail kept when shrinking", L"a--b", L"--", L"", L"ab"},
    {"empty result", L"xx", L"x", nullptr, L""},
};

TEST(XCStringEdit, Replace)
{
    for (ReplaceCase const& c : kReplaceCases) {
        SCOPED_TRACE(c.fault);
        XCString text(c.text);
        XCString const twin = text;
        text.Replace(c.oldText, c.newText);
        EXPECT_TRUE(text == c.expected);
        EXPECT_TRUE(twin == c.text);
    }
}

TEST(XCStringEdit, GrowthByHalf)
{
    XCString text;
    std::size_t const capacities[] = {2, 3, 4, 6, 6, 9, 9, 9, 13};
    for (std::size_t const capacity : capacities) EXPECT_EQ(text.Append(L"x", 1).Capacity(), capacity);
}

} // namespace
