// Dfa.h - the deterministic automaton: for each state the classes that lead on, states in order of creation, the start
// state first. Most states have few such classes, so they are listed and not laid out as a table.
#pragma once

#include "match/NodeSets.h"
#include "match/UnitClasses.h"

#include <optional>
#include <vector>

namespace xc::match {

struct Dfa {
    static constexpr std::uint32_t kNoState = 0xFFFFFFFF;

    struct Step {
        std::uint32_t unitClass;
        std::uint32_t target;
    };

    explicit Dfa(Memory memory) : steps(memory), ends(memory), accepting(memory), stop(memory) {}

    std::uint32_t classCount = 0;
    List<Step> steps;             ///< by state; of one state by class, ascending
    List<std::size_t> ends;       ///< by state: where its steps end
    List<std::uint8_t> accepting; ///< by state
    List<std::uint8_t> stop;      ///< by state: accepting, and 0x0000 to 0xFFFD lead back to it
    bool complete = false;        ///< false: the limits ended the construction, the last states have no targets

    [[nodiscard]] std::uint32_t StateCount() const noexcept { return static_cast<std::uint32_t>(accepting.size()); }
    [[nodiscard]] std::uint32_t ExpandedCount() const noexcept { return static_cast<std::uint32_t>(ends.size()); }
    [[nodiscard]] std::span<Step const> Steps(std::uint32_t state) const noexcept
    {
        return {steps.data() + (state == 0 ? 0 : ends[state - 1]), steps.data() + ends[state]};
    }
    /// The targets of a state by class, kNoState where there is none.
    [[nodiscard]] std::vector<std::uint32_t> Row(std::uint32_t state) const;
};

/// Subset construction under the limits. The classes must be folded.
Dfa BuildDfa(Nfa const& nfa, NodeFacts const& facts, UnitClasses const& classes, XCRegEx::Limits const& limits,
             Memory memory);

/// The transitions of one state as ranges; neighbours with one target are one range.
std::vector<XCRegEx::DfaTransition> TransitionsOf(Dfa const& dfa, UnitClasses const& classes, std::uint32_t state);

/// See XCRegEx::GetConstantStart. Reads no further than the states that have their transitions.
XCString ConstantStart(Dfa const& dfa, UnitClasses const& classes);

} // namespace xc::match
