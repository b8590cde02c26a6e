// A record under way: its text, and, for the few that need them, a stream and fields.
//
// Texts and numbers go straight into the text of the record. The first manipulator or streamed value makes a stream, and
// from then on every value goes through it, so that a width or a base holds for what follows it as in any stream; what
// it has written moves into the text at once. The stream has the classic locale: a log looks the same wherever it is
// written. Stream and fields live in one block that only such records have.
#include <XelbrinCore/XCLog.h>

#include "log/Digits.h"
#include "log/RecordText.h"
#include "text/PrintFormat.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <sstream>

namespace xc::log {

struct RecordExtras {
    std::optional<std::wostringstream> out;
    std::vector<XCLogField> fields;
};

} // namespace xc::log

void XCLogRecord::Deliver()
{
    m_out = nullptr;
    // Released on every way out; a record is delivered once.
    std::unique_ptr<xc::log::RecordExtras> const extras(std::exchange(m_extras, nullptr));
    bool const hasFields = extras && !extras->fields.empty();
    if (m_text.IsNull() && !hasFields) return;
    try {
        if (m_text.IsNull() || m_text[m_text.Length() - 1] != L'\n') m_text += L'\n';
    } catch (std::bad_alloc const&) { // out of memory: the record counts more than its line end
    }
    // The way without fields stays as short as it was.
    if (hasFields)
        m_channel->Write(m_level, m_text.View(), extras->fields);
    else
        m_channel->Write(m_level, m_text.View());
}

void XCLogRecord::PutBytes(std::string_view text)
{
    *this << xc::log::FromBytes(text).View();
}

void XCLogRecord::PutNumber(std::uint64_t bits, bool isSigned)
{
    bool const negative = isSigned && static_cast<std::int64_t>(bits) < 0;
    if (negative) Put(L"-");
    // The magnitude is made by wrapping around, which is right for the smallest number too.
    Put(xc::log::Digits(negative ? 0 - bits : bits).View());
}

void XCLogRecord::PutDouble(double value)
{
    // "%g" writes six digits, a sign, a point and an exponent at most; 32 units hold that with room to spare.
    wchar_t digits[32];
    xc::text::FormatValue const values[] = {xc::text::FormatValue::Double(value)};
    xc::text::ValueListSource source(values);
    Put(std::wstring_view(digits, xc::text::FormatInto(digits, std::size(digits), L"%g", source)));
}

/// As a field of the same pointer has it.
void XCLogRecord::PutPointer(void const* pointer)
{
    *this << XCLogField({}, pointer).GetValue().View();
}

// Streams and fields --------------------------------------------------------------------------------------------

xc::log::RecordExtras& XCLogRecord::Extras()
{
    if (!m_extras) m_extras = new xc::log::RecordExtras;
    return *m_extras;
}

void XCLogRecord::MakeStream()
{
    if (m_out) return;
    std::wostringstream& out = Extras().out.emplace();
    out.imbue(std::locale::classic());
    out.setf(std::ios_base::boolalpha); // as without a stream
    m_out = &out;
}

void XCLogRecord::TakeStreamed()
{
    std::wostringstream& out = *m_extras->out;
    // At once, so that text written straight into the record later stands after it.
    Put(out.view());
    out.str({});
    out.clear(); // a value that could not be written spoils no other
}

XCLogRecord& XCLogRecord::operator<<(std::ios_base& (*manipulator)(std::ios_base&))
{
    if (!m_channel) return *this;
    MakeStream();
    manipulator(*m_out);
    return *this;
}

XCLogRecord& XCLogRecord::operator<<(std::wostream& (*manipulator)(std::wostream&))
{
    if (!m_channel) return *this;
    MakeStream();
    manipulator(*m_out);
    TakeStreamed();
    return *this;
}

XCLogRecord& XCLogRecord::operator<<(XCLogField field)
{
    if (!m_channel) return *this;
    std::vector<XCLogField>& fields = Extras().fields;
    // Fields are few: a walk is faster than any index.
    auto const known = std::ranges::find(fields, field.GetName().View(),
                                         [](XCLogField const& other) { return other.GetName().View(); });
    if (known != fields.end())
        *known = std::move(field);
    else
        fields.push_back(std::move(field));
    return *this;
}
