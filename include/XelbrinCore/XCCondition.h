// XCCondition.h - filter conditions: a field, an operator, a value, joined with further conditions by AND and OR.
//
// WHAT     A condition is read from text or built in code, printed, and evaluated against a record:
//
//              XCCondition condition;
//              if (!condition.FromString(L"Status >= 500 AND Path % \"/api/.*\"")) Show(condition.GetReadError());
//              using Is = XCCondition;
//              XCCondition const same = (Is::Field(L"Status") >= 500) & (Is::Field(L"Path") % L"/api/.*");
//              XCConditionParams record;
//              record.Set(L"Status", 503).Set(L"Path", L"/api/users");
//              bool const wanted = condition.Evaluate(record);
//
//          docs/conditions.md holds the grammar, the kinds of values and what is compared with what.
// ORDER    AND and OR have no precedence. In text, what follows an AND or OR is one condition up to the end (or the
//          closing parenthesis): "a OR b AND c" is "a OR (b AND c)". Conditions joined in code stand in one list, which
//          is evaluated from the left: (a || b) & c. Parentheses say what is meant in both.
// VALUES   Integers, numbers (compared exactly as they are written), texts, dates and regular expressions. A comparison gives the same answer
//          whichever side holds which kind; a field that is missing makes every comparison false, except "= NULL".
// LIMITS   Parentheses nest up to XCCondition::kMaxNesting. A chain of ANDs and ORs may have any length: reading,
//          printing, copying, evaluating and destroying use no recursion. A condition must not contain itself.
// COST     Reading and printing are linear in the text. Evaluation allocates nothing (32 nested lists and more aside).
// ERRORS   FromString answers false and GetReadError() says what was expected and where. Out of memory: std::bad_alloc.
// THREADS  Any number of threads may evaluate one condition that nobody changes.
#pragma once

#include <XelbrinCore/XCConditionBuilding.h>
#include <XelbrinCore/XCConditionParams.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCRegEx.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

class XCCondition;

namespace xc::condition {
class Reader;
class SetTests;
/// The types of value that a condition compares.
template <class T>
concept Operand =
    Integer<T> || std::same_as<T, XCDouble> || std::same_as<T, XCDateTime> || std::convertible_to<T const&, XCString>;
} // namespace xc::condition

/// See the head of this file.
class XC_API XCCondition : public XCRefCount, public xc::condition::Building {
public:
    /// How a condition is joined to the one before it.
    enum class Link : std::uint32_t { Or = 0, And = 1 };
    /// A sub-condition and how it is joined with what stands before it.
    struct LinkedCond {
        Link link; ///< How this condition is joined to those before it; without meaning for the first.
        XCSmartPtr<XCCondition> condition; ///< The condition itself, shared.
    };
    /// The conditions inside parentheses, in order.
    using LinkedCondV = std::vector<LinkedCond>;

    /// How deep parentheses may nest in a text.
    static constexpr std::size_t kMaxNesting = 250;

    /// Empty: true for every record.
    XCCondition();
    /// Reads the text; GetReadError() tells whether that went well.
    explicit XCCondition(XCString const& text);
    /// Copies are deep: changing one never shows in another.
    XCCondition(XCCondition const& other);
    XCCondition& operator=(XCCondition const& other);
    /// The other one is empty afterwards.
    XCCondition(XCCondition&& other) noexcept;
    XCCondition& operator=(XCCondition&& other) noexcept;
    ~XCCondition() override;
    /// An empty condition on a field, to be completed by one of the operators below.
    [[nodiscard]] static XCCondition Field(XCString const& name);

    // Building in code ------------------------------------------------------------------------------------------
    // Each sets the operator and the value, or adds a sub-condition, and returns the condition itself; a temporary is
    // handed on by value, so that what it is bound to keeps it. A value is an integer (AssignInt when it fits, else
    // AssignInt64), an XCDouble, an XCString or an XCDateTime.

    /// Makes the condition "field = value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator==(T const& value) &
    {
        return Compare(ConditionOperator::Equal, value);
    }
    /// Makes the condition "field differs from value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator!=(T const& value) &
    {
        return Compare(ConditionOperator::NotEqual, value);
    }
    /// Makes the condition "field is at least the value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator>=(T const& value) &
    {
        return Compare(ConditionOperator::GreaterOrEqual, value);
    }
    /// Makes the condition "field is at most the value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator<=(T const& value) &
    {
        return Compare(ConditionOperator::LessOrEqual, value);
    }
    /// Makes the condition "field is greater than the value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator>(T const& value) &
    {
        return Compare(ConditionOperator::Greater, value);
    }
    /// Makes the condition "field is less than the value". @return this condition.
    template <xc::condition::Operand T>
    XCCondition& operator<(T const& value) &
    {
        return Compare(ConditionOperator::Less, value);
    }
    /// The text matches, does not match, the regular expression (XCRegEx.h). A pattern that is not valid matches
    /// nothing.
    /// @note "/=" binds weaker than "&": write (field /= pattern) & other.
    XCCondition& operator%(XCString const& pattern) &;
    /// The text does not match the regular expression; otherwise as operator%.
    XCCondition& operator/=(XCString const& pattern) &;
    /// Adds a copy of the other condition, linked by AND, by OR.
    XCCondition& operator&(XCCondition const& other) & { return Join(Link::And, other); }
    /// Joins another condition by OR. @return this condition.
    XCCondition& operator||(XCCondition const& other) & { return Join(Link::Or, other); }

    /// The value alone; the operator stays.
    void AssignInt(int value);
    /// As AssignInt, for 64 bits.
    void AssignInt64(std::int64_t value);
    /// Not a number counts as no value.
    void AssignDouble(XCDouble const& value);
    /// As AssignInt, for a text.
    void AssignXCString(XCString const& value);
    /// A null date counts as no value.
    void AssignXCDateTime(XCDateTime const& value);
    /// No value: "= NULL" is true for a missing field, "!= NULL" for one that is there, any other operator never.
    void AssignNull();

    // Reading ---------------------------------------------------------------------------------------------------

    /// The field that is compared.
    [[nodiscard]] XCString const& GetFieldName() const noexcept { return m_fieldName; }
    /// How the field is compared with the value.
    [[nodiscard]] ConditionOperator GetOperator() const noexcept { return m_operator; }
    /// The value, or the pattern of a regular expression. Its text lives as long as this condition is not changed.
    [[nodiscard]] XCConditionValue GetSuppliedValue() const noexcept { return m_value; }
    /// Whether there is no value.
    [[nodiscard]] bool IsNull() const noexcept { return m_value.IsNull(); }
    /// Whether the value is a regular expression.
    [[nodiscard]] bool IsRegularExpression() const noexcept { return m_regEx.has_value(); }

    /// The conditions inside, in order; empty for a plain comparison.
    [[nodiscard]] LinkedCondV const& GetSubConditionV() const noexcept { return m_subs; }
    /// The list to change. Null conditions in it are passed over; a condition must not come to contain itself.
    [[nodiscard]] LinkedCondV& GetSubConditionVR() noexcept { return m_subs; }
    /// How many conditions are inside.
    [[nodiscard]] std::size_t GetSubCondCount() const noexcept { return m_subs.size(); }
    /// Takes out the conditions inside.
    void ClearSubCondV() noexcept;
    /// Whether any sub-condition is linked by OR, by AND.
    [[nodiscard]] bool HasOr() const noexcept { return HasLink(Link::Or); }
    /// Whether a condition inside is joined by AND.
    [[nodiscard]] bool HasAnd() const noexcept { return HasLink(Link::And); }

    // Text ------------------------------------------------------------------------------------------------------

    /// Replaces this condition by the one that the text describes. Blank text is an empty condition.
    /// False: the text cannot be read. The part of the first comparison that was read stays, sub-conditions are
    /// dropped, and GetReadError() tells more. Do not evaluate such a condition: without its parts it may let everything pass.
    bool FromString(XCString const& text);
    /// Success, or why the last FromString failed. The first parameter of the error is the position in the text.
    [[nodiscard]] XCErrorID const& GetReadError() const noexcept { return m_readError; }
    /// The condition as a text that FromString reads back. Lists that were joined in code are written with the
    /// parentheses that keep their meaning; dates are written in the local zone.
    /// @param native the native form instead: it keeps every list and every value exactly and does not depend on the
    ///        local zone.
    [[nodiscard]] XCString ToString(bool native = false) const;
    /// Whether the text, leading blanks aside, starts with "@@".
    [[nodiscard]] static bool IsNativeFormat(XCString const& text) noexcept;
    /// Reads the native form out of its tokens, separated by "@". False: malformed; the condition is then empty.
    bool FromNativeString(XCTokenizer& tokens);

    // Evaluation ------------------------------------------------------------------------------------------------

    /// Whether the record meets the condition. Sub-conditions whose result cannot matter are not evaluated.
    [[nodiscard]] bool Evaluate(XCConditionParams const& params) const;
    /// Resolves every field name to its position in the schema, so that records of this schema are read by position;
    /// others still by name. Changing a field's name undoes it. O(size).
    /// @return Bad when the schema does not have a field (named by the error); that field is missing in its records.
    XCErrorID Bind(XCConditionSchema const& schema);
    /// Turns the text of the value into a regular expression. False: the pattern is not valid and matches nothing.
    bool AsRegExp();
    /// Whether a text matches the regular expression; false when the value is none.
    [[nodiscard]] bool MatchRexExp(XCString const& text) const { return m_regEx && m_regEx->Match(text); }

    // Virtual steps ---------------------------------------------------------------------------------------------
    // Overridden by a subclass to name fields and values in its own way, in text and in evaluation.

    /// A new empty condition of the same kind.
    [[nodiscard]] virtual XCSmartPtr<XCCondition> NewChild() const;
    /// Copies field, operator, value and binding; not the sub-conditions.
    virtual void LocalCopy(XCCondition const& other);
    /// False refuses the name, and reading fails.
    virtual bool AssignFieldName(XCString const& name);
    /// "<", "<=", "=", "!=", ">=", ">"; "%" and "/=" are "=" and "!=" with isRegex set. False, and the operator None:
    /// any other text.
    virtual bool AssignOperatorFromStr(bool& isRegex, XCString const& text);
    /// A text in double quotes (doubled inside) is the text within; then, unless it is a pattern: integer; number with
    /// point or exponent; NULL; SYSDATE; TO_DATE(...); anything else is text. False: a pattern that is not valid, or a
    /// date that cannot be read (traced as "ERROR: XCCondition fails in XCDateTime::FromString()").
    virtual bool AssignSuppliedValueFromStr(bool isRegex, XCString const& text);
    /// Called after the value was assigned from text. False refuses the comparison, and reading fails.
    virtual bool PostAssignSuppliedValue();
    // The printers replace the text they are given.
    /// The name, in quotes when it would not be read back as one word.
    virtual void GetFieldName(XCString& text) const;
    /// " >= " and so on.
    virtual void GetOperator(XCString& text) const;
    /// The value as a text that is read back as the same value.
    virtual void GetSuppliedValue(XCString& text) const;
    /// This comparison alone. Called only when there is an operator.
    [[nodiscard]] virtual bool OnEvaluate(XCConditionParams const& params) const;

protected:
    /// The record's value for this field, by position when bound to its schema.
    [[nodiscard]] XCConditionValue GetFieldValue(XCConditionParams const& params) const
    {
        return params.GetSchemaSerial() == m_boundSerial ? params.GetValueAt(m_fieldIndex)
                                                         : params.GetValue(m_fieldName);
    }
    /// The result of OnEvaluate for this value of the field.
    [[nodiscard]] bool CompareWith(XCConditionValue const& fieldValue) const;

private:
    friend class xc::condition::Reader;
    friend class xc::condition::SetTests;
    struct Tree;
    static constexpr std::uint64_t kUnbound = static_cast<std::uint64_t>(-1);

    template <class T>
    XCCondition& Compare(ConditionOperator op, T const& value)
    {
        if constexpr (std::same_as<T, XCDouble>)
            AssignDouble(value);
        else if constexpr (std::same_as<T, XCDateTime>)
            AssignXCDateTime(value);
        else if constexpr (!xc::condition::Integer<T>)
            AssignXCString(value);
        else if (std::in_range<int>(value))
            AssignInt(static_cast<int>(value));
        else if (std::in_range<std::int64_t>(value))
            AssignInt64(static_cast<std::int64_t>(value));
        else
            AssignDouble(XCDouble(static_cast<double>(value), 0));
        m_operator = op;
        return *this;
    }
    [[nodiscard]] bool CompareOther(XCConditionValue const& fieldValue) const;
    XCCondition& Join(Link link, XCCondition const& other);
    [[nodiscard]] bool HasLink(Link link) const noexcept;
    [[nodiscard]] bool StartResult(XCConditionParams const& params) const
    {
        return m_operator != ConditionOperator::None ? OnEvaluate(params) : !HasOr();
    }
    void AssignValue(XCConditionValue value);
    bool AssignDateFromStr(XCString const& text);
    void Reset();
    [[nodiscard]] XCString ToNativeString() const;
    [[nodiscard]] XCString NativeValue() const;
    void AppendNative(XCString& text) const;
    bool ReadNativeTree(XCTokenizer& tokens);
    bool ReadNativeOwn(XCTokenizer& tokens, std::size_t& subCount);
    bool ReadNativeValue(std::wstring_view text);
    static LinkedCondV CopiesOf(LinkedCondV const& subs);
    static XCCondition* TakeDoomed(LinkedCondV& subs, XCCondition* doomed) noexcept;

    XCString m_fieldName;
    ConditionOperator m_operator = ConditionOperator::None;
    bool m_isSysDate = false; ///< the value was read as SYSDATE, and is printed so
    XCConditionValue m_value; ///< a text points into m_text
    XCString m_text;
    std::optional<XCRegEx> m_regEx;
    LinkedCondV m_subs;
    std::uint64_t m_boundSerial = kUnbound;
    std::size_t m_fieldIndex = 0;
    XCErrorID m_readError;
    XCCondition* m_nextDoomed = nullptr; ///< only while a tree is released
};
