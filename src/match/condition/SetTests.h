// SetTests.h - the comparisons of a set of conditions: each distinct one once, over each field once.
#pragma once

#include "match/condition/SetKeys.h"

#include <XelbrinCore/XCCondition.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace xc::condition {

/// What one evaluation has found out so far. Every entry carries the turn it was made in, so that a new turn forgets
/// them all without touching them.
struct SetMemory {
    struct Field {
        XCConditionValue value;
        std::uint32_t turn = 0;
    };
    void BeginTurn(std::size_t testCount, std::size_t fieldCount);

    std::uint32_t turn = 0;
    std::vector<std::uint32_t> tests; ///< twice the turn, plus 1 when the comparison holds
    std::vector<Field> fields;
    Numbers candidates;
};

/// The distinct comparisons and fields of a set.
class SetTests {
public:
    explicit SetTests(std::uint64_t schemaSerial) noexcept : m_schemaSerial(schemaSerial) {}

    /// @param comparison bound to the schema; outlives this.
    std::uint32_t Add(XCCondition const& comparison);
    /// Makes `demand`, a comparison for which DemandOf answered, the key of a condition.
    void AddKey(XCCondition const& demand, std::uint32_t number);
    [[nodiscard]] bool Holds(std::uint32_t test, XCConditionParams const& record, SetMemory& memory) const;
    /// Adds the conditions whose keys fit the record.
    void Candidates(XCConditionParams const& record, SetMemory& memory) const;
    void Begin(SetMemory& memory) const { memory.BeginTurn(m_tests.size(), m_fields.size()); }

private:
    struct Test {
        XCCondition const* comparison;
        std::uint32_t field; ///< kOwnWay: the comparison asks the record itself
    };
    struct Field {
        XCString name;
        std::size_t position;
        FieldKeys keys;
    };
    static constexpr std::uint32_t kOwnWay = 0xFFFFFFFF;

    std::uint32_t FieldOf(XCCondition const& comparison);
    XCConditionValue const& Value(std::uint32_t field, XCConditionParams const& record, SetMemory& memory) const;

    std::uint64_t m_schemaSerial;
    std::vector<Test> m_tests;
    std::vector<Field> m_fields;
    std::vector<std::uint32_t> m_keyed; ///< the fields that have keys
    std::unordered_map<std::wstring, std::uint32_t> m_known;
    std::unordered_map<XCString, std::uint32_t> m_fieldsByName;
};

} // namespace xc::condition
