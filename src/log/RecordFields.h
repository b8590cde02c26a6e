// RecordFields.h - fields on their way from a record to the subscribers that write them in a form of their own.
#pragma once

#include <XelbrinCore/XCLogField.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace xc::log {

/// Appends each field as " name=value". A text stands in quotes when it is empty or holds a blank, a quote, a backslash,
/// '=' or what shapes lines; quotes and backslashes in it get a backslash, what shapes lines is written out. In a name
/// all of these are written out.
void AppendFields(std::wstring& to, std::span<XCLogField const> fields);

/// A block that subscribers are being served: what its text is made of.
struct ServedText {
    std::wstring_view message;          ///< without the line end
    std::wstring_view plainFields;      ///< as AppendFields has written them
    std::wstring_view end;              ///< the line end
    std::span<XCLogField const> fields; ///< of the delivery
};

/// Announces the parts of a block while it is served; `whole` is the text that subscribers get.
class FieldScope {
public:
    FieldScope(std::wstring_view whole, ServedText const& parts) noexcept;
    ~FieldScope();
    FieldScope(FieldScope const&) = delete;
    FieldScope& operator=(FieldScope const&) = delete;

private:
    friend bool FindServed(std::wstring_view, ServedText&) noexcept;

    std::wstring_view m_whole;
    ServedText m_parts;
    FieldScope* m_next;
};

/// The parts of a block that is being served; false when the text is none, or has no fields. Any thread.
bool FindServed(std::wstring_view text, ServedText& found) noexcept;

} // namespace xc::log
