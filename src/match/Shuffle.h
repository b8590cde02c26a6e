// Shuffle.h - the match program for up to 16 states: a state is a byte, a step one byte shuffle.
//
// The transitions of one column are 16 bytes; shuffling them by the state gives the next state. A step costs one cycle
// of latency where a table look-up costs four or five.
#pragma once

#include "match/Plan.h"

namespace xc::match {

class Shuffle {
public:
    static constexpr std::uint32_t kMaxRows = 16;
    static constexpr std::uint32_t kMaxColumns = 256;
    /// What a unit map for this engine holds for each column.
    static constexpr std::uint32_t kBytesPerColumn = 16;

    /// Whether the automaton is small enough and the processor has the instructions.
    [[nodiscard]] static bool Suits(ReducedDfa const& dfa) noexcept;

    /// @param map from units to column * kBytesPerColumn.
    Shuffle(ReducedDfa const& dfa, LoopScans scans, UnitMap map);
    [[nodiscard]] bool Match(wchar_t const* text, std::size_t limit) const;

private:
    struct Engine;

    UnitMap m_map;
    LoopScans m_scans;
    std::uint32_t m_start, m_firstAccepting, m_lastSettled;
    bool m_hasStop;
    std::vector<std::uint8_t> m_columns; ///< [column * 16 + row]
};

} // namespace xc::match
