// The record that a condition is evaluated on: values by field name or by position in a schema.
//
// A schema numbers the names of fields once. A condition that was bound to it reads a record by position, without
// looking up the name; the serial number of the schema tells whether the positions are meant for this record. Serial
// numbers are never used twice, unlike addresses. Texts that are set by name are copied, so that the record may outlive
// them; those that are set by position belong to the caller. Invariant: a value of kind text points either into m_texts
// or to storage of the caller.
#include <XelbrinCore/XCConditionParams.h>

#include <atomic>

namespace {

std::uint64_t NextSchemaSerial() noexcept
{
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace

XCConditionSchema::XCConditionSchema() : m_serial(NextSchemaSerial()) {}

XCConditionSchema::XCConditionSchema(std::initializer_list<wchar_t const*> names) : XCConditionSchema()
{
    for (wchar_t const* const name : names) Add(name);
}

XCConditionSchema::~XCConditionSchema() = default;

std::size_t XCConditionSchema::Add(XCString const& name)
{
    if (std::size_t const known = Find(name); known != npos) return known;
    // A name without a position can be taken back. A position without a name would be given to the next name as well.
    m_names.push_back(name);
    try {
        m_positions.emplace(name, m_names.size() - 1);
    } catch (...) {
        m_names.pop_back();
        throw;
    }
    return m_names.size() - 1;
}

std::size_t XCConditionSchema::Find(XCString const& name) const noexcept
{
    auto const place = m_positions.find(name);
    return place == m_positions.end() ? npos : place->second;
}

XCString XCConditionSchema::GetFieldName(std::size_t index) const
{
    return index < m_names.size() ? m_names[index] : XCString();
}

XCConditionParams::XCConditionParams() = default;

XCConditionParams::XCConditionParams(XCSmartPtr<XCConditionSchema> schema) : m_schema(std::move(schema))
{
    m_values.resize(GetSchema().GetFieldCount());
}

XCConditionParams::XCConditionParams(XCConditionParams const& other) = default;
XCConditionParams& XCConditionParams::operator=(XCConditionParams const& other) = default;
XCConditionParams::~XCConditionParams() = default;

XCConditionSchema& XCConditionParams::GetSchema()
{
    if (m_schema.IsNull()) m_schema = new XCConditionSchema;
    m_schemaSerial = m_schema->GetSerial();
    return *m_schema.GetPtr();
}

XCConditionParams& XCConditionParams::Set(XCString const& field, XCConditionValue value)
{
    if (value.GetKind() == XCConditionValue::Kind::Text) return Set(field, XCString(value.AsText()));
    SetAt(GetSchema().Add(field), value);
    return *this;
}

XCConditionParams& XCConditionParams::Set(XCString const& field, XCString const& text)
{
    std::size_t const index = GetSchema().Add(field);
    if (index >= m_texts.size()) m_texts.resize(index + 1);
    // Set before the old text goes: the new one may be a part of it.
    XCString kept(text);
    SetAt(index, kept);
    m_texts[index].Swap(kept);
    return *this;
}

void XCConditionParams::GrowAndSet(std::size_t index, XCConditionValue value)
{
    m_values.resize(index + 1);
    m_values[index] = value;
}

void XCConditionParams::Clear() noexcept
{
    for (XCConditionValue& value : m_values) value = XCConditionValue();
    m_texts.clear();
}

XCConditionValue XCConditionParams::GetValue(XCString const& field) const
{
    if (m_schema.IsNull()) return {};
    std::size_t const index = m_schema->Find(field);
    return index == XCConditionSchema::npos ? XCConditionValue() : GetValueAt(index);
}

XCConditionValue XCConditionParams::GetValueAt(std::size_t index) const
{
    return index < m_values.size() ? m_values[index] : XCConditionValue();
}
