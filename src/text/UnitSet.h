// UnitSet.h - a list of units as a set, for the searches that look for any (or none) of several units.
#pragma once

#include "text/Units.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>
#include <string_view>

namespace xc::text {

/// Short lists are compared in vector steps, long ones looked up in a bitmap. Lives shorter than
/// the list it was made of.
class UnitSet {
public:
    explicit UnitSet(std::wstring_view list) noexcept;
    [[nodiscard]] bool IsEmpty() const noexcept { return m_count == 0; }

    /// The index of the first (last) of the n units that is in the set (`member` true) or outside; n when there is none.
    std::size_t FindFirst(wchar_t const* text, std::size_t n, bool member) const noexcept;
    std::size_t FindLast(wchar_t const* text, std::size_t n, bool member) const noexcept;

private:
    static constexpr std::size_t kMostCompared = 8;

    [[nodiscard]] bool Has(wchar_t unit) const noexcept
    {
        if (m_count > kMostCompared) return (m_bitmap[ToUint(unit) / 32] >> (ToUint(unit) % 32) & 1) != 0;
        for (std::size_t i = 0; i < m_count; ++i)
            if (m_list[i] == unit) return true;
        return false;
    }
    [[nodiscard]] unsigned int MembersAt(wchar_t const* text) const noexcept;

    wchar_t const* m_list;
    std::size_t m_count;
    __m128i m_members[kMostCompared];          // set up for short lists
    std::array<std::uint32_t, 0x800> m_bitmap; // set up for long lists
};

} // namespace xc::text
