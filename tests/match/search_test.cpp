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
