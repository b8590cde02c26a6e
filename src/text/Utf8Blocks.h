// Utf8Blocks.h - vectors of the UTF-8 conversions: loads, stores, constants and how much a step takes.
//
// Shared by both directions and by their kernels, so that these agree on the size of a step.
#pragma once

#include <cstddef>
#include <emmintrin.h>

namespace xc::text {

inline constexpr std::size_t kStep = 16;  // units or bytes that a step of SSE2 handles
inline constexpr std::size_t kHalf = 8;   // units in a vector of SSE2
inline constexpr std::size_t kWide = 32;  // units or bytes that a step of AVX2 handles
inline constexpr std::size_t kWorth = 64; // units or bytes from which on AVX2 pays

/// Units that are read singly before blocks are tried again: a character that stopped them is over by then, and a text
/// that stops each block loses little by the tries.
inline constexpr std::size_t kSingly = 16;

inline __m128i Load(void const* from) noexcept
{
    return _mm_loadu_si128(static_cast<__m128i const*>(from));
}
inline void Store(void* to, __m128i block) noexcept
{
    _mm_storeu_si128(static_cast<__m128i*>(to), block);
}
inline __m128i Units8(unsigned int value) noexcept
{
    return _mm_set1_epi16(static_cast<short>(value));
}
inline __m128i Bytes16(unsigned int value) noexcept
{
    return _mm_set1_epi8(static_cast<char>(value));
}
inline unsigned int MaskOfBytes(__m128i bytes) noexcept
{
    return static_cast<unsigned int>(_mm_movemask_epi8(bytes));
}

} // namespace xc::text
