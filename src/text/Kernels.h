// Kernels.h - the scan kernels over 16-bit units that string search, comparison, hashing and the matcher share.
//
// All take a pointer and a count, never look for a terminator beyond the count, and read no unit outside it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xc::text {

/// The index of the first (last) `unit`, or n.
std::size_t FindUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept;
std::size_t FindLastUnit(wchar_t const* text, std::size_t n, wchar_t unit) noexcept;

/// The index of the first `needle` (m units) in n units, or n. An empty needle is found at 0. Linear time.
std::size_t FindText(wchar_t const* text, std::size_t n, wchar_t const* needle, std::size_t m) noexcept;

/// The index of the first unit that differs, or n.
std::size_t Mismatch(wchar_t const* a, wchar_t const* b, std::size_t n) noexcept;

/// h = h * 613 + unit over n units, wrapping at 32 bits.
std::uint32_t Hash613(std::uint32_t h, wchar_t const* text, std::size_t n) noexcept;

} // namespace xc::text
