// MessageLine.h - how one line of a message file is read: its end, what it is made of, its escapes.
#pragma once

#include "encoding/MessageTable.h"

#include <cstddef>
#include <string_view>

namespace xc::encoding {

/// A line of a file and what stands in it.
struct ScannedLine {
    std::size_t end;     ///< of its text: the line break, or the end of the bytes
    std::size_t next;    ///< where the next line begins
    std::uint8_t traits; ///< TextTraits
};
/// The line that begins at a position, which lies within the bytes. Its carriage return belongs to the break.
ScannedLine ScanLine(std::string_view bytes, std::size_t begin) noexcept;

/// Whether a line ends with a backslash that stands for no character, so that its text goes on in the next one.
bool IsContinued(std::string_view line) noexcept;

/// The first escape that means nothing.
struct EscapeFault {
    std::size_t at = std::string_view::npos; ///< npos: there is none
    wchar_t const* reason = nullptr;
};
EscapeFault FindEscapeFault(std::string_view text) noexcept;

/// Replaces the escapes of a decoded text by what they mean, in place; returns the new length. The escapes were found
/// to be right.
std::size_t Unescape(wchar_t* units, std::size_t length) noexcept;

} // namespace xc::encoding
