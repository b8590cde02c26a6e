// Keys of the conditions of a set: see the header.
//
// A comparison is demanded when its list joins all others to it by AND: none of them can turn false into true. The
// search for one goes down the last sub-condition of each list, where the reader puts what follows an AND, and looks at
// the other sub-conditions on the way; a demand that stands deeper elsewhere is not found, which costs time and never
// an answer. Lists that hold an OR demand nothing.
#include "match/condition/SetKeys.h"

#include "match/condition/NumberText.h"

#include <cmath>
#include <optional>
#include <typeinfo>

namespace xc::condition {

namespace {

using Kind = XCConditionValue::Kind;

/// The integer that a value equals in comparisons, if any.
std::optional<std::int64_t> IntegerOf(XCConditionValue const& value)
{
    constexpr double kBeyond = 9223372036854775808.0; // 2 to the 63rd
    switch (value.GetKind()) {
    case Kind::Int:
    case Kind::Int64: return value.AsInt64();
    case Kind::Double: {
        double const real = value.AsDouble();
        if (!(real >= -kBeyond && real < kBeyond) || std::trunc(real) != real) return std::nullopt;
        return static_cast<std::int64_t>(real);
    }
    case Kind::Text: {
        auto const number = ReadNumber(Trimmed(value.AsText()));
        return number ? IntegerOf(*number) : std::nullopt;
    }
    case Kind::Null:
    case Kind::DateTime: break;
    }
    return std::nullopt;
}

/// Whether the node's own comparison decides by equality alone, as this class compares: one of a derived class may
/// compare in its own way.
bool IsKey(XCCondition const& node)
{
    XCConditionValue const value = node.GetSuppliedValue();
    return node.GetOperator() == ConditionOperator::Equal && !node.IsRegularExpression() &&
           (value.IsInteger() || value.GetKind() == Kind::Text) && typeid(node) == typeid(XCCondition);
}

void Append(Numbers const& from, Numbers& to)
{
    to.insert(to.end(), from.begin(), from.end());
}

template <class Key>
void AppendOf(std::unordered_map<Key, Numbers> const& map, Key key, Numbers& numbers)
{
    if (auto const found = map.find(key); found != map.end()) Append(found->second, numbers);
}

} // namespace

void FieldKeys::Add(XCConditionValue const& value, std::uint32_t number)
{
    if (value.IsInteger()) {
        m_integers[value.AsInt64()].push_back(number);
        return;
    }
    m_texts[value.AsText()].push_back(number);
    m_allTexts.push_back(number);
}

void FieldKeys::Candidates(XCConditionValue const& value, Numbers& numbers) const
{
    // All that could equal the value, and some that do not: the evaluation decides.
    if (value.IsNull()) return; // a missing field equals NULL alone, which is no key
    if (!m_integers.empty())
        if (std::optional<std::int64_t> const integer = IntegerOf(value)) AppendOf(m_integers, *integer, numbers);
    if (value.GetKind() == Kind::Text)
        AppendOf(m_texts, value.AsText(), numbers);
    else
        Append(m_allTexts, numbers);
}

XCCondition const* DemandOf(XCCondition const& root)
{
    for (XCCondition const* node = &root; node && !node->HasOr();) {
        if (IsKey(*node)) return node;
        // Any of the list would do; the first found is taken, since nothing tells which value is the rarest.
        XCCondition const* last = nullptr;
        for (XCCondition::LinkedCond const& sub : node->GetSubConditionV()) {
            last = sub.condition.GetPtr();
            if (last && IsKey(*last) && !last->HasOr()) return last;
        }
        node = last;
    }
    return nullptr;
}

} // namespace xc::condition
