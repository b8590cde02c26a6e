// CollationData.h - an order of characters as its readers see it: the elements of each unit.
//
// An element is one step of a text in its order: a primary weight (the letter), a secondary one (accent) and a tertiary
// one (case). Marks have no primary weight; a composed letter has the elements of its letter and of its marks.
#pragma once

#include "text/Units.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace xc::text {

/// primary << 16 | secondary << 8 | tertiary. 0 is ignored.
using Element = std::uint32_t;

/// The weights of a letter without accent, in lower case; no element with a primary weight has smaller ones.
inline constexpr std::uint32_t kCommonWeight = 0x20;
/// The smallest secondary weight of a mark.
inline constexpr std::uint32_t kFirstMarkWeight = 0x40;

constexpr std::uint32_t PrimaryOf(Element element) noexcept
{
    return element >> 16;
}
constexpr std::uint32_t SecondaryOf(Element element) noexcept
{
    return element >> 8 & 0xFF;
}
/// Of letters alone: the case of a mark means nothing.
constexpr std::uint32_t TertiaryOf(Element element) noexcept
{
    return PrimaryOf(element) != 0 ? element & 0xFF : 0;
}

/// Keys write the weights of Latin letters, which stand together, in one byte, smaller ones in two and larger ones in three.
/// The first bytes of the three forms lie apart, above the zero that separates levels: the bytes order as the weights.
inline constexpr std::uint32_t kShortWeights = 160;
inline constexpr std::uint32_t kFirstShortByte = 0x40;
inline constexpr std::uint32_t kLongByte = 0xE0;
inline constexpr std::uint32_t kLastFirstShort = (kFirstShortByte - 1) << 8;
static_assert(kFirstShortByte + kShortWeights <= kLongByte);

/// Several elements, or a unit that may begin a sequence: not an element itself, as its secondary weight is 0 while its
/// tertiary one is not. The upper half is an index.
inline constexpr std::uint32_t kExpansion = 1;
inline constexpr std::uint32_t kSequences = 2;
constexpr bool IsSpecial(Element element) noexcept
{
    return SecondaryOf(element) == 0 && (element & 0xFF) != 0;
}
/// One element that has all three weights: nearly all letters.
constexpr bool IsPlain(Element element) noexcept
{
    return PrimaryOf(element) != 0 && SecondaryOf(element) != 0;
}

/// A run of CollationData::elements.
struct ElementRun {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
};

/// The units that follow a first one in a sequence that is a letter of its own.
struct Sequence {
    std::wstring rest;
    ElementRun elements;
};

/// What may begin with a unit.
struct SequenceHead {
    std::vector<Sequence> sequences; ///< longer ones first
    ElementRun alone;                ///< when none of them follows
};

struct CollationData {
    std::array<Element, 0x10000> units{};
    std::vector<Element> elements;
    std::vector<ElementRun> expansions;
    std::vector<SequenceHead> heads;
    std::vector<bool> follows; ///< whether a unit occurs in a sequence after its first; empty: there are no sequences
    std::uint32_t numberLead = 0; ///< the primary weight before a number; of nothing else
    std::uint32_t firstShort = 0; ///< the first of the weights that have one byte in keys
};

/// The element of the unit at `text`, seeing through a unit that could begin a sequence and does not.
inline Element ElementAt(CollationData const& data, wchar_t const* text) noexcept
{
    Element const element = data.units[ToUint(*text)];
    if (SecondaryOf(element) != 0 || (element & 0xFF) != kSequences || data.follows[ToUint(text[1])]) return element;
    ElementRun const alone = data.heads[element >> 16].alone;
    return alone.count == 1 ? data.elements[alone.first] : element;
}

/// The elements of a text, one a call.
class ElementReader {
public:
    ElementReader(CollationData const& data, wchar_t const* text, bool numbers) noexcept
        : m_data(data), m_at(text), m_numbers(numbers)
    {
    }
    /// 0 at the end of the text.
    Element Next() noexcept
    {
        if (m_left != 0) {
            --m_left;
            return *m_pending++;
        }
        if (m_digits != 0) return NextDigit();
        for (;;) {
            wchar_t const unit = *m_at;
            if (m_numbers && IsDigit(unit)) return BeginNumber();
            Element const element = m_data.units[ToUint(unit)];
            if (unit == L'\0') return 0;
            ++m_at;
            Element const first = IsSpecial(element) ? Expand(element) : element;
            if (first != 0) return first;
        }
    }

private:
    /// The first element of a special one; 0 when it is ignored.
    Element Expand(Element special) noexcept;
    Element BeginNumber() noexcept;
    Element NextDigit() noexcept;

    CollationData const& m_data;
    wchar_t const* m_at;
    Element const* m_pending = nullptr;
    std::uint32_t m_left = 0;
    std::uint32_t m_digits = 0; ///< of a number: its length, when not yet given, and its digits
    bool m_lengthGiven = false;
    bool m_numbers;
};

} // namespace xc::text
