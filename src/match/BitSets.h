// BitSets.h - matching with sets of positions as bits, where the deterministic automaton would be too large.
#pragma once

#include "match/StateSetMatcher.h"

#include <memory>

namespace xc::match {

/// Takes the sets over. Null, and the sets as they were, when the expression has too many positions or classes.
std::unique_ptr<SetProgram const> MakeBitSets(std::unique_ptr<StateSets const>& sets);

} // namespace xc::match
