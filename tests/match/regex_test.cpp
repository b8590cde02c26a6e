#include <XelbrinCore/XCRegEx.h>

#include "match/reference.h"
#include "prelude.h"
#include "repetitions.h"

#if defined(_WIN32)
#include <iostream>
#include <sstream>
#endif

namespace {

XCParsedRegEx Parse(std::wstring const& pattern)
{
    return XCStringRegExParser(XCString(pattern)).Parse();
}

XCRegEx Compile(std::wstring const& pattern)
{
    return XCRegEx(Parse(pattern), false);
}

struct MatchCase {
    char const* fault;
    wchar_t const *pattern, *subject;
    bool matches;
};
constexpr MatchCase kMatches[] = {
    {"star needs one", L"a*", L"", true},
    {"not anchored at the end", L"a", L"ab", false},
    {"stop state reads the rest", L"ab.*", L"abc\xFFFF", true},
    {"dot takes FFFF", L"ab.", L"ab\xFFFF", false},
    {"negated class takes FFFF", L"[^a]", L"\xFFFF", false},
    {"FFFF before the state that stops", L".*x.*", L"\xFFFFx", false},
    {"FFFF between literal and needle", L"ab.*x.*", L"ab\xFFFFx", false},
    {"FFFF behind the last needle", L".*x.*", L"ax\xFFFF", true},
    {"a range up to FFFD stops too", L"[^\xFFFE]*", L"a\xFFFE\xFFFF", true},
    {"invalid pattern, empty subject", L"a**", L"", false},
    {"invalid pattern", L"a**", L"a", false},
    {"range of one unit refused", L"[a-a]", L"a", true},
    {"empty class", L"a[]*", L"a", true},
    {"empty class", L"a[]", L"a", false},
    {"needle overlaps itself", L".*aab.*", L"aaab", true},
    {"needles in the wrong order", L".*ab.*cd.*", L"cdab", false},
    {"literals overlap", L"aba.*aba", L"ababa", false},
    {"terminator taken for a unit", L"a.", L"a", false},
    {"terminator taken for a unit", L"[^b]c*", L"", false},
    {"fixed beginning, no match", L"[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}", L"2024-06-07 1a:34", false},
    {"beginning longer than a vector", L"[0-9]{9}[a-f]{9}(x|yz)+", L"123456789abcdefabcxyz", true},
    {"beginning longer than a vector", L"[0-9]{9}[a-f]{9}(x|yz)+", L"123456789abcdefabgxyz", false},
    {"fixed places, one unit more", L"[0-9]{2}-.[a-f]", L"12-xab", false},
    {"fixed places, the last one missing", L"[0-9]{2}-.[^a]", L"12-x", false},
    {"places that nothing stands at", L"x{0}", L"", true},
    {"a loop over one class stops too", L"[^\xFFFE]+", L"a\xFFFF", true},
    {"a loop over one class stops too early", L"[^a]+", L"b\xFFFF", false},
    {"a loop over one class takes the terminator", L"[^a]+", L"", false},
    {"beginning longer than the subject", L"[0-9]{9}[a-f]{9}(x|yz)+", L"123456789abc", false},
};

TEST(Match, Table)
{
    for (MatchCase const& c : kMatches) {
        XCRegEx const expression = Compile(c.pattern);
        EXPECT_EQ(expression.Match(c.subject), c.matches) << c.fault;
        EXPECT_EQ(expression.Match(XCString(c.subject)), c.matches) << c.fault << ", string";
    }
    EXPECT_TRUE(Compile(L"a*").Match(static_cast<wchar_t const*>(nullptr)));
    XCString withNul(L"aa");
    withNul += L'\0';
    withNul += L'b';
    EXPECT_TRUE(Compile(L"a+").Match(withNul)) << "a subject ends at its terminator";
    EXPECT_TRUE(Compile(L"a+").Match(std::wstring_view(L"aab").substr(0, 2))) << "a view ends at its length";
}

/// So many classes and nodes that a bounded check for stopping states gave up, and U+FFFF was read.
TEST(Match, SetsStopWhereStatesStop)
{
    std::wstring pattern = L"(y";
    for (std::uint32_t i = 0; i < 300; ++i) pattern += {L'|', wchar_t(0x4E00 + 2 * i), L'x'};
    pattern += L")((((([^\xFFFE]?){9}){9}){9}){5})*";
    XCRegEx const states(Parse(pattern), false, {4096, 64u << 20});
    XCRegEx const sets(Parse(pattern), false, {0, 0});
    ASSERT_FALSE(states.UsesStateSets());
    for (wchar_t const* const subject : {L"yaaa\xFFFF", L"ya\xFFFE", L"y\xFFFF", L"\xFFFF", L"\x4E00x\xFFFE"})
        EXPECT_EQ(sets.Match(subject), states.Match(subject)) << std::wstring(subject).size();
}

TEST(Match, CollatingTables)
{
    XCSmartPtr<XCCollatingTable<char>> const narrow(new XCCollatingTable<char>);
    XCSmartPtr<XCCollatingTable<wchar_t>> const wide(new XCCollatingTable<wchar_t>);
    narrow->Set('A', 'a');
    narrow->Set('\0', 'z');
    narrow->Set('\xE9', '\xE8'); // widened as a signed value: U+FFE8
    wide->Set(L'B', L'b');
    struct Case {
        char const* fault;
        bool useNarrow, useWide;
        wchar_t const *pattern, *subject;
        bool matches;
    };
    Case const cases[] = {
        {"subject not translated", true, false, L"a", L"A", true},
        {"U+0100 is not its low byte", true, false, L"z", L"\x0100", true},
        {"unit above U+0100 translated", true, false, L"\x0141", L"\x0141", true},
        {"code widened as unsigned", true, false, L"\xFFE8", L"\x00E9", true},
        {"identity above 0x7F is not identity", true, false, L"\xFFE0", L"\x00E0", true},
        {"wide table", false, true, L"b", L"B", true},
        {"both: the narrow one wins", true, true, L"b", L"B", false},
        {"stop before translation", true, false, L"x.*", L"x\xFFFF", true},
    };
    for (Case const& c : cases) {
        XCStringRegExParser parser{XCString(c.pattern)};
        if (c.useNarrow) parser.SetCollatingTable(narrow);
        if (c.useWide) parser.SetWCollatingTable(wide);
        EXPECT_EQ(XCRegEx(parser.Parse(), false).Match(c.subject), c.matches) << c.fault;
        EXPECT_EQ(XCRegEx(parser.Parse(), false, {0, 0}).Match(c.subject), c.matches) << c.fault << ", sets";
    }
}

TEST(Match, ConstantStart)
{
    struct Case {
        wchar_t const *pattern, *start;
    };
    Case const cases[] = {{L"abc|abx", L"ab"}, {L"abc|abd", L"abc"}, {L"[a-z]x", L"ax"}, {L"abc", L"abc"}, {L"a*", L""},
                          {L"ab.*", L"ab"},    {L"x(a|b)c", L"xac"}, {L"a?b", L""},      {L"a**", L""}};
    for (Case const& c : cases) EXPECT_TRUE(Compile(c.pattern).GetConstantStart() == c.start);
}

TEST(Dump, FormatsOfBothAutomata)
{
    EXPECT_TRUE(Compile(L"a[0-9]\\\\|[\\]\\[\x01\x3042x-y]").DumpStates() ==
                L"0:\n    \\x0001 --> 1\n    \\[ --> 1\n    \\] --> 1\n    a --> 2\n    xy --> 1\n    \\x3042 --> 1\n"
                L"1*:\n2:\n    0-9 --> 3\n3:\n    \\\\ --> 1\n"
                L"Node 0 : Continue\nNode 1 : Continue\nNode 2 : Continue\nNode 3 : Continue\n");
    EXPECT_TRUE(Compile(L".*").DumpStates() == L"0*:\n    \\x0000-\\xFFFE --> 0\nNode 0 : STOP\n");
    EXPECT_TRUE(XCRegEx::DumpNodes(Parse(L"a*")) ==
                L"0:\n    e-closure = {0, 1, 2\n1:\n    e-closure = {1\n2:\n    e-closure = {1, 2\n");
#if defined(_WIN32)
    std::wostringstream printed;
    std::wstreambuf* const before = std::wcout.rdbuf(printed.rdbuf());
    XCRegEx const expression(Parse(L"ab.*"), true);
    std::wcout.rdbuf(before);
    XCString const expected = XCRegEx::DumpNodes(Parse(L"ab.*")) + expression.DumpStates();
    EXPECT_TRUE(expected == printed.str().c_str());
#endif
}

TEST(NodeSet, KeepsOrderAndBothParts)
{
    XCNFANodeSet set, other;
    for (unsigned int const id : {300u, 5u, 127u, 128u, 0u, 64u}) EXPECT_TRUE(set.Insert(id));
    EXPECT_FALSE(set.Insert(128));
    EXPECT_FALSE(set.Insert(64));
    EXPECT_EQ(std::vector<unsigned int>(set.begin(), set.end()), (std::vector<unsigned int>{0, 5, 64, 127, 128, 300}));
    EXPECT_EQ(set.GetNextSmallID(64), 127u);
    EXPECT_EQ(set.GetNextSmallID(127), 0xFFFFFFFFu);
    EXPECT_EQ(other.GetFirstSmallID(), 0xFFFFFFFFu);
    EXPECT_TRUE(other.begin() == other.end());
    EXPECT_TRUE(other.Insert(set));
    EXPECT_FALSE(other.Insert(set));
    EXPECT_TRUE(other == set);
    XCNFANodeSet const copy = other;
    other.Insert(301u);
    EXPECT_TRUE((copy < other) != (other < copy));
    EXPECT_FALSE(copy < set || set < copy);
}

TEST(Limits, HugePatternsHaveDefinedResults)
{
    if (xc_test::Times(1) == 0) GTEST_SKIP() << "a checked heap looks at all of its blocks for each of a million nodes";
    std::wstring counted = L"a";
    for (int i = 0; i < 5; ++i) counted = L"(" + counted + L"{9})";
    XCRegEx const inside = Compile(counted);
    EXPECT_FALSE(inside.IsTooLarge());
    EXPECT_TRUE(inside.Match(std::wstring(59049, L'a').c_str()));
    EXPECT_FALSE(inside.Match(std::wstring(59048, L'a').c_str()));
    for (int i = 0; i < 200; ++i) counted = L"(" + counted + L"{9})";
    XCRegEx const outside = Compile(counted);
    EXPECT_TRUE(outside.IsTooLarge());
    EXPECT_FALSE(outside.Match(L""));
    EXPECT_FALSE(outside.Match(L"aaaaaaaaa"));
    EXPECT_FALSE(outside.Find(L"aaaaaaaaa", 0).IsFound());

    std::wstring nothing = L"a{0}"; // copies of nothing are counted too
    for (int i = 0; i < 200; ++i) nothing = L"(" + nothing + L"){9}";
    EXPECT_TRUE(Compile(nothing).IsTooLarge());

    std::wstring const literal(200000, L'a'); // plain text needs no automaton
    EXPECT_TRUE(Compile(literal).Match(literal.c_str()));
    EXPECT_FALSE(Compile(literal).Match(std::wstring(199999, L'a').c_str()));
    EXPECT_TRUE(Compile(literal + L"b?").IsTooLarge());

    std::wstring manySets;
    for (std::uint32_t unit = 0x100; unit < 0x1100; ++unit) manySets += L"[^" + std::wstring(1, wchar_t(unit)) + L"]";
    XCRegEx const unfolded = Compile(manySets);
    EXPECT_TRUE(unfolded.UsesStateSets());

    std::wstring skipped = L"([^a]?){5}", literals; // one state that holds 32805 nodes, which read 20000 classes each
    for (int i = 0; i < 4; ++i) skipped = L"(" + skipped + L"){9}";
    for (std::uint32_t unit = 0x100; unit < 0x4F20; ++unit) literals += static_cast<wchar_t>(unit);
    EXPECT_TRUE(Compile(skipped + L"|" + literals).UsesStateSets());

    std::wstring large; // a set of 10000 ranges, 59049 times
    for (std::uint32_t unit = 0x100; unit < 0x4F20; unit += 2) large += static_cast<wchar_t>(unit);
    std::wstring many = L"[" + large + L"]";
    for (int i = 0; i < 5; ++i) many = L"(" + many + L"){9}";
    EXPECT_TRUE(Compile(many).Match(std::wstring(59049, L'\x100').c_str()));
    EXPECT_TRUE(unfolded.Match(std::wstring(0x1000, L'a').c_str()));
    EXPECT_FALSE(unfolded.Match(std::wstring(0x1000, wchar_t(0x0800)).c_str()));
}

TEST(Limits, BeyondTheBudgetTheAnswersStay)
{
    XCRegEx const dense = Compile(L"(a|b)*a(a|b){9}");
    EXPECT_FALSE(dense.UsesStateSets());
    EXPECT_EQ(dense.GetStates().size(), 1024u);
    XCRegEx const sets = Compile(L"(a|b)*a(a|b){9}(a|b){9}");
    EXPECT_TRUE(sets.UsesStateSets());
    reference::Maker random(3);
    for (int i = 0; i < 200; ++i) {
        std::wstring text;
        for (std::uint32_t n = random.Below(3000); n > 0; --n) text += random.Below(2) ? L'a' : L'b';
        EXPECT_EQ(sets.Match(text.c_str()), text.size() > 18 && text[text.size() - 19] == L'a');
        EXPECT_EQ(dense.Match(text.c_str()), text.size() > 9 && text[text.size() - 10] == L'a');
    }
}

struct LongCase {
    char const* fault;
    wchar_t const *pattern, *piece;
};
constexpr LongCase kLongCases[] = {
    {"guessed states are right", L"((alpha|bravo|charlie|delta|echo) )+", L"echo delta alpha bravo "},
    {"guessed states are wrong", L"((a|b){9}(a|b){9})*", L"abb"},
    {"guess needs the record's start", L"([0-9]{4}-[a-z]+ [^\n]*\n)+", L"2024-june a line of seventeen units\n"},
    {"many states", L"(a|b)*a(a|b){9}", L"abaababbab"},
    {"few states", L"([0-9]+,[a-z ]*,(\"[^\"]*\")?\n)+", L"17,abc d,\"x\"\n"},
    {"units of other pages", L"((\x0416|\x3042)+ [ab]+;)+", L"\x0416\x3042\x3042 abba;\x0416 b;"},
    {"long loops among short ones", L"(a+b[^c]*c)+",
     L"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab---------------------c"},
    {"loop to the end", L"x[a-z]*", L"abcdefgh"},
    {"one class alone", L"[a-df-z\x3042]+", L"abcdabcdfg"},
    {"all but one unit", L"[^\x3042]*", L"abcdabcdfg"},
};

/// Many stretches, the lanes among them; a unit changed somewhere must be seen wherever it stands.
TEST(Match, LongSubjects)
{
    reference::Maker random(11);
    for (LongCase const& c : kLongCases) {
        XCRegEx const expression = Compile(c.pattern);
        auto const states = expression.GetStates();
        std::wstring text = c.pattern[0] == L'x' ? L"x" : L"";
        while (text.size() < 70000) text += c.piece;
        for (int round = 0; round < 40; ++round) {
            std::uint32_t const most = round % 3 == 0 ? 3000 : 70000;
            std::wstring subject = text.substr(0, most - random.Below(most / 2));
            std::size_t const at = random.Below(static_cast<std::uint32_t>(subject.size()));
            if (round > 4) subject[at] = L"ab c\x3042\xFFFF"[random.Below(6)];
            bool const expected = reference::MatchesStates(states, subject);
            EXPECT_EQ(expression.Match(subject.c_str()), expected) << c.fault << ", unit " << at << " changed";
            EXPECT_EQ(expression.Match(XCString(subject)), expected) << c.fault << ", string";
        }
    }
}

/// So many states and columns that the offsets of the table do not fit 16 bits.
TEST(Match, WideTable)
{
    std::wstring pattern, text;
    for (std::uint32_t i = 0; i < 200; ++i) {
        std::wstring const word{wchar_t(0x4E00 + i), wchar_t(0x5E00 + i), wchar_t(0x4E00 + i * 7 % 200)};
        pattern += (i == 0 ? L"(" : L"|") + word;
        text += word;
    }
    XCRegEx const expression = Compile(pattern + L")+");
    for (std::wstring const& subject : {text, text + text, text + text + text + text}) {
        EXPECT_TRUE(expression.Match(subject.c_str()));
        for (std::size_t const at : {std::size_t{0}, subject.size() / 2, subject.size() - 1}) {
            std::wstring changed = subject;
            changed[at] = L'a';
            EXPECT_FALSE(expression.Match(changed.c_str())) << at;
        }
    }
}

/// Subjects that end right before memory that must not be read, at every length and alignment.
TEST(Match, ReadsNothingBehindTheTerminator)
{
    XCRegEx const expressions[] = {Compile(L"[a-z0-9_]+"), Compile(L".*b.*"),     Compile(L"(a|b)*a(a|b){4}"),
                                   Compile(L"(ab?)*"),     Compile(L"a*"),        Compile(L".*aaa"),
                                   Compile(L"[ab]{3}"),    Compile(L"a[ab]{2}.*")};
    for (std::size_t n = 0; n < 600; n += n < 80 ? 1 : 37) {
        std::vector<wchar_t> text(n, L'a'); // exactly as long as the string form may read
        XCString const whole(std::wstring(text.begin(), text.end()));
        std::unique_ptr<wchar_t[]> const exact(new wchar_t[n + 1]);
        std::copy(text.begin(), text.end(), exact.get());
        exact[n] = 0;
        bool const expected[] = {n > 0, false, n >= 5, true, true, n >= 3, n == 3, n >= 3};
        for (std::size_t i = 0; i < std::size(expressions); ++i) {
            EXPECT_EQ(expressions[i].Match(exact.get()), expected[i]) << n << " " << i;
            EXPECT_EQ(expressions[i].Match(whole), expected[i]) << n << " " << i;
        }
    }
}

TEST(Threads, OneExpressionInEightThreads)
{
    XCRegEx const expressions[] = {Compile(L"(a|b)*abb"), Compile(L"([a-z]+,)*[a-z]+"), Compile(L".*needle.*"),
                                   Compile(L"(a|b)*a(a|b){9}(a|b){9}")};
    // The last one allocates, and a checked heap finds faults of its own when several threads do so at a time.
    std::size_t const count = std::size(expressions) - (std::getenv("XC_HEAP_CHECK") ? 1 : 0);
    std::wstring const text = L"aabbabababbabbaaabababababababababababb";
    bool const expected[] = {true, true, false, true};
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round)
                for (std::size_t e = 0; e < count; ++e)
                    wrong += XCRegEx(expressions[e]).Match(text.c_str()) != expected[e];
            wrong += expressions[2].GetStates().empty(); // built by the first thread that asks
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

/// Whether the needles stand in the text one behind the other, with no U+FFFF before the end of the last one.
bool HasInOrder(std::wstring const& text, std::vector<std::wstring> const& needles)
{
    std::size_t at = 0;
    for (std::wstring const& needle : needles) {
        at = text.find(needle, at);
        if (at == std::wstring::npos) return false;
        at += needle.size();
    }
    return text.find(L'\xFFFF') >= at;
}

TEST(Match, NeedlesInShortSubjects)
{
    std::vector<std::wstring> const lists[] = {{L"a"},      {L"ab"}, {L"aba"}, {L"a", L"b"}, {L"ab", L"ba", L"a"},
                                               {L"abbabab"}};
    std::mt19937 random(20);
    for (std::vector<std::wstring> const& needles : lists) {
        std::wstring pattern = L".*";
        for (std::wstring const& needle : needles) pattern += needle + L".*";
        XCRegEx const expression = Compile(pattern.c_str());
        for (int round = 0; round < 2000; ++round) {
            std::wstring subject(random() % 19, L'a');
            for (wchar_t& unit : subject) unit = L"aaabbbbc\xFFFF"[random() % 9];
            ASSERT_EQ(expression.Match(subject.c_str()), HasInOrder(subject, needles))
                << XCString(pattern).AsUTF8() << " on " << XCString(subject).AsUTF8();
        }
    }
}

} // namespace
