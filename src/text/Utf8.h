// Utf8.h - UTF-8 to and from UTF-16, for the converters and for the rooms that write logs, consoles and files.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace xc::text {

/// The most bytes that n units can need.
constexpr std::size_t MaxUtf8Bytes(std::size_t units) noexcept
{
    return units * 3;
}

// To UTF-8, never failing: an unpaired surrogate becomes U+FFFD ("EF BF BD") ------------------------------------

/// Appends the text. Cost: one pass to write; from the first unit beyond ASCII on, one more to count.
void AppendUtf8(std::string& out, std::wstring_view text);
/// The same up to the first unpaired surrogate; returns its index, or the length of the text when there is none.
std::size_t AppendUtf8Strictly(std::string& out, std::wstring_view text);
/// Writes into a buffer of at least CountUtf8Bytes(text) bytes (MaxUtf8Bytes always suffices); returns the count of bytes.
std::size_t EncodeUtf8(char* out, std::wstring_view text) noexcept;
/// The same up to the first unpaired surrogate, whose index (or the length) `used` receives.
std::size_t EncodeUtf8(char* out, std::wstring_view text, std::size_t& used) noexcept;
/// The exact count of bytes that the lenient forms write, and room enough for all.
std::size_t CountUtf8Bytes(std::wstring_view text) noexcept;
/// The index of the first unpaired surrogate, or the length: texts with none convert without loss.
std::size_t FindUnpairedSurrogate(std::wstring_view text) noexcept;

// From UTF-8, strictly: overlong forms, surrogates, values above 10FFFF and cut sequences are malformed ----------

/// Replaces `result`. False when the bytes are malformed: `result` stays as it was and `errorAt` (when not null)
/// receives the index of the first byte of the first malformed sequence.
bool DecodeUtf8(XCString& result, std::string_view bytes, std::size_t* errorAt = nullptr);
/// Decodes into a buffer of at least bytes.size() units up to the first malformed sequence. Returns the count of units;
/// `used` receives the bytes read, all of them when nothing is wrong.
std::size_t DecodeUtf8(wchar_t* out, std::string_view bytes, std::size_t& used) noexcept;
/// The same into a buffer of `room` units, at least CountUtf16Units(bytes).
std::size_t DecodeUtf8(wchar_t* out, std::size_t room, std::string_view bytes, std::size_t& used) noexcept;
/// The count of units that well-formed bytes decode to; malformed ones never decode to more, and may count as up to
/// two units a byte.
std::size_t CountUtf16Units(std::string_view bytes) noexcept;
/// Decodes into a buffer of at least bytes.size() units; a byte that is no UTF-8 becomes the unit of its value.
/// Returns the count of units.
std::size_t DecodeUtf8Leniently(wchar_t* out, std::string_view bytes) noexcept;
/// The same into a buffer that may be too small: writes the first `room` units at most and returns the count of all.
/// The bytes are never cut, because a character that is cut would become other units. Slower than the above.
std::size_t DecodeUtf8Leniently(wchar_t* out, std::size_t room, std::string_view bytes) noexcept;
/// Bytes that may have been cut anywhere, without the begun character at their end.
std::string_view WithoutBegunCharacter(std::string_view bytes) noexcept;

// Bytes that are units of their own (Latin-1) -------------------------------------------------------------------

/// Writes a unit for each byte, its value.
void WidenBytes(wchar_t* out, std::string_view bytes) noexcept;
/// Writes a byte for each unit up to the first one above 00FF; returns how many.
std::size_t NarrowUnits(char* out, std::wstring_view text) noexcept;

} // namespace xc::text
