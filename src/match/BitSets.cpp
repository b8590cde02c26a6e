// Matches with sets of positions as bits.
//
// A position is a transition that reads units (Glushkov, 1961): the set of those just taken tells all that matters. One
// step is two operations, after Navarro and Raffinot: the positions that may follow the set, and of these the ones whose
// units hold the unit read. What follows is found by bytes: a table for each eight positions gives the union for every
// combination of them, so a step costs one load for eight positions and one for the unit.
//
// STOP      A set that accepts and holds an absorbing position ends the match, as in the other programs. Other stopping
//           sets make a difference only where a unit from U+FFFE on is read; there the sets of nodes are asked.
// COST      2 to 10 ns a unit, whatever the pattern; nothing is allocated but for the question above. The tables take
//           16 KiB at 64 positions, 64 KiB at 128, 256 KiB at 256.
// INVARIANT A bit beyond the last position is never set.
#include "match/BitSets.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>
#include <vector>

namespace xc::match {

namespace {

constexpr std::size_t kMaxMaskBytes = 1u << 18; ///< of all classes together

template <std::size_t kWords>
class BitSets : public SetProgram {
public:
    BitSets(std::unique_ptr<StateSets const> sets, std::size_t positions);
    [[nodiscard]] Outcome Run(wchar_t const* text, std::size_t most) const override;

private:
    using Bits = std::array<std::uint64_t, kWords>;

    static bool Meets(Bits const& a, Bits const& b) noexcept
    {
        std::uint64_t common = 0;
        for (std::size_t w = 0; w < kWords; ++w) common |= a[w] & b[w];
        return common != 0;
    }
    static void Add(Bits& to, Bits const& from) noexcept
    {
        for (std::size_t w = 0; w < kWords; ++w) to[w] |= from[w];
    }
    static void Set(Bits& bits, std::size_t position) noexcept
    {
        bits[position / 64] |= std::uint64_t{1} << position % 64;
    }
    [[nodiscard]] Bits Follow(Bits const& at) const noexcept
    {
        Bits next{};
        for (std::size_t block = 0; block < m_blocks; ++block)
            // An empty combination has an empty row, so blocks without a member need no question.
            Add(next, m_follow[block * 256 + (at[block / 8] >> block % 8 * 8 & 0xFF)]);
        return next;
    }
    /// What a closed set of nodes is for matching.
    struct Facts {
        Bits next{};
        bool accepts = false, absorbs = false;
    };
    [[nodiscard]] Facts FactsOf(Closure& closure, std::uint32_t node) const;
    void FillFollow(std::vector<Bits> const& next);
    [[nodiscard]] bool Stops(Bits const& at, bool atStart) const;

    std::unique_ptr<StateSets const> m_sets;
    std::size_t m_blocks;
    List<std::uint32_t> m_targets;   ///< by position
    List<std::size_t> m_firstOfNode; ///< the first position of each node's transitions
    List<Bits> m_follow;             ///< by block of eight positions and their combination
    List<Bits> m_members;            ///< by class
    Bits m_accepting{}, m_absorbing{};
    Facts m_start;
};

std::size_t CountPositions(Nfa const& nfa)
{
    std::size_t count = 0;
    for (std::uint32_t node = 0; node < nfa.NodeCount(); ++node)
        for (NfaEdge const& edge : nfa.Edges(node)) count += edge.set != kEpsilon ? 1 : 0;
    return count;
}

template <std::size_t kWords>
BitSets<kWords>::BitSets(std::unique_ptr<StateSets const> sets, std::size_t positions)
    : SetProgram((positions + 7) / 8 * 256 * sizeof(Bits) + sets->classes.Count() * sizeof(Bits) +
                 12 * (positions + sets->nfa.NodeCount()) + 64),
      m_sets(std::move(sets)), m_blocks((positions + 7) / 8), m_targets(Arrays()), m_firstOfNode(Arrays()),
      m_follow(m_blocks * 256, Arrays()), m_members(m_sets->classes.Count(), Arrays())
{
    Nfa const& nfa = m_sets->nfa;
    UnitClasses const& classes = m_sets->classes;
    m_targets.reserve(positions);
    m_firstOfNode.reserve(nfa.NodeCount() + 1);
    for (std::uint32_t node = 0; node < nfa.NodeCount(); ++node) {
        m_firstOfNode.push_back(m_targets.size());
        for (NfaEdge const& edge : nfa.Edges(node)) {
            if (edge.set == kEpsilon) continue;
            for (std::uint32_t c = 0; c < classes.Count(); ++c)
                if (nfa.Sets().IsInSet(edge.set, classes.LeastUnit(c))) Set(m_members[c], m_targets.size());
            m_targets.push_back(edge.to);
        }
    }
    m_firstOfNode.push_back(m_targets.size());
    Closure closure(nfa, m_sets->facts, std::pmr::new_delete_resource());
    m_start = FactsOf(closure, Nfa::kStart);
    std::vector<Bits> next;
    next.reserve(positions);
    for (std::size_t position = 0; position < positions; ++position) {
        Facts const facts = FactsOf(closure, m_targets[position]);
        next.push_back(facts.next);
        if (facts.accepts) Set(m_accepting, position);
        if (facts.absorbs) Set(m_absorbing, position);
    }
    FillFollow(next);
}

template <std::size_t kWords>
auto BitSets<kWords>::FactsOf(Closure& closure, std::uint32_t node) const -> Facts
{
    NodeSet reached;
    closure.Close({&node, 1}, reached);
    Facts facts;
    facts.accepts = IsAccepting(reached);
    for (std::uint32_t const member : reached) {
        facts.absorbs = facts.absorbs || m_sets->facts.Absorbs(member);
        for (std::size_t p = m_firstOfNode[member]; p < m_firstOfNode[member + 1]; ++p) Set(facts.next, p);
    }
    return facts;
}

/// Each combination is the one without its lowest bit, and that bit's positions. The last block may have fewer.
template <std::size_t kWords>
void BitSets<kWords>::FillFollow(std::vector<Bits> const& next)
{
    for (std::size_t block = 0; block < m_blocks; ++block) {
        Bits* const table = &m_follow[block * 256];
        std::uint32_t const end = 1u << std::min<std::size_t>(next.size() - block * 8, 8);
        for (std::uint32_t bits = 1; bits < end; ++bits) {
            table[bits] = table[bits & (bits - 1)];
            Add(table[bits], next[block * 8 + static_cast<std::size_t>(std::countr_zero(bits))]);
        }
    }
}

template <std::size_t kWords>
auto BitSets<kWords>::Run(wchar_t const* text, std::size_t most) const -> Outcome
{
    constexpr std::size_t kCall = 16;
    if (m_start.accepts && m_start.absorbs) return {true, kCall};
    if (*text == 0) return {m_start.accepts, kCall};
    wchar_t const* const subject = text;
    auto const work = [&] { return kCall + static_cast<std::size_t>(text - subject); };
    Bits at{};
    Bits next = m_start.next;
    for (; *text != 0; ++text) {
        bool const atStart = text == subject;
        if (static_cast<std::size_t>(text - subject) > most) return {{}, work()};
        std::uint32_t const c = m_sets->map[*text];
        if (m_sets->classes.LeastUnit(c) >= StateSets::kUncommon && Stops(at, atStart)) return {true, work()};
        for (std::size_t w = 0; w < kWords; ++w) at[w] = next[w] & m_members[c][w];
        // No position is left, so none can come back: the subject is refused without its rest.
        if (at == Bits{}) return {false, work()};
        if (Meets(at, m_absorbing) && Meets(at, m_accepting)) return {true, work()};
        next = Follow(at);
    }
    return {Meets(at, m_accepting), work()};
}

template <std::size_t kWords>
bool BitSets<kWords>::Stops(Bits const& at, bool atStart) const
{
    if (atStart ? !m_start.accepts : !Meets(at, m_accepting)) return false;
    std::vector<std::uint32_t> targets;
    if (atStart) targets.push_back(Nfa::kStart);
    for (std::size_t position = 0; position < m_targets.size(); ++position)
        if ((at[position / 64] >> position % 64 & 1) != 0) targets.push_back(m_targets[position]);
    return m_sets->StopsAt(targets);
}

} // namespace

std::unique_ptr<SetProgram const> MakeBitSets(std::unique_ptr<StateSets const>& sets)
{
    std::size_t const positions = CountPositions(sets->nfa);
    std::size_t const words = positions <= 64 ? 1 : positions <= 128 ? 2 : 4;
    // The sets stay with the caller then, who makes the next program of them.
    if (positions > 256 || sets->classes.Count() * words * sizeof(std::uint64_t) > kMaxMaskBytes) return {};
    if (words == 1) return std::make_unique<BitSets<1>>(std::move(sets), positions);
    if (words == 2) return std::make_unique<BitSets<2>>(std::move(sets), positions);
    return std::make_unique<BitSets<4>>(std::move(sets), positions);
}

} // namespace xc::match
