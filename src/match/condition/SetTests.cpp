// The comparisons of a set of conditions, each made at most once for a record.
//
// Rules are written by people, so that a thousand of them hold a few dozen different comparisons. Two comparisons are one
// when field, operator and value are spelled alike in the native form, which keeps every value exactly. Those of derived
// classes may compare in any way: each stays alone and is asked by its OnEvaluate.
//
// What was found out about a record must be forgotten for the next one. Wiping it would cost as much as the set is large,
// while a record touches a few comparisons: so each answer carries the number of the turn in which it was found, and only
// answers of the present turn count. Cost: a comparison of two numbers for each answer that is known; adding hashes the
// spelled comparison. Invariant: no turn in memory is above the present one; when the numbers run out, all is wiped once.
#include "match/condition/SetTests.h"

#include <algorithm>
#include <typeinfo>

namespace xc::condition {

namespace {

constexpr std::uint32_t kMostTurns = 0x7FFFFFFF; // twice a turn fits 32 bits

} // namespace

void SetMemory::BeginTurn(std::size_t testCount, std::size_t fieldCount)
{
    if (turn == kMostTurns) {
        tests.clear();
        fields.clear();
        turn = 0;
    }
    ++turn;
    // Larger than before also when another set was evaluated last: what that one left has older turns.
    if (tests.size() < testCount) tests.resize(testCount);
    if (fields.size() < fieldCount) fields.resize(fieldCount);
    candidates.clear();
}

std::uint32_t SetTests::FieldOf(XCCondition const& comparison)
{
    XCString const& name = comparison.GetFieldName();
    auto const next = static_cast<std::uint32_t>(m_fields.size());
    if (auto const found = m_fieldsByName.find(name); found != m_fieldsByName.end()) return found->second;
    // Bound already: all comparisons of a set belong to its schema.
    m_fields.push_back({name, comparison.m_fieldIndex, {}});
    m_fieldsByName.emplace(name, next);
    return next;
}

std::uint32_t SetTests::Add(XCCondition const& comparison)
{
    auto const next = static_cast<std::uint32_t>(m_tests.size());
    if (typeid(comparison) != typeid(XCCondition)) {
        m_tests.push_back({&comparison, kOwnWay});
        return next;
    }
    std::wstring spelled(comparison.NativeValue().View());
    // The word for the present time stands for the second in which it was read.
    if (comparison.m_isSysDate) spelled += XCString().Format(L"%lld", comparison.m_value.AsDateTime().AsTime()).View();
    spelled += L'@';
    spelled += static_cast<wchar_t>(L'0' + static_cast<int>(comparison.GetOperator()));
    spelled += comparison.GetFieldName().View();
    if (auto const found = m_known.find(spelled); found != m_known.end()) return found->second;
    m_tests.push_back({&comparison, FieldOf(comparison)});
    m_known.emplace(std::move(spelled), next);
    return next;
}

void SetTests::AddKey(XCCondition const& demand, std::uint32_t number)
{
    std::uint32_t const field = FieldOf(demand);
    if (std::find(m_keyed.begin(), m_keyed.end(), field) == m_keyed.end()) m_keyed.push_back(field);
    m_fields[field].keys.Add(demand.GetSuppliedValue(), number);
}

XCConditionValue const& SetTests::Value(std::uint32_t field, XCConditionParams const& record, SetMemory& memory) const
{
    // A source may have to work for a field, and may answer otherwise the next time: it is asked once a record.
    SetMemory::Field& known = memory.fields[field];
    if (known.turn == memory.turn) return known.value;
    Field const& asked = m_fields[field];
    known.value =
        record.GetSchemaSerial() == m_schemaSerial ? record.GetValueAt(asked.position) : record.GetValue(asked.name);
    known.turn = memory.turn;
    return known.value;
}

bool SetTests::Holds(std::uint32_t test, XCConditionParams const& record, SetMemory& memory) const
{
    std::uint32_t& known = memory.tests[test];
    if (known / 2 == memory.turn) return known % 2 != 0;
    Test const& asked = m_tests[test];
    bool const holds = asked.field == kOwnWay ? asked.comparison->OnEvaluate(record)
                                              : asked.comparison->CompareWith(Value(asked.field, record, memory));
    known = 2 * memory.turn + (holds ? 1 : 0);
    return holds;
}

void SetTests::Candidates(XCConditionParams const& record, SetMemory& memory) const
{
    for (std::uint32_t const field : m_keyed)
        m_fields[field].keys.Candidates(Value(field, record, memory), memory.candidates);
}

} // namespace xc::condition
