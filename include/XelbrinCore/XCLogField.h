// XCLogField.h - a name and a value that a log record carries beside its text.
//
// WHAT     XCLogRecord(channel, 1).Field(L"user", name).Field(L"bytes", 4711) << L"sent";
//          In the JSON layout the fields are members of an object, and numbers and truth values stay what they are; in
//          plain text they follow the text: sent user=Ann bytes=4711. docs/logging.md tells how values are written.
// VALUES   What XCString::Format takes: texts, numbers, characters, bool, enumerations, pointers, and all that has
//          AsString(), as errors, dates and durations do. Anything else does not compile. A number that JSON cannot hold
//          (an infinity, a NaN) is a text, a null pointer to text is null.
// COST     Two small strings.
// THREADS  A plain value.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <string_view>
#include <vector>

/// See the head of this header.
class XC_API XCLogField {
public:
    /// How the value is written in JSON.
    enum class Kind : std::uint8_t {
        Text,   ///< in quotes
        Number, ///< as it stands
        Truth,  ///< true or false
        Null    ///< null
    };

    /// A field of any value that is listed above.
    template <class T>
    XCLogField(std::wstring_view name, T const& value) : m_name(name)
    {
        auto const carried = xc::text::Carry(value);
        Set(carried);
    }

    /// The name as given.
    [[nodiscard]] XCString const& GetName() const noexcept { return m_name; }
    /// The value as text: numbers as digits, the shortest that read back as the same number.
    [[nodiscard]] XCString const& GetValue() const noexcept { return m_value; }
    /// How the value is written in JSON.
    [[nodiscard]] Kind GetKind() const noexcept { return m_kind; }

private:
    void Set(XCFormatArg const& value);

    XCString m_name;
    XCString m_value;
    Kind m_kind = Kind::Text;
};

/// The fields of the block that a subscriber is being served, for subscribers that write them in a form of their own.
/// @param text what OnFlush was given, or a copy of it. Empty for any other text, and after OnFlush has returned.
[[nodiscard]] XC_API std::vector<XCLogField> XCLogFieldsOf(XCString const& text);
