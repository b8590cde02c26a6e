// LiteralFinder.h - looks for the first of up to some hundred texts in one pass.
#pragma once

#include "match/Literals.h"
#include "text/Cpu.h"
#include "text/RangeKernels.h"

#include <string_view>

namespace xc::match {

class LiteralFinder {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// Looks for nothing.
    explicit LiteralFinder(Memory memory) : m_entries(memory) {}
    /// Looks for nothing when the processor has no AVX2 or the literals are empty.
    LiteralFinder(Literals const& literals, Memory memory);

    [[nodiscard]] bool IsEmpty() const noexcept { return m_longest == 0; }
    [[nodiscard]] std::size_t Longest() const noexcept { return m_longest; }
    /// Whether there are texts to look for, longer than one unit, and none of them stands here.
    [[nodiscard]] bool IsAbsent(wchar_t const* text, std::size_t n) const noexcept
    {
        return m_longest > 1 && Find(text, n) == kNone;
    }
    /// Whether a single unit is looked for and does not stand in the subject, which was read up to `text` and is not known
    /// to end within `most` further units.
    [[nodiscard]] bool IsUnitAbsent(wchar_t const* subject, wchar_t const* text, std::size_t most) const noexcept;
    /// How many units of a text whose end is not known can be passed over: before the place that they lead to no text
    /// begins, and no U+FFFF stands.
    [[nodiscard]] std::size_t PassOver(wchar_t const* text) const noexcept;
    /// The first place where a text begins, or U+FFFF stands, or where the search gave up because too many places look
    /// like a text: none begins before it. kNone when there is no such place. At a single unit U+FFFF is passed over.
    [[nodiscard]] std::size_t Find(wchar_t const* text, std::size_t n) const noexcept;

private:
    static constexpr std::size_t kBuckets = 8;
    static constexpr std::size_t kBlock = 32; ///< places looked at in one step
    /// Units read from the first place of a block on.
    static constexpr std::size_t kReach = kBlock - 1 + Literal::kMax;

    struct Entry {
        std::array<std::uint16_t, Literal::kMax> units{};
        std::array<std::uint16_t, Literal::kMax> mask{}; ///< 0xFFFF where the text has a unit
    };
    /// For one unit of the texts: by either half of its low byte, the buckets of the texts that have it.
    struct Filter {
        std::size_t offset = 0;
        std::array<std::uint8_t, 16> low{}, high{};
    };
    struct Block {
        std::array<std::uint8_t, kBlock> buckets;
        std::uint32_t places; ///< a bit where a bucket has a candidate
        std::uint32_t odd;    ///< a bit where U+FFFF stands
    };

    void ChooseUnits(Literals const& literals);
    void ChooseSigns(Literals const& literals);
    void AddEntries(Literals const& literals);
    [[nodiscard]] std::size_t SkipBlocks(wchar_t const* text, std::size_t i, std::size_t n) const noexcept;
    template <bool Ascii>
    [[nodiscard]] XC_TARGET_AVX2 std::size_t SkipBlocksOf(wchar_t const* text, std::size_t i,
                                                          std::size_t n) const noexcept;
    [[nodiscard]] Block Look(wchar_t const* text) const noexcept;
    [[nodiscard]] bool IsAt(wchar_t const* text, std::uint32_t buckets) const noexcept;
    /// The place found in a block; kBlock when there is none.
    [[nodiscard]] std::size_t FindInBlock(wchar_t const* text, std::size_t& credit) const noexcept;

    wchar_t m_unit = 0; ///< when there is one text of one unit
    /// Units of which each text has one at m_signOffset, and U+FFFF; none when there are too many.
    std::array<wchar_t, text::kMostEnds> m_signs{};
    std::size_t m_signCount = 0;
    std::size_t m_signOffset = 0;
    bool m_isAscii = true; ///< the units at the two places that are filtered
    std::size_t m_longest = 0;
    Filter m_first, m_second;
    std::array<std::uint32_t, kBuckets + 1> m_bounds{}; ///< of each bucket's entries
    List<Entry> m_entries;
};

} // namespace xc::match
