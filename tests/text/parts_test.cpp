// Texts taken apart and put together.
#include "prelude.h"

namespace {

using Views = std::vector<std::wstring_view>;

TEST(StringParts, TrimSplitJoin)
{
    EXPECT_EQ(All(XCTrim(L" \t\u2003a b\u00A0\n"), XCTrim(L"  ")), All(L"a b", L""));
    EXPECT_EQ(XCTrim(L"[[a]]b]", L"[]"), L"a]]b");
    for (auto const& [fault, text, separator, rowParts] : Rows<std::wstring_view, std::wstring_view, Views>{
             {"empty parts lost", L",a,,b,", L",", {L"", L"a", L"", L"b", L""}},
             {"long separator cut", L"a::b:c", L"::", {L"a", L"b:c"}},
             {"overlapping separators", L"aaaa", L"aaa", {L"", L"a"}},
             {"no separator", L"abc", L";", {L"abc"}},
             {"empty separator", L"abc", L"", {L"abc"}},
             {"empty text", L"", L",", {L""}},
             {"ends at U+0000", std::wstring_view(L"a\0b,c", 5), L",", {std::wstring_view(L"a\0b", 3), L"c"}}})
    {
        SCOPED_TRACE(fault);
        Views const parts = XCSplitViews(text, separator);
        EXPECT_EQ(parts, rowParts);
        EXPECT_TRUE(separator.empty() || XCJoin(XCSplit(text, separator), separator).View() == text);
    }
    EXPECT_TRUE(XCJoin(std::vector<std::wstring>{}, L",").IsNull());
}

TEST(StringParts, NumbersAndStreams)
{
    EXPECT_EQ(XCToText(std::numeric_limits<std::int64_t>::min()).View(), L"-9223372036854775808");
    EXPECT_EQ(XCToText(std::numeric_limits<std::uint64_t>::max()).View(), L"18446744073709551615");
    EXPECT_EQ((XCToText(short{-5}) + XCToText(7u) + XCToText(0.1)).View(), L"-570.1");
#if defined(_WIN32) // the native build has no streams of 16-bit characters
    std::wistringstream in(L"one two\r\n\nlast");
    XCString word, rest, empty, last;
    in >> word;
    getline(in, rest);
    getline(in, empty);
    getline(in, last);
    EXPECT_TRUE(word == L"one" && rest == L" two\r" && empty.IsNull() && last == L"last" && in.eof());
    EXPECT_TRUE(!getline(in, last) && last == L"last");
#endif
}

} // namespace
