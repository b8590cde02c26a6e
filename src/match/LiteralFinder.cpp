// Looks for many texts at once by packed comparison of two to four of their units.
//
// The texts are spread over eight buckets. For two units of the texts, a bit for each bucket tells which low and which high
// half of the unit's low byte occur there; a byte shuffle looks the bits up for 32 units at once, and the AND of the four
// look-ups leaves a bit for every bucket that may have a text at that place. Only those places are compared. The method is
// that of packed literal matching as published for network scanners (Wang and others, Hyperscan, NSDI 2019), over the low
// bytes of 16-bit units: what lies above them is seen by the comparison. The units are those met most seldom.
//
// More than sixteen texts are filtered by four units, more than thirty-two in two sets of buckets: each bucket holds a few
// texts that begin much alike, else all letters would pass. High halves tell letters from digits and hardly more, so two
// buckets side by side share their look-up; where all units are small letters, the least of them is compared instead. A
// text too short for a unit lets everything pass there.
//
// Where the texts have one of three units at one of their places, a scan for these goes ahead: it needs no end of the
// subject, and reads a text that has none of them once in all.
//
// COST      A cycle for five units where nothing is found, for two units with the most texts. A place that only looks like
//           a text costs a look-up of its first four units, and rarely comparisons: at most kMostAlike. When such places
//           become frequent the search gives up, and the automaton does the work.
// INVARIANT No text begins before the place that is returned. Entries are ordered by lead.
#include "match/LiteralFinder.h"

#include "text/Cpu.h"
#include "text/Kernels.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <immintrin.h>

namespace xc::match {

namespace {

XC_INLINE_AVX2 __m256i Load(wchar_t const* at) noexcept
{
    return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at));
}

XC_INLINE_AVX2 __m256i Load(std::array<std::uint8_t, 16> const& table) noexcept
{
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<__m128i const*>(table.data())));
}

constexpr std::uint8_t kFirstLetter = 0x60;

std::size_t ShortestOf(Literals const& literals) noexcept
{
    std::size_t shortest = Literal::kMax;
    for (Literal const& text : literals.texts) shortest = std::min(shortest, text.length);
    return shortest;
}

/// The low bytes of 32 units, in the order of packing.
XC_INLINE_AVX2 __m256i LowBytes(wchar_t const* at) noexcept
{
    __m256i const byte = _mm256_set1_epi16(0xFF);
    return _mm256_packus_epi16(_mm256_and_si256(Load(at), byte), _mm256_and_si256(Load(at + 16), byte));
}

/// The same where each is below 0x80; units from 0x8000 on give 0, all others bytes above 0x7F.
XC_INLINE_AVX2 __m256i AsciiBytes(wchar_t const* at) noexcept
{
    return _mm256_packus_epi16(Load(at), Load(at + 16));
}

/// From the order of packing to that of the text, a bit for each byte that is not zero.
XC_INLINE_AVX2 std::uint32_t BitsOf(__m256i const& packed) noexcept
{
    __m256i const ordered = _mm256_permute4x64_epi64(packed, 0xD8);
    return ~static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(ordered, _mm256_setzero_si256())));
}

} // namespace

/// The buckets that may have a text, for 32 places.
template <FilteredUnits Kind, bool Both>
class LiteralFinder::Packed {
public:
    XC_INLINE_AVX2 Packed() noexcept
        : m_low(_mm256_set1_epi8(-1)), m_otherLow(_mm256_set1_epi8(-1)), m_high(_mm256_set1_epi8(-1)),
          m_least(_mm256_set1_epi8(0x7F))
    {
    }
    XC_INLINE_AVX2 void Narrow(Filter const& filter, wchar_t const* text) noexcept
    {
        wchar_t const* const at = text + filter.offset;
        __m256i const half = _mm256_set1_epi8(0x0F);
        __m256i const bytes = Kind == FilteredUnits::Any ? LowBytes(at) : AsciiBytes(at);
        // A shuffle reads four bits, and gives no bucket where the highest one is set.
        __m256i const lowHalf = Kind == FilteredUnits::Any ? _mm256_and_si256(bytes, half) : bytes;
        m_low = _mm256_and_si256(m_low, _mm256_shuffle_epi8(Load(filter.low), lowHalf));
        if (Both) m_otherLow = _mm256_and_si256(m_otherLow, _mm256_shuffle_epi8(Load(filter.otherLow), lowHalf));
        if (Kind == FilteredUnits::Letters) {
            m_least = _mm256_min_epi8(m_least, bytes);
            return;
        }
        __m256i const highHalf = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half);
        m_high = _mm256_and_si256(m_high, _mm256_shuffle_epi8(Load(filter.high), highHalf));
    }
    /// A byte for each place, in the order of packing.
    XC_INLINE_AVX2 __m256i Left() const noexcept
    {
        __m256i const high =
            Kind == FilteredUnits::Letters ? _mm256_cmpgt_epi8(m_least, _mm256_set1_epi8(kFirstLetter - 1)) : m_high;
        return _mm256_and_si256(Both ? _mm256_or_si256(m_low, m_otherLow) : m_low, high);
    }

private:
    __m256i m_low, m_otherLow, m_high, m_least;
};

LiteralFinder::LiteralFinder(Literals const& literals, Memory memory) : m_slots(memory), m_entries(memory)
{
    if (literals.texts.empty() || !text::HasAvx2()) return;
    for (Literal const& text : literals.texts) m_longest = std::max(m_longest, text.length);
    if (m_longest == 1) {
        m_unit = literals.texts[0].units[0];
        return;
    }
    ChoosePlaces(literals);
    if (literals.followGap) ChooseSigns(literals);
    List<Literal> texts(literals.texts, literals.texts.get_allocator());
    FillFilters(texts);
    AddEntries(texts);
}

/// The places of the texts whose units are the rarest; some texts may lack the last ones when that gives more places.
void LiteralFinder::ChoosePlaces(Literals const& literals)
{
    std::array<std::uint32_t, Literal::kMax> rarity{};
    for (Literal const& text : literals.texts)
        for (std::size_t i = 0; i < text.length; ++i) rarity[i] += Rarity(text.units[i]);
    std::size_t const shortest = ShortestOf(literals);
    m_leadMask = shortest >= kLead ? ~std::uint64_t{0} : (std::uint64_t{1} << 16 * shortest) - 1;
    constexpr std::size_t kFewest = 16; // texts that two units suffice for
    constexpr std::size_t kFew = 32;    // texts that one set of buckets suffices for
    std::size_t const count = literals.texts.size();
    m_both = count > kFew;
    m_placeCount = count <= kFewest ? 2 : kMostPlaces;
    std::size_t const end = std::max(shortest, std::min(m_placeCount, m_longest)); // some may lack the last ones
    for (std::size_t place = 0; place < m_placeCount; ++place) {
        std::size_t best = 0; // also for places that there are not
        for (std::size_t i = 1; i < end; ++i)
            if (rarity[i] > rarity[best]) best = i;
        m_filters[place].offset = best;
        rarity[best] = 0;
    }
}

/// The place of the texts that has the fewest and rarest units, U+FFFF put to them.
void LiteralFinder::ChooseSigns(Literals const& literals)
{
    std::size_t const shortest = ShortestOf(literals);
    std::uint32_t leastCost = 0xFFFFFFFF;
    for (std::size_t offset = 0; offset < shortest; ++offset) {
        std::array<wchar_t, text::kMostEnds> signs{static_cast<wchar_t>(0xFFFF)};
        std::size_t count = 1;
        std::uint32_t cost = 0;
        for (Literal const& text : literals.texts) {
            wchar_t const unit = text.units[offset];
            auto const end = signs.begin() + static_cast<std::ptrdiff_t>(std::min(count, signs.size()));
            if (std::find(signs.begin(), end, unit) != end) continue;
            if (count < signs.size()) signs[count] = unit;
            ++count;
            cost += 8 - Rarity(unit);
        }
        if (count > signs.size() || cost >= leastCost) continue;
        leastCost = cost;
        m_signs = signs;
        m_signCount = count;
        m_signOffset = offset;
    }
}

/// Texts with equal low halves share a bucket, so that few units pass there.
void LiteralFinder::FillFilters(List<Literal>& texts)
{
    auto const key = [this](Literal const& text) {
        std::uint32_t halves = 0;
        for (Filter const& filter : m_filters)
            halves = halves << 4 | (static_cast<std::uint16_t>(text.units[filter.offset]) & 0x0F);
        return halves;
    };
    std::sort(texts.begin(), texts.end(), [&](Literal const& a, Literal const& b) { return key(a) < key(b); });
    std::size_t const buckets = m_both ? 2 * kBuckets : kBuckets;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::size_t const bucket = i * buckets / texts.size();
        for (std::size_t place = 0; place < m_placeCount; ++place) {
            Filter& filter = m_filters[place];
            filter.Add(texts[i], m_both ? bucket / 2 : bucket, m_both && bucket % 2 != 0);
            auto const unit = static_cast<std::uint16_t>(texts[i].units[filter.offset]);
            bool const lacksUnit = filter.offset >= texts[i].length;
            m_units = std::min(m_units, lacksUnit || unit >= 0x80 ? FilteredUnits::Any
                                        : unit < kFirstLetter     ? FilteredUnits::Ascii
                                                                  : FilteredUnits::Letters);
        }
    }
}

/// @param other the second set of buckets.
void LiteralFinder::Filter::Add(Literal const& text, std::size_t bucket, bool other) noexcept
{
    auto const bit = static_cast<std::uint8_t>(1u << bucket);
    auto& lows = other ? otherLow : low;
    bool const all = offset >= text.length;
    auto const byte = static_cast<std::uint8_t>(text.units[offset]);
    for (std::size_t half = 0; half < low.size(); ++half) {
        if (all || half == (byte & 0x0Fu)) lows[half] |= bit;
        if (all || half == byte >> 4u) high[half] |= bit;
    }
}

/// Where more texts share a lead than are worth comparing, the lead stands for them.
void LiteralFinder::AddEntries(List<Literal>& texts)
{
    auto const lead = [this](Literal const& text) { return LeadOf(text.units.data()); };
    std::sort(texts.begin(), texts.end(), [&](Literal const& a, Literal const& b) { return lead(a) < lead(b); });
    m_entries.reserve(texts.size() + 1);
    std::size_t const slots = std::bit_ceil(8 * texts.size());
    m_slots.resize(slots);
    m_slotShift = 64 - std::countr_zero(slots);
    for (std::size_t i = 0; i < texts.size();) {
        std::size_t end = i + 1;
        while (end < texts.size() && lead(texts[end]) == lead(texts[i])) ++end;
        std::size_t slot = SlotOf(lead(texts[i]));
        while (m_slots[slot] != 0) slot = (slot + 1) % slots;
        m_slots[slot] = static_cast<std::uint8_t>(m_entries.size() + 1);
        bool const alike = end - i > kMostAlike;
        for (std::size_t at = i; at < (alike ? i + 1 : end); ++at) {
            Entry& entry = m_entries.emplace_back();
            entry.lead = lead(texts[at]);
            std::size_t const length =
                alike ? static_cast<std::size_t>(std::popcount(m_leadMask)) / 16 : texts[at].length;
            for (std::size_t unit = 0; unit < length; ++unit) {
                entry.units[unit] = static_cast<std::uint16_t>(texts[at].units[unit]);
                entry.mask[unit] = 0xFFFF;
            }
        }
        i = end;
    }
    m_entries.emplace_back();
}

std::uint64_t LiteralFinder::LeadOf(wchar_t const* text) const noexcept
{
    std::uint64_t units;
    static_assert(sizeof units == kLead * sizeof(wchar_t));
    std::memcpy(&units, text, sizeof units);
    return units & m_leadMask;
}

/// Where the look-up of a lead begins.
std::size_t LiteralFinder::SlotOf(std::uint64_t lead) const noexcept
{
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(lead * kFactor >> m_slotShift);
}

bool LiteralFinder::IsUnitAbsent(wchar_t const* subject, wchar_t const* text, std::size_t most) const noexcept
{
    if (m_longest != 1) return false;
    std::size_t const n = text::CountUpTo(text, most, {&m_unit, 1});
    auto const read = static_cast<std::size_t>(text - subject);
    return n < most && text[n] == 0 && text::FindUnit(subject, read, m_unit) == read;
}

std::size_t LiteralFinder::PassOver(wchar_t const* text) const noexcept
{
    if (m_signCount == 0) return 0;
    constexpr std::size_t kMost = 1u << 20;
    std::size_t const n = text::CountUpTo(text, kMost, {m_signs.data(), m_signCount});
    return n - std::min(n, m_signOffset);
}

std::size_t LiteralFinder::Find(wchar_t const* text, std::size_t n) const noexcept
{
    if (m_longest == 1) {
        std::size_t const at = text::FindUnit(text, n, m_unit);
        return at < n ? at : kNone;
    }
    std::size_t credit = 4; // for places that look like a text: each block passed earns one more
    std::size_t i = 0;
    if (FindInBlocks(text, i, n, credit)) return i;
    // The rest is copied, so that whole blocks can be read; no text holds the zeros after it.
    std::array<wchar_t, kBlock + kReach> rest{};
    text::CopyUnits(rest.data(), text + i, n - i);
    std::size_t at = 0;
    return FindInBlocks(rest.data(), at, rest.size(), credit) ? i + at : kNone;
}

bool LiteralFinder::FindInBlocks(wchar_t const* text, std::size_t& i, std::size_t n, std::size_t& credit) const noexcept
{
    for (;;) {
        Block const block = NextBlock(text, i, n);
        credit += (block.at - i) / kBlock;
        i = block.at;
        if (i + kReach > n) return false;
        std::size_t const found = FindInBlock(text + i, block, credit);
        i += found;
        if (found < kBlock) return true;
    }
}

auto LiteralFinder::NextBlock(wchar_t const* text, std::size_t i, std::size_t n) const noexcept -> Block
{
    switch (m_units) {
    case FilteredUnits::Any: return NextBlockOf<FilteredUnits::Any>(text, i, n);
    case FilteredUnits::Ascii: return NextBlockOf<FilteredUnits::Ascii>(text, i, n);
    case FilteredUnits::Letters: break;
    }
    return NextBlockOf<FilteredUnits::Letters>(text, i, n);
}

template <FilteredUnits Kind>
auto LiteralFinder::NextBlockOf(wchar_t const* text, std::size_t i, std::size_t n) const noexcept -> Block
{
    if (m_both) return NextBlockWith<Kind, true, 4>(text, i, n);
    return m_placeCount == 2 ? NextBlockWith<Kind, false, 2>(text, i, n) : NextBlockWith<Kind, false, 4>(text, i, n);
}

template <FilteredUnits Kind, bool Both, std::size_t Places>
auto LiteralFinder::NextBlockWith(wchar_t const* text, std::size_t i, std::size_t n) const noexcept -> Block
{
    __m256i const odd = _mm256_set1_epi16(-1);
    for (; i + kReach <= n; i += kBlock) {
        Packed<Kind, Both> packed;
        packed.Narrow(m_filters[0], text + i);
        packed.Narrow(m_filters[1], text + i);
        if constexpr (Places == 4) {
            packed.Narrow(m_filters[2], text + i);
            packed.Narrow(m_filters[3], text + i);
        }
        __m256i const left = packed.Left();
        // U+FFFF is the greatest unit.
        __m256i const greatest = _mm256_max_epu16(Load(text + i), Load(text + i + 16));
        __m256i const any = _mm256_or_si256(left, _mm256_cmpeq_epi16(greatest, odd));
        if (_mm256_testz_si256(any, any) != 0) continue;
        __m256i const odds =
            _mm256_packs_epi16(_mm256_cmpeq_epi16(Load(text + i), odd), _mm256_cmpeq_epi16(Load(text + i + 16), odd));
        return {i, BitsOf(left), BitsOf(odds)};
    }
    return {i, 0, 0};
}

std::size_t LiteralFinder::FindInBlock(wchar_t const* text, Block const& block, std::size_t& credit) const noexcept
{
    for (std::uint32_t places = block.places | block.odd; places != 0; places &= places - 1) {
        auto const at = static_cast<std::size_t>(std::countr_zero(places));
        if ((block.odd >> at & 1) != 0 || IsAt(text + at) || credit == 0) return at;
        --credit;
    }
    return kBlock;
}

bool LiteralFinder::IsAt(wchar_t const* text) const noexcept
{
    auto const load = [](auto const* at) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at)); };
    std::uint64_t const lead = LeadOf(text);
    for (std::size_t slot = SlotOf(lead); m_slots[slot] != 0; slot = (slot + 1) & (m_slots.size() - 1)) {
        Entry const* entry = &m_entries[m_slots[slot] - 1u];
        if (entry->lead != lead) continue;
        __m128i const units = load(text);
        for (; entry->lead == lead; ++entry) {
            __m128i const fits =
                _mm_cmpeq_epi16(_mm_and_si128(units, load(entry->mask.data())), load(entry->units.data()));
            if (_mm_movemask_epi8(fits) == 0xFFFF) return true;
        }
        return false;
    }
    return false;
}

} // namespace xc::match
