// Dfa.h - the deterministic automaton: states times unit classes, in order of creation, the start state first.
#pragma once

#include "match/NodeSets.h"
#include "match/UnitClasses.h"

#include <optional>
#include <vector>

namespace xc::match {

struct Dfa {
    static constexpr std::uint32_t kNoState = 0xFFFFFFFF;

    std::uint32_t classCount = 0;
    std::vector<std::uint32_t> targets;  ///< [state * classCount + class], kNoState where there is no transition
    std::vector<std::uint8_t> accepting; ///< by state
    std::vector<std::uint8_t> stop;      ///< by state: accepting, and 0x0000 to 0xFFFD lead back to it
    bool complete = false;               ///< false: the limits ended the construction, the last states have no targets

    [[nodiscard]] std::uint32_t StateCount() const noexcept { return static_cast<std::uint32_t>(accepting.size()); }
    [[nodiscard]] std::uint32_t ExpandedCount() const noexcept
    {
        return classCount ? static_cast<std::uint32_t>(targets.size() / classCount) : 0;
    }
    [[nodiscard]] std::span<std::uint32_t const> Row(std::uint32_t state) const noexcept
    {
        return {targets.data() + static_cast<std::size_t>(state) * classCount, classCount};
    }
};

/// Subset construction under the limits. The classes must be folded.
Dfa BuildDfa(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits);

/// The transitions of one state as ranges; neighbours with one target are one range.
std::vector<XCRegEx::DfaTransition> TransitionsOf(Dfa const& dfa, UnitClasses const& classes, std::uint32_t state);

/// See XCRegEx::GetConstantStart. Reads no further than the states that have their transitions.
XCString ConstantStart(Dfa const& dfa, UnitClasses const& classes);

} // namespace xc::match
