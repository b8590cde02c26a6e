// XCConditionSet.h - many conditions (XCCondition.h) evaluated over one record in one pass.
//
// WHAT     A router, an alarm list or a set of filters asks of every record which of its conditions it meets:
//
//              XCSmartPtr<XCConditionSchema> const fields(new XCConditionSchema({L"Host", L"Status", L"Path"}));
//              XCConditionSet rules(fields);
//              XCErrorID fault = rules.Add(XCCondition(L"Host = db7 AND Status >= 500"));
//              XCConditionMatches met;                       // kept from record to record
//              rules.Evaluate(record, met);
//              for (std::uint32_t const rule : met) Alarm(rule);
//
//          The answer is the one that each condition gives alone.
// COST     A field is asked for once a record, and a comparison that many conditions share is made once. A condition
//          that can hold only where a field equals one text or one integer is looked at only for such records: among
//          thousands of conditions on host names those of other hosts cost nothing. Adding is linear in the condition.
//          Evaluation allocates nothing once XCConditionMatches has reached its size.
// LIFETIME The set keeps copies. Values that a record gives must live until the evaluation ends: a field is asked for
//          once. XCConditionMatches is independent of the set and may serve several in turn.
// ERRORS   Add tells why a condition cannot be added; the set is then as before. Out of memory: std::bad_alloc.
// THREADS  Any number of threads may evaluate a set that nobody changes, each with matches of its own.
#pragma once

#include <XelbrinCore/XCCondition.h>
#include <XelbrinCore/XCConditionParams.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// The conditions that a record has met, by their numbers, in ascending order.
class XC_API XCConditionMatches {
public:
    XCConditionMatches();
    ~XCConditionMatches();
    XCConditionMatches(XCConditionMatches const&) = delete;
    XCConditionMatches& operator=(XCConditionMatches const&) = delete;

    /// How many were met.
    [[nodiscard]] std::size_t size() const noexcept { return m_numbers.size(); }
    /// Whether none was met.
    [[nodiscard]] bool empty() const noexcept { return m_numbers.empty(); }
    /// The lowest number. Valid until the next evaluation, as all iterators are.
    [[nodiscard]] std::uint32_t const* begin() const noexcept { return m_numbers.data(); }
    /// After the highest number.
    [[nodiscard]] std::uint32_t const* end() const noexcept { return m_numbers.data() + m_numbers.size(); }
    /// Whether a condition was met. O(log size).
    [[nodiscard]] bool Contains(std::size_t number) const noexcept;

private:
    friend class XCConditionSet;
    struct Memory;

    std::vector<std::uint32_t> m_numbers;
    std::unique_ptr<Memory> m_memory; ///< of one evaluation; kept for the next
};

/// See the head of this file.
class XC_API XCConditionSet {
public:
    /// "No condition".
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    /// A set for records of this schema; others are read by name. A null schema counts as an empty one of its own.
    explicit XCConditionSet(XCSmartPtr<XCConditionSchema> schema);
    ~XCConditionSet();
    XCConditionSet(XCConditionSet const&) = delete;
    XCConditionSet& operator=(XCConditionSet const&) = delete;

    /// Adds a copy, whose number is the count before. A condition of a derived class is evaluated by its OnEvaluate.
    /// @return Bad for a condition that was not read well (its own error), for a field that is not in the schema
    ///         (XCErrConditionField), and when NewChild of a derived class gives none (XCErrConditionRefused).
    XCErrorID Add(XCCondition const& condition);
    /// How many conditions the set has; their numbers are below.
    [[nodiscard]] std::size_t GetCount() const noexcept;
    /// The condition with a number below the count.
    [[nodiscard]] XCCondition const& Get(std::size_t number) const;
    /// Takes all conditions out.
    void Clear() noexcept;

    /// Finds all conditions that the record meets.
    void Evaluate(XCConditionParams const& record, XCConditionMatches& matches) const;
    /// The lowest number that the record meets, or npos: conditions after it are not evaluated. `matches` holds it.
    std::size_t EvaluateFirst(XCConditionParams const& record, XCConditionMatches& matches) const;

private:
    struct Inside;
    std::unique_ptr<Inside> m_inside;
};
