// Places, groups, replacement, splitting and the fields of lines.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCRegEx.h>

#include "match/find_reference.h"
#include "repetitions.h"

#include <gtest/gtest.h>

namespace {

XCRegEx Made(std::wstring const& pattern)
{
    return XCRegEx(XCStringRegExParser(XCString(pattern)).Parse(), false);
}

std::string Narrow(XCString const& text)
{
    return text.AsUTF8();
}

TEST(Find, AgreesWithTryingEveryPlace)
{
    reference::Maker maker(20260711);
    int const patterns = xc_test::Times(3000);
    int taken = 0;
    for (int i = 0; i < patterns; ++i) {
        std::wstring const pattern = maker.Pattern(2);
        XCParsedRegEx const parsed = XCStringRegExParser(XCString(pattern)).Parse();
        XCRegEx const expression(parsed, false);
        for (int k = 0; k < 4; ++k) {
            std::wstring text = maker.Subject(parsed, 2) + (k == 0 ? std::wstring(1, L'\0') : maker.Subject(parsed, 1));
            text.resize(std::min<std::size_t>(text.size(), 24));
            std::vector<XCRegExPlace> expected;
            for (std::size_t at = 0; at <= text.size();) {
                XCRegExPlace const place = reference::FindPlace(parsed, text, at);
                ASSERT_EQ(expression.Find(text, at), place)
                    << Narrow(pattern) << " in " << Narrow(text) << " from " << at;
                if (!place.IsFound()) break;
                if (place.Length() > 0 || expected.empty() || expected.back().end != place.begin)
                    expected.push_back(place);
                at = std::max(place.end, at + (place.Length() == 0 ? place.begin - at + 1 : 0));
            }
            ASSERT_EQ(expression.FindAll(text), expected) << Narrow(pattern) << " in " << Narrow(text);
            for (XCRegExPlace const& place : expected) {
                auto const groups = expression.FindGroups(text, place);
                ASSERT_EQ(groups.size(), expression.GetGroupCount() + 1) << Narrow(pattern) << " in " << Narrow(text);
                auto const wanted = reference::Backtracker(text, place, expression.GetGroupCount()).Run(parsed);
                if (wanted.empty()) continue;
                ++taken;
                ASSERT_EQ(groups, wanted) << Narrow(pattern) << " in " << Narrow(text) << " at " << place.begin;
            }
        }
    }
    EXPECT_GT(taken, patterns);
}

struct ReplaceCase {
    char const* fault;
    wchar_t const *pattern, *text, *replacement, *result;
};
constexpr ReplaceCase kReplacements[] = {
    {"first match instead of the longest", L"a|ab|abc", L"xabcx", L"-", L"x-x"},
    {"a later, longer match wins", L"abcd|bc", L"abcd bc", L"-", L"- -"},
    {"empty places not found", L"b*", L"abba", L"-", L"-a-a-"},
    {"group not replaced", L"([a-z]+)=([0-9]+)", L"a=1, bc=23", L"$2:$1", L"1:a, 23:bc"},
    {"group without a part", L"(a)|(b)", L"ab", L"<$1|$2>", L"<a|><|b>"},
    {"dollars", L"x", L"x", L"$$1 $0 $ $a $9", L"$1 x $ $a "},
    {"leaf shared by group and letter", L"(a)a", L"aa", L"[$1]", L"[a]"},
    {"last pass of a group", L"(a|b)+", L"abab", L"$1", L"b"},
    {"repetition takes too little", L"(a*)(a*)", L"aa", L"$1,$2", L"aa,"},
    {"left branch not preferred", L"(a|ab)(c|bcd)?", L"ab", L"$1", L"ab"},
};

TEST(Find, Replacement)
{
    for (ReplaceCase const& c : kReplacements)
        EXPECT_EQ(Narrow(Made(c.pattern).Replace(c.text, c.replacement)), Narrow(c.result)) << c.fault;
    std::wstring const zeros(L"a\0b\0", 4);
    EXPECT_EQ(Made(L"[^a-z]").FindAll(zeros).size(), 2u) << "a text ends at its length";
    EXPECT_FALSE(Made(L"a").Find(L"a", 2).IsFound()) << "searched past the end";
}

TEST(Find, Splitting)
{
    auto const parts = Made(L", *").Split(L"a,b,  c,");
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_TRUE(parts[1] == L"b" && parts[2] == L"c" && parts[3] == L"");
    EXPECT_EQ(Made(L"x*").Split(L"abc").size(), 1u) << "split at empty places";
}

/// Each of these reads a text once or twice; read again from every place, they would take minutes.
TEST(Find, LongAttemptsThatFailStayLinear)
{
    auto const n = static_cast<std::size_t>(xc_test::Times(300000));
    std::wstring const text(n, L'a');
    EXPECT_EQ(Made(L"a|a.*b").FindAll(text).size(), n);
    EXPECT_EQ(Made(L"a|a*b").Replace(text, L"c").Length(), n);
    EXPECT_FALSE(Made(L"(a+)+b").Find(text).IsFound());
    EXPECT_EQ(Made(L"((a*)*)*").FindGroups(text, {0, n}).size(), 3u);
}

TEST(Fields, ALineIntoTextsNumbersAndDates)
{
    XCRegExFields const line(L"([0-9/]+ [0-9:.]+) ([A-Z]+) (.*) took (-?[0-9.]+)(ms)?",
                             {L"time", L"level", L"what", L"took", L"unit"});
    ASSERT_TRUE(line.IsValid());
    std::wstring const text = L"2024/06/07 12:34:56.789 INFO saved took 40";
    XCDateTimeEx time;
    XCString level;
    long took = 0;
    EXPECT_TRUE(line.Read(text, XCField(L"took", took), XCField(L"time", time), XCField(L"level", level)));
    EXPECT_EQ(took, 40);
    EXPECT_TRUE(level == L"INFO" && time.GetTime().AsString(L"%S.%L") == L"56.789");
    std::wstring_view what;
    EXPECT_TRUE(line.Read(text, XCField(L"what", what)) && what == L"saved" && what.data() == text.data() + 29);
    unsigned char small = 7;
    double real = 0;
    struct Case {
        char const* fault;
        XCFieldsResult result;
        bool matched;
        wchar_t const* failed;
    };
    Case const cases[] = {
        {"number cut to its variable", line.Read(L"1/1 1 A b took 256", XCField(L"took", small)), true, L"took"},
        {"fraction read as a whole number", line.Read(L"1/1 1 A b took 1.5", XCField(L"took", took)), true, L"took"},
        {"fraction", line.Read(L"1/1 1 A b took 1.5", XCField(L"took", real)), true, L""},
        {"date that no calendar has", line.Read(L"2024/02/30 1:1 A b took 1", XCField(L"time", time)), true, L"time"},
        {"group without a part", line.Read(L"1/1 1 A b took 1", XCField(L"unit", level)), true, L"unit"},
        {"unknown name", line.Read(L"1/1 1 A b took 1", XCField(L"user", level)), true, L"user"},
        {"part of a line", line.Read(text + L"!", XCField(L"took", took)), false, L""},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(c.result.matched, c.matched) << c.fault;
        EXPECT_EQ(Narrow(c.result.failed), Narrow(c.failed)) << c.fault;
    }
    EXPECT_EQ(small, 7);
    EXPECT_EQ(real, 1.5);
    EXPECT_FALSE(XCRegExFields(L"(a)", {L"one", L"two"}).IsValid());
}

TEST(Parser, FaultsTellTheirPlace)
{
    struct Case {
        wchar_t const* pattern;
        std::size_t position;
        wchar_t const* expected;
    };
    Case const cases[] = {
        {L"", 0, L"an atom"},
        {L"ab|", 3, L"an atom"},
        {L"a**", 2, L"an atom"},
        {L"(ab", 3, L"\")\""},
        {L"ab)", 2, L"an operator, an atom or the end"},
        {L"a{3,2}b", 6, L"a maximum that is not below the minimum"},
        {L"a{2!!", 4, L"a count, a separator or \"}\""},
        {L"[a-]", 3, L"the last unit of the range"},
        {L"x[z-a]", 4, L"a last unit that is not below the first"},
        {L"[ab", 3, L"a unit of the class or \"]\""},
    };
    for (Case const& c : cases) {
        XCStringRegExParser parser{XCString(c.pattern)};
        EXPECT_FALSE(parser.Parse().IsValid());
        EXPECT_EQ(parser.GetFault().position, c.position) << Narrow(c.pattern);
        EXPECT_EQ(Narrow(parser.GetFault().expected), Narrow(c.expected)) << Narrow(c.pattern);
    }
    XCStringRegExParser valid(L"a");
    EXPECT_TRUE(valid.Parse().IsValid() && !valid.GetFault().expected);
}

} // namespace
