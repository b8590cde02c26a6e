// Matches lists of literal words by hash, alone or anywhere in the subject.
//
// A list of ten thousand words is an automaton of fifty thousand states, which takes milliseconds to build and does not
// fit the caches. The words themselves fit a hash table, which is built in one pass over them. A whole subject is one
// look-up. Where more than kFewWords words are searched for, a bit for each hash of the first four units tells at most
// places that none begins there; at the others the words with these four units are compared. Lists that have more than
// kLongestChain words with the same beginning, or words of more than 64 units, are left to the automata, so that the
// work at one place is bounded.
//
// COST      Alone: two passes over a subject that is no longer than the longest word. Within: one to two ns a unit, at worst
//           kLongestChain comparisons at each unit. Building: O(units of the words).
// INVARIANT A search ends at the first U+FFFF, which "." never matches; a word found before it decides.
#include "match/Words.h"

#include "match/TreeShape.h"
#include "text/Kernels.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15u;
constexpr std::size_t kLead = 4; ///< units that fit 64 bits
constexpr std::size_t kShort = 16;
constexpr int kMostFilterBits = 20; ///< 128 KiB
constexpr int kLongestChain = 16;   ///< words with the same leading units

/// Up to four units as one number; those beyond n are 0.
std::uint64_t Lead(wchar_t const* text, std::size_t n) noexcept
{
    std::uint64_t units = 0;
    if (n >= kLead)
        std::memcpy(&units, text, sizeof units);
    else
        for (std::size_t i = 0; i < n; ++i) units |= std::uint64_t{static_cast<std::uint16_t>(text[i])} << 16 * i;
    return units;
}

std::uint64_t HashOf(std::wstring_view text) noexcept
{
    std::uint64_t hash = text.size();
    for (std::size_t i = 0; i < text.size(); i += kLead) {
        hash = (hash ^ Lead(text.data() + i, text.size() - i)) * kOdd;
        hash ^= hash >> 32;
    }
    return hash;
}

/// The units before the terminator, kShort when there are more. Reads kShort units: MayReadVector(text).
std::size_t ShortCount(wchar_t const* text) noexcept
{
    auto const ends = [](wchar_t const* at) {
        return _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<__m128i const*>(at)), _mm_setzero_si128());
    };
    auto const mask = static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(ends(text), ends(text + 8))));
    return static_cast<std::size_t>(std::countr_zero(mask | 1u << kShort));
}

/// In bytes, because that comparison is the fastest one of every runtime.
bool BeginsWith(std::wstring_view text, std::wstring_view word) noexcept
{
    return word.size() <= text.size() && std::memcmp(text.data(), word.data(), word.size() * sizeof(wchar_t)) == 0;
}

/// The alternative that is the tree, alone or between two gaps; null for another form. @param within tells which.
Node const* FindAlternative(Node const* root, bool& within)
{
    if (!root) return nullptr;
    if (root->GetType() == Node::NodeType::AlternativeNode) return root;
    // Sequences are spines of left children: (gap, alternative), gap.
    Node const* const front = BeforeLast(*root);
    Node const* const gap = front ? BeforeLast(*front) : nullptr;
    within = gap && IsGap(*gap) && IsGap(LastPart(*root));
    Node const* const middle = within ? &LastPart(*front) : nullptr;
    return middle && middle->GetType() == Node::NodeType::AlternativeNode ? middle : nullptr;
}

} // namespace

std::unique_ptr<Words const> Words::From(Node const* root)
{
    bool within = false;
    Node const* const alternative = FindAlternative(root, within);
    if (!alternative) return {};
    Size size;
    Node const* node = alternative;
    for (bool more = true; more; node = node->GetLeftChildP()) {
        more = node->GetType() == Node::NodeType::AlternativeNode;
        std::size_t const length = LiteralLength(more ? *node->GetRightChildP() : *node);
        if (length == 0 || (within && length > kLongestWithin)) return {};
        ++size.words;
        size.units += length;
        size.longest = std::max(size.longest, length);
    }
    // Few words are a small automaton, which passes over most of a text by packed comparison.
    if (within && size.words <= kFewWords) return {};
    auto words = std::make_unique<Words>(*alternative, size, within);
    return words->m_suits ? std::move(words) : nullptr;
}

Words::Words(Node const& alternative, Size const& size, bool within)
    : Program(size.units * sizeof(wchar_t) + size.words * 16 + 64), m_within(within), m_text(Arrays()),
      m_ends(Arrays()), m_slots(std::bit_ceil(2 * size.words), Arrays()), m_filter(Arrays()), m_leadSlots(Arrays()),
      m_next(Arrays())
{
    m_text.reserve(size.units);
    m_ends.reserve(size.words);
    Node const* node = &alternative;
    for (; node->GetType() == Node::NodeType::AlternativeNode; node = node->GetLeftChildP())
        Add(*node->GetRightChildP());
    Add(*node);
    if (m_within) PrepareSearch();
}

void Words::Add(Node const& word)
{
    std::size_t const begin = m_text.size();
    for (Node const* node = &word; node; node = BeforeLast(*node)) m_text.push_back(SingleUnit(LastPart(*node)));
    std::reverse(m_text.begin() + static_cast<std::ptrdiff_t>(begin), m_text.end());
    std::wstring_view const text(m_text.data() + begin, m_text.size() - begin);
    m_shortest = std::min(m_shortest, text.size());
    m_longest = std::max(m_longest, text.size());
    m_ends.push_back(static_cast<std::uint32_t>(m_text.size()));
    // A word that comes twice takes two slots; the first one answers.
    std::size_t slot = HashOf(text) & (m_slots.size() - 1);
    while (m_slots[slot] != 0) slot = (slot + 1) & (m_slots.size() - 1);
    m_slots[slot] = static_cast<std::uint32_t>(m_ends.size());
}

std::wstring_view Words::Word(std::uint32_t number) const noexcept
{
    std::size_t const begin = number == 0 ? 0 : m_ends[number - 1];
    return {m_text.data() + begin, m_ends[number] - begin};
}

bool Words::Holds(std::wstring_view text) const noexcept
{
    std::size_t const mask = m_slots.size() - 1;
    for (std::size_t slot = HashOf(text) & mask; m_slots[slot] != 0; slot = (slot + 1) & mask)
        if (std::wstring_view const word = Word(m_slots[slot] - 1);
            word.size() == text.size() && BeginsWith(text, word))
            return true;
    return false;
}

void Words::PrepareSearch()
{
    m_leadMask = m_shortest >= kLead ? ~std::uint64_t{0} : (std::uint64_t{1} << 16 * m_shortest) - 1;
    // 64 bits a word: one place of sixty-four is looked at in vain.
    int const bits = std::min(kMostFilterBits, 6 + static_cast<int>(std::bit_width(m_ends.size())));
    m_filterShift = 64 - bits;
    m_filter.resize((std::size_t{1} << bits) / 64);
    m_leadSlots.resize(m_slots.size());
    m_next.resize(m_ends.size());
    for (std::uint32_t number = 0; number < m_ends.size() && m_suits; ++number) {
        std::uint64_t const lead = LeadOf(Word(number));
        std::size_t const bit = FilterBit(lead);
        m_filter[bit / 64] |= std::uint64_t{1} << bit % 64;
        std::uint32_t& first = m_leadSlots[LeadSlot(lead)];
        m_next[number] = std::exchange(first, number + 1);
        int chain = 0;
        for (std::uint32_t at = first; at != 0; at = m_next[at - 1]) ++chain;
        m_suits = chain <= kLongestChain;
    }
}

/// Where the words with these leading units begin, or would.
std::size_t Words::LeadSlot(std::uint64_t lead) const noexcept
{
    std::size_t const mask = m_leadSlots.size() - 1;
    std::size_t slot = lead * kOdd >> 32 & mask;
    while (m_leadSlots[slot] != 0 && LeadOf(Word(m_leadSlots[slot] - 1)) != lead) slot = (slot + 1) & mask;
    return slot;
}

std::uint64_t Words::LeadOf(std::wstring_view text) const noexcept
{
    return Lead(text.data(), text.size()) & m_leadMask;
}

std::size_t Words::FilterBit(std::uint64_t lead) const noexcept
{
    return static_cast<std::size_t>(lead * kOdd >> m_filterShift);
}

bool Words::Match(wchar_t const* text) const
{
    if (m_within) return MatchWithin(text);
    bool const isShort = m_longest < kShort && text::MayReadVector(text);
    std::size_t const n = isShort ? ShortCount(text) : text::UnitCount(text, m_longest + 1);
    return n >= m_shortest && n <= m_longest && Holds({text, n});
}

/// The subject's end is not known: it is read a stretch at a time, which stays in the nearest cache until it is searched.
bool Words::MatchWithin(wchar_t const* text) const noexcept
{
    constexpr std::size_t kStretch = 4096;
    std::size_t at = 0;
    std::size_t known = 0;
    for (;;) {
        std::size_t const n = text::DotCount(text + known, kStretch);
        known += n;
        if (StandsIn(text + at, known - at)) return true;
        if (n < kStretch) return false;
        at = known - std::min(known, m_longest - 1); // a word may begin before the border and end after it
    }
}

bool Words::StandsIn(wchar_t const* text, std::size_t n) const noexcept
{
    for (std::size_t at = 0; at + m_shortest <= n; ++at) {
        std::uint64_t const lead = LeadOf({text + at, n - at});
        std::size_t const bit = FilterBit(lead);
        if ((m_filter[bit / 64] >> bit % 64 & 1) == 0) continue;
        for (std::uint32_t word = m_leadSlots[LeadSlot(lead)]; word != 0; word = m_next[word - 1])
            if (BeginsWith({text + at, n - at}, Word(word - 1))) return true;
    }
    return false;
}

} // namespace xc::match
