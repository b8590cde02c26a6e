// Looks for many texts at once by packed comparison of two of their units.
//
// The texts are spread over eight buckets. For two units of the texts, a bit for each bucket tells which low and which high
// half of the unit's low byte occur there; a byte shuffle looks the bits up for 32 units at once, and the AND of the four
// look-ups leaves a bit for every bucket that may have a text at that place. Only those places are compared. The method is
// that of packed literal matching as published for network scanners (Wang and others, Hyperscan, NSDI 2019), over the low
// bytes of 16-bit units: what lies above them is seen by the comparison. The two units are those met most seldom.
//
// Where the texts have one of three units at one of their places, a scan for these goes ahead: it needs no end of the
// subject, and reads a text that has none of them once in all.
//
// COST      A cycle for five units where nothing is found. A place that only looks like a text costs a comparison with its
//           bucket; when such places become frequent the search gives up, and the automaton does the work.
// INVARIANT No text begins before the place that is returned. Entries are ordered by bucket.
#include "match/LiteralFinder.h"

#include "text/Cpu.h"
#include "text/Kernels.h"

#include <algorithm>
#include <bit>
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

/// The buckets that 32 bytes belong to. A byte above 0x7F belongs to none when `Ascii`.
template <bool Ascii>
XC_INLINE_AVX2 __m256i BucketsOf(__m256i const& bytes, __m256i const& low, __m256i const& high) noexcept
{
    __m256i const half = _mm256_set1_epi8(0x0F);
    __m256i const lowHalf =
        Ascii ? bytes : _mm256_and_si256(bytes, half); // a shuffle reads the high bit and these four
    return _mm256_and_si256(_mm256_shuffle_epi8(low, lowHalf),
                            _mm256_shuffle_epi8(high, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half)));
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

/// From the order of packing to that of the text.
XC_INLINE_AVX2 __m256i Ordered(__m256i const& packed) noexcept
{
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

} // namespace

LiteralFinder::LiteralFinder(Literals const& literals, Memory memory) : m_entries(memory)
{
    if (literals.texts.empty() || !text::HasAvx2()) return;
    for (Literal const& text : literals.texts) m_longest = std::max(m_longest, text.length);
    if (m_longest == 1) {
        m_unit = literals.texts[0].units[0];
        return;
    }
    ChooseUnits(literals);
    if (literals.followGap) ChooseSigns(literals);
    AddEntries(literals);
}

/// The two places of the texts whose units are the rarest.
void LiteralFinder::ChooseUnits(Literals const& literals)
{
    std::array<std::uint32_t, Literal::kMax> rarity{};
    std::size_t shortest = Literal::kMax;
    for (Literal const& text : literals.texts) {
        shortest = std::min(shortest, text.length);
        for (std::size_t i = 0; i < text.length; ++i) rarity[i] += Rarity(text.units[i]);
    }
    std::size_t& first = m_first.offset;
    std::size_t& second = m_second.offset;
    first = 0;
    for (std::size_t i = 1; i < shortest; ++i)
        if (rarity[i] > rarity[first]) first = i;
    second = first == 0 ? 1 : 0;
    for (std::size_t i = 0; i < shortest; ++i)
        if (i != first && rarity[i] > rarity[second]) second = i;
}

/// The place of the texts that has the fewest and rarest units, U+FFFF put to them.
void LiteralFinder::ChooseSigns(Literals const& literals)
{
    std::size_t shortest = Literal::kMax;
    for (Literal const& text : literals.texts) shortest = std::min(shortest, text.length);
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

/// Texts with equal units share a bucket, so that the buckets of a place are few.
void LiteralFinder::AddEntries(Literals const& literals)
{
    List<Literal> texts(literals.texts, m_entries.get_allocator());
    auto const key = [this](Literal const& text) {
        return std::pair(text.units[m_first.offset], text.units[m_second.offset]);
    };
    std::sort(texts.begin(), texts.end(), [&](Literal const& a, Literal const& b) { return key(a) < key(b); });
    m_entries.reserve(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        std::size_t const bucket = i * kBuckets / texts.size();
        auto const bit = static_cast<std::uint8_t>(1u << bucket);
        for (Filter* const filter : {&m_first, &m_second}) {
            auto const unit = static_cast<std::uint16_t>(texts[i].units[filter->offset]);
            m_isAscii = m_isAscii && unit < 0x80;
            auto const byte = static_cast<std::uint8_t>(unit);
            filter->low[byte & 0x0F] |= bit;
            filter->high[byte >> 4] |= bit;
        }
        Entry& entry = m_entries.emplace_back();
        for (std::size_t unit = 0; unit < texts[i].length; ++unit) {
            entry.units[unit] = static_cast<std::uint16_t>(texts[i].units[unit]);
            entry.mask[unit] = 0xFFFF;
        }
        m_bounds[bucket + 1] = static_cast<std::uint32_t>(i + 1);
    }
    for (std::size_t bucket = 1; bucket <= kBuckets; ++bucket)
        m_bounds[bucket] = std::max(m_bounds[bucket], m_bounds[bucket - 1]);
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
    for (; i + kReach <= n; i += kBlock) {
        std::size_t const next = SkipBlocks(text, i, n);
        credit += (next - i) / kBlock;
        i = next;
        if (i + kReach > n) break;
        if (std::size_t const at = FindInBlock(text + i, credit); at < kBlock) return i + at;
    }
    // The rest is copied, so that whole blocks can be read; no text holds the zeros after it.
    std::array<wchar_t, 2 * kBlock + kReach> rest{};
    text::CopyUnits(rest.data(), text + i, n - i);
    for (std::size_t at = 0; at < n - i; at += kBlock)
        if (std::size_t const found = FindInBlock(rest.data() + at, credit); found < kBlock) return i + at + found;
    return kNone;
}

/// The first block from i on where something may stand, or the first that does not lie wholly in the text.
std::size_t LiteralFinder::SkipBlocks(wchar_t const* text, std::size_t i, std::size_t n) const noexcept
{
    return m_isAscii ? SkipBlocksOf<true>(text, i, n) : SkipBlocksOf<false>(text, i, n);
}

template <bool Ascii>
XC_TARGET_AVX2 std::size_t LiteralFinder::SkipBlocksOf(wchar_t const* text, std::size_t i, std::size_t n) const noexcept
{
    __m256i const low1 = Load(m_first.low);
    __m256i const high1 = Load(m_first.high);
    __m256i const low2 = Load(m_second.low);
    __m256i const high2 = Load(m_second.high);
    __m256i const odd = _mm256_set1_epi16(-1);
    for (; i + kReach <= n; i += kBlock) {
        wchar_t const* const first = text + i + m_first.offset;
        wchar_t const* const second = text + i + m_second.offset;
        __m256i const bytes1 = Ascii ? AsciiBytes(first) : LowBytes(first);
        __m256i const bytes2 = Ascii ? AsciiBytes(second) : LowBytes(second);
        __m256i const candidates =
            _mm256_and_si256(BucketsOf<Ascii>(bytes1, low1, high1), BucketsOf<Ascii>(bytes2, low2, high2));
        // U+FFFF is the greatest unit.
        __m256i const greatest = _mm256_max_epu16(Load(text + i), Load(text + i + 16));
        __m256i const any = _mm256_or_si256(candidates, _mm256_cmpeq_epi16(greatest, odd));
        if (_mm256_testz_si256(any, any) == 0) break;
    }
    return i;
}

XC_TARGET_AVX2 auto LiteralFinder::Look(wchar_t const* text) const noexcept -> Block
{
    wchar_t const* const first = text + m_first.offset;
    wchar_t const* const second = text + m_second.offset;
    __m256i const candidates =
        Ordered(_mm256_and_si256(BucketsOf<false>(LowBytes(first), Load(m_first.low), Load(m_first.high)),
                                 BucketsOf<false>(LowBytes(second), Load(m_second.low), Load(m_second.high))));
    __m256i const odd = _mm256_set1_epi16(-1);
    __m256i const odds =
        Ordered(_mm256_packs_epi16(_mm256_cmpeq_epi16(Load(text), odd), _mm256_cmpeq_epi16(Load(text + 16), odd)));
    Block block;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(block.buckets.data()), candidates);
    block.places =
        ~static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(candidates, _mm256_setzero_si256())));
    block.odd = static_cast<std::uint32_t>(_mm256_movemask_epi8(odds));
    return block;
}

std::size_t LiteralFinder::FindInBlock(wchar_t const* text, std::size_t& credit) const noexcept
{
    Block const block = Look(text);
    for (std::uint32_t places = block.places | block.odd; places != 0; places &= places - 1) {
        auto const at = static_cast<std::size_t>(std::countr_zero(places));
        if ((block.odd >> at & 1) != 0 || IsAt(text + at, block.buckets[at]) || credit == 0) return at;
        --credit;
    }
    return kBlock;
}

bool LiteralFinder::IsAt(wchar_t const* text, std::uint32_t buckets) const noexcept
{
    auto const load = [](auto const* at) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at)); };
    __m128i const units = load(text);
    for (; buckets != 0; buckets &= buckets - 1) {
        auto const bucket = static_cast<std::size_t>(std::countr_zero(buckets));
        for (std::uint32_t i = m_bounds[bucket]; i < m_bounds[bucket + 1]; ++i) {
            Entry const& entry = m_entries[i];
            __m128i const fits =
                _mm_cmpeq_epi16(_mm_and_si128(units, load(entry.mask.data())), load(entry.units.data()));
            if (_mm_movemask_epi8(fits) == 0xFFFF) return true;
        }
    }
    return false;
}

} // namespace xc::match
