// Shuffle.h - the match program for up to 16 states: a state is a byte, a step one byte shuffle.
//
// The transitions of one column are 16 bytes; shuffling them by the state gives the next state. A step costs one cycle
// of latency where a table look-up costs four or five. Each of the first 256 units has a column of its own, so that the
// unit itself tells where the column stands.
#pragma once

#include "match/Plan.h"

#include <memory>

namespace xc::match {

/// Whether the automaton is small enough and the processor has the instructions.
[[nodiscard]] bool SuitsShuffle(ReducedDfa const& dfa) noexcept;

std::unique_ptr<Program const> MakeShuffle(Blueprint const& plan);

} // namespace xc::match
