// Literals that are searched for instead of running the automaton, lists of words, and the cache of expressions.
#include <XelbrinCore/XCRegEx.h>

#include "match/reference.h"
#include "prelude.h"

namespace {

XCRegEx Built(std::wstring const& pattern)
{
    return XCRegEx(XCStringRegExParser(XCString(pattern)).Parse(), false);
}

struct SearchCase {
    char const* fault;
    wchar_t const *pattern, *filler;
    std::initializer_list<wchar_t const*> pieces; ///< put somewhere into the filler
};
SearchCase const kSearches[] = {
    {"a bucket's other word taken",
     L".*(ERROR|FATAL|PANIC).*",
     L"info of a line ",
     {L"ERROR", L"ERRAL", L"PANI\xFFFF"}},
    {"low bytes taken for units",
     L".*(ERROR|FATAL)[a-z].*",
     L"\x0445\x0452\x0452 ",
     {L"\x0445\x0452\x0452OR", L"ERRORx"}},
    {"packed bytes taken for units, or U+FFFF passed over",
     L".*(ERROR|FATAL|PANIC).*",
     L"\x9F52\xAC41 ",
     {L"ERROR", L"\xFFFF", L"\xFFFF ERROR", L"\x8052R\x8041"}},
    {"rest after the literal not read", L".*dur=[0-9]{4,9}ms.*", L"a=b dur=17ms c=d ", {L"dur=1234ms", L"dur=\xFFFF"}},
    {"texts in flight forgotten",
     L".*(ab|xabcdefg)[^\xFFFE]*",
     L"xxxab",
     {L"xab\xFFFF", L"xabcdefZ\xFFFE", L"xabcdefg"}},
    {"search goes on past U+FFFF", L".*(needle|pin)[0-9]+", L"some hay ", {L"\xFFFF", L"needle7", L"\xFFFEpin8\xFFFD"}},
    {"needed unit inside the first units", L"[a-z=]+@[a-z@]+", L"abcdefgh", {L"@", L"@@", L"\xDC00@"}},
    {"last unit of another column", L"[a-z@]+(com|org)", L"abcdefgh", {L"com", L"org.", L"orh"}},
    {"needed text crosses a stretch", L"[a-z]*needle[a-z]*", L"abcdefgh", {L"needle", L"needl", L"eneedlen"}},
    {"branches with common units", L".*([Ee]rr|war[nm]|fat?al) .*", L"errands fa war ", {L"Err ", L"warm ", L"faal "}},
};

/// The same answer as the plain automaton wherever a piece stands: at borders of vectors and stretches, at the end.
TEST(Search, LiteralsAtEveryBorder)
{
    for (SearchCase const& c : kSearches) {
        XCRegEx const expression = Built(c.pattern);
        auto const states = expression.GetStates();
        ASSERT_FALSE(states.empty()) << c.fault;
        for (std::size_t const n : {0u, 40u, 70u, 1100u, 1500u, 34000u}) {
            std::wstring text;
            while (text.size() < n) text += c.filler;
            for (wchar_t const* const piece : c.pieces) {
                for (std::size_t const at : {0u, 1u, 31u, 63u, 64u, 1020u, 1024u, 1087u, 33850u, 40000u}) {
                    std::wstring const subject =
                        std::wstring(text).insert(std::min<std::size_t>(at, text.size()), piece);
                    EXPECT_EQ(expression.Match(subject.c_str()), reference::MatchesStates(states, subject))
                        << c.fault << ", " << n << " units, piece at " << at;
                }
            }
        }
    }
}

TEST(Search, ManyWords)
{
    for (std::uint32_t const count : {3u, 100u, 3000u}) {
        reference::Maker random(count);
        std::set<std::wstring> words;
        while (words.size() < count) {
            std::wstring word;
            for (std::uint32_t n = 3 + random.Below(9); n > 0; --n)
                word += static_cast<wchar_t>(L'a' + random.Below(26));
            words.insert(word);
        }
        std::wstring list;
        for (std::wstring const& word : words) list += (list.empty() ? L"" : L"|") + word;
        XCRegEx const alone = Built(list), within = Built(L".*(" + list + L").*");
        EXPECT_FALSE(alone.UsesStateSets() || within.UsesStateSets());
        for (std::wstring const& word : words) {
            std::wstring const hay(random.Below(5000), L'Z');
            EXPECT_TRUE(alone.Match(word.c_str()) && within.Match((hay + word + L"\xFFFF").c_str()));
            EXPECT_FALSE(within.Match((hay + L'\xFFFF' + word).c_str())) << "search goes on past U+FFFF";
            std::wstring const shorter = word.substr(0, word.size() - 1);
            EXPECT_EQ(alone.Match(shorter.c_str()), words.contains(shorter)) << "a part of a word taken for it";
            bool holds = false;
            for (std::wstring const& other : words) holds = holds || shorter.find(other) != std::wstring::npos;
            EXPECT_EQ(within.Match((hay + shorter + hay).c_str()), holds);
            if (count > 100 && random.Below(20) != 0) continue;
            EXPECT_FALSE(alone.Match((word + L'Z').c_str()));
        }
    }
}

/// Lists over alphabets that are filtered in different ways: small letters, others below U+0080, units with one low byte.
struct ListCase {
    wchar_t const* alphabet;
    std::uint32_t count, shortest, longest;
    wchar_t const* common; ///< what all words begin with
};
ListCase const kLists[] = {
    {L"abcdefgh", 16, 2, 9, L""},         {L"abcdefghij", 17, 4, 9, L""},    {L"abcdefghij", 33, 4, 9, L""},
    {L"abcdefghijklm", 128, 4, 9, L""},   {L"abcdefghijkl", 100, 2, 3, L""}, {L"abcdefghijkl", 60, 1, 9, L"z"},
    {L"aAqQ-_09\x7F", 33, 2, 9, L""},     {L"aAqQ-_09", 20, 3, 12, L""},     {L"ab\x0461\x0462\xFF61", 40, 2, 9, L""},
    {L"\x8041\x7F41\xC1", 17, 4, 9, L""}, {L"abcdefgh", 100, 3, 5, L"need"},
};

/// Parts of words and units of the alphabet, side by side or far from each other; perhaps a word; seldom a unit after which
/// nothing counts.
std::wstring NearWords(ListCase const& list, std::vector<std::wstring> const& words, reference::Maker& random)
{
    std::wstring_view const alphabet(list.alphabet);
    std::wstring text;
    bool const isSparse = random.Below(3) != 0;
    wchar_t const other = random.Below(2) == 0 ? L'.' : L'\x0416';
    for (std::uint32_t n = random.Below(isSparse ? 40 : 1200); n > 0; --n) {
        std::wstring const& word = words[random.Below(list.count)];
        if (random.Below(3) == 0) text += word.substr(0, random.Below(static_cast<std::uint32_t>(word.size())) + 1);
        text.append(random.Below(8), alphabet[random.Below(static_cast<std::uint32_t>(alphabet.size()))]);
        if (isSparse) text.append(random.Below(300), other);
        if (random.Below(2000) == 0) text += L'\xFFFF';
    }
    if (random.Below(2) == 0) text += words[random.Below(list.count)] + L"7" + std::wstring(random.Below(100), other);
    return text;
}

TEST(Search, ListsAsTheAutomatonReadsThem)
{
    reference::Maker random(17);
    for (ListCase const& c : kLists) {
        std::vector<std::wstring> words;
        std::wstring list;
        while (words.size() < c.count) {
            std::wstring word(c.common);
            for (std::uint32_t n = c.shortest + random.Below(c.longest - c.shortest + 1); n > 0; --n)
                word += c.alphabet[random.Below(static_cast<std::uint32_t>(std::wcslen(c.alphabet)))];
            list += (words.empty() ? L"" : L"|") + word;
            words.push_back(word);
        }
        XCRegEx const expression = Built(L".*(" + list + L")7.*");
        auto const states = expression.GetStates();
        ASSERT_FALSE(states.empty());
        std::size_t matched = 0;
        for (int i = 0; i < 400; ++i) {
            std::wstring const text = NearWords(c, words, random);
            bool const expected = reference::MatchesStates(states, text);
            ASSERT_EQ(expression.Match(text.c_str()), expected) << "list of " << c.count << ", subject " << i;
            matched += expected;
        }
        EXPECT_TRUE(matched > 40 && matched < 360) << matched << " of 400 in the list of " << c.count;
    }
}

TEST(Cache, KeepsWhatWasAskedForLast)
{
    for (int round = 0; round < 3; ++round) {
        for (std::size_t n = 1; n <= 2 * XCRegEx::kKeptPatterns; ++n) {
            std::wstring const text(n, L'a');
            EXPECT_TRUE(XCRegEx::FromPattern(XCString(text)).Match(text.c_str())) << "the neighbour's expression";
            EXPECT_FALSE(XCRegEx::FromPattern(XCString(text)).Match((text + L'a').c_str()));
        }
    }
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&wrong, i] {
            for (std::size_t n = 1; n < 500; ++n) {
                std::wstring const text(1 + n * static_cast<std::size_t>(i + 1) % 100, L'b');
                wrong += !XCRegEx::FromPattern(XCString(text)).Match(text.c_str());
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    XCString pattern(L"abc");
    XCRegEx const kept = XCRegEx::FromPattern(pattern);
    pattern.Set(0, L'x'); // the key must not change with the caller's string
    EXPECT_TRUE(XCRegEx::FromPattern(L"abc").Match(L"abc") && XCRegEx::FromPattern(pattern).Match(L"xbc"));
}

} // namespace
