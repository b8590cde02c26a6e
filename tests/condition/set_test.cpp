// Sets of conditions: each gives the answer that it gives alone, whatever the set shares and skips.
#include "condition_trees.h"

#include <XelbrinCore/XCConditionSet.h>

using condition_test::SlowEvaluate;
using condition_test::Times;
using condition_test::Trees;

namespace {

constexpr wchar_t const* kNames[] = {L"a", L"b", L"c"};

/// Values of which many are equal across their kinds: as integers, as numbers and as texts that spell them.
XCConditionValue AnyValue(Trees& random)
{
    static XCString const kTexts[] = {L"x", L"X", L"1", L" 1 ", L"1.0", L"2", L"1e0", L"2009/01/03", L"", L"01"};
    switch (random.Below(8)) {
    case 0: return XCConditionValue();
    case 1: return static_cast<int>(random.Below(3));
    case 2: return std::int64_t{1} << random.Below(63);
    case 3: return static_cast<double>(random.Below(4)) / 2;
    case 4: return XCDateTime(1230940800 + random.Below(2) * 86400);
    default: return kTexts[random.Below(std::size(kTexts))];
    }
}

XCCondition AnyComparison(Trees& random)
{
    XCCondition c = XCCondition::Field(kNames[random.Below(3)]);
    XCConditionValue const value = AnyValue(random);
    switch (value.GetKind()) {
    case XCConditionValue::Kind::Null: c.AssignNull(); break;
    case XCConditionValue::Kind::Double: c.AssignDouble(XCDouble(value.AsDouble(), 1)); break;
    case XCConditionValue::Kind::DateTime: c.AssignXCDateTime(value.AsDateTime()); break;
    case XCConditionValue::Kind::Text: c.AssignXCString(XCString(value.AsText())); break;
    default: c.AssignInt64(value.AsInt64());
    }
    constexpr wchar_t const* kOperators[] = {L"=", L"=", L"=", L"=", L"<", L"!=", L">="};
    bool isRegex = false;
    c.AssignOperatorFromStr(isRegex, kOperators[random.Below(7)]);
    if (random.Below(8) == 0) c.AsRegExp();
    return c;
}

XCCondition AnyTree(Trees& random, unsigned int depth)
{
    XCCondition c;
    if (random.Below(4) != 0) c = AnyComparison(random);
    for (unsigned int subs = depth == 0 ? 0 : random.Below(4); subs > 0; --subs)
        random.Below(4) ? c& AnyTree(random, depth - 1) : c || AnyTree(random, depth - 1);
    return c;
}

TEST(XCConditionSet, AnswersAsItsConditionsDo)
{
    Trees random(11);
    XCConditionMatches met; // of all sets in turn
    for (int round = 0, rounds = Times(60); round < rounds; ++round) {
        XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"a", L"b", L"c"}));
        XCConditionSet set(schema);
        std::vector<XCCondition> list;
        for (unsigned int i = 1 + random.Below(60); i > 0; --i) {
            list.push_back(AnyTree(random, random.Below(4)));
            ASSERT_TRUE(set.Add(list.back()).Good());
        }
        for (int i = 0; i < 40; ++i) {
            bool const isForeign = random.Below(4) == 0; // of no schema: read by name
            XCConditionParams record = isForeign ? XCConditionParams() : XCConditionParams(schema);
            for (wchar_t const* name : kNames) record.Set(name, AnyValue(random));
            std::vector<std::uint32_t> wanted;
            for (std::uint32_t number = 0; number < list.size(); ++number)
                if (SlowEvaluate(list[number], record)) wanted.push_back(number);
            set.Evaluate(record, met);
            ASSERT_EQ(std::vector<std::uint32_t>(met.begin(), met.end()), wanted);
            ASSERT_EQ(set.EvaluateFirst(record, met), wanted.empty() ? XCConditionSet::npos : wanted[0]);
            ASSERT_EQ(met.size(), wanted.empty() ? 0u : 1u);
        }
    }
}

/// Counts how often its field is asked for.
class AskedSource : public XCConditionParams {
public:
    using XCConditionParams::XCConditionParams;
    XCConditionValue GetValueAt(std::size_t index) const override
    {
        ++asked;
        return XCConditionParams::GetValueAt(index);
    }
    mutable int asked = 0;
};

/// Holds where the value is its field's number of units.
class LengthCondition : public XCCondition {
public:
    XCSmartPtr<XCCondition> NewChild() const override { return new LengthCondition; }
    bool OnEvaluate(XCConditionParams const& record) const override
    {
        return GetFieldValue(record).AsText().size() == static_cast<std::size_t>(GetSuppliedValue().AsInt64());
    }
};

TEST(XCConditionSet, FieldsAreAskedForOnceAndRulesOfOthersNever)
{
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Host", L"Path"}));
    XCConditionSet set(schema);
    for (int i = 0; i < 1000; ++i) {
        XCString text;
        ASSERT_TRUE(set.Add(XCCondition(text.Format(L"Host = h%d AND (Path != x AND Path < z)", i))).Good());
    }
    AskedSource record(schema);
    record.Set(L"Host", L"h7").Set(L"Path", L"y");
    XCConditionMatches met;
    set.Evaluate(record, met);
    EXPECT_TRUE(met.size() == 1 && met.Contains(7) && !met.Contains(8));
    EXPECT_EQ(record.asked, 2);
    set.Clear();
    set.Evaluate(record, met);
    EXPECT_TRUE(met.empty() && set.GetCount() == 0);
}

TEST(XCConditionSet, RefusedAndDerived)
{
    XCSmartPtr<XCConditionSchema> const schema(new XCConditionSchema({L"Path"}));
    XCConditionSet set(schema);
    EXPECT_EQ(set.Add(XCCondition(L"Path = ")), XCErrConditionValue);
    EXPECT_EQ(set.Add(XCCondition(L"Paht = x")), XCErrConditionField);
    EXPECT_EQ(set.GetCount(), 0u);
    LengthCondition length;
    ASSERT_TRUE(length.FromString(L"Path = 3"));
    ASSERT_TRUE(set.Add(length).Good() && set.Add(XCCondition(L"Path = 3")).Good());
    XCConditionMatches met;
    for (auto const& [path, number] : {std::pair(L"abc", 0u), std::pair(L"3", 1u)}) {
        set.Evaluate(XCConditionParams(schema).Set(L"Path", path), met);
        ASSERT_EQ(met.size(), 1u);
        EXPECT_EQ(*met.begin(), number);
    }
    EXPECT_EQ(set.Get(0).GetFieldName(), L"Path");
}

} // namespace
