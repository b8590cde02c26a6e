// Matches lists of literal words by hash, alone or anywhere in the subject.
//
// A list of ten thousand words is an automaton of fifty thousand states, which takes milliseconds to build and does not
// fit the caches. The words themselves fit a hash table, which is built in one pass over them. A whole subject is one
// look-up. Where words are searched for, most places must be passed over without one: up to Literals::kMax words are found
// by packed comparison (LiteralFinder.cpp); for more, a bit for each hash of the first four units tells where none
// begins. At the places left over every length that a word has is looked up; a list whose words are longer than 64 units
// is left to the automata, so that the look-ups at one place are bounded.
//
// COST      Alone: two passes over a subject that is no longer than the longest word. Within: 0.1 to 2 ns a unit, at worst
//           a look-up of each length at each unit. Building: O(units of the words).
// INVARIANT A search ends at the first U+FFFF, which "." never matches; a word found before it decides.
#include "match/Words.h"

#include "match/TreeShape.h"
#include "text/Kernels.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace xc::match {

namespace {

using Node = XCRegExSyntaxNode;

constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15u;
constexpr std::size_t kLead = 4; ///< units that fit 64 bits
constexpr int kFilterBits = 18;  ///< 32 KiB: the nearest cache

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
    return std::make_unique<Words>(*alternative, size, within);
}

Words::Words(Node const& alternative, Size const& size, bool within)
    : Program(size.units * sizeof(wchar_t) + size.words * 16 + 64), m_within(within), m_text(Arrays()),
      m_ends(Arrays()), m_slots(std::bit_ceil(2 * size.words), Arrays()), m_finder(Arrays()), m_filter(Arrays())
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
        if (Word(m_slots[slot] - 1) == text) return true;
    return false;
}

void Words::PrepareSearch()
{
    for (std::uint32_t number = 0; number < m_ends.size(); ++number)
        m_lengths |= std::uint64_t{1} << (Word(number).size() - 1);
    if (m_ends.size() <= Literals::kMax && m_shortest > 1) PrepareFinder();
    if (m_finder.IsEmpty()) PrepareFilter();
}

void Words::PrepareFinder()
{
    Literals literals(Arrays());
    literals.texts.reserve(m_ends.size());
    for (std::uint32_t number = 0; number < m_ends.size(); ++number) {
        std::wstring_view const word = Word(number);
        Literal& literal = literals.texts.emplace_back();
        literal.length = std::min(word.size(), Literal::kMax);
        std::copy_n(word.begin(), literal.length, literal.units.begin());
    }
    m_finder = LiteralFinder(literals, Arrays());
}

void Words::PrepareFilter()
{
    m_leadMask = m_shortest >= kLead ? ~std::uint64_t{0} : (std::uint64_t{1} << 16 * m_shortest) - 1;
    m_filter.resize((std::size_t{1} << kFilterBits) / 64);
    for (std::uint32_t number = 0; number < m_ends.size(); ++number) {
        std::size_t const bit = FilterBit(Lead(Word(number).data(), Word(number).size()));
        m_filter[bit / 64] |= std::uint64_t{1} << bit % 64;
    }
}

std::size_t Words::FilterBit(std::uint64_t lead) const noexcept
{
    return static_cast<std::size_t>((lead & m_leadMask) * kOdd >> (64 - kFilterBits));
}

bool Words::Match(wchar_t const* text) const
{
    if (m_within) return MatchWithin(text);
    std::size_t const n = text::UnitCount(text, m_longest + 1);
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
    if (m_finder.IsEmpty()) return StandsInByFilter(text, n);
    for (std::size_t at = 0; at < n; ++at) {
        std::size_t const found = m_finder.Find(text + at, n - at);
        if (found == LiteralFinder::kNone) return false;
        at += found;
        // The finder knows the first units only, and may have given up.
        if (BeginsAt(text + at, n - at)) return true;
    }
    return false;
}

bool Words::StandsInByFilter(wchar_t const* text, std::size_t n) const noexcept
{
    for (std::size_t at = 0; at + m_shortest <= n; ++at) {
        std::size_t const bit = FilterBit(Lead(text + at, n - at));
        if ((m_filter[bit / 64] >> bit % 64 & 1) != 0 && BeginsAt(text + at, n - at)) return true;
    }
    return false;
}

bool Words::BeginsAt(wchar_t const* text, std::size_t n) const noexcept
{
    for (std::uint64_t lengths = m_lengths; lengths != 0; lengths &= lengths - 1) {
        auto const length = static_cast<std::size_t>(std::countr_zero(lengths)) + 1;
        if (length > n) return false;
        if (Holds({text, length})) return true;
    }
    return false;
}

} // namespace xc::match
