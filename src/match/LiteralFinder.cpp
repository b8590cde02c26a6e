// Looks for many texts at once by packed comparison of two of their units.
//
// The texts are spread over eight buckets. For two units of the texts, a bit for each bucket tells which low and which high
// half of the unit's low byte occur there; a byte shuffle looks the bits up for 32 units at once, and the AND of the four
// look-ups leaves a bit for every bucket that may have a text at that place. Only those places are compared. The method is
// that of packed literal matching as published for network scanners (Wang and others, Hyperscan, NSDI 2019), over the low
// bytes of 16-bit units: what lies above them is seen by the comparison. The two units are those met most seldom.
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
#include <numeric>

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

/// The buckets that the low bytes of 32 units belong to, in the order of packing.
XC_INLINE_AVX2 __m256i BucketsOf(__m256i const& a, __m256i const& b, __m256i const& low, __m256i const& high) noexcept
{
    __m256i const half = _mm256_set1_epi8(0x0F);
    __m256i const byte = _mm256_set1_epi16(0xFF);
    __m256i const bytes = _mm256_packus_epi16(_mm256_and_si256(a, byte), _mm256_and_si256(b, byte));
    return _mm256_and_si256(_mm256_shuffle_epi8(low, _mm256_and_si256(bytes, half)),
                            _mm256_shuffle_epi8(high, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half)));
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
    std::array<std::size_t, Literal::kMax> order;
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(shortest),
                     [&](std::size_t a, std::size_t b) { return rarity[a] > rarity[b]; });
    m_first.offset = order[0];
    m_second.offset = order[1];
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
            auto const byte = static_cast<std::uint8_t>(texts[i].units[filter->offset]);
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
XC_TARGET_AVX2 std::size_t LiteralFinder::SkipBlocks(wchar_t const* text, std::size_t i, std::size_t n) const noexcept
{
    __m256i const low1 = Load(m_first.low);
    __m256i const high1 = Load(m_first.high);
    __m256i const low2 = Load(m_second.low);
    __m256i const high2 = Load(m_second.high);
    __m256i const odd = _mm256_set1_epi16(-1);
    for (; i + kReach <= n; i += kBlock) {
        wchar_t const* const first = text + i + m_first.offset;
        wchar_t const* const second = text + i + m_second.offset;
        __m256i const candidates = _mm256_and_si256(BucketsOf(Load(first), Load(first + 16), low1, high1),
                                                    BucketsOf(Load(second), Load(second + 16), low2, high2));
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
        Ordered(_mm256_and_si256(BucketsOf(Load(first), Load(first + 16), Load(m_first.low), Load(m_first.high)),
                                 BucketsOf(Load(second), Load(second + 16), Load(m_second.low), Load(m_second.high))));
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
