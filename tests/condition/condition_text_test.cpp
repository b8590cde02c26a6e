// Reading and printing conditions.
#include "condition_trees.h"

#include <XelbrinCore/XCTrace.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using condition_test::CountingSource;
using condition_test::Times;
using condition_test::Trees;

namespace {

XCString Native(wchar_t const* text)
{
    XCCondition condition;
    return condition.FromString(text) ? condition.ToString(true) : L"refused: " + condition.GetReadError().AsString();
}

TEST(XCConditionText, ReadsTheTreeThatTheTextDescribes)
{
    struct {
        char const* fault;
        wchar_t const* text;
        wchar_t const* native;  // operator:subs @f field @ value { @link sub }
        wchar_t const* printed; // null: as the text
    } const cases[] = {
        {"blank text refused", L" \t ", L"@@0:0@f@n", L""},
        {"tabs do not separate", L"\ta\t<=\t1\t", L"@@2:0@fa@i1", L"a <= 1"},
        {"operator mapped wrongly", L"a < 1 AND b >= 2 AND c > 3 AND d != 4",
         L"@@1:1@fa@i1@1@5:1@fb@i2@1@6:1@fc@i3@1@4:0@fd@i4", nullptr},
        {"rest not read by the child", L"a = 1 or b = 2 And c = 3", L"@@3:1@fa@i1@0@3:1@fb@i2@1@3:0@fc@i3",
         L"a = 1 OR b = 2 AND c = 3"},
        {"group not a sub-condition linked by OR", L"(a = 1 OR b = 2) AND c = 3",
         L"@@0:2@f@n@0@3:1@fa@i1@0@3:0@fb@i2@1@3:0@fc@i3", nullptr},
        {"link at the start", L"AND a = 1", L"@@0:1@f@n@1@3:0@fa@i1", nullptr},
        {"nothing after a link", L"a = 1 AND", L"@@3:1@fa@i1@1@0:0@f@n", nullptr},
        {"empty group", L"() OR a = 1", L"@@0:2@f@n@0@0:0@f@n@0@3:0@fa@i1", nullptr},
        {"64 bits not tried", L"a = 2147483648", L"@@3:0@fa@l2147483648", nullptr},
        {"beyond 64 bits", L"a = 9223372036854775808", L"@@3:0@fa@d0:9223372036854775808.",
         L"a = 9223372036854775808."},
        {"decimals lost", L"a = 1.50", L"@@3:0@fa@d2:1.50", nullptr},
        {"exponent", L"a = -15e-1", L"@@3:0@fa@d1:-1.5", L"a = -1.5"},
        {"beyond a double", L"a < 1e999 AND b > 1e-999", L"@@1:1@fa@d0:1e999@1@6:0@fb@d15:0.000000000000000",
         L"a < 1e999 AND b > 0.000000000000000"},
        {"rounded to 15 decimals", L"a = 1e-20 OR a = 0.30000000000000004 OR a = 15.00000012345679e-2",
         L"@@3:1@fa@d:1e-20@0@3:1@fa@d:0.30000000000000004@0@3:0@fa@d:0.1500000012345679",
         L"a = 1e-20 OR a = 0.30000000000000004 OR a = 0.1500000012345679"},
        {"sign alone is a number", L"a = - OR a = . OR a = 1e", L"@@3:1@fa@s-@0@3:1@fa@s.@0@3:0@fa@s1e",
         L"a = \"-\" OR a = \".\" OR a = \"1e\""},
        {"quoted number is a number", L"a = \"5\"", L"@@3:0@fa@s5", nullptr},
        {"doubled quotes", L"a = \"x\"\"(\" AND b = \"\"", L"@@3:1@fa@sx%0022%0028@1@3:0@fb@s", nullptr},
        {"quote within a word", L"(a = 5\" OR b = f(x))", L"@@0:1@f@n@0@3:1@fa@s5%0022@0@3:0@fb@sf%0028x%0029",
         L"(a = \"5\"\"\" OR b = \"f(x)\")"},
        {"parenthesis in quotes closes a group", L"(a = \")\")", L"@@0:1@f@n@0@3:0@fa@s%0029", nullptr},
        {"pattern not unquoted", L"a % \"x+\" AND a /= x\\)", L"@@3:1@fa@rx+@1@4:0@fa@rx\\%0029",
         L"a % \"x+\" AND a /= \"x\\)\""},
        {"date cut at its blank", L"(a >= TO_DATE(2009/01/03 12:00:00) AND b = 1)", nullptr, nullptr},
        {"TO_DATE in quotes", L"a = \"TO_DATE(\" AND b = 1", L"@@3:1@fa@sTO_DATE%0028@1@3:0@fb@i1", nullptr},
        {"empty date", L"a = TO_DATE()", L"@@3:0@fa@n", L"a = NULL"},
        {"native text within", L"a = 1 AND (@@3:0@fb@i2)", L"@@3:1@fa@i1@1@0:1@f@n@0@3:0@fb@i2", L"a = 1 AND (b = 2)"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCCondition condition;
        ASSERT_TRUE(condition.FromString(c.text)) << condition.GetReadError().AsString().AsUTF8();
        if (c.native) {
            EXPECT_EQ(condition.ToString(true), c.native);
        }
        EXPECT_EQ(condition.ToString(), c.printed ? c.printed : c.text);
        EXPECT_EQ(Native(condition.ToString().AsWChar()), condition.ToString(true));
    }
}

TEST(XCConditionText, RefusedTextsSayWhere)
{
    struct {
        char const* fault;
        XCString text;
        int code;
        int position;
    } const cases[] = {
        {"operator missing", L"a", XCErrConditionOperator, 1},
        {"unknown operator", L"a == 1", XCErrConditionOperator, 2},
        {"blanks missing", L" a=1 AND b", XCErrConditionBlanks, 1},
        {"blank missing after the operator", L"\"a b\" >=5", XCErrConditionBlanks, 6},
        {"value missing", L"a = ", XCErrConditionValue, 4},
        {"value missing in a group", L"(a = )", XCErrConditionValue, 5},
        {"value ends the text", L"a = 1 b = 2", XCErrConditionLink, 6},
        {"unclosed quote in a group", L"(b = \"x)", XCErrConditionQuote, 5},
        {"doubled quote closes", L"a = \"\"\"", XCErrConditionQuote, 4},
        {"unclosed field", L"\"a = 1", XCErrConditionQuote, 0},
        {"unclosed group", L"a = 1 AND ((b = 2)", XCErrConditionParenthesis, 10},
        {"one parenthesis too many", L"(a = 1) AND b = 2)", XCErrConditionParenthesis, 17},
        {"unclosed date", L"a = TO_DATE(2009/01/03", XCErrConditionParenthesis, 4},
        {"date of another group", L"(a = TO_DATE(2009) AND b = 1", XCErrConditionParenthesis, 0},
        {"text after a date", L"a = TO_DATE(2009/01/03)x", XCErrConditionDate, 4},
        {"impossible date", L"a = TO_DATE(2009/02/30 00:00:00)", XCErrConditionDate, 4},
        {"bad pattern", L"a = 1 OR a % (x", XCErrConditionPattern, 13},
        {"empty pattern", L"a % \"\"", XCErrConditionPattern, 4},
        {"native: sub-condition missing", L"@@3:1@fa@i1", XCErrConditionNative, 0},
        {"native: tokens left", L"@@3:0@fa@i1@x", XCErrConditionNative, 0},
        {"native: huge count", L"  @@3:2000000000@fa@i1", XCErrConditionNative, 2},
        {"native: pattern with an order", L"@@6:0@fa@rx", XCErrConditionNative, 0},
        {"native: bad escape", L"@@3:0@fa@s%00G0", XCErrConditionNative, 0},
        {"native: value out of range", L"@@3:0@fa@i2147483648", XCErrConditionNative, 0},
        {"a megabyte of parentheses", XCString(L'(', 1 << 20), XCErrConditionParenthesis, 0},
        {"nested too deep", XCString(L'(', 300000) + L"a = 1" + XCString(L')', 300000), XCErrConditionNesting, 250},
        {"a megabyte of quotes", L"a = " + XCString(L'"', (1 << 20) + 1), XCErrConditionQuote, 4},
        {"a megabyte of unknown words", L"a = 1 " + XCString(L'x', 1 << 20), XCErrConditionLink, 6},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCCondition condition(L"old = 1 AND older = 2");
        ASSERT_FALSE(condition.FromString(c.text));
        XCErrorID const error = condition.GetReadError();
        EXPECT_EQ(error, c.code);
        ASSERT_EQ(error->GetParameterType(0), XCErrorI::ParamInt);
        EXPECT_EQ(*static_cast<int const*>(error->GetParameterValue(0)), c.position);
        EXPECT_EQ(condition.GetSubCondCount(), 0u);
        EXPECT_NE(condition.GetFieldName(), L"old");
        EXPECT_LT(error.AsString().Length(), 200u);
        EXPECT_TRUE(condition.FromString(L"") && condition.GetReadError().Good());
    }
}

TEST(XCConditionText, LongTextsComeBack)
{
    // A megabyte and a half: a step that looked at the rest of the text for each link would not come to an end.
    XCString text(L"a = 1");
    for (int i = 1, n = Times(100000); i < n; ++i) text += i % 3 ? L" AND a = 1" : L" OR (a = TO_DATE(2009/01/03))";
    XCCondition const condition(text);
    ASSERT_TRUE(condition.GetReadError().Good());
    XCCondition const copy(condition);
    XCCondition const again(copy.ToString());
    EXPECT_EQ(again.ToString(true), condition.ToString(true));
    EXPECT_FALSE(again.Evaluate(XCConditionParams()));
}

TEST(XCConditionText, GeneratedListsKeepTheirMeaning)
{
    Trees trees(11);
    for (int i = 0, n = Times(3000); i < n; ++i) {
        XCCondition const condition = trees.Tree(1 + trees.Below(4));
        XCString const printed = condition.ToString();
        XCCondition again;
        ASSERT_TRUE(again.FromString(printed)) << printed.AsUTF8();
        ASSERT_EQ(again.ToString(), printed);
        for (int values = 0; values < 16; ++values) {
            CountingSource before, after;
            for (int field = 0; field < 4; ++field) {
                XCString const name(static_cast<wchar_t>(L'a' + field));
                before.Set(name, values >> field & 1);
                after.Set(name, values >> field & 1);
            }
            ASSERT_EQ(condition.Evaluate(before), again.Evaluate(after)) << printed.AsUTF8() << " " << values;
            ASSERT_EQ(before.asked, after.asked) << printed.AsUTF8();
        }
    }
}

TEST(XCConditionText, GeneratedConditionsOfEveryKindComeBack)
{
    Trees trees(13);
    for (int i = 0, n = Times(5000); i < n; ++i) {
        XCCondition condition = trees.Comparison();
        for (XCCondition* last = &condition; trees.Below(3) != 0;) {
            trees.Below(2) ? *last& trees.Comparison() : *last || trees.Comparison();
            last = last->GetSubConditionVR()[0].condition.GetPtr();
        }
        XCString const native = condition.ToString(true);
        ASSERT_EQ(Native(condition.ToString().AsWChar()), native) << condition.ToString().AsUTF8();
        XCCondition const tree = trees.Tree(3, true);
        ASSERT_EQ(Native(tree.ToString(true).AsWChar()), tree.ToString(true));
    }
}

TEST(XCConditionText, DatesThatTextCannotShowBecomeTheNearest)
{
    EXPECT_EQ(XCCondition(L"@@1:0@fa@t99999999999999").ToString(), L"a < TO_DATE(9999/12/31 23:59:59)");
    XCCondition const early(L"@@1:0@fa@t-99999999999999");
    EXPECT_EQ(XCCondition(early.ToString()).ToString(), early.ToString());
}

TEST(XCConditionText, TracesWhatItAlwaysHas)
{
    std::filesystem::remove_all("condition_trace");
    ASSERT_TRUE(XCTrace::SetTraceFolderName(L"condition_trace"));
    ASSERT_TRUE(XCTrace::SetTraceSubjects(L"condition"));
    XCCondition condition(L"a = 1 OR b = 2");
    EXPECT_TRUE(condition.HasOr() && !condition.HasAnd());
    condition.FromString(L"a = TO_DATE(nonsense)");
    XCTrace::SetTraceSubjects(nullptr);
    std::ifstream file(std::filesystem::directory_iterator("condition_trace")->path(), std::ios::binary);
    std::string const traced{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(traced.find("OR Parsing not implemented!\n"), std::string::npos) << traced;
    EXPECT_NE(traced.find("ERROR: XCCondition fails in XCDateTime::FromString()\n"), std::string::npos) << traced;
    file.close();
    std::filesystem::remove_all("condition_trace");
}

} // namespace
