// RangeKernels.h - scans for the next unit inside or outside a few ranges, and for the terminator.
//
// The vector form is chosen once, by the processor. No kernel reads outside [text, text + n), but for the counts, which
// may read the rest of an aligned vector of 32 bytes: never across a page.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace xc::text {

/// Up to kMax ranges of units, both ends included.
class UnitRanges {
public:
    static constexpr std::uint32_t kMax = 8;

    /// False, and nothing added, when there are kMax ranges already.
    bool Add(std::uint32_t first, std::uint32_t last) noexcept
    {
        if (m_count == kMax) return false;
        m_first[m_count] = static_cast<std::uint16_t>(first);
        m_span[m_count++] = static_cast<std::uint16_t>(last - first);
        return true;
    }
    [[nodiscard]] std::uint32_t Count() const noexcept { return m_count; }
    [[nodiscard]] std::uint16_t First(std::uint32_t i) const noexcept { return m_first[i]; }
    /// Last minus first.
    [[nodiscard]] std::uint16_t Span(std::uint32_t i) const noexcept { return m_span[i]; }
    [[nodiscard]] bool Holds(wchar_t unit) const noexcept
    {
        for (std::uint32_t i = 0; i < m_count; ++i)
            if (static_cast<std::uint16_t>(static_cast<std::uint16_t>(unit) - m_first[i]) <= m_span[i]) return true;
        return false;
    }

private:
    std::uint32_t m_count = 0;
    std::array<std::uint16_t, kMax> m_first{};
    std::array<std::uint16_t, kMax> m_span{};
};

// An aligned vector may hold units that are not the caller's; they are read and ignored, but sanitizers would object.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define XC_NO_OVERREAD
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define XC_NO_OVERREAD
#endif

/// Whether 32 bytes from here on lie in one page, so that reading them is safe when the first unit is.
inline bool MayReadVector(wchar_t const* text) noexcept
{
#if defined(XC_NO_OVERREAD)
    return text == nullptr;
#else
    return (reinterpret_cast<std::uintptr_t>(text) & 0xFFF) <= 0x1000 - 32;
#endif
}

/// The index of the first unit that lies in, lies outside every range, or n.
std::size_t FindInside(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept;
std::size_t FindOutside(wchar_t const* text, std::size_t n, UnitRanges const& ranges) noexcept;
/// The units before the first that lies outside every range; the ranges must not hold U+0000, so that a text ends there
/// at the latest. From `limit` units on the count may stop anywhere.
std::size_t LeadInside(wchar_t const* text, std::size_t limit, UnitRanges const& ranges) noexcept;

/// The units before the terminator, at most `limit`.
std::size_t UnitCount(wchar_t const* text, std::size_t limit) noexcept;
/// The units before the terminator or U+FFFF, at most `limit`.
std::size_t DotCount(wchar_t const* text, std::size_t limit) noexcept;
/// At most so many units end a count beside the terminator.
constexpr std::size_t kMostEnds = 3;
/// The units before the terminator or the first of these units, at most `limit`.
std::size_t CountUpTo(wchar_t const* text, std::size_t limit, std::span<wchar_t const> ends) noexcept;

} // namespace xc::text
