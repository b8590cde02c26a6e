#include "prelude.h"
#include "repetitions.h"

#include <XelbrinCore/XCRegEx.h>

namespace {

using Node = XCRegExSyntaxNode;

std::string ShowUnit(std::uint32_t unit)
{
    char hex[8];
    std::snprintf(hex, sizeof hex, "%04X", static_cast<unsigned>(unit));
    return unit > 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit)) : std::string(hex);
}

/// {a,c-e} sets, (s x y) sequences, (a x y) alternatives, (r2,* x) repetitions.
std::string Show(XCSmartPtr<Node> const& node)
{
    if (node.IsNull()) return "null";
    switch (node->GetType()) {
    case Node::NodeType::CharSetNode: {
        std::string text;
        for (auto const& range : static_cast<Node::CharSetNode&>(*node.GetPtr()).GetCharSet()) {
            text += (text.empty() ? "" : ",") + ShowUnit(range.begin);
            if (range.end - range.begin > 1) text += "-" + ShowUnit(range.end - 1u);
        }
        return "{" + text + "}";
    }
    case Node::NodeType::SequenceNode:
        return "(s " + Show(node->GetLeftChild()) + " " + Show(node->GetRightChild()) + ")";
    case Node::NodeType::AlternativeNode:
        return "(a " + Show(node->GetLeftChild()) + " " + Show(node->GetRightChild()) + ")";
    case Node::NodeType::RepeatNode: break;
    }
    auto const& repeat = static_cast<Node::RepeatNode&>(*node.GetPtr());
    std::string const maximum = repeat.GetMaximum() == Node::Unbounded ? "*" : std::to_string(repeat.GetMaximum());
    return "(r" + std::to_string(repeat.GetMinimum()) + "," + maximum + " " + Show(node->GetLeftChild()) + ")";
}

std::string ParseAndShow(wchar_t const* pattern)
{
    return Show(XCStringRegExParser(pattern).Parse().GetRoot());
}

constexpr Case<wchar_t const*, char const*> kTrees[] = {
    {"alternatives join to the right", L"a|b|c", "(a (a {a} {b}) {c})"},
    {"sequences join to the right", L"abc", "(s (s {a} {b}) {c})"},
    {"suffix taken by the whole sequence", L"ab*", "(s {a} (r0,* {b}))"},
    {"dot holds FFFF", L".", "{0000-FFFE}"},
    {"count of one kept as a node", L"a{1}", "{a}"},
    {"run of digits read as a number", L"a{12}", "(r2,2 {a})"},
    {"ten is ten", L"a{10}", "(r0,0 {a})"},
    {"omitted minimum is 0", L"a{,3}", "(r1,3 {a})"},
    {"omitted maximum", L"a{2,}", "(r2,* {a})"},
    {"only a comma separates", L"a{2x4}", "(r2,4 {a})"},
    {"letter alone is no separator", L"a{x}", "(r1,* {a})"},
    {"escaped digit is no digit", L"a{\\2}", "(r2,2 {a})"},
    {"anchors", L"^a$", "(s (s {^} {a}) {$})"},
    {"escape at the end", L"a\\", "(s {a} {\\})"},
    {"minus and comma special", L"-,", "(s {-} {,})"},
    {"group", L"(a|b)*c", "(s (r0,* (a {a} {b})) {c})"},
    {"empty class", L"[]", "{}"},
    {"negated empty class", L"[^]", "{0000-FFFE}"},
    {"negated class", L"[^b-d]", "{0000-a,e-FFFE}"},
    {"class specials", L"[(*.|)?+{}]", "{(-+,.,?,{-}}"},
    {"class escapes", L"[\\]\\-\\^]", "{-,]-^}"},
    {"escaped range end", L"[+-\\-]", "{+--}"},
    {"one after a range", L"[a-cx]", "{a-c,x}"},
    {"range to the last unit wraps", L"[a-\xFFFF]", "{a-FFFE}"},
    {"the last unit is a member", L"\xFFFF", "{}"},
    {"null pattern end", L"a\0b", "{a}"},
};

TEST(Parser, Trees)
{
    for (auto const& c : kTrees) {
        EXPECT_EQ(ParseAndShow(c.given), c.expected) << c.fault;
        XCStringRegExParser const parser(c.given);
        XCStringRegExParser copy(parser), assigned(L"x");
        assigned = parser;
        EXPECT_EQ(Show(copy.Parse().GetRoot()), c.expected) << c.fault << ", by a copy";
        EXPECT_EQ(Show(assigned.Parse().GetRoot()), c.expected) << c.fault << ", by an assigned one";
    }
}

constexpr wchar_t const* kRefused[] = {
    L"",     L"a|",   L"|a",    L"a||b",    L"()",      L"(a",    L"a)",    L"(",        L"]",      L"}",     L"{2}",
    L"a{2",  L"a{2,", L"a{2,3", L"a{2,10}", L"a{3,2}",  L"a{(}",  L"a{2*}", L"a{2,3,4}", L"a{2,x}", L"*a",    L"+",
    L"a**",  L"a+?",  L"a*{2}", L"(*)",     L"a{2}{3}", L"[",     L"[a",    L"[a-]",     L"[a-",    L"[z-a]", L"[-a]",
    L"[a^]", L"[[]",  L"[^^]",  L"[a--]",   L"[a-[]",   L"[a-^]", L"[a\\",  L"[a-\\",    L"(a))",   L"a(|b)", L"[]]",
};

TEST(Parser, RefusedPatterns)
{
    for (wchar_t const* const pattern : kRefused)
        EXPECT_EQ(ParseAndShow(pattern), "null") << testing::PrintToString(std::wstring(pattern));
}

/// Counts how often it is asked.
class CountingParser : public XCStringRegExParser {
public:
    using XCStringRegExParser::XCStringRegExParser;
    int calls = 0;

protected:
    wchar_t GetNextChar() override
    {
        ++calls;
        return XCStringRegExParser::GetNextChar();
    }
};

TEST(Parser, ASecondParseReadsNothing)
{
    for (wchar_t const* const pattern : {L"ab", L"a**"}) {
        CountingParser parser{XCString(pattern)};
        XCParsedRegEx const first = parser.Parse();
        int const calls = parser.calls;
        EXPECT_EQ(parser.Parse().GetRoot().GetPtr(), first.GetRoot().GetPtr());
        EXPECT_EQ(parser.calls, calls);
    }
}

/// Calls the steps itself.
class Steps : public XCStringRegExParser {
public:
    using XCStringRegExParser::XCStringRegExParser;
    std::string Read()
    {
        GetRegExChar();
        std::string text = Show(ParseRepSubRegEx());
        text += " " + std::to_string(static_cast<std::uint32_t>(GetCurrentToken())) + ShowUnit(GetCurrentChar());
        GetGroupChar();
        return text + " " + std::to_string(static_cast<std::uint32_t>(GetCurrentToken())) +
               (HasError() ? " error" : "");
    }
};

TEST(Parser, AStepLeavesTheTokenAfterIt)
{
    EXPECT_EQ(Steps(L"[a-c]{2}|-").Read(), "(r2,2 {a-c}) 8| 13");
    EXPECT_EQ(Steps(L"*^").Read(), "null 11* 14 error");
}

TEST(Parser, TheResultOutlivesParserAndTables)
{
    XCParsedRegEx parsed;
    XCCollatingTable<char>* const table = new XCCollatingTable<char>;
    {
        XCStringRegExParser parser(L"a");
        parser.SetCollatingTable(table);
        parsed = parser.Parse();
        EXPECT_EQ(parser.GetCollatingTableP(), table);
    }
    EXPECT_EQ(parsed.GetCollatingTableP(), table);
    EXPECT_EQ(table->NbRef(), 1u);
}

TEST(Parser, NestingEndsAtItsLimit)
{
    auto const nested = [](std::size_t depth) { return std::wstring(depth, L'(') + L"a" + std::wstring(depth, L')'); };
    EXPECT_EQ(ParseAndShow(nested(XCRegExParserBase::kMaxNesting).c_str()), "{a}");
    EXPECT_EQ(ParseAndShow(nested(XCRegExParserBase::kMaxNesting + 1).c_str()), "null");
    EXPECT_EQ(ParseAndShow(std::wstring(1000000, L'(').c_str()), "null");
    std::wstring wide;
    for (std::uint32_t i = 0; i < 2 * XCRegExParserBase::kMaxNesting; ++i) wide += L"(a)|";
    EXPECT_TRUE(XCStringRegExParser(XCString(wide + L"a")).Parse().IsValid()); // beside each other, not nested
}

TEST(Parser, LongTreesAreReleasedWithoutRecursion)
{
    int const size = xc_test::Times(60000);
    std::wstring sequence(static_cast<std::size_t>(size), L'a');
    XCParsedRegEx const parsed = XCStringRegExParser(XCString(sequence)).Parse();
    EXPECT_TRUE(parsed.IsValid());
    XCSmartPtr<Node> const inner = parsed.GetRoot()->GetLeftChild()->GetLeftChild(); // a part that outlives the rest
    XCSmartPtr<Node> right = new Node::CharSetNode;
    for (int i = 0; i < size; ++i) right = new Node::AlternativeNode(new Node::CharSetNode, std::move(right));
    for (int i = 0; i < size; ++i) right = new Node::RepeatNode(std::move(right), 0, 1);
    right.Clear();
    EXPECT_EQ(inner->NbRef(), 2u);
}

} // namespace
