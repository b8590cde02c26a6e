// Utf8Kernels.h - the steps of the UTF-8 conversions that handle many characters at once.
//
// Each works on whole blocks from the start of its input on and stops, with all before it done, at the first block that
// is not for it: too little input left, a character that it does not know, or something malformed. The caller goes on
// with single characters from there. All of them do nothing (0) on a processor without AVX2, but for the runs of ASCII.
#pragma once

#include <cstddef>

namespace xc::text {

/// Copies the ASCII units at the start; returns how many.
std::size_t NarrowAsciiRun(char* out, wchar_t const* units, std::size_t n) noexcept;
/// Widens the ASCII bytes at the start; returns how many.
std::size_t WidenAsciiRun(wchar_t* out, char const* bytes, std::size_t n) noexcept;

/// Encodes blocks without surrogates; returns how many units were read, and moves `out` past what was written.
/// @param out has room for the n units as UTF-8, exactly.
std::size_t EncodeBlocks(char*& out, wchar_t const* units, std::size_t n) noexcept;
/// Decodes blocks of well-formed characters of one to three bytes; returns how many bytes were read, all of whole
/// characters, and moves `out` past what was written.
/// @param room units that may be written, meaningful or not.
std::size_t DecodeBlocks(wchar_t*& out, std::size_t room, char const* bytes, std::size_t n) noexcept;

/// Adds the count of UTF-8 bytes of blocks without surrogates to `bytes`; returns how many units were read.
std::size_t CountEncodedBlocks(std::size_t& bytes, wchar_t const* units, std::size_t n) noexcept;
/// Adds the count of units (as CountUtf16Units has it) of blocks to `units`; returns how many bytes were read.
std::size_t CountDecodedBlocks(std::size_t& units, char const* bytes, std::size_t n) noexcept;

} // namespace xc::text
