// XCCommaSeparatedValues.h - a list of values in one text: packed and unpacked.
//
// WHAT     Put appends values, Get and GetInt take them out in order. The text suits one value of a configuration file.
// COST     Linear in the text.
// ERRORS   Nothing is refused: an open quote ends with the text. Out of memory: std::bad_alloc.
// THREADS  A plain value: changes need the callers' own lock.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <utility>

/// A list of values packed into one text: a, "b, c", "say ""x""". Commas separate. A value with a comma or a double
/// quote in it, or white space at an end, stands in quotes, its own quotes doubled. White space around unquoted values
/// does not count. An empty text is a list without values; a list of one empty value is "".
class XC_API XCCommaSeparatedValues {
public:
    XCCommaSeparatedValues() = default;
    /// Unpacks `packed` from its start.
    explicit XCCommaSeparatedValues(XCString packed) : m_packed(std::move(packed)) {}

    /// Packs one more value at the end.
    XCCommaSeparatedValues& Put(XCString const& value);
    XCCommaSeparatedValues& Put(int value);
    /// The next value; empty after the last one. @param ok receives whether there was one; may be null.
    XCString Get(bool* ok = nullptr);
    /// The next value as XCString::AsInt reads it. @param ok receives whether there was one and it is a number.
    int GetInt(bool* ok = nullptr);
    /// Get starts again at the first value.
    void Rewind() noexcept { m_pos = 0; }
    /// The packed list.
    [[nodiscard]] XCString const& AsString() const noexcept { return m_packed; }

private:
    XCString m_packed;
    std::size_t m_pos = 0; // past the length: the last value has been given
};
