// LiteralFinder.h - looks for the first of up to some hundred texts in one pass.
#pragma once

#include "match/Literals.h"
#include "text/Cpu.h"
#include "text/RangeKernels.h"

#include <string_view>

namespace xc::match {

/// What the units are that a search filters by. Letters are small ones, from 0x60 on.
enum class FilteredUnits : std::uint8_t { Any, Ascii, Letters };

class LiteralFinder {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// Looks for nothing.
    explicit LiteralFinder(Memory memory) : m_slots(memory), m_entries(memory) {}
    /// Looks for nothing when the processor has no AVX2 or the literals are empty.
    LiteralFinder(Literals const& literals, Memory memory);

    [[nodiscard]] bool IsEmpty() const noexcept { return m_longest == 0; }
    [[nodiscard]] bool LooksForMany() const noexcept { return m_placeCount > 2; }
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
    static constexpr std::size_t kBuckets = 8; ///< of a set
    static constexpr std::size_t kMostPlaces = 4;
    static constexpr std::size_t kBlock = 32; ///< places looked at in one step
    /// Units read from the first place of a block on.
    static constexpr std::size_t kReach = kBlock - 1 + Literal::kMax;
    static constexpr std::size_t kLead = 4;      ///< units that fit 64 bits
    static constexpr std::size_t kMostAlike = 8; ///< texts with the same lead that are compared

    struct Entry {
        std::uint64_t lead = 0; ///< the first units
        std::array<std::uint16_t, Literal::kMax> units{};
        std::array<std::uint16_t, Literal::kMax> mask{}; ///< 0xFFFF where the text has a unit
    };
    /// For one unit of the texts: by the low half of its low byte, the buckets of both sets whose texts have it; by the
    /// high half, the pairs of buckets.
    struct Filter {
        std::size_t offset = 0;
        std::array<std::uint8_t, 16> low{}, otherLow{}, high{};

        void Add(Literal const& text, std::size_t bucket, bool both) noexcept;
    };
    /// Places that look like texts.
    struct Block {
        std::size_t at;
        std::uint32_t places; ///< a bit where a text may stand
        std::uint32_t odd;    ///< a bit where U+FFFF stands
    };
    template <FilteredUnits Kind, bool Both>
    class Packed;

    void ChoosePlaces(Literals const& literals);
    void ChooseSigns(Literals const& literals);
    void FillFilters(List<Literal>& texts);
    void AddEntries(List<Literal>& texts);
    [[nodiscard]] std::uint64_t LeadOf(wchar_t const* text) const noexcept;
    [[nodiscard]] std::size_t SlotOf(std::uint64_t lead) const noexcept;
    /// The first block from i on where something may stand, or the first that does not lie wholly in the text.
    [[nodiscard]] Block NextBlock(wchar_t const* text, std::size_t i, std::size_t n) const noexcept;
    template <FilteredUnits Kind>
    [[nodiscard]] Block NextBlockOf(wchar_t const* text, std::size_t i, std::size_t n) const noexcept;
    template <FilteredUnits Kind, bool Both, std::size_t Places>
    [[nodiscard]] XC_TARGET_AVX2 Block NextBlockWith(wchar_t const* text, std::size_t i, std::size_t n) const noexcept;
    [[nodiscard]] bool IsAt(wchar_t const* text) const noexcept;
    /// The place found in a block; kBlock when there is none.
    [[nodiscard]] std::size_t FindInBlock(wchar_t const* text, Block const& block, std::size_t& credit) const noexcept;
    /// Goes on as long as blocks lie wholly in the text. @param i where the search begins, and where it ended.
    [[nodiscard]] bool FindInBlocks(wchar_t const* text, std::size_t& i, std::size_t n,
                                    std::size_t& credit) const noexcept;

    wchar_t m_unit = 0; ///< when there is one text of one unit
    /// Units of which each text has one at m_signOffset, and U+FFFF; none when there are too many.
    std::array<wchar_t, text::kMostEnds> m_signs{};
    std::size_t m_signCount = 0;
    std::size_t m_signOffset = 0;
    FilteredUnits m_units = FilteredUnits::Letters;
    bool m_both = false; ///< two sets of buckets
    std::size_t m_longest = 0;
    std::size_t m_placeCount = 2;
    std::array<Filter, kMostPlaces> m_filters{};
    std::uint64_t m_leadMask = 0; ///< the units of a lead that all texts have
    int m_slotShift = 0;
    List<std::uint8_t> m_slots; ///< by hash of the lead: the number of its first entry and one; 0 is free
    List<Entry> m_entries;      ///< by lead; the last one has a lead that no text has
};

} // namespace xc::match
