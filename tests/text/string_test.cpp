
#include "prelude.h"

namespace {

// Built before main, from a text, by formatting and by enciphering texts that must exist by then.
XCString const beforeMain = XCString(L"early") + XCString().Format(L"%d", 7) + XCString::cryptSuffix;

TEST(XCString, WorksBeforeMain)
{
    EXPECT_EQ(beforeMain.View().substr(0, 6), L"early7");
    EXPECT_EQ(XCString::cryptSuffix.View(), beforeMain.View().substr(6));
}

bool SharesTheEmptyBlock(XCString const& text)
{
    return text.AsWChar() == &XCString::glbEmptyData.terminator;
}

TEST(XCString, SharingAndTheEmptyBlock)
{
    XCString const text(L"shared");
    EXPECT_EQ(text.Capacity(), 7u);
    XCString const copy(text);
    XCString assigned;
    assigned = text;
    EXPECT_EQ(All(copy.AsWChar(), assigned.AsWChar(), text.SubStr(0).AsWChar()),
              All(text.AsWChar(), text.AsWChar(), text.AsWChar()));
    XCString moved(std::move(assigned));
    EXPECT_EQ(moved.AsWChar(), text.AsWChar());
    EXPECT_TRUE(SharesTheEmptyBlock(assigned)); // a moved-from string is empty
    moved = *&moved;
    EXPECT_EQ(moved, text);

    wchar_t const* const nothing = nullptr;
    EXPECT_TRUE(SharesTheEmptyBlock(XCString(nothing)) && SharesTheEmptyBlock(XCString(std::wstring())));
    EXPECT_TRUE(SharesTheEmptyBlock(XCString(L"abc").Remove(0, XCString::npos)));
    EXPECT_TRUE(SharesTheEmptyBlock(XCString(L"aaa").RTrim(L'a')));
    EXPECT_TRUE(SharesTheEmptyBlock(XCString(L"aaa").LTrim(L"a").Replace(L"a", L"")));
    XCString trimmed(L"aaa");
    EXPECT_FALSE(SharesTheEmptyBlock(trimmed.LTrim(L'a'))); // empty, but in its own storage
    EXPECT_TRUE(trimmed.IsNull());
    EXPECT_EQ(XCString::glbEmptyData.header.shares, 1);
}

TEST(XCString, GrowthByHalf)
{
    XCString text;
    std::size_t const capacities[] = {2, 3, 4, 6, 6, 9, 9, 9, 13};
    for (std::size_t const capacity : capacities) EXPECT_EQ(text.Append(L"x", 1).Capacity(), capacity);
    XCString byUnit;
    for (std::size_t const capacity : capacities) EXPECT_EQ((byUnit += L'x').Capacity(), capacity);
    XCString const twin = byUnit;
    byUnit.Reserve(3);
    EXPECT_EQ(byUnit.Capacity(), twin.Capacity()); // unsharing keeps the size
    EXPECT_NE(byUnit.AsWChar(), twin.AsWChar());
}

using Change = void (*)(XCString&);
constexpr std::size_t npos = XCString::npos;

// Every changing operation, with text arguments that point into the string itself where it takes texts.
// fault, text, change, expected
Rows<wchar_t const*, Change, wchar_t const*> const kChanges = {
    {"assigns own units with room", L"abcdef", [](XCString& s) { s.Assign(s.AsWChar() + 1, 3, 2); }, L"bcd"},
    {"assigns own units, growing", L"abcdef", [](XCString& s) { s.Assign(s.AsWChar() + 4, 2, 900); }, L"ef"},
    {"assigns a unit", L"abc", [](XCString& s) { s = L'z'; }, L"z"},
    {"assigns null", L"abc", [](XCString& s) { s = static_cast<wchar_t const*>(nullptr); }, L""},
    {"appends itself", L"abc", [](XCString& s) { s += s; }, L"abcabc"},
    {"appends own tail with room", L"abc", [](XCString& s) { s.Reserve(50), s.Append(s.AsWChar() + 1); }, L"abcbc"},
    {"count 0 is the whole text", L"abc", [](XCString& s) { s.Append(L"xyz", 0); }, L"abcxyz"},
    {"counts units, not terminators", L"abc", [](XCString& s) { s.Append(L"xyz", 2); }, L"abcxy"},
    {"null with count 0", L"abc", [](XCString& s) { s.Append(static_cast<wchar_t const*>(nullptr), 0); }, L"abc"},
    {"appends itself with its terminator", L"0123456789012345678901234567890123456789",
     [](XCString& s) {
         s.Reserve(200), s.Append(s.AsWChar(), s.Length() + 1);
         if (s.Length() == 81 && s[80] == L'\0') s.Clear();
     },
     L""},
    {"inserts own text", L"abcd", [](XCString& s) { s.Insert(1, s.AsWChar() + 2); }, L"acdbcd"},
    {"inserts itself with room", L"ab", [](XCString& s) { s.Reserve(90), s.Insert(1, s); }, L"aabb"},
    {"inserts past the end", L"abc", [](XCString& s) { s.Insert(npos, L"xy"); }, L"abcxy"},
    {"inserts a unit at the end", L"abc", [](XCString& s) { s.Insert(3, L'!'); }, L"abc!"},
    {"inserts null", L"abc", [](XCString& s) { s.Insert(1, static_cast<wchar_t const*>(nullptr)); }, L"abc"},
    {"position and count wrap", L"abcdef", [](XCString& s) { s.Remove(2, npos - 1); }, L"ab"},
    {"removes past the end", L"abc", [](XCString& s) { s.Remove(3, 1); }, L"abc"},
    {"sets past the end", L"abc", [](XCString& s) { s.Set(3, L'x'), s.Set(npos, L'x'); }, L"abc"},
    {"sets", L"abc", [](XCString& s) { s.Set(1, L'x'); }, L"axc"},
    {"scans its own replacement", L"aaa", [](XCString& s) { s.Replace(L"a", L"aa"); }, L"aaaaaa"},
    {"overlap not leftmost", L"aaaa", [](XCString& s) { s.Replace(L"aaa", L"b"); }, L"ba"},
    {"old tail kept when shrinking", L"a--b", [](XCString& s) { s.Replace(L"--", L""); }, L"ab"},
    {"null removes", L"axbx", [](XCString& s) { s.Replace(L"x", nullptr); }, L"ab"},
    {"null or empty old", L"abc", [](XCString& s) { s.Replace(nullptr, L"x").Replace(L"", L"x"); }, L"abc"},
    {"replaces by own text", L"a.b", [](XCString& s) { s.Replace(s.AsWChar() + 1, s.AsWChar()); }, L"aa.b"},
    {"upper", L"\u00E9a\u00DFz\u044F\u00FF|{", [](XCString& s) { s.Upper(); }, L"\u00C9A\u00DFZ\u042F\u0178|{"},
    {"lower", L"AZ\u00C9\u042F[@`", [](XCString& s) { s.Lower(); }, L"az\u00E9\u044F[@`"},
    {"left trim takes what is before pos", L"abxxc", [](XCString& s) { s.LTrim(L'x', 2); }, L"c"},
    {"left trim, pos beyond the end", L"abc", [](XCString& s) { s.LTrim(L'x', npos); }, L"c"},
    {"left trim to the end", L"abxx", [](XCString& s) { s.LTrim(L'x', 9); }, L""},
    {"left trim by set", L" \t a b", [](XCString& s) { s.LTrim(L"\t "); }, L"a b"},
    {"trims that go on", L" \t \t \t \t \t a \t \t \t \t \t", [](XCString& s) { s.LTrim(L"\t ").RTrim(L" \t"); }, L"a"},
    {"right trim of all, longer than a look", L"xxxxxxxxxxxx", [](XCString& s) { s.RTrim(L"xy"); }, L""},
    {"right trim ends at the look's last unit", L"axxxxxxx", [](XCString& s) { s.RTrim(L"xy"); }, L"a"},
    {"left trim by set from pos", L"abxyc", [](XCString& s) { s.LTrim(L"yx", 2); }, L"c"},
    {"left trim by set, pos at the end", L"abc", [](XCString& s) { s.LTrim(L"x", 3); }, L""},
    {"left trim by empty set", L"abc", [](XCString& s) { s.LTrim(L"", 3).LTrim(nullptr, 9); }, L"abc"},
    {"left trim by own text", L"aab", [](XCString& s) { s.LTrim(s.AsWChar() + 1); }, L""},
    {"right trim counts at pos, cuts at the end", L"abxxcdef", [](XCString& s) { s.RTrim(L'x', 3); }, L"abxxcd"},
    {"right trim of all, any pos", L"xxxx", [](XCString& s) { s.RTrim(L'x', 1); }, L""},
    {"right trim, run from the start", L"xxab", [](XCString& s) { s.RTrim(L'x', 1); }, L"xx"},
    {"right trim without run at pos", L"xxab", [](XCString& s) { s.RTrim(L'x', 2); }, L"xxab"},
    {"right trim by set", L"ab \t ", [](XCString& s) { s.RTrim(L"\t "); }, L"ab"},
    {"right trim by set cuts beyond pos", L"abxycd", [](XCString& s) { s.RTrim(L"xy", 3); }, L"ab"},
    {"right trim by set of all", L"xyxcd", [](XCString& s) { s.RTrim(L"xy", 2); }, L""},
    {"right trim by empty set", L"abc", [](XCString& s) { s.RTrim(L"", 0).RTrim(nullptr); }, L"abc"},
};

TEST(XCString, ChangingOperations)
{
    for (auto const& [fault, text, change, expected] : kChanges) {
        SCOPED_TRACE(fault);
        XCString alone(text);
        change(alone);
        EXPECT_EQ(All(alone.View(), alone.AsWChar()[alone.Length()]), All(expected, L'\0'));
        XCString shared(text);
        XCString const twin = shared;
        change(shared);
        EXPECT_EQ(shared.View(), expected);
        EXPECT_EQ(twin.View(), text); // the other owner never sees it
    }
}

TEST(XCString, LimitsNeverWrap)
{
    XCString text(L"abc");
    wchar_t const units[] = L"xyz";
    std::size_t const tooLong[] = {XCString::kMaxLength - 2, 0xFFFFFFFFu, 0x100000000u, npos - 3, npos};
    for (std::size_t const count : tooLong) {
        EXPECT_THROW(text.Append(units, count), std::length_error);
        EXPECT_THROW(text.Assign(units, 3, count + (count < npos - 8 ? 8 : 0)), std::length_error);
    }
    EXPECT_THROW(XCString(L'x', 0x100000001u), std::length_error);
    EXPECT_THROW(text.Reserve(npos), std::length_error);
    EXPECT_EQ(All(text, text.SubStr(1, npos - 1), text.SubStr(npos), text[3], text[npos]),
              All(XCString(L"abc"), XCString(L"bc"), XCString(), L'\0', L'\0'));
}

TEST(XCString, UnitsAreKeptByCount)
{
    wchar_t const units[] = L"ab\0cd";
    XCString text;
    text.Assign(units, 5);
    EXPECT_EQ(All(text.Length(), text.Find(L'd')), All(5u, 4u));
    text.Replace(L"c", L"!"); // defined on terminated texts: ends at the first terminator
    EXPECT_EQ(text.View(), std::wstring_view(units, 5));
    text.Replace(L"b", L"xyz");
    EXPECT_EQ(All(text.View(), text), All(std::wstring_view(L"axyz\0cd", 7), XCString(L"axyz")));
}

// Calls in which a literal could be taken for another type: they must compile, and mean what they say.
TEST(XCString, LiteralsMeanWhatTheySay)
{
    XCString text = L"xax";
    std::wstring const wide = L"wide";
    EXPECT_TRUE(text == L"xax" && L"xax" == text && text != L"x" && L"a" < text && text < L"z");
    EXPECT_TRUE(text.Compare(L"xax", 0) == 0 && text.Compare(text, 0) == 0 && text.IsEqual(L"XAX", 1));
    EXPECT_TRUE(text.Compare(0) == -1 && text.Compare(nullptr, 0) == -1 && XCString().IsEqual(nullptr));
    EXPECT_TRUE(text.Find(L"a", 0) == 1 && text.Find(L'a') == 1 && text.Find(text, 0) == 0 && text.RFind(L"x", 0) == 0);
    EXPECT_TRUE(text.AsInt(0) == 0 && text.SubStr(0, 3) == text && XCString(L'x', 3, 0) == L"xxx");
    EXPECT_EQ(XCString(text).Replace(L"a", 0), L"xx");
    EXPECT_EQ(XCString(text).Insert(0, L"q").Insert(0, L'p').Insert(0, text), L"xaxpqxax");
    EXPECT_EQ(XCString(text).Remove(0, 1).LTrim(L'a', 0).RTrim(L"y", 0), L"x");
    EXPECT_EQ(XCString(text).Assign(L"ab").Append(wide).Append(std::wstring_view(wide)), L"abwidewide");
    EXPECT_EQ(XCString(wide).Assign(text).Assign(wide).Append(L"x").Append(text), L"widexxax");
    EXPECT_EQ(text + wide + L"x" + L'c', wide.substr(0, 0) + text + L"widexc");
    EXPECT_EQ(XCString().Format(L"%s %d", wide.c_str(), 3), L"wide 3");
    EXPECT_EQ(XCString().Format(L"%s", L"one"), L"one");
    EXPECT_EQ(XCPrintf(L"%1:s%0:s", {L"x", L"y"}), L"yx");
    std::unordered_map<XCString, int, XCStringHash> const hashed = {{L"x", 1}};
    std::map<XCString, int, XCStringCompare> const ordered = {{L"x", 1}};
    std::map<XCString, int, XCStringCompare> folded(XCStringCompare(1));
    folded[L"X"] = folded[L"x"] = 1;
    EXPECT_EQ(hashed.count(L"x") + ordered.count(L"x") + folded.size(), 3u);
    EXPECT_EQ(L"x" + text + static_cast<wchar_t const*>(nullptr), L"xxax");
    EXPECT_TRUE(SharesTheEmptyBlock(XCString() + L""));
    EXPECT_EQ(XCString(L'x', 3, 10).Capacity(), 10u);
    text = wide;
    text += L'!';
    text += wide;
    EXPECT_EQ(static_cast<std::wstring>(text), L"wide!wide");
}

/// Texts of few different units, so that hits, runs and near misses are common.
std::wstring RandomText(std::mt19937& random, std::size_t most)
{
    std::wstring text(random() % (most + 1), L'a');
    unsigned int const kinds = 1 + random() % 4;
    for (wchar_t& unit : text) unit = L"ab\u1234\uFFFF"[random() % kinds];
    return text;
}

std::wstring ReplacedByHand(std::wstring text, std::wstring const& from, std::wstring const& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != npos; at += to.size()) text.replace(at, from.size(), to);
    return text;
}

TEST(XCString, SearchesAgreeWithTheStandardString)
{
    std::mt19937 random(20240607);
    int const rounds = std::getenv("XC_HEAP_CHECK") ? 500 : 20000; // a checked heap is slow
    for (int round = 0; round < rounds; ++round) {
        std::wstring const text = RandomText(random, round % 50 == 0 ? 400 : 40);
        std::wstring wanted = RandomText(random, 12);
        if (random() % 3 == 0 && !text.empty()) wanted = text.substr(random() % text.size(), 1 + random() % 30);
        std::size_t const start = random() % 5 == 0 ? npos : random() % (text.size() + 3);
        XCString const ours(text);
        SCOPED_TRACE("round " + std::to_string(round));
        wchar_t const* const w = wanted.c_str();
        ASSERT_EQ(ours.Find(w, start), text.find(wanted, start));
        ASSERT_EQ(ours.RFind(w, start), text.rfind(wanted, start));
        ASSERT_EQ(ours.FindFirstOf(w, start), text.find_first_of(wanted, start));
        ASSERT_EQ(ours.FindFirstNotOf(w, start), text.find_first_not_of(wanted, start));
        ASSERT_EQ(ours.FindLastOf(w, start), text.find_last_of(wanted, start));
        ASSERT_EQ(ours.FindLastNotOf(w, start), text.find_last_not_of(wanted, start));
        ASSERT_EQ(ours.Find(L'b', start), text.find(L'b', start));
        ASSERT_EQ(ours.RFind(L'b', start), text.rfind(L'b', start));
        ASSERT_EQ(ours.SubStr(start, 7).View(), start < text.size() ? text.substr(start, 7) : L"");
        if (wanted.empty()) continue;
        std::wstring const other = RandomText(random, 6);
        XCString replaced(ours);
        replaced.Replace(w, other.c_str());
        ASSERT_EQ(replaced.View(), ReplacedByHand(text, wanted, other));
        ASSERT_EQ(ours.View(), text);
    }
}

// Texts on which the filter of the search fails everywhere, so that its linear successor answers.
TEST(XCString, SearchesOfPeriodicTexts)
{
    std::vector<std::wstring> periods = {L"a", L"ab", L"aab", L"abaab", L"aaaaaaab"};
    for (std::wstring const& period : periods) {
        std::wstring text;
        while (text.size() < 30000) text += period;
        for (std::size_t const length : {40u, 333u, 5000u}) {
            std::wstring middle = text.substr(1, length);
            middle[length / 2] = L'c'; // fails in the middle
            std::wstring front = text.substr(0, length);
            front[1] = L'c'; // fails at the front
            for (std::wstring const& wanted : {middle, front, text.substr(2, length)}) {
                XCString const absent(text);
                XCString const late(text + wanted);
                XCString const early(wanted + text);
                ASSERT_EQ(absent.Find(wanted.c_str()), text.find(wanted));
                ASSERT_EQ(absent.RFind(wanted.c_str()), text.rfind(wanted));
                ASSERT_EQ(late.Find(wanted.c_str()), (text + wanted).find(wanted));
                ASSERT_EQ(early.RFind(wanted.c_str()), (wanted + text).rfind(wanted));
            }
        }
    }
}

TEST(XCTokenizer, Splits)
{
    using enum XCTokenizer::EmptyTokens;
    // fault, text, separators, empty, expected
    Rows<wchar_t const*, wchar_t const*, XCTokenizer::EmptyTokens, std::vector<std::wstring>> const rows = {
        {"blanks at both ends", L"  a bc  d ", L" ", Skip, {L"a", L"bc", L"d"}},
        {"nothing but separators", L",;,", L",;", Skip, {}},
        {"empty text", L"", L",", Skip, {}},
        {"empty text has one empty token", L"", L",", Keep, {L""}},
        {"empty tokens lost", L",a,,b,", L",", Keep, {L"", L"a", L"", L"b", L""}},
        {"no separators", L"abc", L"", Keep, {L"abc"}},
    };
    for (auto const& [fault, text, separators, empty, expected] : rows) {
        XCTokenizer tokens(XCString(text), XCString(separators), empty);
        std::vector<std::wstring> found;
        for (XCString token; tokens.GetNext(token);) found.emplace_back(token.View());
        EXPECT_EQ(found, expected) << fault;
    }
    XCTokenizer tokens(XCString(L"a b c"), XCString(L" "));
    XCString token;
    tokens.GetNext(token);
    EXPECT_EQ(tokens.GetRest(), XCString(L"b c"));
}

TEST(XCStringCipher, BothWays)
{
    XCString const plain(L"secret \u20AC \xD800 text");
    XCString text(plain);
    ASSERT_TRUE(text.Encrypt());
    EXPECT_TRUE(text.IsEncrypted() && text.View().ends_with(XCString::cryptSuffix.View()));
    for (wchar_t const unit : text) EXPECT_TRUE(unit > L' ' && unit < 0x7F);
    XCString again(plain);
    again.Encrypt();
    EXPECT_NE(again, text);       // a fresh nonce each time
    EXPECT_FALSE(text.Encrypt()); // already enciphered

    XCString copy(text);
    EXPECT_FALSE(copy.Decrypt(XCString(L"another seed")));
    EXPECT_EQ(copy, text);
    for (std::size_t const at : {std::size_t{0}, std::size_t{30}, text.Length() - 6}) {
        XCString altered(text);
        altered.Set(at, altered[at] == L'x' ? L'y' : L'x');
        XCString const before(altered);
        EXPECT_FALSE(altered.Decrypt()) << at;
        EXPECT_EQ(altered, before);
    }
    EXPECT_TRUE(text.Decrypt());
    EXPECT_EQ(text, plain);
    EXPECT_FALSE(text.Decrypt()); // not enciphered

    XCString empty;
    ASSERT_TRUE(empty.Encrypt(XCString(L"seed")));
    EXPECT_TRUE(empty.Decrypt(XCString(L"seed")) && empty.IsNull());
    for (wchar_t const* const foreign : {L"*XC1*", L"AAAA*XC1*", L"no base 64 \u00E9*XC1*"}) {
        EXPECT_FALSE(XCString(foreign).IsEncrypted() || XCString(foreign).Decrypt());
    }
}

#if defined(_WIN32) // the native build has no wide streams of 16-bit units
TEST(XCString, StreamsWithWidthAndFill)
{
    std::wostringstream out;
    out.width(6);
    out.fill(L'.');
    out << XCString(L"abc") << XCString(L"\u20AC");
    EXPECT_EQ(out.str(), L"...abc\u20AC");
}
#endif
TEST(XCString, ViewsAnswerAsTexts)
{
    wchar_t const units[] = L"abcab--ABé"; // the views below are followed by further units, never by a terminator
    for (std::size_t at = 0; at < 8; ++at) {
        for (std::size_t length = 0; length < 3; ++length) {
            std::wstring_view const view(units + at, length);
            XCString const text(view);
            for (XCString const& s : {XCString(L"abcab--ABcab"), XCString(L"AB"), XCString(), text}) {
                SCOPED_TRACE(::testing::Message() << at << ' ' << length << ' ' << s.AsUTF8());
                for (std::size_t const start : {std::size_t{0}, std::size_t{3}, XCString::npos}) {
                    EXPECT_EQ(s.Find(view, start), s.Find(text, start));
                    EXPECT_EQ(s.RFind(view, start), s.RFind(text, start));
                    EXPECT_EQ(s.FindFirstOf(view, start), s.FindFirstOf(text.AsWChar(), start));
                    EXPECT_EQ(s.FindLastNotOf(view, start), s.FindLastNotOf(text.AsWChar(), start));
                }
                for (long const mode : {0L, 1L, 2L, 3L}) EXPECT_EQ(s.Compare(view, mode), s.Compare(text, mode));
                EXPECT_EQ(s == view, s == text);
                EXPECT_EQ(s < view, s < text);
                EXPECT_EQ(XCString(s).Insert(1, view), XCString(s).Insert(1, text));
                EXPECT_EQ(XCString(s).Replace(view, L"x"), XCString(s).Replace(text, L"x"));
                EXPECT_EQ(XCString(s).RTrim(view), XCString(s).RTrim(text.AsWChar()));
            }
        }
    }
    using namespace std::literals;
    EXPECT_EQ(XCString(L"xab").Find(L"ab\0c"sv), 1u) << "a text that is looked for ends at its first zero";
    EXPECT_EQ(XCString(L"ab").Compare(L"ab\0c"s), 0);
}

} // namespace
