// RecordText.h - the shapes in which texts become records: pure functions from units to bytes.
#pragma once

#include <XelbrinCore/XCString.h>

#include "log/RecordFields.h"
#include "win32/Clock.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace xc::log {

/// The text of UTF-8; a byte that is none becomes the unit of its value.
XCString FromBytes(std::string_view bytes);

/// Appends a level as decimal digits.
void AppendLevel(std::string& to, int level);
/// Appends a time as 2026-11-21T02:40:00.123Z.
void AppendJsonTime(std::string& to, win32::WallTime const& t);

/// Appends a text as UTF-8 in one pass.
void AppendText(std::string& to, std::wstring_view text);

/// Appends a text so that it stays on one line of the file: a line feed with text after it becomes "~", one that ends
/// the text carriage return and line feed. Everything else, carriage returns included, is kept.
void AppendOnOneLine(std::string& to, std::wstring_view text);

/// A block without the line end that closes it (line feed, or carriage return and line feed).
std::wstring_view WithoutLineEnd(std::wstring_view block) noexcept;

/// The text with every unit that could shape a line written out: control characters, line and paragraph separators,
/// marks that turn the writing direction, and the backslash, as \n \r \t \\ \xHH or \uHHHH. Text without such units is
/// returned as it is.
XCString EscapeControls(std::wstring_view text);

/// Appends what EscapeControls gives; a text with nothing to write out is not copied first.
void AppendEscaped(std::string& to, std::wstring_view text);

/// What a JSON record tells.
struct JsonRecord {
    win32::WallTime utc;
    int level;
    std::wstring_view channel; ///< left out when empty
    unsigned long process;
    unsigned long thread;
    std::wstring_view text;
    std::span<XCLogField const> fields{}; ///< an object after the text; left out when there are none
};

/// Appends one object and a line feed:
/// {"time":"2026-11-21T02:40:00.123Z","level":1,"channel":"...","process":1,"thread":2,"text":"...",
/// "fields":{"name":value}}
void AppendJsonRecord(std::string& to, JsonRecord const& record);
/// Appends a JSON string with its quotes. Escaped are quote, backslash, unpaired surrogates and all that shapes lines.
void AppendJsonString(std::string& to, std::wstring_view text);

} // namespace xc::log
