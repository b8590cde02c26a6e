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
        m_scanOfRow[row] = static_cast<std::uint16_t>(std::min<std::size_t>(m_scans.size(), 0xFFFF));
        if (m_scans.size() == 0xFFFF) return;
    }
}

} // namespace xc::match
