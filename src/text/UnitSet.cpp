// Searches for any, or none, of a list of units.
//
// Lists have a few units as a rule (separators, blanks): up to eight are compared one by one against eight units of the
// text at a time, which costs less than a table that is built for one search. Longer lists become a bitmap of 65,536
// bits, set up once; then each unit is one look-up, so that the time does not grow with the list.
//
// Invariant: the members or the bitmap are set up, never both; what is not set up is never read.
#include "text/UnitSet.h"

#include "text/Kernels.h"

#include <bit>

namespace xc::text {

namespace {

constexpr std::size_t kSetBlock = 8;

} // namespace

UnitSet::UnitSet(std::wstring_view list) noexcept : m_list(list.data()), m_count(list.size())
{
    if (m_count <= kMostCompared) {
        // Spread here, once, and not in each step.
        for (std::size_t i = 0; i < m_count; ++i) m_members[i] = _mm_set1_epi16(static_cast<short>(list[i]));
        return;
    }
    m_bitmap.fill(0);
    for (std::size_t i = 0; i < m_count; ++i) m_bitmap[ToUint(list[i]) / 32] |= 1u << (ToUint(list[i]) % 32);
}

/// Two bits for each of eight units: whether it is in the (short) set.
unsigned int UnitSet::MembersAt(wchar_t const* text) const noexcept
{
    __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text));
    __m128i any = _mm_setzero_si128();
    for (std::size_t i = 0; i < m_count; ++i) any = _mm_or_si128(any, _mm_cmpeq_epi16(block, m_members[i]));
    return static_cast<unsigned int>(_mm_movemask_epi8(any));
}

std::size_t UnitSet::FindFirst(wchar_t const* text, std::size_t n, bool member) const noexcept
{
    std::size_t i = 0;
    if (m_count <= kMostCompared) {
        // The first unit that is none is the first member of the complement.
        unsigned int const flip = member ? 0 : 0xFFFF;
        for (; n - i >= kSetBlock; i += kSetBlock) {
            unsigned int const mask = MembersAt(text + i) ^ flip;
            if (mask != 0) return i + static_cast<std::size_t>(std::countr_zero(mask)) / 2;
        }
    }
    // The rest that fills no block, or all of the text for a long list.
    while (i < n && Has(text[i]) != member) ++i;
    return i;
}

std::size_t UnitSet::FindLast(wchar_t const* text, std::size_t n, bool member) const noexcept
{
    std::size_t left = n;
    if (m_count <= kMostCompared) {
        unsigned int const flip = member ? 0 : 0xFFFF;
        for (; left >= kSetBlock; left -= kSetBlock) {
            unsigned int const mask = MembersAt(text + left - kSetBlock) ^ flip;
            if (mask != 0) return left - kSetBlock + (31 - static_cast<std::size_t>(std::countl_zero(mask))) / 2;
        }
    }
    while (left-- > 0)
        if (Has(text[left]) == member) return left;
    return n;
}

} // namespace xc::text
