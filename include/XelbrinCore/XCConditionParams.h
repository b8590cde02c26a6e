// XCConditionParams.h - the values that a condition (XCCondition.h) is evaluated against.
//
// WHAT     XCConditionValue is one value of any kind, borrowed. XCConditionSchema gives field names their positions.
//          XCConditionParams is the record: it answers for a field by name, or by position when the condition has been
//          bound to its schema, which spares the name look-up.
//
//              XCConditionParams user;                       // a few named values, kept here
//              user.Set(L"Name", L"Ada").Set(L"Age", 36);
//
//              XCSmartPtr<XCConditionSchema> const fields(new XCConditionSchema({L"Status", L"Path"}));
//              condition.Bind(*fields);                      // once
//              XCConditionParams record(fields);
//              for (Line const& line : lines) {              // no look-up, no allocation
//                  record.SetAt(0, line.status);
//                  record.SetAt(1, line.path);               // borrowed until the next SetAt
//                  if (condition.Evaluate(record)) ...
//              }
//
// SOURCES  A record that is large or costly to read derives from XCConditionParams and overrides GetValueAt (fields
//          with positions) or GetValue (fields by name): only the fields that the evaluation needs are asked for.
// THREADS  A record belongs to one thread while it is set; afterwards any number may read it. A schema is complete
//          before threads share it.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

class XCCondition;

/// The comparison of a condition; the numbers are those of the native text form.
enum class ConditionOperator : std::uint32_t {
    None = 0, ///< no comparison: the condition is its list of sub-conditions
    Less = 1,
    LessOrEqual = 2,
    Equal = 3, ///< with a regular expression: the whole text matches
    NotEqual = 4,
    GreaterOrEqual = 5,
    Greater = 6,
};

namespace xc::condition {
template <class T>
concept Integer = std::integral<T> && !std::same_as<T, wchar_t> && !std::same_as<T, char> && !std::same_as<T, bool>;
} // namespace xc::condition

/// One value: 16 bytes, copied freely. A text is borrowed: it must live, unchanged, as long as the value is used.
class XCConditionValue {
public:
    /// The type of a value.
    enum class Kind : std::uint8_t {
        Null, ///< no value: the field is missing
        Int,
        Int64,
        Double,
        Text,
        DateTime,
    };

    constexpr XCConditionValue() noexcept = default;
    /// Int for types of up to 32 bits that fit, otherwise Int64; above the largest Int64: Double.
    template <xc::condition::Integer T>
    constexpr XCConditionValue(T value) noexcept
        : m_integer(static_cast<std::int64_t>(value)),
          m_facts(FactsOf(sizeof(T) < 4 || (sizeof(T) == 4 && std::is_signed_v<T>) ? Kind::Int : Kind::Int64))
    {
        if constexpr (std::is_unsigned_v<T> && sizeof(T) == 8)
            if (m_integer < 0) *this = XCConditionValue(static_cast<double>(value));
    }
    /// Not a number: Null.
    constexpr XCConditionValue(double value) noexcept
        : m_double(value), m_facts(FactsOf(value != value ? Kind::Null : Kind::Double, 0, kPlain))
    {
    }
    /// A number that keeps its decimals.
    XCConditionValue(XCDouble value) noexcept : XCConditionValue(value.AsDouble())
    {
        m_facts = FactsOf(GetKind(), 0, static_cast<std::uint8_t>(value.GetDecimals()));
    }
    /// A null date: Null.
    XCConditionValue(XCDateTime value) noexcept
        : m_integer(value.AsTime()), m_facts(FactsOf(value.IsNull() ? Kind::Null : Kind::DateTime))
    {
    }
    /// A text, which must live as long as the value.
    XCConditionValue(XCString const& text) noexcept : XCConditionValue(text.AsWChar(), text.Length()) {}
    /// A temporary would be gone before the value is used.
    XCConditionValue(XCString const&&) = delete;
    /// Null: Null.
    constexpr XCConditionValue(wchar_t const* text) noexcept
        : XCConditionValue(text, text ? std::char_traits<wchar_t>::length(text) : 0)
    {
    }
    /// @param text of `length` units and a terminator after them; at most XCString::kMaxLength units.
    constexpr XCConditionValue(wchar_t const* text, std::size_t length) noexcept
        : m_text(text), m_facts(FactsOf(text ? Kind::Text : Kind::Null, static_cast<std::uint32_t>(length)))
    {
    }

    /// The type of the value.
    [[nodiscard]] constexpr Kind GetKind() const noexcept { return static_cast<Kind>(m_facts & 0xFF); }
    /// Whether there is no value.
    [[nodiscard]] constexpr bool IsNull() const noexcept { return GetKind() == Kind::Null; }
    /// Whether the value is a whole number of either kind.
    [[nodiscard]] constexpr bool IsInteger() const noexcept
    {
        return GetKind() == Kind::Int || GetKind() == Kind::Int64;
    }
    // Each reads its own kind; any other gives 0, 0.0, "" and the null date.
    /// The whole number; 0 for any other kind.
    [[nodiscard]] constexpr std::int64_t AsInt64() const noexcept { return IsInteger() ? m_integer : 0; }
    /// The number; 0.0 for any other kind.
    [[nodiscard]] constexpr double AsDouble() const noexcept { return GetKind() == Kind::Double ? m_double : 0.0; }
    /// The text, valid as long as its owner; empty for any other kind.
    [[nodiscard]] constexpr std::wstring_view AsText() const noexcept
    {
        return GetKind() == Kind::Text ? std::wstring_view(m_text, m_facts >> 32) : std::wstring_view(L"");
    }
    /// The date and time; null for any other kind.
    [[nodiscard]] constexpr XCDateTime AsDateTime() const noexcept
    {
        return GetKind() == Kind::DateTime ? XCDateTime(m_integer) : XCDateTime();
    }
    /// The decimals of an XCDouble; a plain double has none.
    [[nodiscard]] constexpr bool HasDecimals() const noexcept
    {
        return GetKind() == Kind::Double && Decimals() != kPlain;
    }
    /// How many decimals an XCDouble has; 0 for any other value.
    [[nodiscard]] constexpr unsigned int GetDecimals() const noexcept { return HasDecimals() ? Decimals() : 0u; }

private:
    static constexpr std::uint8_t kPlain = 0xFF;

    static constexpr std::uint64_t FactsOf(Kind kind, std::uint32_t length = 0, std::uint8_t decimals = 0) noexcept
    {
        return std::uint64_t{length} << 32 | std::uint64_t{decimals} << 8 | static_cast<std::uint8_t>(kind);
    }
    [[nodiscard]] constexpr std::uint8_t Decimals() const noexcept { return static_cast<std::uint8_t>(m_facts >> 8); }

    union {
        std::int64_t m_integer = 0; ///< also the seconds of a date
        double m_double;
        wchar_t const* m_text;
    };
    // One word: a value is copied in two registers, and never written in parts and read as a whole, which waits.
    std::uint64_t m_facts = FactsOf(Kind::Null); ///< length of a text, decimals, kind
};
static_assert(sizeof(XCConditionValue) == 16 && std::is_trivially_copyable_v<XCConditionValue>);

/// The names of a record's fields and their positions. Names match exactly, unit by unit.
class XC_API XCConditionSchema : public XCRefCount {
public:
    /// "No such field".
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    XCConditionSchema();
    /// The position of each name is its place in the list; a name that occurs again is not added again.
    XCConditionSchema(std::initializer_list<wchar_t const*> names);
    XCConditionSchema(XCConditionSchema const&) = delete;
    XCConditionSchema& operator=(XCConditionSchema const&) = delete;
    ~XCConditionSchema() override;

    /// The position of the name, which is added at the end when it is new. Positions never change.
    std::size_t Add(XCString const& name);
    /// The position of a field, the name compared as the schema compares names; npos when there is none.
    [[nodiscard]] std::size_t Find(XCString const& name) const noexcept;
    /// How many fields the schema has.
    [[nodiscard]] std::size_t GetFieldCount() const noexcept { return m_names.size(); }
    /// Empty past the end.
    [[nodiscard]] XCString GetFieldName(std::size_t index) const;
    /// Different for every schema of the process, and never 0.
    [[nodiscard]] std::uint64_t GetSerial() const noexcept { return m_serial; }

private:
    std::uint64_t m_serial;
    std::vector<XCString> m_names;
    std::unordered_map<XCString, std::size_t> m_positions;
};

/// A record: the source of field values.
class XC_API XCConditionParams {
public:
    /// No fields yet; Set adds them.
    XCConditionParams();
    /// The fields of a schema, all missing. A null schema counts as an empty one of its own.
    explicit XCConditionParams(XCSmartPtr<XCConditionSchema> schema);
    XCConditionParams(XCConditionParams const& other);
    XCConditionParams& operator=(XCConditionParams const& other);
    virtual ~XCConditionParams();

    /// Gives a field its value, text included (kept here). A name that is new is added to the schema, which is shared
    /// by all records built from it.
    XCConditionParams& Set(XCString const& field, XCConditionValue value);
    XCConditionParams& Set(XCString const& field, XCString const& text);
    XCConditionParams& Set(XCString const& field, wchar_t const* text) { return Set(field, XCConditionValue(text)); }
    /// Gives the field at a position its value; a text is borrowed until the value is set again. O(1), no allocation
    /// for positions that the schema had when this record was built.
    void SetAt(std::size_t index, XCConditionValue value)
    {
        if (index < m_values.size())
            m_values[index] = value;
        else
            GrowAndSet(index, value);
    }
    /// All fields are missing again.
    void Clear() noexcept;

    /// The value of a field; Null when it is missing.
    [[nodiscard]] virtual XCConditionValue GetValue(XCString const& field) const;
    /// The value at a position of the schema; Null past the end.
    [[nodiscard]] virtual XCConditionValue GetValueAt(std::size_t index) const;

    /// Created when first asked for, unless one was given.
    [[nodiscard]] XCConditionSchema& GetSchema();
    /// 0 as long as there is no schema.
    [[nodiscard]] std::uint64_t GetSchemaSerial() const noexcept { return m_schemaSerial; }

private:
    friend class XCCondition; // reads m_values where it knows the class

    void GrowAndSet(std::size_t index, XCConditionValue value);

    XCSmartPtr<XCConditionSchema> m_schema;
    std::uint64_t m_schemaSerial = 0;
    std::vector<XCConditionValue> m_values;
    std::vector<XCString> m_texts; ///< those kept here; may be shorter than m_values
};
