// condition_trees.h - generated conditions, a source that counts, and the slow reference of evaluation.
#pragma once

#include "prelude.h"
#include "repetitions.h"

#include <XelbrinCore/XCCondition.h>

#include <ostream>

/// Narrow text for messages of the test runner.
inline void PrintTo(XCString const& text, std::ostream* out)
{
    *out << text.AsUTF8();
}

namespace condition_test {

using xc_test::Times;

/// Answers by name and writes down who was asked for.
class CountingSource : public XCConditionParams {
public:
    XCConditionValue GetValue(XCString const& field) const override
    {
        asked += field;
        return XCConditionParams::GetValue(field);
    }
    mutable XCString asked;
};

/// Evaluation word for word: by recursion, over the stored list.
inline bool SlowEvaluate(XCCondition const& c, XCConditionParams const& params)
{
    bool result = c.GetOperator() != ConditionOperator::None ? c.OnEvaluate(params) : !c.HasOr();
    for (auto const& sub : c.GetSubConditionV())
        if (sub.link == XCCondition::Link::And ? result : !result) result = SlowEvaluate(*sub.condition, params);
    return result;
}

/// Random trees of lists, each comparison "letter = 1" (or of any kind).
class Trees {
public:
    explicit Trees(unsigned int seed) : m_random(seed) {}

    unsigned int Below(unsigned int n) { return static_cast<unsigned int>(m_random() % n); }

    XCCondition Tree(unsigned int depth, bool anyKind = false)
    {
        XCCondition c;
        if (Below(5) != 0) c = anyKind ? Comparison() : Letter();
        for (unsigned int subs = depth == 0 ? 0 : Below(4); subs > 0; --subs)
            Below(2) ? c& Tree(depth - 1, anyKind) : c || Tree(depth - 1, anyKind);
        return c;
    }
    XCCondition Letter() { return XCCondition::Field(XCString(static_cast<wchar_t>(L'a' + Below(4)))) == 1; }
    XCString Text()
    {
        static constexpr wchar_t kUnits[] = L"ab \t\"()@%'=<1.OR/\\\xE9\xD83D";
        XCString text;
        for (unsigned int n = Below(8); n > 0; --n) text += kUnits[Below(std::size(kUnits) - 1)];
        return text;
    }
    XCCondition Comparison()
    {
        XCCondition c = XCCondition::Field(Text());
        switch (Below(9)) {
        case 0: return c < static_cast<int>(m_random());
        case 1: return c >= (static_cast<std::int64_t>(m_random() | 1u) << 31);
        case 2: return c > XCDouble(static_cast<int>(m_random()) / 1000.0, Below(16));
        case 3: return c <= XCDouble(static_cast<int>(m_random()) * 1e20, Below(3));
        case 4: return c != XCDateTime(static_cast<std::int64_t>(Below(40000)) * 86400 + 43200 + Below(3600));
        case 8: return c > XCDouble(static_cast<int>(m_random()) / 7e15, 15);
        case 5: return c /= XCString(L"a[\"()]*");
        case 6:
            c.AssignNull();
            c.AssignOperatorFromStr(m_regex, L"=");
            return c;
        default: return c == Text();
        }
    }

private:
    std::mt19937 m_random;
    bool m_regex = false;
};

} // namespace condition_test
