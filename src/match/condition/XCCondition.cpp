// Conditions: a comparison with a list of further conditions, each linked by AND or OR.
//
// A sub-condition has a list of its own, so that a condition is a tree, and the text form makes chains of any length of
// it. Therefore nothing here recurses: evaluation (EvaluateTree.h), copying, binding and release each keep a list of
// the places that are still open.
//
// A value from a record is compared by its own kind with the value of the condition (Compare.cpp). The text of a text
// value is owned by m_text and shared by copies, so that m_value, which only points to it, stays good. Patterns are
// compiled when they are assigned. Cost of an evaluation: one comparison for each condition that can still change the
// result.
//
// Filters run over millions of records, and most of them are a few comparisons of numbers and patterns joined by AND,
// bound to the schema of a record that keeps its values. For these the processor should guess no jump but whether the
// evaluation goes on: values are read in place, numbers compare by a look-up, a chain is walked without a list. Whatever
// else there is goes the general way, with the same answers.
#include <XelbrinCore/XCCondition.h>

#include "errors/CoreError.h"
#include "match/condition/Compare.h"
#include "match/condition/EvaluateTree.h"
#include "match/condition/NumberText.h"

#include <algorithm>
#include <limits>
#include <typeinfo>

using xc::condition::CompareValues;

namespace {

/// Without a branch on the values: which way they compare is as good as random from record to record.
template <class T>
[[gnu::always_inline]] inline bool Holds(ConditionOperator op, T a, T b) noexcept
{
    switch (op) {
    case ConditionOperator::Less: return a < b;
    case ConditionOperator::LessOrEqual: return a <= b;
    case ConditionOperator::Equal: return a == b;
    case ConditionOperator::NotEqual: return a != b;
    case ConditionOperator::GreaterOrEqual: return a >= b;
    case ConditionOperator::Greater: return a > b;
    case ConditionOperator::None: break;
    }
    return false;
}

/// The same for numbers that have an order, by a look-up without a jump: three bits an operator tell whether it holds for
/// less, equal and greater.
[[gnu::always_inline]] inline bool HoldsForIntegers(ConditionOperator op, std::int64_t a, std::int64_t b) noexcept
{
    constexpr std::uint32_t kBits = 0b100'110'101'010'011'001'000;
    static_assert(ConditionOperator::Less == ConditionOperator{1} &&
                  ConditionOperator::Greater == ConditionOperator{6});
    auto const order = static_cast<std::uint32_t>(1 + (a > b) - (a < b));
    return (kBits >> (3 * static_cast<std::uint32_t>(op) + order) & 1) != 0;
}

/// Whether values in this order meet the operator. Unordered values are different, and that is all: like a number that
/// is none.
bool HoldsFor(ConditionOperator op, std::partial_ordering order) noexcept
{
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    double const number = order < 0 ? -1.0 : order == 0 ? 0.0 : order > 0 ? 1.0 : kNone;
    return Holds(op, number, 0.0);
}

} // namespace

// Construction, copying, release -----------------------------------------------------------------------------------

XCCondition::XCCondition() = default;

XCCondition::XCCondition(XCString const& text)
{
    XCCondition::FromString(text);
}

XCCondition::XCCondition(XCCondition const& other) : XCRefCount(other), m_subs(CopiesOf(other.m_subs))
{
    XCCondition::LocalCopy(other);
}

XCCondition& XCCondition::operator=(XCCondition const& other)
{
    if (this == &other) return *this;
    LinkedCondV subs = CopiesOf(other.m_subs); // before anything goes: other may be a part of this condition
    LocalCopy(other);
    m_readError = XCErrorID();
    m_subs.swap(subs);
    return *this;
}

XCCondition::XCCondition(XCCondition&& other) noexcept
{
    *this = std::move(other);
}

XCCondition& XCCondition::operator=(XCCondition&& other) noexcept
{
    if (this == &other) return *this;
    LinkedCondV subs = std::move(other.m_subs); // before anything goes: other may be a part of this condition
    m_fieldName = std::move(other.m_fieldName);
    m_operator = std::exchange(other.m_operator, ConditionOperator::None);
    m_isSysDate = std::exchange(other.m_isSysDate, false);
    m_value = std::exchange(other.m_value, XCConditionValue());
    m_text = std::move(other.m_text); // with its block, so that the text of the value stays where it is
    m_regEx = std::exchange(other.m_regEx, std::nullopt);
    m_boundSerial = std::exchange(other.m_boundSerial, kUnbound);
    m_fieldIndex = other.m_fieldIndex;
    m_readError = std::exchange(other.m_readError, XCErrorID());
    m_subs.swap(subs);
    return *this;
}

XCCondition::~XCCondition()
{
    ClearSubCondV();
}

XCCondition XCCondition::Field(XCString const& name)
{
    XCCondition condition;
    condition.m_fieldName = name;
    return condition;
}

XCSmartPtr<XCCondition> XCCondition::NewChild() const
{
    return new XCCondition;
}

void XCCondition::LocalCopy(XCCondition const& other)
{
    m_fieldName = other.m_fieldName;
    m_operator = other.m_operator;
    m_isSysDate = other.m_isSysDate;
    m_text = other.m_text; // shares the block, so that the text of the value stays where it is
    m_value = other.m_value;
    m_regEx = other.m_regEx;
    m_boundSerial = other.m_boundSerial;
    m_fieldIndex = other.m_fieldIndex;
}

XCCondition::LinkedCondV XCCondition::CopiesOf(LinkedCondV const& subs)
{
    struct Copying {
        LinkedCondV const* from;
        LinkedCondV* to;
    };
    LinkedCondV copies;
    std::vector<Copying> open{{&subs, &copies}};
    while (!open.empty()) {
        Copying const now = open.back();
        open.pop_back();
        now.to->reserve(now.from->size());
        for (LinkedCond const& sub : *now.from) {
            XCSmartPtr<XCCondition> const child = sub.condition.IsNull() ? nullptr : sub.condition->NewChild();
            if (child.IsNull()) continue;
            child->LocalCopy(*sub.condition.GetPtr());
            now.to->push_back({sub.link, child});
            open.push_back({&sub.condition->m_subs, &child->m_subs});
        }
    }
    return copies;
}

/// Moves the conditions that nobody else holds from a list to the chain of those to be deleted, each with the one
/// reference that is then left; the list is empty afterwards.
XCCondition* XCCondition::TakeDoomed(LinkedCondV& subs, XCCondition* doomed) noexcept
{
    for (LinkedCond const& sub : subs) {
        XCCondition* const condition = sub.condition.GetPtr();
        if (!condition || condition->NbRef() != 1) continue;
        condition->AddRef();
        condition->m_nextDoomed = doomed;
        doomed = condition;
    }
    subs.clear();
    return doomed;
}

void XCCondition::ClearSubCondV() noexcept
{
    // One after the other: a chain of any length is released without recursion.
    XCCondition* doomed = TakeDoomed(m_subs, nullptr);
    while (doomed) {
        XCCondition* const condition = doomed;
        doomed = TakeDoomed(condition->m_subs, condition->m_nextDoomed);
        condition->Release();
    }
}

void XCCondition::Reset()
{
    m_operator = ConditionOperator::None;
    m_fieldName.Clear();
    m_boundSerial = kUnbound;
    AssignNull();
    ClearSubCondV();
    m_readError = XCErrorID();
}

// Building in code -------------------------------------------------------------------------------------------------

void XCCondition::AssignValue(XCConditionValue value)
{
    m_value = value;
    m_isSysDate = false;
    m_regEx.reset();
    if (value.GetKind() != XCConditionValue::Kind::Text) m_text.Clear();
}

void XCCondition::AssignInt(int value)
{
    AssignValue(value);
}

void XCCondition::AssignInt64(std::int64_t value)
{
    AssignValue(value);
}

void XCCondition::AssignDouble(XCDouble const& value)
{
    // A value with more digits than its decimals show would not come back from its text.
    AssignValue(xc::condition::RealWithDecimals(value.AsDouble(), value.GetDecimals()));
}

void XCCondition::AssignXCString(XCString const& value)
{
    // The value points into m_text: whoever changes the one sets the other.
    m_text = value;
    AssignValue(XCConditionValue(m_text));
}

void XCCondition::AssignXCDateTime(XCDateTime const& value)
{
    AssignValue(value);
}

void XCCondition::AssignNull()
{
    AssignValue(XCConditionValue());
}

XCCondition& XCCondition::operator%(XCString const& pattern) &
{
    AssignXCString(pattern);
    AsRegExp();
    m_operator = ConditionOperator::Equal;
    return *this;
}

XCCondition& XCCondition::operator/=(XCString const& pattern) &
{
    AssignXCString(pattern);
    AsRegExp();
    m_operator = ConditionOperator::NotEqual;
    return *this;
}

XCCondition& XCCondition::Join(Link link, XCCondition const& other)
{
    // The child is made by the other condition, so that it has the class of what it copies; it may be this condition
    // itself.
    XCSmartPtr<XCCondition> const child = other.NewChild();
    if (child.IsNull()) return *this;
    *child.GetPtr() = other;
    m_subs.push_back({link, child});
    return *this;
}

// Decides how an operatorless list starts: true with an OR in it, false with ANDs alone.
bool XCCondition::HasLink(Link link) const noexcept
{
    return std::any_of(m_subs.begin(), m_subs.end(), [link](LinkedCond const& sub) { return sub.link == link; });
}

bool XCCondition::AsRegExp()
{
    if (m_value.GetKind() != XCConditionValue::Kind::Text) AssignXCString(xc::condition::SubjectOf(m_value));
    XCParsedRegEx const parsed = XCStringRegExParser(m_text).Parse();
    m_regEx.emplace(parsed, false);
    return parsed.IsValid() && !m_regEx->IsTooLarge();
}

// Evaluation -------------------------------------------------------------------------------------------------------

/// How the conditions themselves are a tree. Most are of this very class, bound, and asked of a record that keeps its
/// values: those are read where they stand, without a virtual call.
struct XCCondition::Tree {
    using Node = XCCondition;
    explicit Tree(XCConditionParams const& record) noexcept
        : params(record), serial(&typeid(record) == &typeid(XCConditionParams) ? record.GetSchemaSerial() : 0)
    {
    }
    [[nodiscard]] bool StartOf(Node const& node) const
    {
        // No schema has the serial number 0, so nothing is bound to it.
        if (node.m_boundSerial != serial || &typeid(node) != &typeid(XCCondition) ||
            node.m_operator == ConditionOperator::None || node.m_fieldIndex >= params.m_values.size())
            return node.StartResult(params);
        return Compare(node, params.m_values[node.m_fieldIndex]);
    }
    [[gnu::always_inline]] static bool Compare(Node const& node, XCConditionValue const& fieldValue)
    {
        // By far the most frequent pair, without the look at all the kinds.
        if (fieldValue.IsInteger() && node.m_value.IsInteger())
            return HoldsForIntegers(node.m_operator, fieldValue.AsInt64(), node.m_value.AsInt64());
        // Next come texts and patterns; a condition with a pattern has a value.
        if (node.m_regEx && node.m_operator == ConditionOperator::Equal &&
            fieldValue.GetKind() == XCConditionValue::Kind::Text)
            return node.m_regEx->Match(fieldValue.AsText().data());
        return node.CompareOther(fieldValue);
    }
    [[nodiscard]] std::size_t CountOf(Node const& node) const noexcept { return node.m_subs.size(); }
    [[nodiscard]] Link LinkOf(Node const& node, std::size_t i) const noexcept { return node.m_subs[i].link; }
    [[nodiscard]] Node const* SubOf(Node const& node, std::size_t i) const noexcept
    {
        return node.m_subs[i].condition.GetPtr();
    }
    XCConditionParams const& params;
    std::uint64_t serial; ///< of the schema by whose positions values may be read; 0 for none
};

bool XCCondition::Evaluate(XCConditionParams const& params) const
{
    Tree const tree(params);
    // What a text makes of "a AND b AND c" is a chain, in which nothing is left to be done after the rest of it.
    XCCondition const* at = this;
    for (; at->m_subs.size() <= 1; at = at->m_subs[0].condition.GetPtr()) {
        bool const result = tree.StartOf(*at);
        if (at->m_subs.empty() || (at->m_subs[0].link == Link::And) != result || at->m_subs[0].condition.IsNull())
            return result;
    }
    return xc::condition::EvaluateTree(tree, at);
}

bool XCCondition::OnEvaluate(XCConditionParams const& params) const
{
    return CompareWith(GetFieldValue(params));
}

bool XCCondition::CompareWith(XCConditionValue const& fieldValue) const
{
    return Tree::Compare(*this, fieldValue);
}

bool XCCondition::CompareOther(XCConditionValue const& fieldValue) const
{
    // A missing field equals NULL alone; it is not different from anything, since nothing is known of it.
    if (fieldValue.IsNull()) return IsNull() && m_operator == ConditionOperator::Equal;
    if (IsNull()) return m_operator == ConditionOperator::NotEqual;
    if (!m_regEx) return HoldsFor(m_operator, CompareValues(fieldValue, m_value));
    bool const matches = fieldValue.GetKind() == XCConditionValue::Kind::Text
                             ? m_regEx->Match(fieldValue.AsText().data())
                             : m_regEx->Match(xc::condition::SubjectOf(fieldValue));
    // A text that matches is equal to the pattern, any other one is different from it.
    return m_operator == ConditionOperator::NotEqual ? !matches : matches && Holds(m_operator, 0, 0);
}

XCErrorID XCCondition::Bind(XCConditionSchema const& schema)
{
    XCErrorID result;
    std::vector<XCCondition*> open{this};
    while (!open.empty()) {
        XCCondition& condition = *open.back();
        open.pop_back();
        condition.m_boundSerial = schema.GetSerial();
        condition.m_fieldIndex = schema.Find(condition.m_fieldName);
        bool const unknown = condition.m_fieldIndex == XCConditionSchema::npos;
        if (unknown && condition.m_operator != ConditionOperator::None && result.Good())
            result = xc::errors::MakeCoreError(XCErrConditionField, condition.m_fieldName);
        std::for_each(condition.m_subs.rbegin(), condition.m_subs.rend(), [&](LinkedCond const& sub) {
            if (!sub.condition.IsNull()) open.push_back(sub.condition.GetPtr());
        });
    }
    return result;
}
