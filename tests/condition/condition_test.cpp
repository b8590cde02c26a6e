// Building, comparing and evaluating conditions.
#include "condition_trees.h"
#include "prelude.h"

#include <limits>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
/// Of the sanitizer's run-time library.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(void const volatile*, std::size_t),
                                                         void (*onFree)(void const volatile*));
#endif

using condition_test::CountingSource;
using condition_test::SlowEvaluate;
using condition_test::Times;
using condition_test::Trees;

namespace {

XCCondition Field(wchar_t const* name)
{
    return XCCondition::Field(name);
}

TEST(XCCondition, EvaluatesAsTheReferenceInTheSameOrder)
{
    Trees trees(7);
    for (int i = 0, n = Times(3000); i < n; ++i) {
        XCCondition const condition = trees.Tree(1 + trees.Below(4));
        CountingSource fast;
        for (wchar_t const* name : {L"a", L"b", L"c", L"d"}) fast.Set(name, static_cast<int>(trees.Below(2)));
        CountingSource slow(fast);
        ASSERT_EQ(condition.Evaluate(fast), SlowEvaluate(condition, slow)) << condition.ToString(true).AsUTF8();
        ASSERT_EQ(fast.asked, slow.asked);
    }
}

/// -1, 0, 1; 2: not comparable.
int Order(XCConditionValue const& field, XCConditionValue const& value)
{
    class Probe : public XCCondition {
    public:
        int Try(XCConditionValue const& field, XCConditionValue const& value)
        {
            using Kind = XCConditionValue::Kind;
            if (value.GetKind() == Kind::Int) *this < static_cast<int>(value.AsInt64());
            if (value.GetKind() == Kind::Int64) AssignInt64(value.AsInt64());
            if (value.GetKind() == Kind::Double) AssignDouble(XCDouble(value.AsDouble(), 15));
            if (value.GetKind() == Kind::Text) AssignXCString(XCString(value.AsText()));
            if (value.GetKind() == Kind::DateTime) AssignXCDateTime(value.AsDateTime());
            bool const less = Is(L"<", field), equal = Is(L"=", field), greater = Is(L">", field);
            EXPECT_EQ(Is(L"<=", field), less || equal);
            EXPECT_EQ(Is(L">=", field), greater || equal);
            EXPECT_EQ(Is(L"!=", field), !equal);
            return less ? -1 : equal ? 0 : greater ? 1 : 2;
        }

    private:
        bool Is(wchar_t const* op, XCConditionValue const& field)
        {
            bool isRegex = false;
            AssignOperatorFromStr(isRegex, op);
            return CompareWith(field);
        }
    };
    return Probe().Try(field, value);
}

TEST(XCCondition, KindsCompareTheSameFromBothSides)
{
    XCDateTime noon;
    ASSERT_TRUE(noon.FromString(L"2009/01/03 12:00:00"));
    constexpr std::int64_t kBig = std::int64_t{1} << 53;
    double const infinity = std::numeric_limits<double>::infinity();
    XCString const text(L"abc");
    struct {
        char const* fault;
        XCConditionValue a, b;
        int order;
    } const cases[] = {
        {"kinds of integers differ", 5, std::int64_t{5}, 0},
        {"integer rounded to a double", kBig + 1, static_cast<double>(kBig), 1},
        {"largest integer equals 2 to the 63rd", std::numeric_limits<std::int64_t>::max(), 9223372036854775808.0, -1},
        {"smallest integer below its double", std::numeric_limits<std::int64_t>::min(), -9223372036854775808.0, 0},
        {"fraction cut off", -1, -1.5, 1},
        {"infinity converted", 1, infinity, -1},
        {"text ordered by length", L"b", L"abc", 1},
        {"units compared signed", L"\u00E9", L"\uFFFE", -1},
        {"text that spells a number", L" 5.0 ", 5, 0},
        {"number texts ordered as text", L"10", std::int64_t{9}, 1},
        {"texts that spell numbers are texts", L"10", L"9", -1},
        {"text that spells none", text, 5, 2},
        {"long number text", L"0000000000000000000000000000000000000000000000000000000000000000000012.50", 12.5, 0},
        {"text that spells a date", L"2009/01/03 12:00:00", noon, 0},
        {"day without time is its midnight", L"2009/01/03", noon, -1},
        {"number taken as a date", 2009, noon, 2},
        {"text that begins like a date", L"2009 apples", noon, 2},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        EXPECT_EQ(Order(c.a, c.b), c.order);
        EXPECT_EQ(Order(c.b, c.a), c.order == 2 ? 2 : -c.order);
    }
}

TEST(XCCondition, NumbersCompareAsTheyWereWritten)
{
    struct {
        char const* fault;
        wchar_t const* text;
        XCConditionValue field;
        bool expected;
    } const cases[] = {
        {"tiny literal is not itself", L"V = 1e-20", 1e-20, true},
        {"tiny bound rounded to 0", L"V > 1e-20", 5e-21, false},
        {"16th decimal lost", L"V = 0.1234567890123456", 0.123456789012346, false},
        {"tiny text rounded", L"V = 1e-20", L"1e-20", true},
        {"native: rounded to no decimals", L"@@6:0@fV@d0:0.5", 0.75, true},
        {"native: decimals of a plain number", L"@@3:0@fV@d:1e-20", 1e-20, true},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCCondition const condition{XCString(c.text)};
        ASSERT_TRUE(condition.GetReadError().Good());
        XCConditionParams record;
        record.Set(L"V", c.field);
        EXPECT_EQ(condition.Evaluate(record), c.expected);
        EXPECT_EQ(XCCondition(condition.ToString()).Evaluate(record), c.expected) << condition.ToString().AsUTF8();
    }
}

TEST(XCCondition, MissingFieldsAndNull)
{
    XCConditionParams record;
    record.Set(L"here", 1).Set(L"nan", std::numeric_limits<double>::quiet_NaN()).Set(L"null date", XCDateTime());
    Case<wchar_t const*, bool> const cases[] = {
        {"missing field is different", L"gone != 1", false},
        {"missing field fails a pattern", L"gone /= x", false},
        {"missing is not NULL", L"gone = NULL", true},
        {"missing differs from NULL", L"gone != NULL", false},
        {"value does not differ from NULL", L"here != NULL", true},
        {"not a number is a value", L"nan = NULL", true},
        {"null date is a value", L"\"null date\" = NULL", true},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCCondition const condition{XCString(c.given)};
        ASSERT_TRUE(condition.GetReadError().Good());
        EXPECT_EQ(condition.Evaluate(record), c.expected);
    }
}

TEST(XCCondition, PatternsSeeEveryKindAsText)
{
    XCDateTime date;
    ASSERT_TRUE(date.FromString(L"2009/01/03 12:00:00"));
    struct {
        XCConditionValue value;
        wchar_t const* pattern;
    } const cases[] = {{L"abc", L"a.c"},
                       {-12, L"-[0-9]{2}"},
                       {XCDouble(1.5, 2), L"1\\.50"},
                       {0.1, L"0\\.1"},
                       {date, L"2009/01/03 12:00:00"}};
    for (auto const& c : cases) {
        XCConditionParams record;
        record.Set(L"f", c.value);
        EXPECT_TRUE((Field(L"f") % c.pattern).Evaluate(record)) << XCString(c.pattern).AsUTF8();
        EXPECT_FALSE((Field(L"f") /= c.pattern).Evaluate(record)) << XCString(c.pattern).AsUTF8();
    }
    XCCondition const invalid = Field(L"f") % L"(";
    EXPECT_TRUE(invalid.IsRegularExpression() && !invalid.MatchRexExp(L"("));
}

TEST(XCCondition, BoundFieldsAreReadByPositionInRecordsOfTheirSchemaOnly)
{
    class ByPosition : public XCConditionParams {
    public:
        using XCConditionParams::XCConditionParams;
        XCConditionValue GetValue(XCString const&) const override { return {}; }
    };
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Path", L"Status", L"Path"}));
    XCCondition condition(L"Status >= 500 AND Path % \"/api/.*\"");
    ByPosition record(schema);
    record.SetAt(0, L"/api/users");
    record.SetAt(1, std::uint16_t{503});
    EXPECT_FALSE(condition.Evaluate(record)) << "asked by position before it was bound";
    EXPECT_TRUE(condition.Bind(*schema).Good());
    EXPECT_TRUE(condition.Evaluate(record));
    XCCondition const copy(condition);
    EXPECT_TRUE(copy.Evaluate(record)) << "a copy forgets its binding";

    XCConditionParams other;
    other.Set(L"Status", 503).Set(L"Path", L"/api");
    EXPECT_FALSE(condition.Evaluate(other)) << "the position of another schema was used";
    other.Set(L"Path", L"/api/x");
    EXPECT_TRUE(condition.Evaluate(other));

    condition.AssignFieldName(L"Unknown");
    EXPECT_FALSE(condition.Evaluate(record));
    XCErrorID const unknown = condition.Bind(*schema);
    EXPECT_EQ(unknown, XCErrConditionField);
    EXPECT_FALSE(condition.Evaluate(record));
}

#if defined(__SANITIZE_ADDRESS__)
int allocations = 0;

TEST(XCCondition, EvaluationAllocatesNothing)
{
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Status", L"Path"}));
    XCCondition condition(L"((Status >= 500 OR Status = \"404\") AND Status < 1e3) AND Path % \"/api/.*\"");
    ASSERT_TRUE(condition.Bind(*schema).Good());
    XCConditionParams record(schema);
    XCString const path(L"/api/users/with/a/path/of/some/length");
    __sanitizer_install_malloc_and_free_hooks([](void const volatile*, std::size_t) { ++allocations; },
                                              [](void const volatile*) {});
    int const before = allocations;
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        record.SetAt(0, i);
        record.SetAt(1, path);
        found += condition.Evaluate(record) ? 1 : 0;
    }
    int const during = allocations - before;
    EXPECT_EQ(during, 0);
    EXPECT_EQ(found, 501);
    delete new int;
    EXPECT_GT(allocations, before) << "the hook does not count";
}
#endif

TEST(XCCondition, RecordsKeepTheirTextsAndCopies)
{
    XCConditionParams record;
    {
        std::wstring gone(L"a text of the caller");
        record.Set(L"t", gone.c_str()).Set(L"s", XCString(gone));
        gone.assign(gone.size(), L'x');
    }
    XCConditionParams const copy(record);
    record.Set(L"t", L"changed");
    EXPECT_EQ(copy.GetValue(L"t").AsText(), L"a text of the caller");
    EXPECT_EQ(copy.GetValue(L"s").AsText(), L"a text of the caller");
    record.Clear();
    EXPECT_TRUE(record.GetValue(L"t").IsNull());
    EXPECT_EQ(XCConditionValue(std::uint32_t{0xFFFFFFFF}).AsInt64(), 0xFFFFFFFF);
    EXPECT_EQ(XCConditionValue(std::uint64_t{1} << 63).AsDouble(), 9223372036854775808.0);
}

// What a temporary builds lives as long as what it is bound to, and is of its own class.
TEST(XCCondition, TemporariesAreHandedOnByValue)
{
    struct Named : XCCondition {
        XCString name{L"a name that is no part of the base"};
    };
    XCCondition const& bound = (Field(L"a") >= 5) & (Field(L"b") == L"x" || Field(L"c") % L"y*");
    EXPECT_EQ(bound.ToString().AsUTF8(), "a >= 5 AND b = \"x\" OR c % \"y*\"");
    Named const& named = Named() >= 4;
    EXPECT_TRUE(named.name == L"a name that is no part of the base");
    XCCondition kept = Field(L"a") < 3;
    EXPECT_EQ(&(kept != 3), &kept);
    XCCondition const taken = std::move(kept);
    EXPECT_TRUE(taken.ToString() == (Field(L"a") != 3).ToString());
    EXPECT_EQ(kept.GetOperator(), ConditionOperator::None);
}

TEST(XCCondition, CopiesAreIndependentAndLongChainsNeedNoStack)
{
    XCCondition all;
    XCCondition const link = Field(L"a") == 1;
    XCSmartPtr<XCCondition> chain(new XCCondition(link));
    int const links = Times(200000);
    for (int i = 0; i < links; ++i) {
        XCSmartPtr<XCCondition> const outer(new XCCondition(link));
        // The sub-condition stands first, so that evaluation has to come back to the list.
        outer->GetSubConditionVR().push_back({XCCondition::Link::And, chain});
        outer->GetSubConditionVR().push_back({XCCondition::Link::And, nullptr});
        chain = outer;
    }
    all = *chain;
    chain->AssignInt(2);
    chain.Clear();
    XCConditionParams record;
    record.Set(L"a", 1);
    EXPECT_TRUE(all.Evaluate(record));
    XCCondition nativeCopy;
    EXPECT_TRUE(nativeCopy.FromString(all.ToString(true)));
    EXPECT_TRUE(nativeCopy.Evaluate(record));
    EXPECT_EQ(all.ToString().Length(), static_cast<std::size_t>(links) * 10 + 5);

    all = *all.GetSubConditionV()[0].condition; // a part of itself
    EXPECT_TRUE(all.Evaluate(record));
    all& all;
    EXPECT_EQ(all.GetSubCondCount(), 2u);
}

/// A kind of condition with rules of its own.
class UpperCondition : public XCCondition {
public:
    using XCCondition::Evaluate;
    XCSmartPtr<XCCondition> NewChild() const override { return new UpperCondition; }
    void LocalCopy(XCCondition const& other) override
    {
        XCCondition::LocalCopy(other);
        ++copies;
    }
    bool AssignFieldName(XCString const& name) override
    {
        return name != L"secret" && XCCondition::AssignFieldName(XCString(name).Upper());
    }
    bool PostAssignSuppliedValue() override { return GetSuppliedValue().AsInt64() < 100; }
    void GetSuppliedValue(XCString& text) const override { text = L"?"; }
    using XCCondition::GetSuppliedValue;
    bool OnEvaluate(XCConditionParams const&) const override { return GetSuppliedValue().AsInt64() == 1; }
    static inline int copies = 0;
};

TEST(XCCondition, SubclassStepsAreUsedEverywhere)
{
    UpperCondition condition;
    ASSERT_TRUE(condition.FromString(L"(a = 1) AND b = 2"));
    EXPECT_EQ(condition.ToString(), L"(A = ?) AND B = ?");
    EXPECT_FALSE(condition.Evaluate(XCConditionParams()));
    UpperCondition copy;
    copy = condition;
    EXPECT_EQ(UpperCondition::copies, 3);
    EXPECT_EQ(copy.ToString(), L"(A = ?) AND B = ?");
    EXPECT_FALSE(condition.FromString(L"a = 1 AND secret = 2"));
    EXPECT_EQ(condition.GetReadError(), XCErrConditionRefused);
    EXPECT_FALSE(condition.FromString(L"a = 100"));
}

} // namespace
