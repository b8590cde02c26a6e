// Reduce.h - the deterministic automaton made small for matching: states with equal futures merged, classes that no
// state tells apart folded into columns, dead and stopping states given fixed rows.
#pragma once

#include "match/Dfa.h"

namespace xc::match {

/// Rows are states. Row 0 is dead (it has no way to an accepting state). When hasStop, row 1 is where all stopping
/// states went: it accepts and leads to itself on every unit. Then come the other rows, the accepting ones last.
struct ReducedDfa {
    explicit ReducedDfa(Memory memory) : cells(memory), columnOfClass(memory) {}

    std::uint32_t rowCount = 0;
    std::uint32_t columnCount = 0;
    std::uint32_t start = 0;
    std::uint32_t firstAccepting = 0; ///< rows from this one on accept, and so does the stop row
    bool hasStop = false;
    List<std::uint32_t> cells;         ///< [row * columnCount + column]: the next row
    List<std::uint16_t> columnOfClass; ///< by unit class

    [[nodiscard]] std::span<std::uint32_t const> Row(std::uint32_t row) const noexcept
    {
        return {cells.data() + static_cast<std::size_t>(row) * columnCount, columnCount};
    }
    [[nodiscard]] bool IsAccepting(std::uint32_t row) const noexcept
    {
        return row >= firstAccepting || (hasStop && row == 1);
    }
    /// Rows up to this one are left by no unit.
    [[nodiscard]] std::uint32_t LastSettled() const noexcept { return hasStop ? 1 : 0; }
};

ReducedDfa Reduce(Dfa const& dfa, Memory memory);

} // namespace xc::match
