#include "match/Plan.h"

namespace xc::match {

namespace {

/// Loops over sets with more borders are left to the table.
constexpr std::size_t kMaxAtoms = 1024;

} // namespace

LoopScans::LoopScans(ReducedDfa const& dfa, UnitClasses const& classes)
{
    if (classes.Atoms().size() > kMaxAtoms) return;
    for (std::uint32_t row = dfa.LastSettled() + 1; row < dfa.rowCount; ++row) {
        std::span<std::uint32_t const> const cells = dfa.Row(row);
        if (std::find(cells.begin(), cells.end(), row) == cells.end()) continue;
        Scan ways[2] = {{{}, false}, {{}, true}}; // the units that stay, the units that leave
        bool fits[2] = {true, true};
        auto const& atoms = classes.Atoms();
        for (std::size_t i = 0; i < atoms.size();) {
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
        m_scanOfRow[row] = static_cast<std::uint16_t>(std::min<std::size_t>(m_scans.size(), 0xFFFF));
        if (m_scans.size() == 0xFFFF) return;
    }
}

Refusals::Refusals(ReducedDfa const& dfa) : m_mayBeLast(dfa.columnCount, dfa.hasStop)
{
    std::vector<std::uint8_t> reached(dfa.rowCount);
    std::vector<std::uint32_t> level{dfa.start};
    reached[dfa.start] = 1;
    bool accepted = dfa.IsAccepting(dfa.start);
    for (std::vector<std::uint32_t> next; !accepted && !level.empty(); level.swap(next)) {
        ++m_leastLength;
        next.clear();
        for (std::uint32_t const row : level) {
            for (std::uint32_t const target : dfa.Row(row)) {
                if (reached[target]) continue;
                reached[target] = 1;
                accepted = accepted || dfa.IsAccepting(target);
                next.push_back(target);
            }
        }
    }
    if (!accepted) m_leastLength = static_cast<std::size_t>(-1);
    for (std::size_t i = 0; i < dfa.cells.size(); ++i)
        if (dfa.IsAccepting(dfa.cells[i])) m_mayBeLast[i % dfa.columnCount] = 1;
}

} // namespace xc::match
