// Finds what can be decided by vectors without walking the automaton: fixed beginnings and loops over ranges.
//
// The opening is followed from the start state as long as exactly one range of units leads on, and to one state; a
// subject is compared with all of its places at once. A loop is a state that leads to itself: when the units that stay,
// or the units that leave, are a few ranges, a vector scan finds the first unit that leaves. Of the two forms the one
// with fewer ranges is taken.
//
// COST      O(atoms) for each place of the opening; O(atoms) for each looping state.
// INVARIANT The opening never contains the terminator, so no subject that is shorter passes it. It ends before the
//           first accepting state, because a subject might end there.
#include "match/Plan.h"

namespace xc::match {

namespace {

/// Loops over sets with more borders are left to the table.
constexpr std::size_t kMaxAtoms = 1024;

} // namespace

Literals Blueprint::NeededLiterals() const
{
    Literals needed(literals.texts.get_allocator().resource());
    if (!literals.followGap) needed.texts = literals.texts;
    return needed;
}

UnitMap Blueprint::MapOfColumns(std::uint32_t offset, std::uint32_t factor, Memory memory) const
{
    List<std::uint16_t> places(dfa.columnOfClass, dfa.columnOfClass.get_allocator());
    for (std::uint16_t& place : places) place = static_cast<std::uint16_t>((offset + place) * factor);
    return UnitMap(classes, places, parsed, memory);
}

Opening::Opening(Blueprint const& plan) : m_row(plan.dfa.start)
{
    ReducedDfa const& dfa = plan.dfa;
    UnitClasses const* const classes = plan.Translates() ? nullptr : &plan.classes;
    while (classes && m_places.Length() < UnitPlaces::kMax && m_row > dfa.LastSettled() && !dfa.IsAccepting(m_row)) {
        std::uint32_t first = 0; // one range from here to `last` leads on, and only it
        std::uint32_t last = 0;
        std::uint32_t target = 0;
        for (std::size_t i = 0; i < classes->Atoms().size(); ++i) {
            UnitClasses::Atom const& atom = classes->Atoms()[i];
            std::uint32_t const next = dfa.Row(m_row)[dfa.columnOfClass[atom.unitClass]];
            std::uint32_t const begin = std::max(atom.begin, 1u); // no subject holds U+0000
            if (next == 0 || begin >= classes->AtomEnd(i)) continue;
            if (last != 0 && (next != target || begin != last + 1)) return;
            if (last == 0) first = begin;
            last = classes->AtomEnd(i) - 1;
            target = next;
        }
        if (last == 0) return;
        m_places.Add(first, last);
        m_row = target;
    }
}

LoopScans::LoopScans(Blueprint const& plan, Memory memory) : m_scans(memory), m_scanOfRow(memory), m_finder(memory)
{
    ReducedDfa const& dfa = plan.dfa;
    UnitClasses const& classes = plan.classes;
    if (plan.Translates() || classes.Atoms().size() > kMaxAtoms) return;
    for (std::uint32_t row = dfa.LastSettled() + 1; row < dfa.rowCount; ++row) {
        std::span<std::uint32_t const> const cells = dfa.Row(row);
        if (std::find(cells.begin(), cells.end(), row) == cells.end()) continue;
        Scan ways[2] = {{{}, false}, {{}, true}}; // the units that stay, the units that leave
        bool fits[2] = {true, true};
        auto const& atoms = classes.Atoms();
        for (std::size_t i = 0; i < atoms.size() && (fits[0] || fits[1]);) {
            auto const leaves = [&](std::size_t atom) {
                return cells[dfa.columnOfClass[atoms[atom].unitClass]] != row;
            };
            std::size_t end = i + 1;
            while (end < atoms.size() && leaves(end) == leaves(i)) ++end;
            fits[leaves(i)] =
                ways[leaves(i)].ranges.Add(atoms[i].begin, classes.AtomEnd(end - 1) - 1) && fits[leaves(i)];
            i = end;
        }
        if (!fits[0] && !fits[1]) continue;
        bool const forInside = !fits[0] || (fits[1] && ways[1].ranges.Count() < ways[0].ranges.Count());
        m_scans.push_back(ways[forInside]);
        m_scanOfRow.resize(dfa.rowCount);
        m_scanOfRow[row] = static_cast<std::uint16_t>(m_scans.size());
        if (m_scans.size() + 1 == kSearch) break;
    }
    if (!plan.literals.followGap) return;
    m_finder = LiteralFinder(plan.literals, memory);
    if (m_finder.IsEmpty()) return;
    m_searchRow = dfa.start;
    m_scanOfRow.resize(dfa.rowCount);
    m_plainScan = m_scanOfRow[m_searchRow];
    m_scanOfRow[m_searchRow] = static_cast<std::uint16_t>(kSearch);
}

/// Texts without the units that literals begin with are passed over by the plain scan, whatever their low bytes are.
std::size_t LoopScans::SkipBySearch(wchar_t const* text, std::size_t n) const noexcept
{
    constexpr std::size_t kFar = 64;
    std::size_t const plain = m_plainScan != 0 ? Skip(m_plainScan, text, n) : 0;
    return plain >= kFar ? plain : std::max(plain, SkipToLiteral(text, n));
}

/// The units before the next literal may have led to other states than the loop's, but only on ways that end before a
/// match: each match holds a literal where it leaves the loop, and none begins there. Such ways change no answer, so the
/// walk goes on from the loop at the literal itself. A long literal that the text's end cuts off is not found, though:
/// near the end the walk begins as many units earlier as one may have.
std::size_t LoopScans::SkipToLiteral(wchar_t const* text, std::size_t n) const noexcept
{
    std::size_t const longest = m_finder.Longest();
    std::size_t const place = std::min(m_finder.Find(text, n), n);
    return place + longest <= n ? place : place - std::min(place, longest - 1);
}

} // namespace xc::match
